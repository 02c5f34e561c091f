#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/terminal.h"

namespace Quarn {

enum class Style : unsigned char { Plain, Grey, Unknown, Unmatched, Partner };

/// A part of a line that has a style.
struct Mark {
    std::size_t begin;
    std::size_t end;
    Style style;
};

/// What should be seen. Texts must outlive it.
struct Picture {
    std::u32string_view prompt;
    std::u32string_view line;
    std::size_t cursor = 0;       ///< in the line
    std::vector<Mark> marks = {}; ///< of the line, in order, apart from one another
    // Grey, and cut to the width of the window.
    std::u32string_view behind = {}; ///< the line
    std::u32string_view below = {};  ///< in a row of its own; left out if there is no room
};

/// The part of a terminal that shows a line being edited. It knows what the terminal shows and writes the least that
/// makes it show something else. A line that takes more rows than the window has scrolls within it.
class Screen {
public:
    explicit Screen(Terminal& terminal) : m_terminal(terminal) {}

    /// Begins a picture where the cursor is, which must be the beginning of an empty row.
    void Begin();
    /// The window must have the size that it had when the picture began, see `ClearResized`.
    void Show(const Picture& picture);
    /// Goes to the beginning of a row below the picture. Its cursor must be at the end.
    void Leave();
    /// Clears the window.
    void Clear();
    /// Clears the picture after the window was resized, and begins another one there. Some terminals rewrap lines,
    /// others cut them off; the column where the cursor is now shows which. If it is unknown, assumes that lines are
    /// rewrapped.
    void ClearResized(std::optional<std::size_t> column);
    bool IsResized() const { return m_size != m_terminal.GetSize(); }

    /// Counted from 0, from the upper left corner of the picture.
    struct Position {
        std::size_t row = 0;
        std::size_t column = 0;
    };
    /// A character as it is shown, with those that combine with it.
    struct Cell {
        std::string text;
        unsigned char width;
        Style style;
        bool operator==(const Cell&) const = default;
    };
    struct Row {
        std::vector<Cell> cells = {};
        bool isContinued = false; ///< in the next row, as the window is too narrow
        bool operator==(const Row&) const = default;
        std::size_t GetWidth() const;
    };

private:
    void ShowRow(std::size_t index, const Row& row, bool& isContinuation);
    void BeginCells(std::size_t index, const Row& row, std::size_t first, bool isContinuation);
    Position FindRewrapped(std::size_t columns) const;
    void MoveTo(Position position);
    void WriteCell(const Cell& cell);
    void SetStyle(Style style);
    void Flush();

    Terminal& m_terminal;
    Terminal::Size m_size;
    std::vector<Row> m_rows;  ///< as they are shown; there is at least one
    std::size_t m_bottom = 0; ///< the last row that the picture has reached
    std::size_t m_top = 0;    ///< the first row of the whole picture that is shown
    Position m_cursor;        ///< in the picture; in the column behind the last one, it is still in the last one
    Style m_style = Style::Plain;
    std::string m_bytes; ///< to be written
};

} // namespace Quarn
