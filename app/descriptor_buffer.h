#pragma once

#include <array>
#include <streambuf>
#include <string_view>

namespace Quarn {

// A descriptor may have been left non-blocking by another program that shares it. These wait all the same, until all is
// written, or there is something to read.

/// False if it cannot be written.
bool WriteAll(int descriptor, std::string_view text);

/// A buffer for reading from a descriptor, or for writing to it.
class DescriptorBuffer : public std::streambuf {
public:
    explicit DescriptorBuffer(int descriptor) : m_descriptor(descriptor) {}

private:
    int_type underflow() override;
    int_type overflow(int_type character) override;
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int sync() override;

    const int m_descriptor;
    std::array<char, 8192> m_buffer;
};

} // namespace Quarn
