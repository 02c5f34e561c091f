#pragma once

#include <atomic>
#include <cstddef>
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
        Resized,   ///< the window
        Continued, ///< the program, after it was stopped
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
    // For the line editor. What it writes goes to standard output, which must be the terminal.

    struct Size {
        std::size_t rows = 24;
        std::size_t columns = 80;
        bool operator==(const Size&) const = default;
    };
    Size GetSize() const;
    void Write(std::string_view text);
    /// Waits for input for at most this long. Returns whether there is any.
    bool HasInput(int milliseconds) const;
    /// From now on keys come as they are typed, Ctrl-C too, and the terminal marks what is pasted. Standard output
    /// waits, even if another program has left it non-blocking.
    void BeginEditing();
    /// From now on keys wait unseen, and Ctrl-C is a signal.
    void EndEditing();
    /// How many rows of what is edited are below the cursor. What stops or ends the program goes there first.
    void SetRowsBelow(std::size_t rows);
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
