// Plays the transcripts. Each shows a session as it appears on the screen: a line after the prompt, then its answer.
// Lines that begin with "#" are comments. Every transcript is typed into the program, and also run as a script unless
// the program asks a question in it. The samples of the documents are transcripts too.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <vector>

#include "program.h"
#include "quarn/core/s_str.h"

namespace {

constexpr std::string_view Prompt = "> ";
constexpr std::string_view Question = "([y|Enter]/n) ";

struct Transcript {
    std::string screen;              ///< all but the comments
    std::vector<std::string> inputs; ///< what is typed, answers to questions included
    std::string answers;             ///< what a script of the same lines prints
    bool hasQuestion = false;
};

void Add(Transcript& transcript, const std::string& line) {
    transcript.screen += line + "\n";
    if (line.starts_with(Prompt)) {
        transcript.inputs.push_back(line.substr(Prompt.size()));
    } else if (const auto question = line.find(Question); question != std::string::npos) {
        transcript.inputs.push_back(line.substr(question + Question.size()));
        transcript.hasQuestion = true;
    } else {
        transcript.answers += line + "\n";
    }
}

Transcript ReadTranscript(const std::filesystem::path& path) {
    Transcript transcript;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        if (!line.starts_with('#')) Add(transcript, line);
    return transcript;
}

/// The samples of a document in Markdown, a transcript for each chapter, or of a manual page. A sample is a block whose
/// first line has a prompt.
std::vector<Transcript> ReadSamples(const std::filesystem::path& path) {
    std::vector<Transcript> chapters(1);
    bool isAtStart = false;
    bool isSample = false;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("## ")) chapters.emplace_back();
        if (line == "```text" || line == ".EX") {
            isAtStart = true;
        } else if (line == "```" || line == ".EE") {
            isSample = false;
        } else {
            isSample = isSample || (isAtStart && line.starts_with(Prompt));
            isAtStart = false;
            if (isSample)
                Add(chapters.back(), path.extension() == ".1" ? Quarn::s_str(line).Replace("\\-", "-").Get() : line);
        }
    }
    std::erase_if(chapters, [](const Transcript& chapter) { return chapter.inputs.empty(); });
    return chapters;
}

std::string Lines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line + "\n";
    return text;
}

/// The output as a terminal shows it, with the typed text after the prompts and questions.
std::string ScreenOf(std::string_view output, const std::vector<std::string>& inputs) {
    std::string screen;
    auto input = inputs.begin();
    const auto echo = [&] { screen += (input == inputs.end() ? "" : *input++) + "\n"; };
    while (!output.empty()) {
        const bool isPrompt = output.starts_with(Prompt) && (screen.empty() || screen.back() == '\n');
        const bool isQuestion = output.starts_with(Question);
        const std::size_t length = isPrompt ? Prompt.size() : isQuestion ? Question.size() : 1;
        screen += output.substr(0, length);
        output.remove_prefix(length);
        if (isPrompt || isQuestion) echo();
    }
    return screen;
}

/// The lines of a text, and what follows the last end of a line, even if that is nothing.
std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text + '\n');
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

/// The lines around one of them, which is marked, as much of each as can be read at a glance, from a column on.
std::string Excerpt(const std::vector<std::string>& lines, std::size_t marked, std::size_t column) {
    constexpr std::size_t Around = 3;
    constexpr std::size_t Width = 160;
    std::string text;
    for (std::size_t i = marked - std::min(marked, Around); i <= marked + Around && i < lines.size(); ++i) {
        const std::size_t begin = i == marked ? column : 0;
        text += i == marked ? "  * " : "    ";
        text += (begin > 0 ? "..." : "") + lines[i].substr(begin, Width);
        text += lines[i].size() > begin + Width ? "...\n" : "\n";
    }
    return marked < lines.size() ? text : text + "  * (the end)\n";
}

/// Compares texts of many or long lines, and shows both only around the first difference.
testing::AssertionResult AreSame(const char*, const char*, const std::string& expected, const std::string& printed) {
    if (expected == printed) return testing::AssertionSuccess();
    const std::vector<std::string> left = SplitLines(expected);
    const std::vector<std::string> right = SplitLines(printed);
    const auto line = std::mismatch(left.begin(), left.end(), right.begin(), right.end());
    const auto number = static_cast<std::size_t>(line.first - left.begin());
    std::size_t column = 0;
    if (line.first != left.end() && line.second != right.end()) {
        const auto character = std::mismatch(line.first->begin(), line.first->end(), //
                                             line.second->begin(), line.second->end());
        column = static_cast<std::size_t>(character.first - line.first->begin());
        column = column < 100 ? 0 : column - 40;
    }
    return testing::AssertionFailure() << "They differ from line " << number + 1 << " on. Expected:\n"
                                       << Excerpt(left, number, column) << "Printed:\n"
                                       << Excerpt(right, number, column);
}

void ExpectOnScreen(const Transcript& transcript) {
    std::vector<std::string> inputs = transcript.inputs;
    inputs.push_back("q");
    const Folder folder;
    const Outcome outcome = RunProgram(folder, Lines(inputs));
    EXPECT_PRED_FORMAT2(AreSame, transcript.screen + "> q\n", ScreenOf(outcome.output, inputs));
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
}

class Transcripts : public testing::TestWithParam<std::filesystem::path> {};
class Scripts : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(Transcripts, StandOnTheScreenAsWritten) { ExpectOnScreen(ReadTranscript(GetParam())); }

TEST_P(Scripts, PrintTheSameAnswers) {
    const Transcript transcript = ReadTranscript(GetParam());
    const Folder folder;
    folder.Write("script", Lines(transcript.inputs));
    const Outcome outcome = RunProgram(folder, "", "script");
    EXPECT_PRED_FORMAT2(AreSame, transcript.answers, outcome.output);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_EQ(outcome.status, 0);
}

std::vector<std::filesystem::path> FilesIn(const char* folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<std::filesystem::path> TranscriptsWithoutQuestions() {
    std::vector<std::filesystem::path> files = FilesIn(TRANSCRIPTS);
    std::erase_if(files, [](const auto& file) { return ReadTranscript(file).hasQuestion; });
    return files;
}

std::string NameOf(const testing::TestParamInfo<std::filesystem::path>& parameter) {
    return parameter.param.stem().string();
}

INSTANTIATE_TEST_SUITE_P(, Transcripts, testing::ValuesIn(FilesIn(TRANSCRIPTS)), NameOf);
INSTANTIATE_TEST_SUITE_P(, Scripts, testing::ValuesIn(TranscriptsWithoutQuestions()), NameOf);

class Examples : public testing::TestWithParam<std::filesystem::path> {};

TEST_P(Examples, ShowNoErrors) {
    const Folder folder;
    const Outcome outcome = RunProgram(folder, "", "'" + GetParam().string() + "'");
    EXPECT_NE(outcome.output, "");
    EXPECT_EQ(outcome.output.find("\tError"), std::string::npos) << outcome.output;
}

INSTANTIATE_TEST_SUITE_P(, Examples, testing::ValuesIn(FilesIn(PROJECT "/examples")), NameOf);

TEST(Documents, SamplesStandOnTheScreenAsWritten) {
    for (const char* name : {"/README.md", "/docs/manual.md", "/docs/orbel.1"}) {
        SCOPED_TRACE(name);
        const std::vector<Transcript> chapters = ReadSamples(std::string(PROJECT) + name);
        EXPECT_FALSE(chapters.empty());
        for (const Transcript& chapter : chapters) ExpectOnScreen(chapter);
    }
}

} // namespace
