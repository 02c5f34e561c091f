#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "app/advisor.h"
#include "app/history.h"
#include "app/key_reader.h"
#include "app/line.h"
#include "app/line_input.h"
#include "app/prompt_buffer.h"
#include "app/recall.h"
#include "app/screen.h"
#include "quarn/core/s_str.h"

namespace Quarn {

/// Lines that are edited at a terminal, with a history, completion and advice.
class LineEditor : public LineInput {
public:
    /// The state must outlive it. Advice is shown in colours only.
    LineEditor(State& state, bool isColourful)
        : m_state(state), m_outputBuffer(isColourful), m_canAdvise(isColourful), m_advises(isColourful) {}

    Got ReadLine(std::string& line) override;
    Got ReadAnswer(std::string& line) override;
    std::istream& GetAnswers() override { return m_answers; }
    std::ostream& GetOutput() override { return m_output; }
    const std::atomic<bool>* GetInterrupt() const override { return &m_terminal.GetInterrupt(); }
    void AnswerInterrupt() override;

    /// What is shown while it waits for a key.
    const Picture& GetPicture() const { return m_picture; }

private:
    struct Binding {
        std::array<Key, 2> keys;
        void (LineEditor::*action)();
    };
    static const Binding Bindings[];
    template <void (Line::*Operation)()> void Edit() { (m_line.*Operation)(); }

    Got Read(std::string& line);
    void Handle(Key key);
    void Draw();
    void Show(const Picture& picture);
    void Continue();

    void Enter() { m_got = Got::Line; }
    void Drop();
    void DeleteOrEnd();
    void InsertPasted();
    void MoveRight();
    void MoveToEnd();
    void TakeSuggestion();
    void ClearWindow() { m_screen.Clear(); }
    void Suspend() { m_terminal.Suspend(); }
    void SwitchAdvice() { m_advises = m_canAdvise && !m_advises; }

    /// Puts another line in the place of this one, if `find` finds one.
    template <class Find> bool Recalls(const Find& find);
    void GoBack();
    void GoForward();
    void GoBackWithPrefix();
    void GoForwardWithPrefix();
    void Search();
    bool SearchWith(Key key);

    void Complete();
    void List(const std::vector<s_str>& candidates);

    State& m_state;
    Terminal m_terminal;
    KeyReader m_keys{m_terminal};
    Screen m_screen{m_terminal};
    AnswerBuffer m_answerBuffer{*this};
    std::istream m_answers{&m_answerBuffer};
    PromptBuffer m_outputBuffer;
    std::ostream m_output{&m_outputBuffer};

    Line m_line;
    std::u32string m_prompt;
    bool m_isAnswer = false;
    std::optional<Got> m_got; ///< once the line is done
    bool m_isDropped = false; ///< by Ctrl-C, the line last read
    bool m_isAfterTab = false;
    bool m_wasAfterTab = false; ///< before the key that is being handled

    History m_history{History::DefaultFile()};
    Recall m_recall{m_history};

    Advisor m_advisor{m_state};
    Picture m_picture; ///< of the line and of these
    std::u32string m_searchPrompt;
    std::u32string m_suggestion;
    std::u32string m_below;
    const bool m_canAdvise;
    bool m_advises;
};

/// Null if standard input and output are no terminal that can be edited on.
std::unique_ptr<LineInput> OpenLineEditor(State& state);

} // namespace Quarn
