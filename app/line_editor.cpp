#include "app/line_editor.h"

#include <algorithm>
#include <cstdlib>
#include <new>
#include <utility>

#include <unistd.h>

#include "app/utf8.h"
#include "quarn/interpreter/state.h"

namespace Quarn {

namespace {

/// What stands for the character in the language, if it is one that texts elsewhere have.
char32_t AsInLanguage(char32_t character) {
    switch (character) {
    case U'\u2212': return U'-'; // minus sign
    case U'\u00D7':              // multiplication sign
    case U'\u00B7':              // middle dot
    case U'\u22C5': return U'*'; // dot operator
    case U'\u00F7': return U'/'; // division sign
    case U'\u00A0':              // no-break spaces
    case U'\u202F': return U' ';
    default: return character;
    }
}

} // namespace

// In the order of the manual, which has the same table.
const LineEditor::Binding LineEditor::Bindings[] = {
    {{Left, Ctrl('B')}, &LineEditor::Edit<&Line::MoveLeft>},
    {{Right, Ctrl('F')}, &LineEditor::MoveRight},
    {{WordLeft, Alt('b')}, &LineEditor::Edit<&Line::MoveWordLeft>},
    {{WordRight, Alt('f')}, &LineEditor::Edit<&Line::MoveWordRight>},
    {{Home, Ctrl('A')}, &LineEditor::Edit<&Line::MoveToBegin>},
    {{End, Ctrl('E')}, &LineEditor::MoveToEnd},
    {{Backspace, Ctrl('H')}, &LineEditor::Edit<&Line::DeleteBefore>},
    {{Delete}, &LineEditor::Edit<&Line::DeleteBehind>},
    {{Ctrl('W'), Alt(Backspace)}, &LineEditor::Edit<&Line::KillWordBefore>},
    {{Alt('d')}, &LineEditor::Edit<&Line::KillWordBehind>},
    {{Ctrl('U')}, &LineEditor::Edit<&Line::KillToBegin>},
    {{Ctrl('K')}, &LineEditor::Edit<&Line::KillToEnd>},
    {{Ctrl('Y')}, &LineEditor::Edit<&Line::Yank>},
    {{Alt('y')}, &LineEditor::Edit<&Line::YankOlder>},
    {{Ctrl('T')}, &LineEditor::Edit<&Line::Transpose>},
    {{Ctrl('_')}, &LineEditor::Edit<&Line::Undo>},
    {{Up, Ctrl('P')}, &LineEditor::GoBack},
    {{Down, Ctrl('N')}, &LineEditor::GoForward},
    {{PageUp, Alt('p')}, &LineEditor::GoBackWithPrefix},
    {{PageDown, Alt('n')}, &LineEditor::GoForwardWithPrefix},
    {{Ctrl('R')}, &LineEditor::Search},
    {{Ctrl('I')}, &LineEditor::Complete},
    {{Alt('a')}, &LineEditor::SwitchAdvice},
    {{Return, Ctrl('J')}, &LineEditor::Enter},
    {{Ctrl('C')}, &LineEditor::Drop},
    {{Ctrl('D')}, &LineEditor::DeleteOrEnd},
    {{Ctrl('L')}, &LineEditor::ClearWindow},
    {{Ctrl('Z')}, &LineEditor::Suspend},
    {{Paste}, &LineEditor::InsertPasted},
};

LineInput::Got LineEditor::Read(std::string& line) {
    line.clear();
    m_prompt = FromUtf8(m_outputBuffer.TakePrompt());
    m_isDropped = m_isAfterTab = false;
    m_got.reset();
    m_line.Begin();
    m_recall.Begin();
    m_advisor.Begin();
    const struct Editing {
        Terminal& terminal;
        explicit Editing(Terminal& edited) : terminal(edited) { terminal.BeginEditing(); }
        ~Editing() { terminal.EndEditing(); }
    } editing(m_terminal);
    m_screen.Begin();
    while (!m_got) {
        if (!m_keys.HasMore()) Draw();
        Key key = 0;
        if (!m_keys.Read(key)) return Got::End;
        Handle(key);
    }
    const std::u32string text = m_line.GetText() + (m_isDropped ? U"^C" : U"");
    Show({m_prompt, text, text.size()});
    m_screen.Leave();
    if (m_got == Got::Line) line = ToUtf8(text);
    return *m_got;
}

LineInput::Got LineEditor::ReadLine(std::string& line) {
    m_isAnswer = false;
    const Got got = Read(line);
    // What ends a session would end the next one by Up and Enter.
    if (got != Got::Line || line.empty() || line == "q" || line == "exit") return got;
    try {
        m_history.Add(line);
    } catch (const std::bad_alloc&) { // the line itself is there
    }
    return got;
}

LineInput::Got LineEditor::ReadAnswer(std::string& line) {
    m_isAnswer = true;
    return Read(line);
}

void LineEditor::AnswerInterrupt() {
    const bool cameMeanwhile = m_terminal.GetInterrupt() && !m_isDropped;
    m_terminal.AnswerInterrupt();
    if (cameMeanwhile) m_keys.Drop();
}

void LineEditor::Handle(Key key) {
    if (key == Resized) return; // it is drawn before the next key
    if (key == Continued) return Continue();
    m_wasAfterTab = std::exchange(m_isAfterTab, false);
    if (m_recall.IsSearching() && SearchWith(key)) return;
    const auto isBound = [&](const Binding& binding) {
        return std::ranges::find(binding.keys, key) != binding.keys.end();
    };
    const auto binding = std::ranges::find_if(Bindings, isBound);
    if (binding != std::end(Bindings)) {
        (this->*binding->action)();
    } else if (IsCharacter(key)) {
        key = AsInLanguage(key);
        m_line.Insert({&key, 1});
    }
    m_suggestion.clear(); // that of the line as it was shown
}

void LineEditor::Draw() {
    m_below.clear();
    m_searchPrompt = m_recall.IsSearching() ? m_recall.GetSearchPrompt() : std::u32string();
    const std::u32string& line = m_line.GetText();
    m_picture = {m_recall.IsSearching() ? m_searchPrompt : m_prompt, line, m_line.GetCursor()};
    if (m_advises && !m_isAnswer && !m_recall.IsSearching()) {
        if (m_line.IsAtEnd()) m_suggestion = m_recall.Suggest(line);
        Advisor::Advice advice = m_advisor.Advise(line, m_line.GetCursor());
        if (!advice.answer.empty()) m_below = std::u32string(m_prompt.size(), U' ') + advice.answer;
        m_picture.marks = std::move(advice.marks);
        m_picture.behind = m_suggestion;
        m_picture.below = m_below;
    }
    Show(m_picture);
}

/// Shows it in the window as it is now.
void LineEditor::Show(const Picture& picture) {
    if (m_screen.IsResized()) m_screen.ClearResized(m_keys.AskColumn());
    m_screen.Show(picture);
}

/// Goes on after a stop. The cursor is below the picture then.
void LineEditor::Continue() {
    m_terminal.BeginEditing(); // somebody else may have set its modes
    m_screen.Begin();
}

void LineEditor::Drop() {
    m_terminal.Interrupt();
    m_isDropped = true;
    m_got = Got::Nothing;
}

void LineEditor::DeleteOrEnd() {
    if (!m_line.GetText().empty()) return m_line.DeleteBehind();
    m_line.Insert(m_isAnswer ? U"n" : U"q");
    Enter();
}

void LineEditor::InsertPasted() {
    KeyReader::Pasted pasted = m_keys.ReadPasted();
    std::ranges::transform(pasted.text, pasted.text.begin(), AsInLanguage);
    m_line.Insert(pasted.text);
    if (pasted.isInterrupted) Drop();
    else if (pasted.endsLine) Enter();
}

void LineEditor::MoveRight() {
    TakeSuggestion();
    m_line.MoveRight();
}

void LineEditor::MoveToEnd() {
    TakeSuggestion();
    m_line.MoveToEnd();
}

/// Inserts what is suggested behind the line. It is there only while the cursor is at the end.
void LineEditor::TakeSuggestion() { m_line.Insert(std::exchange(m_suggestion, {})); }

template <class Find> bool LineEditor::Recalls(const Find& find) {
    if (m_isAnswer) return false;
    std::u32string line = m_line.GetText();
    if (!find(line)) return false;
    m_line.Begin(std::move(line));
    return true;
}

void LineEditor::GoBack() {
    Recalls([&](std::u32string& line) { return m_recall.GoBack(line, m_line.GetCursor()); });
}

void LineEditor::GoForward() {
    Recalls([&](std::u32string& line) { return m_recall.GoForward(line); });
}

void LineEditor::GoBackWithPrefix() {
    const std::size_t cursor = m_line.GetCursor();
    if (Recalls([&](std::u32string& line) { return m_recall.GoBackWithPrefix(line, cursor); })) m_line.MoveTo(cursor);
}

void LineEditor::GoForwardWithPrefix() {
    const std::size_t cursor = m_line.GetCursor();
    if (Recalls([&](std::u32string& line) { return m_recall.GoForwardWithPrefix(line, cursor); }))
        m_line.MoveTo(cursor);
}

void LineEditor::Search() {
    if (!m_isAnswer) m_recall.BeginSearch();
}

/// Changes the search as the key says. Any other key ends the search, and then does what it always does.
bool LineEditor::SearchWith(Key key) {
    Recalls([&](std::u32string& line) {
        if (key == Ctrl('R')) return m_recall.SearchFurther(line);
        if (key == Ctrl('G')) return m_recall.GiveUp(line);
        if (key == Backspace || key == Ctrl('H')) return m_recall.Shorten(line);
        if (IsCharacter(key)) return m_recall.Extend(key, line);
        m_recall.EndSearch();
        return false;
    });
    return m_recall.IsSearching() || key == Ctrl('G');
}

void LineEditor::Complete() {
    if (m_isAnswer) return;
    const std::string before = ToUtf8(m_line.GetBeforeCursor());
    const Completions completions = m_state.Complete(ToUtf8(m_line.GetText()), before.size());
    if (completions.candidates.empty()) return;
    std::string_view common = completions.candidates.front();
    for (const s_str& candidate : completions.candidates) {
        const auto [end, ignored] = std::ranges::mismatch(common, candidate.View());
        common = common.substr(0, static_cast<std::size_t>(end - common.begin()));
    }
    const std::size_t typed = before.size() - completions.begin;
    if (common.size() > typed) m_line.Insert(FromUtf8(common.substr(typed)));
    else if (m_wasAfterTab && completions.candidates.size() > 1) List(completions.candidates);
    m_isAfterTab = true;
}

/// Lists them below the line, in columns that are read downwards.
void LineEditor::List(const std::vector<s_str>& candidates) {
    constexpr std::size_t MostListed = 500;
    const std::size_t count = std::min(candidates.size(), MostListed);
    std::size_t width = 0;
    for (const s_str& candidate : candidates) width = std::max(width, candidate.View().size() + 2);
    const std::size_t columns = std::max<std::size_t>(1, m_terminal.GetSize().columns / width);
    const std::size_t rows = (count + columns - 1) / columns;
    std::string list;
    for (std::size_t row = 0; row < rows; ++row) {
        for (std::size_t i = row; i < count; i += rows) {
            std::string text = candidates[i].Get();
            if (i + rows < count) text.resize(width, ' ');
            list += text;
        }
        list += '\n';
    }
    if (candidates.size() > count) list += "... and " + std::to_string(candidates.size() - count) + " more\n";
    Show({m_prompt, m_line.GetText(), m_line.GetText().size()});
    m_screen.Leave();
    m_terminal.Write(list);
}

std::unique_ptr<LineInput> OpenLineEditor(State& state) {
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return std::string_view(value ? value : "");
    };
    const std::string_view kind = variable("TERM");
    const bool canEdit = Terminal::IsPresent() && isatty(STDOUT_FILENO) == 1 && !kind.empty() && kind != "dumb";
    return canEdit ? std::make_unique<LineEditor>(state, variable("NO_COLOR").empty()) : nullptr;
}

} // namespace Quarn
