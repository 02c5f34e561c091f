#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>

namespace Quarn {

/// A line that is edited: its text, the cursor, what was killed, and what can be undone. It knows nothing of a screen.
/// The cursor stands before the character at its position, and never before one that combines with the one before.
class Line {
public:
    const std::u32string& GetText() const { return m_text; }
    std::size_t GetCursor() const { return m_cursor; }
    bool IsAtEnd() const { return m_cursor == m_text.size(); }
    std::u32string_view GetBeforeCursor() const { return std::u32string_view(m_text).substr(0, m_cursor); }

    /// Begins another line, with the cursor at its end. Nothing of the one before can be undone; what was killed stays.
    void Begin(std::u32string text = {});
    void Insert(std::u32string_view text);
    void MoveTo(std::size_t cursor);

    // Each does nothing where it makes no sense. Words are letters, digits, "_" and ".".

    void MoveLeft() { MoveTo(Before()); }
    void MoveRight() { MoveTo(Behind()); }
    void MoveWordLeft() { MoveTo(BeforeWord()); }
    void MoveWordRight() { MoveTo(BehindWord()); }
    void MoveToBegin() { MoveTo(0); }
    void MoveToEnd() { MoveTo(m_text.size()); }
    void DeleteBefore() { Replace(Before(), m_cursor, {}); }
    void DeleteBehind() { Replace(m_cursor, Behind(), {}); }
    /// Exchanges the characters before and at the cursor, or the last two at the end.
    void Transpose();

    // What is killed in a row belongs together.

    void KillWordBefore() { Kill(BeforeWord(), m_cursor); }
    void KillWordBehind() { Kill(m_cursor, BehindWord()); }
    void KillToBegin() { Kill(0, m_cursor); }
    void KillToEnd() { Kill(m_cursor, m_text.size()); }
    /// Inserts what was killed last.
    void Yank();
    /// Right behind `Yank`: replaces it with what was killed before.
    void YankOlder();

    void Undo();

private:
    struct Change {
        std::size_t begin;
        std::u32string removed;
        std::size_t inserted;
        std::size_t cursor; ///< before it
    };
    enum class Action { Other, Typed, Killed, Yanked };

    std::size_t Before() const;
    std::size_t Behind() const;
    std::size_t BeforeWord() const;
    std::size_t BehindWord() const;
    void Replace(std::size_t begin, std::size_t end, std::u32string_view text);
    void Kill(std::size_t begin, std::size_t end);

    std::u32string m_text;
    std::size_t m_cursor = 0;
    std::deque<Change> m_changes;
    std::deque<std::u32string> m_killed; ///< the last one first
    std::size_t m_yanked = 0;            ///< of them
    Action m_last = Action::Other;
};

} // namespace Quarn
