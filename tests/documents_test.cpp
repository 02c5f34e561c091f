// The manual, the manual page and the language agree.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include <quarn/quarn.h>

namespace {

using namespace Quarn;

std::string Read(const std::filesystem::path& path) {
    std::ostringstream contents;
    contents << std::ifstream(path).rdbuf();
    return contents.str();
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);) lines.push_back(line);
    return lines;
}

/// What stands between two marks, each on a line of its own.
std::vector<std::string> Between(const std::string& path, const std::string& first, const std::string& next) {
    const std::string text = Read(std::string(PROJECT) + path);
    const auto begin = text.find("\n" + first + "\n");
    EXPECT_NE(begin, std::string::npos) << first;
    return LinesOf(text.substr(begin + 1, text.find("\n" + next, begin + 1) - begin));
}

/// The first two cells of each row of the tables in these lines, without their heads.
std::vector<std::pair<std::string, std::string>> Rows(const std::vector<std::string>& lines) {
    std::vector<std::pair<std::string, std::string>> rows;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        const std::regex row(R"(\| (.*) \| (.*) \|)");
        std::smatch cells;
        const bool isHead = i + 1 < lines.size() && lines[i + 1].starts_with("|---");
        if (!isHead && std::regex_match(lines[i], cells, row)) rows.emplace_back(cells[1], cells[2]);
    }
    return rows;
}

const std::string Page = Read(PROJECT "/docs/orbel.1");

TEST(Documents, AllFunctionsStandInTheDocuments) {
    State state;
    Vector::Register(state);
    std::string manual;
    for (const auto& [function, meaning] : Rows(Between("/docs/manual.md", "## Functions", "## "))) manual += function;
    std::set<std::string> written;
    const std::regex name("`([a-z_]+)");
    for (std::sregex_iterator match(manual.begin(), manual.end(), name); match != std::sregex_iterator(); ++match)
        written.insert((*match)[1]);
    std::set<std::string> known;
    for (const auto& [function, overloads] : state.GetRegistry().functions) known.insert(function.Get());
    EXPECT_EQ(written, known);
    for (const std::string& function : known)
        EXPECT_TRUE(std::regex_search(Page, std::regex("\n\\.BR? " + function + "( [,.])?\n"))) << function;
    const std::string readme = Read(PROJECT "/README.md");
    for (const std::string& function : known)
        EXPECT_NE(readme.find("`" + function + "`"), std::string::npos) << function;
}

TEST(Documents, AllOperatorsStandInTheManualAndOnThePage) {
    std::string manual;
    for (const auto& [operators, meaning] : Rows(Between("/docs/manual.md", "## First steps", "## ")))
        manual += operators;
    const State state;
    for (const auto& [op, priority] : state.GetOperatorPriorities()) {
        const std::string sample = op == "[]" ? "v[i]" : op == "!" ? "!a" : "a" + op.Get() + "b";
        EXPECT_NE(manual.find("`" + sample + "`"), std::string::npos) << sample;
        EXPECT_NE(s_str(Page).Replace("\\-", "-").Replace("\\e", "\\").Get().find(sample), std::string::npos) << sample;
    }
}

TEST(Documents, TheKeysAreThoseOfTheManual) {
    const std::vector<std::string> page = Between("/docs/orbel.1", ".SH KEYS", ".SH ");
    std::vector<std::pair<std::string, std::string>> keys;
    for (std::size_t i = 0; i < page.size(); ++i) {
        if (page[i] == ".TP") keys.emplace_back(page[i + 1], "");
        else if (!keys.empty() && page[i] != keys.back().first)
            keys.back().second += (keys.back().second.empty() ? "" : " ") + page[i];
    }
    std::vector<std::pair<std::string, std::string>> manual = Rows(Between("/docs/manual.md", "## Keys", "## "));
    for (auto& [key, meaning] : manual) std::erase(meaning, '`');
    EXPECT_EQ(keys, manual);
}

TEST(Documents, ThePageHasTheVersion) {
    const std::string version = std::to_string(Version / 10000) + "." + std::to_string(Version / 100 % 100) + "." +
                                std::to_string(Version % 100);
    EXPECT_NE(Page.find("\"orbel " + version + "\""), std::string::npos) << version;
    EXPECT_NE(Read(PROJECT "/CHANGELOG.md").find("## [" + version + "]"), std::string::npos) << version;
}

TEST(Documents, AllMessagesOfTheTranscriptsStandInTheManual) {
    std::vector<std::regex> known;
    const std::regex code("`([^`]+)`");
    for (const std::string& line : Between("/docs/manual.md", "## Messages", "## ")) {
        const std::string cell = line.substr(0, line.find(" | ")); // what it means stands in the second one
        for (std::sregex_iterator match(cell.begin(), cell.end(), code); match != std::sregex_iterator(); ++match) {
            const std::string text =
                std::regex_replace((*match)[1].str(), std::regex(R"([.^$()\[\]*+?{}|\\])"), R"(\$&)");
            known.emplace_back(std::regex_replace(text, std::regex("…"), ".*"));
        }
    }
    for (const auto& entry : std::filesystem::directory_iterator(TRANSCRIPTS))
        for (const std::string& line : LinesOf(Read(entry.path()))) {
            if (!line.starts_with("\tError : ") && !line.starts_with("\tWarning : ")) continue;
            const std::string message = line.substr(line.find(" : ") + 3);
            EXPECT_TRUE(std::ranges::any_of(known, [&](const std::regex& text) {
                return std::regex_match(message, text);
            })) << message;
        }
}

} // namespace
