#pragma once

#include <streambuf>
#include <string>

namespace Quarn {

/// Standard output, except that a line without its end is held back: it is the prompt of the line that is read next.
class PromptBuffer : public std::streambuf {
public:
    std::string TakePrompt();

private:
    std::streamsize xsputn(const char* text, std::streamsize size) override;
    int_type overflow(int_type character) override;
    int sync() override;

    std::string m_unfinished;
};

} // namespace Quarn
