#include "app/screen.h"

#include <algorithm>
#include <utility>

#include "app/utf8.h"

namespace Quarn {

namespace {

constexpr std::size_t TabWidth = 8;

/// Seen on light and on dark.
std::string_view CodeOf(Style style) {
    switch (style) {
    case Style::Plain: return "\033[m";
    case Style::Grey: return "\033[90m"; // faint black would be black
    case Style::Unknown: return "\033[31m";
    case Style::Unmatched: return "\033[35m";
    case Style::Partner: return "\033[1;4m";
    }
    return {};
}

/// Breaks text into rows. Keeps only some of them, because a line may take many more than a window has.
class Layout {
public:
    Layout(std::size_t columns, std::size_t first, std::size_t count)
        : m_columns(columns), m_first(first), m_count(count) {}

    void Put(std::u32string_view text, Style style) {
        for (const char32_t character : text) Put(character, style);
    }
    void Put(char32_t character, Style style) {
        if (character >= U' ' && character < 0x7F && !IsKeptNext()) return Skip();
        const unsigned width = WidthOf(character);
        if (const unsigned char byte = ByteOf(character); byte != 0 || (character >= 0x80 && character < 0xA0)) {
            constexpr std::string_view Digits = "0123456789abcdef";
            const unsigned value = byte != 0 ? byte : static_cast<unsigned>(character);
            for (const char c : {'\\', 'x', Digits[value / 16], Digits[value % 16]}) PutCell({{c}, 1, style});
        } else if (character == U'\t') {
            PutTab();
        } else if (character < U' ' || character == 0x7F) {
            for (const char c : {'^', static_cast<char>(character ^ 0x40)}) PutCell({{c}, 1, style});
        } else if (width == 0) {
            Combine(character);
        } else if (width > m_columns) {
            PutCell({"?", 1, style});
        } else {
            PutCell({ToUtf8({&character, 1}), static_cast<unsigned char>(width), style});
        }
    }
    /// Begins another row unless the current one has so many columns left.
    void MakeRoom(std::size_t width) {
        if (m_position.column + width <= m_columns) return;
        if (IsKept()) {
            Row& row = CurrentRow();
            while (m_position.column++ < m_columns) row.cells.push_back({" ", 1, Style::Plain});
            row.isContinued = true;
        }
        BeginRow();
    }
    void BeginRow() { m_position = {m_position.row + 1, 0}; }
    Screen::Position GetPosition() const { return m_position; }
    /// The columns of the first cell of a character.
    std::size_t GetFirstWidth(char32_t character) const { return WidthOf(character) == 2 && m_columns > 1 ? 2 : 1; }
    /// Puts as much of the text as has room in the current row.
    void PutCut(std::u32string_view text, Style style) {
        for (std::size_t i = 0; i < text.size(); ++i) {
            const char32_t character = text[i] < U' ' || ByteOf(text[i]) != 0 ? U' ' : text[i];
            const std::size_t needed = GetFirstWidth(character) + (i + 1 < text.size() ? 1 : 0);
            if (m_columns - m_position.column < needed) return Put(U'…', style);
            Put(character, style);
        }
    }
    /// Those that are kept.
    std::vector<Screen::Row> TakeRows() {
        if (m_position.row >= m_first) m_rows.resize(std::min(m_position.row - m_first + 1, m_count));
        return std::move(m_rows);
    }

private:
    using Row = Screen::Row;

    bool IsKept() const { return m_position.row >= m_first && m_position.row - m_first < m_count; }
    /// The same for a character of one column.
    bool IsKeptNext() const {
        const std::size_t row = m_position.row + (m_position.column < m_columns ? 0 : 1);
        return row >= m_first && row - m_first < m_count;
    }
    Row& CurrentRow() {
        const std::size_t index = m_position.row - m_first;
        if (index >= m_rows.size()) m_rows.resize(index + 1);
        return m_rows[index];
    }
    void Skip() {
        MakeRoom(1);
        ++m_position.column;
    }
    void PutCell(Screen::Cell cell) {
        MakeRoom(cell.width);
        m_position.column += cell.width;
        if (IsKept()) CurrentRow().cells.push_back(std::move(cell));
    }
    void Combine(char32_t character) {
        if (m_position.column == 0 || !IsKept() || CurrentRow().cells.empty()) return;
        CurrentRow().cells.back().text += ToUtf8({&character, 1});
    }
    /// As it is, so that it is copied as one, if the tab stop is within the window.
    void PutTab() {
        const std::size_t stop = (m_position.column / TabWidth + 1) * TabWidth;
        const std::size_t width = stop - m_position.column;
        if (stop < m_columns) return PutCell({"\t", static_cast<unsigned char>(width), Style::Plain});
        for (std::size_t i = 0; i < width; ++i) PutCell({" ", 1, Style::Plain});
    }

    const std::size_t m_columns;
    const std::size_t m_first;
    const std::size_t m_count;
    Screen::Position m_position;
    std::vector<Row> m_rows;
};

/// Puts the prompt and the line. Returns the position of the cursor.
Screen::Position PutLine(Layout& layout, const Picture& picture) {
    layout.Put(picture.prompt, Style::Plain);
    Screen::Position cursor;
    auto mark = picture.marks.begin();
    for (std::size_t i = 0; i < picture.line.size(); ++i) {
        if (i == picture.cursor) {
            layout.MakeRoom(layout.GetFirstWidth(picture.line[i]));
            cursor = layout.GetPosition();
        }
        while (mark != picture.marks.end() && mark->end <= i) ++mark;
        const bool isMarked = mark != picture.marks.end() && mark->begin <= i;
        layout.Put(picture.line[i], isMarked ? mark->style : Style::Plain);
    }
    if (picture.cursor >= picture.line.size()) {
        layout.MakeRoom(1);
        cursor = layout.GetPosition();
    }
    layout.PutCut(picture.behind, Style::Grey);
    return cursor;
}

} // namespace

std::size_t Screen::Row::GetWidth() const {
    std::size_t width = 0;
    for (const Cell& cell : cells) width += cell.width;
    return width;
}

void Screen::Begin() {
    m_rows.assign(1, {});
    m_bottom = m_top = 0;
    m_cursor = {};
    m_size = m_terminal.GetSize();
}

void Screen::Show(const Picture& picture) {
    Layout whole(m_size.columns, 0, 0);
    Position cursor = PutLine(whole, picture);
    const std::size_t rowCount = whole.GetPosition().row + 1;
    m_top = std::min(m_top, rowCount - std::min(rowCount, m_size.rows));
    m_top = std::clamp(m_top, cursor.row - std::min(cursor.row, m_size.rows - 1), cursor.row);

    Layout shown(m_size.columns, m_top, m_size.rows);
    PutLine(shown, picture);
    if (!picture.below.empty() && rowCount < m_size.rows) {
        shown.BeginRow();
        shown.PutCut(picture.below, Style::Grey);
    }
    std::vector<Row> rows = shown.TakeRows();
    bool isContinuation = false;
    for (std::size_t i = 0; i < rows.size(); ++i) ShowRow(i, rows[i], isContinuation);
    if (rows.size() < m_rows.size()) {
        MoveTo({rows.size(), 0});
        SetStyle(Style::Plain);
        m_bytes += "\033[J";
    }
    m_rows = std::move(rows);
    MoveTo({cursor.row - m_top, cursor.column});
    Flush();
    m_terminal.SetRowsBelow(std::min(rowCount, m_size.rows) - 1 - m_cursor.row);
}

/// Writes the cells that differ. If `isContinuation`, the last cell of the row above has just been written, and the
/// terminal will wrap to this row by itself. So it knows that both are one line when text is copied, or the window
/// resized.
void Screen::ShowRow(std::size_t index, const Row& row, bool& isContinuation) {
    static const Row empty;
    const Row& shown = index < m_rows.size() ? m_rows[index] : empty;
    const std::size_t width = row.GetWidth();
    const std::size_t shownWidth = shown.GetWidth();
    const auto differs = std::ranges::mismatch(row.cells, shown.cells).in1;
    auto first = static_cast<std::size_t>(differs - row.cells.begin());
    std::size_t last = row.cells.size();
    if (width == shownWidth) {
        const auto from = static_cast<std::ptrdiff_t>(first);
        const auto same =
            std::mismatch(row.cells.rbegin(), row.cells.rend() - from, shown.cells.rbegin(), shown.cells.rend() - from);
        last -= static_cast<std::size_t>(same.first - row.cells.rbegin());
    }
    if (row.isContinued && !shown.isContinued) { // from now on
        last = row.cells.size();
        first = std::min(first, last - 1);
    }
    if (isContinuation) {
        first = 0;
        last = std::max<std::size_t>(last, row.cells.empty() ? 0 : 1);
    }
    const bool isSame = first == last && width >= shownWidth && index <= m_bottom && !isContinuation;
    if (!isSame) {
        BeginCells(index, row, first, isContinuation);
        for (std::size_t i = first; i < last; ++i) WriteCell(row.cells[i]);
        if (width < shownWidth) { // then all cells behind the first that differs were written
            SetStyle(Style::Plain);
            m_bytes += "\033[K";
        }
    }
    isContinuation = row.isContinued && first < last && last == row.cells.size();
}

/// Goes to where cells are to be written.
void Screen::BeginCells(std::size_t index, const Row& row, std::size_t first, bool isContinuation) {
    if (isContinuation) { // the terminal goes to the next row by itself
        if (row.cells.empty()) m_bytes += " \r\033[K";
        m_cursor = {index, 0};
        m_bottom = std::max(m_bottom, index);
        return;
    }
    std::size_t column = 0;
    for (std::size_t i = 0; i < first; ++i) column += row.cells[i].width;
    MoveTo({index, column});
}

void Screen::MoveTo(Position position) {
    const auto move = [this](std::size_t count, char direction) {
        m_bytes += "\033[";
        if (count > 1) m_bytes += std::to_string(count);
        m_bytes += direction;
    };
    if (position.row < m_cursor.row) move(m_cursor.row - position.row, 'A');
    const std::size_t reached = std::min(position.row, m_bottom);
    if (reached > m_cursor.row) move(reached - m_cursor.row, 'B');
    if (position.row > m_bottom) {
        SetStyle(Style::Plain);
        for (; m_bottom < position.row; ++m_bottom) m_bytes += '\n'; // goes to the first column, too, as in reports
        m_cursor.column = 0;
    }
    const bool isBehindRow = m_cursor.column >= m_size.columns; // where terminals do not agree what moves do
    if (position.column != m_cursor.column && (position.column == 0 || isBehindRow)) {
        m_bytes += '\r';
        m_cursor.column = 0;
    }
    constexpr std::size_t Few = 3;
    if (position.column > m_cursor.column) move(position.column - m_cursor.column, 'C');
    else if (m_cursor.column - position.column > Few) move(m_cursor.column - position.column, 'D');
    else m_bytes.append(m_cursor.column - position.column, '\b');
    m_cursor = position;
}

void Screen::WriteCell(const Cell& cell) {
    SetStyle(cell.style);
    m_bytes += cell.text;
    m_cursor.column += cell.width;
}

void Screen::SetStyle(Style style) {
    if (style == m_style) return;
    if (m_style != Style::Plain && style != Style::Plain) m_bytes += CodeOf(Style::Plain);
    m_bytes += CodeOf(style);
    m_style = style;
}

void Screen::Flush() {
    SetStyle(Style::Plain);
    if (!m_bytes.empty()) m_terminal.Write(m_bytes);
    m_bytes.clear();
}

void Screen::Leave() {
    m_bytes += '\n';
    Flush();
    Begin();
}

void Screen::Clear() {
    m_bytes += "\033[H\033[2J";
    Begin();
}

/// Where the cursor is in the picture after the terminal has rewrapped its rows.
Screen::Position Screen::FindRewrapped(std::size_t columns) const {
    std::size_t first = m_cursor.row;
    while (first > 0 && m_rows[first - 1].isContinued) --first;
    Position position{first, 0};
    for (std::size_t row = first; row <= m_cursor.row; ++row) {
        std::size_t column = 0;
        for (const Cell& cell : m_rows[row].cells) {
            if (row == m_cursor.row && column == m_cursor.column) break;
            column += cell.width;
            if (position.column + cell.width > columns) position = {position.row + 1, 0};
            position.column += cell.width;
        }
    }
    return position;
}

void Screen::ClearResized(std::optional<std::size_t> column) {
    const std::size_t columns = m_terminal.GetSize().columns;
    Position rewrapped = FindRewrapped(columns);
    const bool staysInRow = columns > 1 && column == columns - 1;
    if (rewrapped.column >= columns)
        rewrapped = staysInRow ? Position{rewrapped.row, columns - 1} : Position{rewrapped.row + 1, 0};
    const bool isRewrapped = !column || *column == rewrapped.column;
    const std::size_t rows = isRewrapped ? rewrapped.row : m_cursor.row; // the cursor stops at the first row by itself
    if (rows > 0) m_bytes += "\033[" + std::to_string(rows) + "A";
    m_bytes += "\r\033[J";
    Begin();
}

} // namespace Quarn
