#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "app/terminal.h"

namespace Quarn {

/// Control characters. Those that nobody types stand for what else happens at a terminal.
enum Key : wchar_t {
    CtrlC = 0x03,
    CtrlG = 0x07,
    Backspace = 0x08,
    Return = 0x0d,
    CtrlR = 0x12,
    Delete = 0x7f,
    MoreToPaste = 0x80,
    WindowChanged,
    SearchChanged,
    Candidates,
    FirstPrintable = 0xa0,
};

/// The keys that are typed at a terminal, and what is pasted.
class KeyReader {
public:
    explicit KeyReader(Terminal& terminal) : m_terminal(terminal) {}

    /// Waits for the next key; false if the terminal is gone.
    bool Read(wchar_t& key);
    /// The number of keys that were read.
    std::size_t GetCount() const { return m_count; }
    /// Puts a key before all others.
    void Push(wchar_t key) { m_pushed.insert(m_pushed.begin(), key); }
    /// Drops what was typed and not read.
    void Drop();

    struct Pasted {
        std::wstring text;
        bool endsLine = false;
    };
    /// Pasted text up to the end of its line; for use after the mark that text is pasted, and after `MoreToPaste`.
    Pasted ReadPasted();

private:
    std::string_view Unread() const { return std::string_view(m_bytes).substr(m_read); }
    void SetUnread(std::string_view rest) { m_read = m_bytes.size() - rest.size(); }
    Terminal::Event ReadMore();

    Terminal& m_terminal;
    std::string m_bytes;
    std::size_t m_read = 0; ///< of the bytes
    std::wstring m_pushed;
    std::size_t m_count = 0;
    bool m_isPasting = false;
    bool m_isDroppingPaste = false;
    wchar_t m_lastPasted = L'\0';
};

} // namespace Quarn
