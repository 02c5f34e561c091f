#pragma once

#include <streambuf>
#include <string>

namespace Quarn {

/// Standard output that holds back an unfinished line: it is the prompt of the next line that is read.
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
