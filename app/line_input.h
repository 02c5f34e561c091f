#pragma once

#include <atomic>
#include <iostream>
#include <memory>
#include <string>

namespace Quarn {

class State;

/// Where an interactive run reads its lines and prints to.
class LineInput {
public:
    enum class Got {
        Line,
        Nothing, ///< Ctrl-C dropped the line; it is empty
        End,     ///< the terminal is gone; the line is empty
    };

    LineInput() = default;
    LineInput(const LineInput&) = delete;
    LineInput& operator=(const LineInput&) = delete;
    virtual ~LineInput() = default;

    /// Reads the next line, without its line end. What was printed since the last line end is its prompt. Throws
    /// std::bad_alloc if the line does not fit into memory; it is skipped then, and `line` is empty.
    virtual Got ReadLine(std::string& line) = 0;
    /// The same for the answer to a question.
    virtual Got ReadAnswer(std::string& line) = 0;

    virtual std::istream& GetAnswers() = 0;
    virtual std::ostream& GetOutput() { return std::cout; }

    /// True from Ctrl-C until `AnswerInterrupt`; null where Ctrl-C ends the program.
    virtual const std::atomic<bool>* GetInterrupt() const { return nullptr; }
    /// Forgets an interrupt, and what was typed before it.
    virtual void AnswerInterrupt() {}
};

/// The input that suits standard input and output: a line editor if both are a terminal and the program was built with
/// one. The state, which is asked for completions, must outlive it.
std::unique_ptr<LineInput> OpenLineInput(State& state);

/// Answers for a stream. One that is dropped reads as "n".
class AnswerBuffer : public std::streambuf {
public:
    explicit AnswerBuffer(LineInput& input) : m_input(input) {}

private:
    int_type underflow() override;

    LineInput& m_input;
    std::string m_answer;
};

} // namespace Quarn
