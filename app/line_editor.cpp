#include "app/line_editor.h"

#ifndef ORBEL_LINE_EDITING

namespace Quarn {

std::unique_ptr<LineInput> OpenLineEditor(State&) { return nullptr; }

} // namespace Quarn

#else

// The library draws the line and knows the keys. What it lacks is added as actions that keys are bound to:
//
// - Pasted text is inserted in one piece, and each of its lines is answered before the next one is shown.
// - Going through the history and searching it. The library would save only the first thousand characters of the line
//   that is left for it, and take what is wanted for a regular expression, in which "*" and "[" are special.
// - Completion, Ctrl-C, Ctrl-D and Ctrl-Z.
//
// An action cannot have the line drawn and then go on. Where it has to, it puts a key before all others that calls
// another action.

#include <algorithm>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string_view>
#include <vector>

#include <histedit.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "app/history.h"
#include "app/key_reader.h"
#include "app/prompt_buffer.h"
#include "app/recall.h"
#include "app/terminal.h"
#include "app/wide_text.h"
#include "quarn/interpreter/state.h"

namespace Quarn {

namespace {

winsize SizeOfTerminal() {
    winsize window{};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &window);
    return window;
}

std::size_t WidthOfTerminal() { return SizeOfTerminal().ws_col; }

class LineEditor : public LineInput {
public:
    explicit LineEditor(State& state) : m_state(state) {}
    ~LineEditor() override;

    /// False if lines cannot be edited on this terminal.
    bool Open();

    Got ReadLine(std::string& line) override;
    Got ReadAnswer(std::string& line) override;
    std::istream& GetAnswers() override { return m_answers; }
    std::ostream& GetOutput() override { return m_output; }
    const std::atomic<bool>* GetInterrupt() const override { return &m_terminal.GetInterrupt(); }
    void AnswerInterrupt() override;

private:
    /// What the library should do after an action, CC_REFRESH and the like.
    using Next = unsigned char;
    struct Binding {
        const wchar_t* action;
        Next (*call)(EditLine*, wint_t);
        std::vector<std::wstring> keys;
    };
    template <Next (LineEditor::*Action)()> static Next Call(EditLine* editor, wint_t);
    static LineEditor& Of(EditLine* editor);
    static int ReadKey(EditLine* editor, wchar_t* key);
    static wchar_t* GetPrompt(EditLine* editor) { return Of(editor).m_shownPrompt.data(); }

    void BindKeys();
    Got Read(std::string& line);
    void SetPrompt(std::string_view prompt);
    void Redraw();
    bool IsTall() const;
    bool IsTyped(wchar_t key);

    std::wstring_view GetLine() const;
    std::size_t GetCursor() const;
    void MoveTo(std::size_t cursor) { el_cursor(m_editor, static_cast<int>(cursor) - static_cast<int>(GetCursor())); }
    void SetLine(const std::wstring& line);

    Next Drop();
    Next DeleteOrEnd();
    Next Suspend();
    Next Paste();
    Next InsertTyped();
    Next Ignore() { return CC_NORM; }

    /// Puts another line in the place of this one, if `move` finds one.
    template <class Move> bool Replace(const Move& move);
    Next GoBack();
    Next GoForward();
    Next GoBackWithPrefix();
    Next GoForwardWithPrefix();
    Next Search();
    wchar_t SearchWith(wchar_t key);
    Next ShowSearch();

    Next Complete();
    Next ListCandidates();

    State& m_state;
    Terminal m_terminal;
    KeyReader m_keys{m_terminal};
    AnswerBuffer m_answerBuffer{*this};
    std::istream m_answers{&m_answerBuffer};
    PromptBuffer m_outputBuffer;
    std::ostream m_output{&m_outputBuffer};
    EditLine* m_editor = nullptr;
    std::FILE* m_nowhere = nullptr; ///< for the error messages of the library

    bool m_isVi = false;
    bool m_isBehindEscape = false;
    std::wstring m_typed; ///< the character that is inserted next

    std::wstring m_prompt;
    std::wstring m_shownPrompt; ///< another one while the history is searched
    bool m_isAnswer = false;
    bool m_isDropped = false; ///< by Ctrl-C, the line last read

    History m_history{History::DefaultFile()};
    Recall m_recall{m_history};

    std::vector<s_str> m_candidates;
    std::size_t m_cursorBefore = 0; ///< before they are listed
    std::size_t m_lastTab = 0;      ///< the count of keys
};

LineEditor& LineEditor::Of(EditLine* editor) {
    void* self = nullptr;
    el_wget(editor, EL_CLIENTDATA, &self);
    return *static_cast<LineEditor*>(self);
}

// Exceptions must not pass through the library.

template <LineEditor::Next (LineEditor::*Action)()> LineEditor::Next LineEditor::Call(EditLine* editor, wint_t) {
    try {
        return (Of(editor).*Action)();
    } catch (const std::exception&) {
        return CC_ERROR;
    }
}

int LineEditor::ReadKey(EditLine* editor, wchar_t* key) {
    LineEditor& self = Of(editor);
    try {
        do {
            if (!self.m_keys.Read(*key)) return 0;
            if (*key == WindowChanged) self.Redraw();
        } while (*key == WindowChanged);
        if (self.m_recall.IsSearching()) *key = self.SearchWith(*key);
        if (self.IsTyped(*key) && self.IsTall()) {
            self.m_typed = *key;
            *key = Typed;
        }
    } catch (const std::exception&) {
        *key = CtrlC;
    }
    return 1;
}

bool LineEditor::Open() {
    // The library asks the locale how characters are shown. Terminals show UTF-8.
    if (!std::setlocale(LC_CTYPE, "C.UTF-8")) std::setlocale(LC_CTYPE, "");
    m_nowhere = std::fopen("/dev/null", "we");
    m_editor = m_nowhere ? el_init("orbel", stdin, stdout, m_nowhere) : nullptr;
    if (!m_editor) return false;
    char up[] = "up";
    char* moveUp = nullptr;
    el_get(m_editor, EL_GETTC, up, &moveUp);
    if (!moveUp) return false; // a line that wraps could not be drawn again
    el_wset(m_editor, EL_CLIENTDATA, this);
    el_wset(m_editor, EL_PROMPT, GetPrompt);
    el_wset(m_editor, EL_GETCFN, ReadKey);
    // While a statement runs, keys wait unseen, and Ctrl-C is a signal. While a line is edited, it is a key.
    // The ends of pasted lines stay what they are.
    el_wset(m_editor, EL_SETTY, L"-x", L"-icanon", L"-echo", L"+noflsh", L"-icrnl", L"-inlcr", nullptr);
    el_wset(m_editor, EL_SETTY, L"-d", L"-isig", L"-icrnl", L"-inlcr", nullptr);
    el_wset(m_editor, EL_EDITOR, L"emacs");
    BindKeys();
    return true;
}

LineEditor::~LineEditor() {
    if (m_editor) {
        el_wset(m_editor, EL_EDITMODE, 0); // or else what is typed already would be dropped
        el_end(m_editor);
    }
    if (m_nowhere) std::fclose(m_nowhere);
}

void LineEditor::BindKeys() {
    el_source(m_editor, nullptr); // the user's own keys, or the ones of vi
    el_wset(m_editor, EL_EDITMODE, 1);
    const wchar_t* map = nullptr;
    m_isVi = el_wget(m_editor, EL_EDITOR, &map) == 0 && map && map == std::wstring_view(L"vi");
    m_keys.SetEscapeIsKey(m_isVi);
    // The keys that send sequences come as one character (`Key`).
    for (const wchar_t* const begin : {L"\033[", L"\033O"}) el_wset(m_editor, EL_BIND, L"-r", begin, nullptr);
    const std::initializer_list<Binding> bindings = {
        {L"ed-prev-char", nullptr, {{Left}}},
        {L"ed-next-char", nullptr, {{Right}}},
        {L"ed-prev-word", nullptr, {{WordLeft}}},
        {L"em-next-word", nullptr, {{WordRight}}},
        {L"ed-move-to-beg", nullptr, {{Home}}},
        {L"ed-move-to-end", nullptr, {{End}}},
        {L"ed-delete-next-char", nullptr, {{DeleteForward}}},
        {L"ed-delete-prev-word", nullptr, {L"\027", L"\033\177"}},
        {L"vi-kill-line-prev", nullptr, {L"\025"}},
        {L"orbel-previous", Call<&LineEditor::GoBack>, {{Up}, L"\020"}},
        {L"orbel-next", Call<&LineEditor::GoForward>, {{Down}, L"\016"}},
        {L"orbel-previous-prefix", Call<&LineEditor::GoBackWithPrefix>, {{PageUp}, L"\033p"}},
        {L"orbel-next-prefix", Call<&LineEditor::GoForwardWithPrefix>, {{PageDown}, L"\033n"}},
        {L"orbel-search", Call<&LineEditor::Search>, {L"\022"}},
        {L"orbel-search-changed", Call<&LineEditor::ShowSearch>, {{SearchChanged}}},
        {L"orbel-complete", Call<&LineEditor::Complete>, {L"\t"}},
        {L"orbel-candidates", Call<&LineEditor::ListCandidates>, {{Candidates}}},
        {L"orbel-insert", Call<&LineEditor::InsertTyped>, {{Typed}}},
        {L"orbel-paste", Call<&LineEditor::Paste>, {{MoreToPaste}}},
        {L"orbel-drop", Call<&LineEditor::Drop>, {L"\003"}},
        {L"orbel-delete-or-end", Call<&LineEditor::DeleteOrEnd>, {L"\004"}},
        {L"orbel-suspend", Call<&LineEditor::Suspend>, {L"\032"}},
        // The library's own prompt, sequences that would swallow Ctrl-C, and a way to type a line end.
        {L"orbel-ignore", Call<&LineEditor::Ignore>, {L"\033x", L"\033X", L"\030", L"\026"}},
    };
    for (const Binding& binding : bindings) {
        if (binding.call) el_wset(m_editor, EL_ADDFN, binding.action, L"", binding.call);
        for (const std::wstring& key : binding.keys) {
            const bool isAlt = key.front() == Escape;
            if (m_isVi && isAlt) continue;
            el_wset(m_editor, EL_BIND, key.c_str(), binding.action, nullptr);
            if (m_isVi) el_wset(m_editor, EL_BIND, L"-a", key.c_str(), binding.action, nullptr);
        }
    }
    if (!m_isVi) return;
    el_wset(m_editor, EL_BIND, L"\033", L"vi-command-mode", nullptr); // no sequences begin with it now
    el_wset(m_editor, EL_BIND, L"-a", L"k", L"orbel-previous", nullptr);
    el_wset(m_editor, EL_BIND, L"-a", L"j", L"orbel-next", nullptr);
    el_wset(m_editor, EL_BIND, L"-a", L":", L"orbel-ignore", nullptr);
}

void LineEditor::SetPrompt(std::string_view prompt) {
    m_prompt.clear();
    for (const wchar_t character : ToWide(prompt)) {
        constexpr std::size_t TabWidth = 8;
        if (character == L'\t') m_prompt.resize((m_prompt.size() / TabWidth + 1) * TabWidth, L' ');
        else m_prompt += character;
    }
    m_shownPrompt = m_prompt;
    // The library cannot draw tabs. What it draws covers the prompt as it is.
    if (prompt.find('\t') != std::string_view::npos && m_prompt.size() < WidthOfTerminal())
        std::fprintf(stdout, "%.*s\r", static_cast<int>(prompt.size()), prompt.data());
}

LineInput::Got LineEditor::Read(std::string& line) {
    line.clear();
    SetPrompt(m_outputBuffer.TakePrompt());
    m_isDropped = false;
    m_isBehindEscape = false;
    m_recall.Begin();
    m_terminal.WaitForOutput();
    std::fflush(stdout);
    m_terminal.MarkPastes(true);
    el_wset(m_editor, EL_PREP_TERM, 1); // the prompt means that keys can be typed
    int count = 0;
    const wchar_t* const text = el_wgets(m_editor, &count);
    std::fflush(stdout);
    m_terminal.MarkPastes(false);
    if (!text || count <= 0) return Got::End;
    if (m_isDropped) return Got::Nothing;
    line = ToBytes({text, static_cast<std::size_t>(count) - 1});
    return Got::Line;
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

/// Whether the line may take all rows of the window. The library writes outside of its memory if it adds a character to
/// such a line without drawing all of it. So those are inserted here.
bool LineEditor::IsTall() const {
    constexpr std::size_t CellsPerCharacter = 2;
    const winsize window = SizeOfTerminal();
    const std::size_t cells = CellsPerCharacter * (m_shownPrompt.size() + GetLine().size() + 1);
    return cells + window.ws_col >= std::size_t{window.ws_row} * window.ws_col;
}

/// Whether the key stands for itself. Behind Escape it does not: with the keys of vi up to one that begins to insert.
bool LineEditor::IsTyped(wchar_t key) {
    const bool isCharacter = (key >= L' ' && key < Delete) || key >= FirstPrintable;
    const bool isTyped = isCharacter && !m_isBehindEscape;
    const bool stays =
        m_isVi && m_isBehindEscape && std::wstring_view(L"aAcCiIrRsS").find(key) == std::wstring_view::npos;
    m_isBehindEscape = key == Escape || stays;
    return isTyped;
}

LineEditor::Next LineEditor::InsertTyped() {
    el_winsertstr(m_editor, m_typed.c_str());
    return CC_REFRESH;
}

std::wstring_view LineEditor::GetLine() const {
    const LineInfoW* const line = el_wline(m_editor);
    return {line->buffer, static_cast<std::size_t>(line->lastchar - line->buffer)};
}

std::size_t LineEditor::GetCursor() const {
    const LineInfoW* const line = el_wline(m_editor);
    return static_cast<std::size_t>(line->cursor - line->buffer);
}

void LineEditor::SetLine(const std::wstring& line) {
    MoveTo(GetLine().size());
    el_wdeletestr(m_editor, static_cast<int>(GetLine().size()));
    el_winsertstr(m_editor, line.c_str());
}

LineEditor::Next LineEditor::Drop() {
    m_terminal.Interrupt();
    m_isDropped = true;
    MoveTo(GetLine().size());
    el_winsertstr(m_editor, L"^C");
    m_keys.Push(Return);
    return CC_REFRESH;
}

LineEditor::Next LineEditor::DeleteOrEnd() {
    if (GetLine().empty()) {
        el_winsertstr(m_editor, m_isAnswer ? L"n" : L"q");
        m_keys.Push(Return);
        return CC_REFRESH;
    }
    const std::size_t cursor = GetCursor();
    if (cursor == GetLine().size()) return CC_ERROR;
    MoveTo(cursor + 1);
    el_wdeletestr(m_editor, 1);
    return CC_REFRESH;
}

LineEditor::Next LineEditor::Suspend() {
    m_terminal.Suspend();
    el_wset(m_editor, EL_REFRESH);
    return CC_NORM;
}

/// Draws the line again from its first row on. Terminals break it anew when their width changes, so that says where the
/// row is.
void LineEditor::Redraw() {
    std::size_t columns = m_shownPrompt.size();
    for (const wchar_t character : GetLine().substr(0, GetCursor()))
        columns += static_cast<std::size_t>(std::max(0, wcwidth(character)));
    const std::size_t rows = columns / std::max<std::size_t>(1, WidthOfTerminal());
    if (rows > 0) std::fprintf(stdout, "\033[%zuA", rows);
    std::fputs("\r\033[J", stdout);
    if (m_terminal.EditsLines()) { // somebody else has set its modes
        el_wset(m_editor, EL_PREP_TERM, 0);
        el_wset(m_editor, EL_PREP_TERM, 1);
    }
    el_resize(m_editor);
    el_wset(m_editor, EL_REFRESH);
}

LineEditor::Next LineEditor::Paste() {
    const KeyReader::Pasted pasted = m_keys.ReadPasted();
    el_winsertstr(m_editor, pasted.text.c_str());
    if (pasted.endsLine) m_keys.Push(Return);
    return CC_REFRESH;
}

template <class Move> bool LineEditor::Replace(const Move& move) {
    if (m_isAnswer) return false;
    std::wstring line(GetLine());
    if (!move(line)) return false;
    SetLine(line);
    return true;
}

LineEditor::Next LineEditor::GoBack() {
    return Replace([&](std::wstring& line) { return m_recall.GoBack(line); }) ? CC_REFRESH : CC_ERROR;
}

LineEditor::Next LineEditor::GoForward() {
    return Replace([&](std::wstring& line) { return m_recall.GoForward(line); }) ? CC_REFRESH : CC_ERROR;
}

LineEditor::Next LineEditor::GoBackWithPrefix() {
    const std::size_t cursor = GetCursor();
    if (!Replace([&](std::wstring& line) { return m_recall.GoBackWithPrefix(line, cursor); })) return CC_ERROR;
    MoveTo(cursor);
    return CC_REFRESH;
}

LineEditor::Next LineEditor::GoForwardWithPrefix() {
    const std::size_t cursor = GetCursor();
    if (!Replace([&](std::wstring& line) { return m_recall.GoForwardWithPrefix(line, cursor); })) return CC_ERROR;
    MoveTo(cursor);
    return CC_REFRESH;
}

LineEditor::Next LineEditor::Search() {
    if (m_isAnswer) return CC_ERROR;
    m_recall.BeginSearch();
    return ShowSearch();
}

/// Changes the search as the key says. Any other key ends the search, and then does what it always does.
wchar_t LineEditor::SearchWith(wchar_t key) {
    Replace([&](std::wstring& line) {
        if (key == CtrlR) return m_recall.SearchFurther(line);
        if (key == CtrlG) return m_recall.GiveUp(line);
        if (key == Backspace || key == Delete) return m_recall.Shorten(line);
        if (key >= FirstPrintable || (key >= L' ' && key < Delete)) return m_recall.Extend(key, line);
        m_recall.EndSearch();
        m_keys.Push(key);
        return false;
    });
    return SearchChanged;
}

LineEditor::Next LineEditor::ShowSearch() {
    m_shownPrompt = m_recall.IsSearching() ? m_recall.GetSearchPrompt() : m_prompt;
    return CC_REFRESH;
}

LineEditor::Next LineEditor::Complete() {
    if (m_isAnswer) return CC_NORM;
    const std::string before = ToBytes(GetLine().substr(0, GetCursor()));
    Completions completions = m_state.Complete(before + ToBytes(GetLine().substr(GetCursor())), before.size());
    if (completions.candidates.empty()) return CC_NORM;
    std::string_view common = completions.candidates.front();
    for (const s_str& candidate : completions.candidates) {
        const auto [end, ignored] = std::ranges::mismatch(common, candidate.View());
        common = common.substr(0, static_cast<std::size_t>(end - common.begin()));
    }
    const bool isSecond = m_keys.GetCount() == m_lastTab + 1;
    m_lastTab = m_keys.GetCount();
    const std::size_t typed = before.size() - completions.begin;
    if (common.size() > typed) {
        el_winsertstr(m_editor, ToWide(common.substr(typed)).c_str());
        return CC_REFRESH;
    }
    if (!isSecond || completions.candidates.size() == 1) return CC_NORM;
    m_candidates = std::move(completions.candidates);
    m_cursorBefore = GetCursor();
    MoveTo(GetLine().size());
    m_keys.Push(Candidates);
    return CC_REFRESH;
}

/// Lists them below the line, in columns that are read downwards.
LineEditor::Next LineEditor::ListCandidates() {
    constexpr std::size_t MostListed = 500;
    const std::size_t count = std::min(m_candidates.size(), MostListed);
    std::size_t width = 0;
    for (const s_str& candidate : m_candidates) width = std::max(width, candidate.View().size() + 2);
    const std::size_t columns = std::max<std::size_t>(1, WidthOfTerminal() / width);
    const std::size_t rows = (count + columns - 1) / columns;
    for (std::size_t row = 0; row < rows; ++row) {
        std::fputs("\n", stdout);
        for (std::size_t i = row; i < count; i += rows) {
            std::string text = m_candidates[i].Get();
            if (i + rows < count) text.resize(width, ' ');
            std::fputs(text.c_str(), stdout);
        }
    }
    if (m_candidates.size() > count) std::fprintf(stdout, "\n... and %zu more", m_candidates.size() - count);
    std::fputs("\n", stdout);
    m_candidates.clear();
    m_lastTab = m_keys.GetCount();
    MoveTo(m_cursorBefore);
    el_wset(m_editor, EL_REFRESH);
    return CC_NORM;
}

} // namespace

std::unique_ptr<LineInput> OpenLineEditor(State& state) {
    const char* const kind = std::getenv("TERM");
    if (!Terminal::IsPresent() || isatty(STDOUT_FILENO) != 1 || !kind || !*kind || kind == std::string_view("dumb"))
        return nullptr;
    auto editor = std::make_unique<LineEditor>(state);
    if (!editor->Open()) return nullptr;
    return editor;
}

} // namespace Quarn

#endif
