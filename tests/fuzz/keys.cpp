// A fuzzer that types at the line editor. The terminal stands here, in place of the one of the system: after each key,
// it must show what the editor says, and nothing else may have been touched.

#include <array>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include <quarn/quarn.h>

#include "app/console.h"
#include "app/line_editor.h"
#include "app/utf8.h"
#include "quarn/interpreter/limits/limits.h"
#include "require.h"

namespace {

using namespace Quarn;

std::string WithoutEnd(const std::string& text) { return text.substr(0, text.find_last_not_of(' ') + 1); }

struct Row {
    std::vector<std::string> columns; ///< a wide character has the first of its two, the second is empty
    bool isContinued = false;         ///< by the terminal itself

    std::string GetWhole() const {
        std::string text;
        for (const std::string& column : columns) text += column;
        return text;
    }
    std::string GetText() const { return WithoutEnd(GetWhole()); }
};

/// A window that understands what the editor writes.
class Window {
public:
    std::size_t columns = 20;
    std::size_t rows = 6;
    std::vector<Row> lines{1}; ///< those that have left the window, too
    std::size_t row = 0;       ///< of the cursor, among the lines
    std::size_t column = 0;    ///< behind the last one, the next character begins another row
    std::string reply;

    std::size_t GetTop() const { return lines.size() > rows ? lines.size() - rows : 0; }

    void Write(std::string_view bytes) {
        m_unread += bytes;
        std::string_view rest = m_unread;
        while (!rest.empty() && Take(rest)) {
        }
        m_unread = rest;
    }

    void Resize(std::size_t newRows, std::size_t newColumns, bool rewraps) {
        if (newRows == rows && newColumns == columns) return;
        if (rewraps) Rewrap(newColumns);
        else CutOff(newColumns);
        columns = newColumns;
        rows = newRows;
        column = std::min(column, columns - 1);
        const auto isBlank = [](const Row& line) { return line.columns.empty(); };
        while (row < GetTop() || (row + 1 < lines.size() && isBlank(lines.back()))) lines.pop_back();
    }

private:
    void CutOff(std::size_t newColumns) {
        for (Row& line : lines) {
            line.columns.resize(std::min(line.columns.size(), newColumns));
            line.isContinued = false;
        }
    }
    /// As terminals that rewrap lines do. The cursor stays at its character.
    void Rewrap(std::size_t newColumns) {
        std::vector<Row> broken;
        std::size_t cursorRow = 0;
        std::size_t cursorColumn = 0;
        for (std::size_t i = 0; i < lines.size(); ++i) {
            if (i == 0 || !lines[i - 1].isContinued) broken.emplace_back();
            const auto makeRoom = [&](std::size_t width) {
                if (broken.back().columns.size() + width <= newColumns || broken.back().columns.empty()) return;
                broken.back().isContinued = true;
                broken.emplace_back();
            };
            const std::vector<std::string>& old = lines[i].columns;
            for (std::size_t k = 0; k <= std::max(old.size(), i == row ? column : 0); ++k) {
                if (i == row && k == column) {
                    makeRoom(1);
                    cursorRow = broken.size() - 1;
                    cursorColumn = broken.back().columns.size();
                }
                if (k >= old.size() || old[k].empty()) continue;
                const bool isWide = k + 1 < old.size() && old[k + 1].empty() && newColumns > 1;
                makeRoom(isWide ? 2 : 1);
                broken.back().columns.push_back(old[k]);
                if (isWide) broken.back().columns.emplace_back();
            }
        }
        lines = broken;
        row = cursorRow;
        column = std::min(cursorColumn, newColumns - 1);
    }

    bool Take(std::string_view& rest) {
        if (rest.starts_with("\033[")) {
            const std::size_t end = rest.find_first_not_of("0123456789;?", 2);
            if (end == std::string_view::npos) return false;
            Obey(rest[end], std::string(rest.substr(2, end - 2)));
            rest.remove_prefix(end + 1);
            return true;
        }
        char32_t character = 0;
        if (rest.front() == '\033' && rest.size() == 1) return false;
        if (!TakeCharacter(rest, character)) return false;
        if (character == U'\r') column = 0;
        else if (character == U'\n') Feed();
        else if (character == U'\b') column = column == columns ? columns - 1 : column > 0 ? column - 1 : 0;
        else if (character == U'\t') column = std::min((column / 8 + 1) * 8, columns - 1);
        else Put(character);
        return true;
    }

    void Obey(char command, const std::string& parameters) {
        const std::size_t count = parameters.empty() ? 1 : std::strtoul(parameters.c_str(), nullptr, 10);
        const std::size_t shown = std::min(column, columns - 1);
        switch (command) {
        case 'A': row = row - std::min(count, row - GetTop()); break;
        case 'B':
            Require(row + count < lines.size(), "a move below what was written");
            row += count;
            break;
        case 'C': column = std::min(shown + count, columns - 1); break;
        case 'D': column = shown - std::min(shown, count); break;
        case 'H': row = GetTop(), column = 0; break;
        case 'J':
            if (parameters.empty()) Erase();
            for (std::size_t i = parameters.empty() ? row + 1 : GetTop(); i < lines.size(); ++i) lines[i] = {};
            break;
        case 'K': Erase(); break;
        case 'm':
        case 'h':
        case 'l': break;
        case 'n': reply = "\033[" + std::to_string(row - GetTop() + 1) + ";" + std::to_string(shown + 1) + "R"; break;
        default: Require(false, "an unknown sequence");
        }
    }

    void Erase() {
        Row& line = lines[row];
        Require(column < columns, "erased at the end of a row");
        line.columns.resize(std::min(line.columns.size(), column));
        line.isContinued = false;
    }

    void Feed() {
        if (++row == lines.size()) lines.emplace_back();
        column = 0;
    }

    void Put(char32_t character) {
        const std::size_t width = WidthOf(character);
        if (width == 0) {
            std::size_t last = column;
            while (last > 0 && lines[row].columns[--last].empty()) {
            }
            lines[row].columns[last] += ToUtf8({&character, 1});
            return;
        }
        if (column + width > columns) {
            lines[row].isContinued = true;
            Feed();
        }
        Row& line = lines[row];
        if (line.columns.size() < column + width) line.columns.resize(column + width, " ");
        line.columns[column] = ToUtf8({&character, 1});
        for (std::size_t i = 1; i < width; ++i) line.columns[column + i].clear();
        column += width;
    }

    std::string m_unread;
};

/// What the editor should make of a picture, as plain as it can be said.
struct Expected {
    std::vector<std::string> rows{1};
    std::size_t cursorRow = 0;
    std::size_t cursorColumn = 0;
    std::size_t column = 0;

    Expected(const Picture& picture, std::size_t columns) {
        for (const char32_t character : picture.prompt) Put(character, columns);
        for (std::size_t i = 0; i < picture.line.size(); ++i) {
            if (i == picture.cursor) MarkCursor(picture.line[i], columns);
            Put(picture.line[i], columns);
        }
        if (picture.cursor == picture.line.size()) MarkCursor(U' ', columns);
        for (std::size_t i = 0; i < picture.behind.size(); ++i) {
            const char32_t next = ByteOf(picture.behind[i]) != 0 ? U' ' : picture.behind[i];
            const bool isLast = i + 1 == picture.behind.size();
            if (columns - column < FirstWidth(next, columns) + (isLast ? 0 : 1)) {
                PutOne("…", 1, columns);
                break;
            }
            Put(next, columns);
        }
        for (std::string& row : rows) row = WithoutEnd(row);
    }

private:
    static std::size_t FirstWidth(char32_t character, std::size_t columns) {
        return WidthOf(character) == 2 && columns > 1 ? 2 : 1;
    }
    void Break(std::size_t width, std::size_t columns) {
        if (column + width <= columns) return;
        rows.emplace_back();
        column = 0;
    }
    void MarkCursor(char32_t next, std::size_t columns) {
        Break(FirstWidth(next, columns), columns);
        cursorRow = rows.size() - 1;
        cursorColumn = column;
    }
    void PutOne(const std::string& text, std::size_t width, std::size_t columns) {
        Break(width, columns);
        rows.back() += text;
        column += width;
    }
    void Put(char32_t character, std::size_t columns) {
        std::array<char, 8> text{};
        if (ByteOf(character) != 0) {
            std::snprintf(text.data(), text.size(), "\\x%02x", ByteOf(character));
            for (const char c : std::string_view(text.data())) PutOne({c}, 1, columns);
        } else if (character == U'\t') {
            for (std::size_t i = 8 - column % 8; i > 0; --i) PutOne(" ", 1, columns);
        } else if (WidthOf(character) == 0) {
            rows.back() += ToUtf8({&character, 1});
        } else if (WidthOf(character) > columns) {
            PutOne("?", 1, columns);
        } else {
            PutOne(ToUtf8({&character, 1}), WidthOf(character), columns);
        }
    }
};

/// One run of the fuzzer.
struct Play {
    std::string_view data;
    Window window;
    const LineEditor* editor = nullptr;
    std::string queue;
    bool isIdle = false; ///< the editor waits for a key, and has drawn everything
    std::string above;
    bool mayChangeAbove = true;
    bool wasTooTall = false; ///< the picture, for the window: what has left it cannot be taken back
    bool hasEnded = false;
    std::atomic<bool> isInterrupted = false;

    unsigned Next() {
        if (data.empty()) return 0;
        const auto byte = static_cast<unsigned char>(data.front());
        data.remove_prefix(1);
        return byte;
    }

    void Check() {
        const Picture& picture = editor->GetPicture();
        const Expected expected(picture, window.columns);
        const auto RequireSeen = [&](bool holds, const char* what) {
            if (!holds) Print(expected);
            Require(holds, what);
        };
        const std::size_t top = window.GetTop();
        const std::size_t row = window.row - top;
        RequireSeen(window.column == expected.cursorColumn, "the cursor is in another column");
        RequireSeen(expected.rows.size() > window.rows || row >= expected.cursorRow, "the cursor is in another row");
        const std::size_t first = expected.cursorRow - std::min(row, expected.cursorRow); // that is shown
        for (std::size_t i = first; i < expected.rows.size(); ++i) {
            const std::size_t at = window.row + i - expected.cursorRow;
            if (at >= top + window.rows) break;
            RequireSeen(at < window.lines.size(), "a row is missing");
            RequireSeen(window.lines[at].GetText() == expected.rows[i], "a row is another one");
        }
        CheckAbove(window.row - (expected.cursorRow - first));
    }
    /// What stands above the picture stays.
    void CheckAbove(std::size_t pictureRow) {
        std::string now;
        for (std::size_t i = 0; i < pictureRow; ++i) {
            now += window.lines[i].GetWhole();
            if (!window.lines[i].isContinued) now = WithoutEnd(now) + "\n";
        }
        if (wasTooTall) mayChangeAbove = true;
        if (!mayChangeAbove && now != above) std::fprintf(stderr, "%s\ninstead of\n%s\n", now.c_str(), above.c_str());
        Require(mayChangeAbove || now == above, "something else was touched");
        above = now;
        mayChangeAbove = wasTooTall;
    }
    void Resize(std::size_t rows, std::size_t columns, bool rewraps) {
        const auto fits = [&](std::size_t inRows, std::size_t ofColumns) {
            const Picture& picture = editor->GetPicture();
            const std::size_t below = std::min(2 * picture.below.size(), window.columns) / ofColumns + 1;
            return Expected(picture, ofColumns).rows.size() + below <= inRows;
        };
        if (!fits(rows, columns) || !fits(window.rows, window.columns)) wasTooTall = true;
        if (!rewraps || rows < window.rows) mayChangeAbove = true;
        window.Resize(rows, columns, rewraps);
    }

    void Print(const Expected& expected) const {
        std::fprintf(stderr, "%zu rows of %zu columns, cursor %zu %zu:\n", window.rows, window.columns,
                     window.row - window.GetTop(), window.column);
        for (std::size_t i = window.GetTop(); i < window.lines.size(); ++i)
            std::fprintf(stderr, "|%s%s\n", window.lines[i].GetText().c_str(), window.lines[i].isContinued ? "\\" : "");
        std::fprintf(stderr, "instead of, cursor %zu %zu:\n", expected.cursorRow, expected.cursorColumn);
        for (const std::string& row : expected.rows) std::fprintf(stderr, "|%s\n", row.c_str());
    }
};

Play* Current = nullptr;

/// Passes on what is printed, with line ends as a terminal shows them.
class Printed : public std::streambuf {
    int_type overflow(int_type character) override {
        const char text = traits_type::to_char_type(character);
        Current->window.Write({&text, 1});
        return character;
    }
};

constexpr std::array<std::string_view, 52> Keys = {"1",
                                                   "+",
                                                   "(",
                                                   ")",
                                                   "<",
                                                   ">",
                                                   "[",
                                                   ";",
                                                   "=",
                                                   "a",
                                                   "b ",
                                                   "rand()",
                                                   "x &= ",
                                                   "atan(",
                                                   "v = <1, 2>",
                                                   "~",
                                                   "?",
                                                   "\xe6\xbc\xa2",
                                                   "e\xcc\x81",
                                                   "\xff",
                                                   "\xc3\x97",
                                                   "\t",
                                                   "\r",
                                                   "\033[A",
                                                   "\033[B",
                                                   "\033[C",
                                                   "\033[D",
                                                   "\033[H",
                                                   "\033[F",
                                                   "\033[1;5C",
                                                   "\033[1;5D",
                                                   "\033[5~",
                                                   "\033[6~",
                                                   "\033[3~",
                                                   "\x7f",
                                                   "\x01",
                                                   "\x05",
                                                   "\x0b",
                                                   "\x15",
                                                   "\x17",
                                                   "\x19",
                                                   "\033y",
                                                   "\x1f",
                                                   "\x14",
                                                   "\x12",
                                                   "\x07",
                                                   "\x03",
                                                   "\x0c",
                                                   "\033a",
                                                   "\033d",
                                                   "\033[200~1+1\r2*\xe2\x88\x92"
                                                   "1 \033[201~",
                                                   "\x04"};

} // namespace

namespace Quarn {

bool Terminal::IsPresent() { return true; }
Terminal::Terminal() = default;
Terminal::~Terminal() = default;

Terminal::Event Terminal::Read(std::string& bytes) {
    Play& play = *Current;
    if (play.isIdle && !play.hasEnded) play.Check();
    if (!play.queue.empty() || !play.window.reply.empty()) {
        bytes += play.queue + play.window.reply;
        play.queue.clear();
        play.window.reply.clear();
        play.isIdle = false;
        return Event::Input;
    }
    if (play.data.empty()) {
        play.hasEnded = true;
        return Event::Gone;
    }
    const unsigned choice = play.Next();
    if (choice < 4 && play.isIdle) { // not within a sequence
        const std::array<std::size_t, 8> sizes{1, 2, 3, 5, 8, 20, 40, 65'535};
        const std::size_t columns = sizes[play.Next() % sizes.size()];
        play.Resize(sizes[play.Next() % sizes.size()], columns, choice % 2 == 0);
        play.isIdle = false;
        return Event::Resized;
    }
    play.isIdle = false;
    if (choice == 4) {
        play.window.Write("\nfg\n");
        play.mayChangeAbove = true;
        return Event::Continued;
    }
    if (choice == 5) {
        play.isInterrupted = true;
        return Event::Interrupt;
    }
    const unsigned count = choice % 5 == 0 ? 1 + play.Next() % 40 : 1;
    const std::string_view key = Keys[choice % Keys.size()];
    for (unsigned i = 0; i < count; ++i) bytes += key;
    if (bytes.find_first_of("\t\f") != std::string::npos) play.mayChangeAbove = true; // a list, or a cleared window
    return Event::Input;
}

Terminal::Size Terminal::GetSize() const { return {Current->window.rows, Current->window.columns}; }
void Terminal::Write(std::string_view text) { Current->window.Write(text); }
void Terminal::Echo(std::string_view) {}
bool Terminal::HasInput(int milliseconds) const {
    const bool hasInput = !Current->queue.empty() || !Current->window.reply.empty();
    Current->isIdle = milliseconds == 0 && !hasInput;
    return hasInput;
}
void Terminal::BeginEditing() {
    Current->mayChangeAbove = true;
    Current->wasTooTall = false;
}
void Terminal::EndEditing() {}
void Terminal::SetRowsBelow(std::size_t) {}
void Terminal::Suspend() {}
const std::atomic<bool>& Terminal::GetInterrupt() const { return Current->isInterrupted; }
void Terminal::Interrupt() { Current->isInterrupted = true; }
void Terminal::AnswerInterrupt() { Current->isInterrupted = false; }

} // namespace Quarn

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    unsetenv("HOME"); // no history is kept
    unsetenv("XDG_STATE_HOME");
    Play play;
    play.data = {reinterpret_cast<const char*>(bytes), size};
    Current = &play;
    Printed printed;
    std::streambuf* const before = std::cout.rdbuf(&printed);
    {
        State state;
        Vector::Register(state);
        LineEditor editor(state, true);
        play.editor = &editor;
        state.GetLimits().SetStepBudget(20'000);
        while (!play.hasEnded) RunInteractive(state, editor);
    }
    std::cout.rdbuf(before);
    return 0;
}
