#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "app/terminal.h"

namespace Quarn {

/// A key is the character that it types. Those without one, and other events at the terminal, have codes above all
/// characters.
using Key = char32_t;

constexpr Key Ctrl(char letter) { return static_cast<Key>(letter & 0x1F); }
constexpr Key Alt(Key key) { return 0x1000000 | key; }

constexpr Key Return = U'\r';
constexpr Key Escape = 0x1B;
constexpr Key Backspace = 0x7F;

enum SpecialKey : Key {
    Up = 0x110000,
    Down,
    Left,
    Right,
    WordLeft,
    WordRight,
    Home,
    End,
    PageUp,
    PageDown,
    Delete,
    Paste,     ///< `ReadPasted` gives what is pasted
    Resized,   ///< the window
    Continued, ///< the program, after it was stopped
};

/// Whether the key types a character.
constexpr bool IsCharacter(Key key) { return (key >= U' ' && key < Backspace) || (key >= 0xA0 && key < Up); }

/// The keys that are typed at a terminal, and what is pasted.
class KeyReader {
public:
    explicit KeyReader(Terminal& terminal) : m_terminal(terminal) {}

    /// Waits for the next key; false if the terminal is gone. Sequences that stand for no key of those above are
    /// dropped: their ends would count as typed, an "~" for one.
    bool Read(Key& key);
    /// Whether there is more to read at once.
    bool HasMore() const { return m_isPasting || m_read < m_bytes.size() || m_terminal.HasInput(0); }
    /// Drops what was typed and not read. What is being pasted is dropped up to its end.
    void Drop();

    struct Pasted {
        std::u32string text;
        bool endsLine = false;
        bool isInterrupted = false; ///< by Ctrl-C
    };
    /// Pasted text up to the end of its line. For use after `Paste`.
    Pasted ReadPasted();

    /// Asks the terminal for the column of the cursor, counted from 0; none if it does not answer. What is typed
    /// meanwhile is kept.
    std::optional<std::size_t> AskColumn();

private:
    bool ReadTyped(Key& key);
    bool ReadBehindEscape(Key& key);
    bool ReadLetter(bool hasAlt, Key& key);
    bool ReadSequence(bool hasAlt, Key& key);
    std::string_view Unread() const { return std::string_view(m_bytes).substr(m_read); }
    void SetUnread(std::string_view rest) { m_read = m_bytes.size() - rest.size(); }
    bool ReadPasted(char32_t& character, bool& isInterrupted);
    void DropPasted();
    Terminal::Event ReadMore();

    Terminal& m_terminal;
    std::string m_bytes;
    std::size_t m_read = 0; ///< of the bytes
    bool m_isPasting = false;
    bool m_isDroppingPaste = false;
    bool m_hasContinued = false; ///< the program, meanwhile
    char32_t m_lastPasted = U'\0';
};

} // namespace Quarn
