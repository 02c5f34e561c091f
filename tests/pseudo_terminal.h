#pragma once

#include <string>
#include <string_view>

#include "program.h"

/// The calculator at a terminal of 24 lines of 80 characters. The folder is its home and holds its files. What is shown
/// is read without colours.
class PseudoTerminal {
public:
    /// `behind` follows the name of the program, `before` precedes it, as in `RunProgram`.
    explicit PseudoTerminal(const Folder& folder, const std::string& kind = "xterm", const std::string& behind = "",
                            const std::string& before = "");
    /// Hangs up, and ends the program if it still runs.
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    void Type(std::string_view keys);
    /// Waits until the text is shown behind what the last call has found. False if the program ends or half a minute
    /// passes.
    bool Shows(std::string_view text);
    /// The same. Returns what is shown before the text, behind what the last call has found.
    std::string ShownBefore(std::string_view text);
    /// What was shown that no call has found yet.
    std::string GetRest() const { return m_shown.substr(m_found); }
    /// Waits for the end of the program: its exit status, or the negated signal that ended it.
    int WaitForEnd();
    void HangUp();
    /// Whether the terminal edits and echoes lines itself, as it does before and after the program.
    bool EditsLines() const;
    /// Gives the window another width.
    void Resize(unsigned short columns) const;
    /// Sends a signal to the program.
    void Signal(int signal) const;
    /// Types Ctrl-C, while nothing that is shown is read.
    void InterruptUntilItEnds() const;
    /// Waits until the program waits for somebody to read what it shows.
    void WaitUntilBlocked() const;

private:
    bool ReadMore(int milliseconds);
    bool HasEnded() const;

    int m_master = -1;
    int m_process = -1;
    std::string m_shown;
    std::size_t m_plain = 0; ///< colours are removed up to here
    std::size_t m_found = 0;
};
