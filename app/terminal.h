#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <string_view>

#include "app/line_input.h"

namespace Quarn {

/// The terminal that standard input is. While it exists, it handles the signals of the terminal: Ctrl-C sets a flag;
/// what stops or ends the program first restores the modes of the terminal. A second Ctrl-C within a second, while the
/// first is not answered, ends the program. On Windows the modes never change.
class Terminal {
public:
    enum class Event {
        Input,
        Interrupt, ///< by a signal; not answered yet
        Changed,   ///< the window has another size, or the program goes on after it was stopped
        EndOfFile, ///< Ctrl-D (Ctrl-Z on Windows), if the terminal itself edits lines
        Gone,
    };

    /// Whether standard input is a terminal.
    static bool IsPresent();

    Terminal();
    ~Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    /// Waits for an event. Input is appended to `bytes`.
    Event Read(std::string& bytes);
    /// Writes to the terminal, wherever standard output leads.
    void Echo(std::string_view text);
    /// Waits for input for at most this long. Returns whether there is any.
    bool HasInput(int milliseconds) const;
    /// Whether it is in the modes in which the terminal edits lines.
    bool EditsLines() const;
    /// Makes standard output blocking, in case another program left it non-blocking. For what does not wait by itself.
    void WaitForOutput();
    /// Asks the terminal to mark what is pasted, until the program stops or ends.
    void MarkPastes(bool areMarked);
    /// Stops the program, as Ctrl-Z does.
    void Suspend();

    const std::atomic<bool>& GetInterrupt() const;
    /// Does what Ctrl-C does.
    void Interrupt();
    void AnswerInterrupt();
};

/// Lines as the terminal itself edits them; null if standard input is no terminal.
std::unique_ptr<LineInput> OpenTerminalInput();

} // namespace Quarn
