// Plays the transcripts. Each shows a session as it appears on the screen: a line after the prompt, then its answer.
// Lines that begin with "#" are comments. Every transcript is typed into the program, and also run as a script unless
// the program asks a question in it. The samples of the documents are transcripts too.

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
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

void ExpectOnScreen(const Transcript& transcript) {
    std::vector<std::string> inputs = transcript.inputs;
    inputs.push_back("q");
    const Folder folder;
    const Outcome outcome = RunProgram(folder, Lines(inputs));
    EXPECT_EQ(ScreenOf(outcome.output, inputs), transcript.screen + "> q\n");
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
    EXPECT_EQ(outcome.output, transcript.answers);
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
