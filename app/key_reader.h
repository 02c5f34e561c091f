#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "app/terminal.h"

namespace Quarn {

/// Keys are characters. Keys without a character, such as the cursor keys, and other events at the terminal have codes
/// between Delete and the first printable character, which cannot be typed.
enum Key : wchar_t {
    CtrlC = 0x03,
    CtrlG = 0x07,
    Backspace = 0x08,
    Return = 0x0d,
    CtrlR = 0x12,
    Escape = 0x1b,
    Delete = 0x7f,
    Up = 0x80,
    Down,
    Left,
    Right,
    WordLeft,
    WordRight,
    Home,
    End,
    PageUp,
    PageDown,
    DeleteForward,
    MoreToPaste,
    SearchChanged,
    Candidates,
    WindowChanged,
    Typed,
    FirstPrintable = 0xa0,
};

/// The keys that are typed at a terminal, and what is pasted.
class KeyReader {
public:
    explicit KeyReader(Terminal& terminal) : m_terminal(terminal) {}

    /// Waits for the next key; false if the terminal is gone. A key with Alt is two keys, Escape first. Sequences that
    /// stand for no key of those above are dropped: their ends would count as typed, an "~" for one, which erases.
    bool Read(wchar_t& key);
    /// The number of keys that were read.
    std::size_t GetCount() const { return m_count; }
    /// Makes a key the next one that is read.
    void Push(wchar_t key) { m_pushed.insert(m_pushed.begin(), key); }
    /// Drops what was typed and not read. What is being pasted is dropped up to its end.
    void Drop();
    /// Whether Escape is a key of its own, which is delivered at once, and not only the sign of Alt.
    void SetEscapeIsKey(bool isKey) { m_isEscapeKey = isKey; }

    struct Pasted {
        std::wstring text;
        bool endsLine = false;
    };
    /// Pasted text up to the end of its line. For use after `MoreToPaste`.
    Pasted ReadPasted();

private:
    bool ReadTyped(wchar_t& key);
    bool ReadBehindEscape(wchar_t& key);
    bool ReadLetter(bool hasAlt, wchar_t& key);
    bool ReadSequence(bool hasAlt, wchar_t& key);
    std::string_view Unread() const { return std::string_view(m_bytes).substr(m_read); }
    void SetUnread(std::string_view rest) { m_read = m_bytes.size() - rest.size(); }
    bool ReadPasted(wchar_t& character);
    void EndPaste() { m_isPasting = m_isDroppingPaste = false; }
    Terminal::Event ReadMore();

    Terminal& m_terminal;
    std::string m_bytes;
    std::size_t m_read = 0; ///< of the bytes
    std::wstring m_pushed;
    std::size_t m_count = 0;
    bool m_isEscapeKey = false;
    bool m_isPasting = false;
    bool m_isDroppingPaste = false;
    wchar_t m_lastPasted = L'\0';
};

} // namespace Quarn
