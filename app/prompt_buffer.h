#pragma once

#include <streambuf>
#include <string>
#include <string_view>

namespace Quarn {

/// Standard output that holds back an unfinished line: it is the prompt of the next line that is read. Can show errors
/// and warnings in colours.
class PromptBuffer : public std::streambuf {
public:
    explicit PromptBuffer(bool isColourful) : m_isColourful(isColourful) {}

    std::string TakePrompt();

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    void WriteLine(std::string_view line);

    const bool m_isColourful;
    bool m_isInLine = false; ///< the beginning of the unfinished line has been written
    std::string m_unfinished;
};

} // namespace Quarn
