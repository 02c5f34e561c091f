// The calculator at a terminal.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <deque>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/history.h"
#include "app/utf8.h"
#include "pseudo_terminal.h"

namespace {

const std::string CtrlC = "\x03";
const std::string CtrlD = "\x04";
const std::string CtrlR = "\x12";
const std::string Backspace = "\x7f";
const std::string Up = "\033[A";
const std::string Down = "\033[B";
const std::string Left = "\033[D";
const std::string Right = "\033[C";
const std::string PasteOn = "\033[200~";
const std::string PasteOff = "\033[201~";
constexpr const char* Cancelled = "\tError : Cancelled, the statement was stopped\r\n";
constexpr const char* Question = "\t          Are you sure ? ([y|Enter]/n) ";

std::string Ctrl(char letter) { return {static_cast<char>(letter & 0x1F)}; }

std::string Repeat(std::string_view text, std::size_t count) {
    std::string repeated;
    for (std::size_t i = 0; i < count; ++i) repeated += text;
    return repeated;
}

class Terminal : public testing::Test {
protected:
    /// What the terminal shows for the keys and Enter, behind the typed line: the answer.
    static void ExpectAnswer(PseudoTerminal& terminal, const std::string& keys, const std::string& answer) {
        terminal.Type(keys + "\r");
        EXPECT_TRUE(terminal.Shows("\t" + answer + "\r\n")) << keys.substr(0, 100) << "\n" << terminal.GetRest();
        EXPECT_TRUE(terminal.Shows("> "));
    }

    /// Defines "f60", which takes for ever.
    static void DefineEndless(PseudoTerminal& terminal) {
        for (int i = 60; i > 0; --i) {
            const std::string below = "f" + std::to_string(i - 1);
            terminal.Type("f" + std::to_string(i) + " &= " + below + "+" + below + "\r");
        }
        ExpectAnswer(terminal, "f0 &= rand()*0", "Defining Reference : f0 = 0");
    }

    const Folder folder;
};

TEST_F(Terminal, KeysEditTheLine) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    const std::string accent = "\xcc\x81"; // belongs to the character before it
    const auto alt = [](const std::string& key) { return "\033" + key; };
    std::string manyDeleted;
    for (int i = 1; i <= 31; ++i) manyDeleted += std::to_string(i) + Ctrl('U');
    const struct {
        std::string keys;
        const char* answer;
    } rows[] = {
        {Ctrl('Y') + Ctrl('_') + Ctrl('T') + alt("y") + "12" + alt("y"),
         "Scalar : 12"}, // nothing to paste, undo or swap
        {"12" + Ctrl('A') + Ctrl('T') + "3", "Scalar : 312"},
        {"12" + Left + "3" + Ctrl('A') + "4" + Ctrl('E') + "+1", "Scalar : 4133"},
        {Ctrl('_') + "12" + Ctrl('B') + Ctrl('F') + Ctrl('B') + "9", "Scalar : 192"}, // a line has changes of its own
        {"2\033[H1\033[F3", "Scalar : 123"},
        {"2\033OH1\033OF3", "Scalar : 123"},
        {"2\033[1~1\033[4~3\033[7~4\033[8~5", "Scalar : 41235"},
        {"12" + Left + Right + "3", "Scalar : 123"},
        {"12" + Backspace + "3", "Scalar : 13"},
        {"zz" + Ctrl('U') + "5", "Scalar : 5"},
        {"5zz" + Left + Left + Ctrl('K'), "Scalar : 5"},
        {"5+7" + Ctrl('W') + "8", "Scalar : 13"},
        {"1+" + Ctrl('U') + Ctrl('Y') + Ctrl('Y') + "1", "Scalar : 3"},
        {"70 + 5" + alt("b") + "9" + alt("b") + "1" + alt("f") + "2", "Scalar : 2022"},
        {"70 + 5\033[1;5D9\033[1;3D\033[1;5C2", "Scalar : 1022"}, // words by the cursor keys
        {"12+3\033[1D\033[1D4", "Scalar : 127"},
        {"70 + 5\033[5D9\033" + Left + "1\033\033OC\033\033OC2", "Scalar : 2022"},
        {"1 + 5" + Ctrl('A') + alt("f") + alt("f") + "2", "Scalar : 53"},
        {")" + alt("b") + "(2", "Scalar : 2"},
        {"(2)" + Left + alt("f") + "+1", "Scalar : 3"},
        {"2+azAZ09_.\xc3\xa9" + Ctrl('W') + "4", "Scalar : 6"},
        {accent + Backspace + "1e" + accent + Backspace + "2", "Scalar : 12"},
        {"1e" + accent + Left + "2" + Ctrl('D'), "Scalar : 12"},
        {"12+5" + Ctrl('A') + alt("d") + "6", "Scalar : 11"},
        {"12+" + alt(Backspace) + "5", "Scalar : 5"},
        {"1+2" + Ctrl('W') + Ctrl('W') + Ctrl('Y'), "Scalar : 3"}, // deleted in a row
        {"7" + Ctrl('U') + "8" + Ctrl('U') + Ctrl('Y') + alt("y"), "Scalar : 7"},
        {"7" + Ctrl('U') + "8" + Ctrl('K') + Ctrl('Y'), "Scalar : 87"}, // nothing was deleted
        {alt("y") + "5", "Scalar : 5"},                                 // nothing was pasted in this line
        {"1+22+3" + Ctrl('A') + Right + Right + alt("d") + Ctrl('Y'), "Scalar : 26"},
        {manyDeleted + Ctrl('Y') + Repeat(alt("y"), 29), "Scalar : 2"},
        {manyDeleted + Ctrl('Y') + Repeat(alt("y"), 30), "Scalar : 31"}, // the oldest is forgotten
        {"11" + Ctrl('U') + "2" + Ctrl('U') + Ctrl('Y') + alt("y") + Ctrl('Y') + alt("y"), "Scalar : 1111"},
        {"21" + Ctrl('T') + "3", "Scalar : 123"},
        {"132" + Ctrl('B') + Ctrl('T') + "4", "Scalar : 1234"},
        {"1324" + Left + Left + Ctrl('T') + "5", "Scalar : 12354"},
        {"21" + Ctrl('T') + Ctrl('_') + "3", "Scalar : 213"},
        {"12" + Ctrl('U') + Ctrl('_') + "3", "Scalar : 123"},
        {"12" + Backspace + "3" + Ctrl('_') + "4", "Scalar : 14"},
        {"12" + PasteOn + PasteOff + Ctrl('_') + "3", "Scalar : 3"}, // pasting nothing is no change
        {"4" + Ctrl('U') + "5" + Ctrl('_') + Ctrl('_') + "+6", "Scalar : 10"},
        {"9+" + Ctrl('_') + "2", "Scalar : 2"}, // what was typed together is undone together
        {"4" + Ctrl('U') + "5" + Ctrl('_') + Ctrl('_') + Ctrl('_') + "6", "Scalar : 6"},
        {"9" + Ctrl('U') + "5" + Ctrl('_') + "6" + Ctrl('_') + "7", "Scalar : 7"},
        {"12" + Left + "3" + Ctrl('_'), "Scalar : 12"},
        {"12" + Left + "\033[3~", "Scalar : 1"},
        {"12" + Left + Ctrl('D'), "Scalar : 1"},
        {"1+" + Ctrl('L') + "1" + Ctrl('X') + Ctrl('G'), "Scalar : 2"},
        {"1\033[15~\033[1;2A\033OP\033[[A+1\033[24;5~", "Scalar : 2"}, // keys without a meaning type no "~"
        {"1\033[1\x7f+\033[201~\033[35~\033[27;5;9~\033[<0;1;1M\033[1 q\033[@1", "Scalar : 2"},
    };
    for (const auto& row : rows) ExpectAnswer(terminal, row.keys, row.answer);
    terminal.Type("1\x0c"); // Ctrl-L
    EXPECT_TRUE(terminal.Shows("\033[H\033[2J> 1"));
    terminal.Type("2" + Ctrl('Z')); // without a shell there is nobody who could stop it
    EXPECT_TRUE(terminal.Shows("\033[?2004l") && terminal.Shows("\033[?2004h"));
    ExpectAnswer(terminal, "3", "Scalar : 123");
    terminal.Type("1" + Repeat("+1", 50));
    EXPECT_TRUE(terminal.Shows(Repeat("+1", 10)));
    terminal.WaitUntilBlocked();
    terminal.Type(Ctrl('Z')); // leaves the cursor below the line
    EXPECT_TRUE(terminal.Shows("C\r\n\r\033[J\033[?2004l") && terminal.Shows("+1"));
    terminal.WaitUntilBlocked();
    terminal.Type("\033[H"); // to the beginning, a row above
    EXPECT_TRUE(terminal.Shows("\033[A"));
    terminal.WaitUntilBlocked();
    terminal.Type(Ctrl('Z'));
    EXPECT_TRUE(terminal.Shows("D\033[B\r\n\r\033[J\033[?2004l")) << terminal.GetRest();
    ExpectAnswer(terminal, "9", "Scalar : 141");
    terminal.Type("q\r");
    EXPECT_EQ(terminal.WaitForEnd(), 0);
    EXPECT_TRUE(terminal.EditsLines());
}

TEST_F(Terminal, ALineMayBeLongerThanTheWindow) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    const std::string ends = "\033[H\033[F";
    for (int i = 0; i < 2; ++i) // typed, and then recalled
        ExpectAnswer(terminal, (i == 0 ? "1" + Repeat("+1", 1'000) : Up) + ends + Repeat("+1", 90),
                     "Scalar : " + std::to_string(1'091 + 90 * i));
    terminal.Type(PasteOn + "1" + Repeat("+1", 100) + PasteOff); // wrapped by the terminal, so copied as one line
    EXPECT_TRUE(terminal.Shows(Repeat("+1", 100)));
    ExpectAnswer(terminal, "", "Scalar : 101");
    terminal.Type("~\r");
    EXPECT_TRUE(terminal.Shows(Question));
    terminal.Type(std::string(3'000, 'n') + ends + std::string(90, 'n') + "\r");
    EXPECT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "1+1", "Scalar : 2");
}

TEST_F(Terminal, AWrappedLineIsDrawnAnewWhenTheWindowChanges) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    terminal.Type("1" + Repeat("+1", 49)); // 101 columns with the prompt
    EXPECT_TRUE(terminal.Shows(Repeat("+1", 5)));
    terminal.WaitUntilBlocked();
    terminal.Resize(40);
    EXPECT_TRUE(terminal.Shows("\033[2A\r\033[J> 1+1+1")); // from the first of now three rows
    ExpectAnswer(terminal, "", "Scalar : 50");
    terminal.Type("5");
    EXPECT_TRUE(terminal.Shows("5"));
    terminal.WaitUntilBlocked();
    terminal.Type("\033"); // the beginning of a key sequence must not delay the drawing
    terminal.WaitUntilBlocked();
    terminal.Resize(60);
    EXPECT_TRUE(terminal.Shows("\033[6n\r\033[J> 5")); // the row of the prompt, without moving up
}

TEST_F(Terminal, RowsAreWrappedByTheTerminal) { // so that it knows that they are one line
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    const struct {
        std::string typed;
        const char* last;
        const char* shown;
    } rows[] = {{Repeat("1", 77), "2", "2 \r\033[K"}, {Repeat("1", 76) + "\033[H12", "\033[F", "1 \r\033[K"}};
    for (const auto& row : rows) {
        terminal.Type(row.typed);
        terminal.WaitUntilBlocked();
        terminal.Type(row.last); // the row is full, and the cursor behind it
        EXPECT_TRUE(terminal.Shows(row.shown)) << terminal.GetRest();
        terminal.Type(Ctrl('U'));
    }
    terminal.Resize(0); // the terminal does not know its width
    ExpectAnswer(terminal, "1+1", "Scalar : 2");
}

TEST_F(Terminal, WhereTheCursorIsTellsWhetherLinesAreRewrapped) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    terminal.Type("11" + Repeat("+1", 98)); // 200 columns with the prompt
    EXPECT_TRUE(terminal.Shows(Repeat("+1", 5)));
    const std::string middle = Ctrl('A') + Repeat(Right, 108); // in column 30 of the second row
    const std::string end = Ctrl('E');
    const struct {
        std::string keys;
        unsigned short columns;
        std::string answer;
        int rowsUp;
    } rows[] = {
        {end, 30, "\033[5;21R", 6},        // rewrapped
        {end, 30, "\033[5;30R", 2},        // cut
        {end, 30, "\033[4~\033[5;30R", 2}, // behind a key
        {end, 30, "\033[5;30R\033[4~", 2}, // before one
        {end, 30, "\033[5;0R", 6},         // no answer, nor is any of the next
        {end, 30, "\033[5;30x", 6},        //
        {end, 30, "\033[5:30R", 6},        //
        {end, 30, "\033[5;R", 6},          //
        {end, 40, "\033[5;40R", 4},        // the last row is full, with the cursor in it
        {end, 40, "\033[5;1R", 5},         // or behind it
        {end, 40, "\033[5;23R", 2},        // cut
        {end, 40, "\033[5;0R", 5},         // no answer
        {middle, 40, "\033[5;31R", 2},     // rewrapped
        {middle, 40, "\033[5;23R", 1},     // cut
        {middle, 40, "\033[5;0R", 2},      // no answer
    };
    const auto resize = [&](unsigned short columns, const std::string& answer) {
        terminal.WaitUntilBlocked();
        terminal.Resize(columns);
        EXPECT_TRUE(terminal.Shows("\033[6n"));
        terminal.Type(answer);
        return terminal.ShownBefore("\r\033[J> 1");
    };
    for (const auto& row : rows) {
        const std::string expected = "\033[" + std::to_string(row.rowsUp) + "A";
        std::string shown;
        constexpr int Attempts = 5; // on a busy machine an answer may come too late
        for (int i = 0; i < Attempts && shown != expected; ++i) {
            terminal.Type(row.keys);
            shown = resize(row.columns, row.answer);
            terminal.Type(end);
            EXPECT_EQ(resize(80, "\033[9;41R"), "\033[2A");
        }
        EXPECT_EQ(shown, expected) << row.columns << " columns, " << row.answer;
    }
    terminal.WaitUntilBlocked();
    terminal.Resize(40);
    EXPECT_TRUE(terminal.Shows("\033[6n"));
    ExpectAnswer(terminal, "\033[9;40R+1", "Scalar : 110"); // what is typed meanwhile is kept
}

TEST_F(Terminal, WhatIsTypedReachesTheCalculatorAsItIs) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "\xc3\xa9\xff\xe6\x97\xa5=1",
                 "Error : Only alphanumeric names are allowed for symbols, in '\xc3\xa9\xff\xe6\x97\xa5'");
    // Bytes that are no characters, and the first and last characters of each length.
    for (const char* bytes : {"\xc3x", "\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xc2\xa1", "\xdf\xbf",
                              "\xe0\xa0\x80", "\xef\xbf\xbd", "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"})
        ExpectAnswer(terminal, bytes + std::string("+1"),
                     "Error : Unable to parse expression '" + std::string(bytes) + "', no operator found");
    terminal.Type("\xe6\x97\x1b[D\x1b[C+1\r"); // a character that ends too early
    EXPECT_TRUE(terminal.Shows("\tError : Unable to parse expression '\xe6\x97', no operator found\r\n"));
}

TEST_F(Terminal, HistoryComesBack) {
    {
        PseudoTerminal terminal(folder);
        ASSERT_TRUE(terminal.Shows("> "));
        ExpectAnswer(terminal, "0+1", "Scalar : 1");
        ExpectAnswer(terminal, "1+2", "Scalar : 3");
        ExpectAnswer(terminal, "1+2", "Scalar : 3");
        ExpectAnswer(terminal, "3*4", "Scalar : 12");
        ExpectAnswer(terminal, Up + Up, "Scalar : 3"); // not twice in a row
        ExpectAnswer(terminal, "6" + Up + Up + Down + Down + "7", "Scalar : 67");
        ExpectAnswer(terminal, "67" + Left + Down + "5", "Scalar : 657"); // nothing is newer, so the cursor stays
        ExpectAnswer(terminal, "67" + Left + CtrlR + Left + "5", "Scalar : 567");
        ExpectAnswer(terminal, "91" + Left + Up + "5", "Scalar : 951"); // no older line begins with "9"
        terminal.Type("\r");                                            // an empty line is not kept
        const std::string line = "1" + Repeat("+1", 1'000);
        ExpectAnswer(terminal, line + Up + Down + "+1", "Scalar : 1002"); // left and found again whole
        ExpectAnswer(terminal, CtrlR + "*", "Scalar : 12");
        ExpectAnswer(terminal, CtrlR + "1+" + CtrlR + CtrlR + Ctrl('E') + "0", "Scalar : 21");
        ExpectAnswer(terminal, "8" + CtrlR + "3*" + Ctrl('G') + "8", "Scalar : 88");
        ExpectAnswer(terminal, "8" + CtrlR + "3" + Backspace + Ctrl('E') + "8", "Scalar : 88");
        ExpectAnswer(terminal, CtrlR + CtrlR + "3*x" + Backspace, "Scalar : 12");
        ExpectAnswer(terminal, "3\033p", "Scalar : 12");
        ExpectAnswer(terminal, "3" + Up, "Scalar : 12");
        ExpectAnswer(terminal, "3" + Up + Up + Down + "5", "Scalar : 35");
        ExpectAnswer(terminal, "3\033[5~\033[5~\033[6~0", "Scalar : 305"); // the cursor stays behind the "3"
        ExpectAnswer(terminal, "3\033p\033n\033n6", "Scalar : 36");
        ExpectAnswer(terminal, "3" + Up + Ctrl('U') + CtrlR + "951" + Up, "Scalar : 567");
        ExpectAnswer(terminal, CtrlR + "0+1", "Scalar : 1"); // the oldest line
        ExpectAnswer(terminal, "3*4", "Scalar : 12");
        ExpectAnswer(terminal, Up + "+1" + Up + Down, "Scalar : 13"); // edited, left, and found again
        ExpectAnswer(terminal, "30+1", "Scalar : 31");
        ExpectAnswer(terminal, "7", "Scalar : 7");
        ExpectAnswer(terminal, "30+2", "Scalar : 32");
        ExpectAnswer(terminal, "30\033p\033p\033n0", "Scalar : 302"); // skips lines that begin differently
        terminal.Type(CtrlR + "zz");
        EXPECT_TRUE(terminal.Shows("no line with 'zz': "));
        terminal.Type(Backspace + Backspace);
        EXPECT_TRUE(terminal.Shows("search '': "));
        terminal.Type(Ctrl('G'));
        ExpectAnswer(terminal, CtrlR + "4+1" + Ctrl('E') + "0", "Scalar : 22");
        ExpectAnswer(terminal, "50+6", "Scalar : 56");
        ExpectAnswer(terminal, "51+6", "Scalar : 57");
        ExpectAnswer(terminal, CtrlR + "+" + CtrlR + "6" + Ctrl('E') + "0",
                     "Scalar : 110"); // stays on a line that still matches
        terminal.Type("~\r");
        ASSERT_TRUE(terminal.Shows(Question));
        terminal.Type("rou\tn\r"); // nothing is completed
        ASSERT_TRUE(terminal.Shows("roun\r\n") && terminal.Shows("> "));
        terminal.Type("~\r");
        ASSERT_TRUE(terminal.Shows(Question));
        terminal.Type(CtrlR + Up + "y\r"); // nor recalled
        ASSERT_TRUE(terminal.Shows("All symbols erased") && terminal.Shows("> "));
        ExpectAnswer(terminal, Up + Ctrl('U') + "9", "Scalar : 9");
        terminal.Type("q\r");
        EXPECT_EQ(terminal.WaitForEnd(), 0);
    }
    const std::string file = folder.Read(".local/state/orbel/history");
    EXPECT_TRUE(file.starts_with("0+1\n1+2\n3*4\n1+2\n67\n657\n567\n951\n1")) << file;
    EXPECT_TRUE(file.ends_with("\n~\n9\n")) << file; // and not the "q"
    EXPECT_EQ(std::filesystem::status(folder.Path(".local/state/orbel/history")).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, Up, "Scalar : 9");
}

TEST_F(Terminal, OnlyASuggestionThatIsShownIsTaken) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "12*3", "Scalar : 36");
    const struct {
        const char* suggested;
        std::string keys;
        const char* answer;
    } rows[] = {{"2*3", Right + "+1", "Scalar : 37"},
                {"2*3+1", "00+2" + Right, "Scalar : 102"},
                {"00+2", "\r5" + Right, "Scalar : 5"},
                {"00+2", Ctrl('E') + "+1", "Scalar : 103"}};
    for (const auto& row : rows) {
        terminal.Type("1");
        EXPECT_TRUE(terminal.Shows(row.suggested)) << row.keys;
        ExpectAnswer(terminal, row.keys, row.answer);
    }
    terminal.Type(PasteOn + "3*4\x01" + PasteOff + "\r");
    EXPECT_TRUE(terminal.Shows("3*4^A") && terminal.Shows("\tError") && terminal.Shows("> "));
    terminal.Type("3");
    EXPECT_TRUE(terminal.Shows("3*4 ")); // the control character is shown as a blank
}

TEST_F(Terminal, SessionsSideBySideLoseNoLine) {
    {
        PseudoTerminal first(folder);
        PseudoTerminal second(folder);
        ASSERT_TRUE(first.Shows("> ") && second.Shows("> "));
        ExpectAnswer(first, "1+1", "Scalar : 2");
        ExpectAnswer(second, "2+2", "Scalar : 4");
        ExpectAnswer(first, "3+3", "Scalar : 6");
        ExpectAnswer(first, Up, "Scalar : 6"); // its own
    }
    EXPECT_EQ(folder.Read(".local/state/orbel/history"), "1+1\n2+2\n3+3\n");
}

TEST_F(Terminal, TheHistoryIsKeptInTheStateFolderOfTheUser) {
    for (const auto& [variables, file] : {std::pair("export XDG_STATE_HOME=$HOME/state;", "state/orbel/history"),
                                          {"export XDG_STATE_HOME=relative;", ".local/state/orbel/history"},
                                          {"unset HOME;", ""},
                                          {"export HOME=relative;", ""}}) {
        const Folder home;
        PseudoTerminal terminal(home, "xterm", "", variables);
        ASSERT_TRUE(terminal.Shows("> "));
        ExpectAnswer(terminal, "1+1", "Scalar : 2");
        ExpectAnswer(terminal, Up, "Scalar : 2");
        EXPECT_TRUE(*file == '\0' || home.Read(file) == "1+1\n") << file;
        EXPECT_TRUE(*file == '\0' ||
                    std::filesystem::status(std::filesystem::path(home.Path(file)).parent_path()).permissions() ==
                        std::filesystem::perms::owner_all);
        for (const char* other : {"state", "relative", ".local", "orbel"})
            EXPECT_EQ(std::filesystem::exists(home.Path(other)), std::string_view(file).starts_with(other)) << other;
    }
}

TEST_F(Terminal, AHistoryThatCannotBeWrittenCostsNothing) {
    folder.Write(".local", "no folder");
    PseudoTerminal terminal(folder, "xterm", "2> errors");
    ASSERT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "1+1", "Scalar : 2");
    ExpectAnswer(terminal, Up, "Scalar : 2");
    EXPECT_EQ(folder.Read("errors"), "");
}

TEST(Utf8, GivesBackWhateverBytesItGot) {
    const std::vector<std::pair<std::string, std::size_t>> texts = {{"\x7f\xc2\x80", 2},
                                                                    {"\xdf\xbf\xe0\xa0\x80", 2},
                                                                    {"\xef\xbf\xbf\xf0\x90\x80\x80", 2},
                                                                    {"\xf4\x8f\xbf\xbf", 1},
                                                                    {"\xf4\x90\x80\x80", 4},
                                                                    {"\xc1\xbf", 2},
                                                                    {"\xe0\x9f\xbf", 3},
                                                                    {"\xf0\x8f\xbf\xbf", 4},
                                                                    {"\xed\xa0\x80\xed\xbf\xbf", 6},
                                                                    {"\xed\x9f\xbf\xee\x80\x80", 2},
                                                                    {"a\xff\x80z", 4},
                                                                    {"\xc3", 1},
                                                                    {"\xe2\x82", 2},
                                                                    {"\xf0\x9f\x98", 3},
                                                                    {"\xe2\x82z", 3}};
    for (const auto& [bytes, count] : texts) {
        const std::u32string text = Quarn::FromUtf8(bytes);
        EXPECT_EQ(text.size(), count) << bytes;
        EXPECT_EQ(Quarn::ToUtf8(text), bytes);
    }
}

TEST(Utf8, WidthsHoldFromTheFirstToTheLastOfARange) {
    for (const auto& [character, width] : {std::pair(U'\u10FF', 1u),
                                           {U'\u1100', 2u},
                                           {U'\u115F', 2u},
                                           {U'\u02FF', 1u},
                                           {U'\u0300', 0u},
                                           {U'\u036F', 0u},
                                           {U'\u0370', 1u}})
        EXPECT_EQ(Quarn::WidthOf(character), width) << static_cast<unsigned>(character);
}

TEST(History, KeepsTheLastLinesOfItsFile) {
    using Quarn::History;
    const Folder folder;
    std::string contents;
    for (std::size_t i = 0; i < History::MostLines + 5; ++i) contents += std::to_string(i) + "\n";
    EXPECT_EQ(History(folder.Write("short", "1\n\n1\n2\n2\n")).GetLines(), (std::deque<std::string>{"1", "2"}));
    const std::string path = folder.Write("history", contents + "last");
    EXPECT_EQ(History(path).GetLines().front(), "6");
    EXPECT_EQ(History(path).GetLines().back(), "last");
    EXPECT_TRUE(folder.Read("history").starts_with("6\n7\n"));
    History(path).Add(std::string(History::LongestInFile + 1, '1'));
    EXPECT_TRUE(folder.Read("history").ends_with("\nlast\n"));
    History(path).Add(std::string(History::LongestInFile, '1'));
    EXPECT_TRUE(folder.Read("history").ends_with("\n" + std::string(History::LongestInFile, '1') + "\n"));
    for (const std::string& enough : {std::string("1"), Repeat("1\n", History::MostLines)}) {
        EXPECT_EQ(History(folder.Write("enough", enough)).GetLines(), std::deque<std::string>{"1"});
        EXPECT_EQ(folder.Read("enough"), enough);
    }
    folder.Write("history", "without end");
    History first(path);
    History second(path);
    first.Add("1");
    second.Add("1");
    EXPECT_EQ(folder.Read("history"), "without end\n1\n");
    second.Add("2");
    first.Add("1");
    EXPECT_EQ(folder.Read("history"), "without end\n1\n2\n");
    folder.Write("history.new", "left behind");
    const std::string large(History::MostBytes, '1');
    folder.Write("history", large + "\n2\n");
    EXPECT_EQ(History(path).GetLines(), std::deque<std::string>{"2"});
    EXPECT_EQ(folder.Read("history"), "2\n");
    EXPECT_EQ(History(folder.Write("history", large)).GetLines(), std::deque<std::string>{large});
    EXPECT_EQ(History(folder.Write("history", large + "1")).GetLines().size(), 0u);
    folder.Write("history", contents);
    std::filesystem::create_symlink("history", folder.Path("link"));
    EXPECT_EQ(History(folder.Path("link")).GetLines().front(), "5");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.Path("link")) && folder.Read("history").starts_with("5\n"));
}

TEST(History, LeavesAFileAsItsOwnerMadeIt) {
    using Quarn::History;
    using std::filesystem::perms;
    const Folder folder;
    const std::string path = folder.Write("history", "1\n");
    for (const auto& [before, after] : {std::pair(perms{0444}, perms{0400}), {perms{0640}, perms{0600}}}) {
        std::filesystem::permissions(path, before);
        History history(path);
        history.Add("2");
        EXPECT_EQ(std::filesystem::status(path).permissions(), after);
        EXPECT_EQ(folder.Read("history"), before == perms{0444} ? "1\n" : "1\n2\n");
        EXPECT_EQ(history.GetLines().size(), 2u);
    }
    EXPECT_EQ(History(folder.Path("missing/history")).GetLines().size(), 0u);
    std::filesystem::create_directory(folder.Path("folder"));
    std::filesystem::permissions(folder.Path("folder"), perms{0755});
    EXPECT_EQ(History(folder.Path("folder")).GetLines().size(), 0u);
    EXPECT_EQ(std::filesystem::status(folder.Path("folder")).permissions(), perms{0755});
    const std::string tooMany = Repeat("1\n", History::MostLines + 1);
    std::filesystem::permissions(folder.Write("many", tooMany), perms{0444});
    EXPECT_EQ(History(folder.Path("many")).GetLines().size(), 1u);
    EXPECT_EQ(folder.Read("many"), tooMany);
    ASSERT_EQ(mkfifo(folder.Path("pipe").c_str(), 0600), 0);
    const int pipe = open(folder.Path("pipe").c_str(), O_RDONLY | O_NONBLOCK);
    History(folder.Path("pipe")).Add("1");
    char written = 0;
    EXPECT_LE(read(pipe, &written, 1), 0);
    close(pipe);
    if (geteuid() == 0) {
        constexpr uid_t Somebody = 65534;
        std::filesystem::permissions(path, perms{0644});
        std::filesystem::permissions(folder.Path(""), perms{0755});
        EXPECT_EQ(seteuid(Somebody), 0);
        EXPECT_EQ(History(path).GetLines().size(), 2u); // it may only read the file
        EXPECT_EQ(seteuid(0), 0);
    }
    const int locked = open(path.c_str(), O_RDONLY);
    ASSERT_EQ(flock(locked, LOCK_EX), 0);
    History history(path); // goes on after a moment
    history.Add("3");
    EXPECT_EQ(folder.Read("history"), "1\n2\n3\n");
    close(locked);
}

TEST(History, AFileThatIsReplacedMeanwhileIsOpenedAgain) {
    using Quarn::History;
    const Folder folder;
    std::string kept;
    constexpr int Attempts = 5; // on a busy machine it may be replaced too late
    for (int i = 0; i < Attempts && kept != "2\n3\n"; ++i) {
        const std::string path = folder.Write("history", "1\n");
        History history(path);
        const int locked = open(path.c_str(), O_RDONLY);
        ASSERT_EQ(flock(locked, LOCK_EX), 0);
        std::thread replaces([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            std::filesystem::rename(folder.Write("new", "2\n"), path);
            close(locked);
        });
        history.Add("3");
        replaces.join();
        kept = folder.Read("history");
    }
    EXPECT_EQ(kept, "2\n3\n");
}

TEST(History, WritesALineWholeOrNotAtAll) {
    using Quarn::History;
    const Folder folder;
    History history(folder.Write("history", "1\n2\n3\n"));
    rlimit usual{};
    getrlimit(RLIMIT_FSIZE, &usual);
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    const std::string tooMany = folder.Write("many", std::string(History::MostBytes, '1') + "\nlonger\nlast\n");
    const rlimit full{7, usual.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    history.Add("456");
    const std::deque<std::string> last = History(tooMany).GetLines();
    setrlimit(RLIMIT_FSIZE, &usual);
    std::signal(SIGXFSZ, before);
    EXPECT_EQ(last, (std::deque<std::string>{"longer", "last"}));
    EXPECT_GT(folder.Read("many").size(), History::MostBytes);
    EXPECT_FALSE(std::filesystem::exists(tooMany + ".new"));
    EXPECT_EQ(folder.Read("history"), "1\n2\n3\n");
}

TEST(History, LosesNoLineOfSessionsThatWriteAtOnce) {
    using Quarn::History;
    const Folder folder;
    std::string contents;
    for (std::size_t i = 0; i < History::MostLines; ++i) contents += "old " + std::to_string(i) + "\n";
    const std::string path = folder.Write("history", contents);
    constexpr int Count = 300;
    const auto write = [&](const char* name) {
        History history(path);
        for (int i = 0; i < Count; ++i) history.Add(name + std::to_string(i));
    };
    std::thread first(write, "a");
    std::thread second(write, "b");
    for (int i = 0; i < 20; ++i) const History shortens(path);
    first.join();
    second.join();
    const auto lines = History(path).GetLines();
    const auto isNew = [](const std::string& line) { return !line.starts_with("old"); };
    EXPECT_EQ(std::ranges::count_if(lines, isNew), 2 * Count);
}

TEST_F(Terminal, TabCompletes) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "rate = 4", "Defining Scalar : rate = 4");
    ExpectAnswer(terminal, "2*rat\t", "Scalar : 8");
    ExpectAnswer(terminal, "sq\t16)", "Scalar : 4");
    ExpectAnswer(terminal, "0*p\t+1", "Scalar : 1");
    ExpectAnswer(terminal, "Vec\t1, 2)", "Vector : <1, 2>");
    ExpectAnswer(terminal, "x:Sc\t", "Defining Scalar : x = 0");
    ExpectAnswer(terminal, "?rat\t", "Scalar : rate = 4");
    ExpectAnswer(terminal, "~rat\t", "Scalar 'rate' erased");
    ExpectAnswer(terminal, "1\t\t+\t\b\b2", "Scalar : 2");
    terminal.Type("1+ro\t\t");
    EXPECT_TRUE(terminal.Shows("\r\nround(       round_down(  round_up(\r\n> 1+round"));
    ExpectAnswer(terminal, "_d\t1.7)", "Scalar : 2");
    std::string names;
    for (int i = 100; i <= 612; ++i) names += "n" + std::to_string(i) + "=0;";
    ExpectAnswer(terminal, PasteOn + names + "1" + PasteOff, "Scalar : 1");
    terminal.Type("n6\t\t"); // exactly one full row
    EXPECT_TRUE(terminal.Shows("\r\nn600  n601  ") && terminal.Shows("  n611  n612\r\n> n6"));
    terminal.Type(Backspace + "\t\t");
    EXPECT_TRUE(terminal.Shows("\r\nn100  n") && terminal.Shows("\r\n... and 13 more\r\n> n"));
    terminal.Type(CtrlC);
    EXPECT_TRUE(terminal.Shows("^C") && terminal.Shows("> "));
    terminal.Type("round_\t\t");
    EXPECT_TRUE(terminal.Shows("\r\nround_down(  round_up(\r\n> round_"));
    terminal.WaitUntilBlocked();
    terminal.Resize(10); // too narrow for any of them
    EXPECT_TRUE(terminal.Shows("> round_"));
    terminal.Type("\t\t");
    EXPECT_TRUE(terminal.Shows("\r\nround_down(\r\nround_up(\r\n> round_"));
}

TEST_F(Terminal, CtrlCDropsTheLineAndStopsTheStatement) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    for (const std::string& typed :
         {std::string("1+"), std::string("1+\033"), std::string("1+\033["), std::string("1+\033O"),
          std::string("1+\033[["), std::string("1+\x18"), CtrlR + "z", PasteOn + "1+"}) {
        terminal.Type(typed + CtrlC);
        EXPECT_TRUE(terminal.Shows("^C\r\n")) << typed;
        EXPECT_TRUE(terminal.Shows("> "));
    }
    for (const std::string& begin : {std::string("1+"), PasteOn + "1+"}) { // a signal from elsewhere does the same
        terminal.Type(begin);
        terminal.WaitUntilBlocked();
        terminal.Signal(SIGINT);
        EXPECT_TRUE(terminal.Shows("^C\r\n") && terminal.Shows("> "));
    }
    ExpectAnswer(terminal, "keep = 2", "Defining Scalar : keep = 2");
    ExpectAnswer(terminal, PasteOn + "w = 1\rw = 2" + CtrlC + Repeat("z = 3\r", 2'000) + PasteOff + "?z",
                 "'z' is undefined");

    DefineEndless(terminal);
    for (const char* endless : {"x = f60; y = 1", "?f60", "~f60", "<f60, 1>"}) {
        terminal.Type(endless + std::string("\r"));
        EXPECT_TRUE(terminal.Shows("\033[?2004l")); // it has begun
        terminal.Type(CtrlC);
        EXPECT_TRUE(terminal.Shows(Cancelled)) << endless;
        EXPECT_TRUE(terminal.Shows("> "));
    }
    ExpectAnswer(terminal, "?x", "'x' is undefined");
    ExpectAnswer(terminal, "?y", "'y' is undefined");

    terminal.Type("~\r");
    EXPECT_TRUE(terminal.Shows(Question));
    terminal.Type(CtrlC);
    EXPECT_TRUE(terminal.Shows(Cancelled));
    EXPECT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "keep", "Scalar : 2");
}

/// Prints 16 million numbers, and waits for the first.
void PrintMillions(PseudoTerminal& terminal) {
    std::string below = "1";
    for (const char* name : {"a", "b", "c"}) {
        terminal.Type(name + (" = <" + below + Repeat(", " + below, 63)) + ">\r");
        EXPECT_TRUE(terminal.Shows("\tDefining Vector : " + std::string(name)));
        EXPECT_TRUE(terminal.Shows(">\r\n\033[?2004h> "));
        below = name;
    }
    terminal.Type("d = <" + below + Repeat(", " + below, 63) + ">; 5\r");
    EXPECT_TRUE(terminal.Shows("\tDefining Vector : d = <<<<1, 1"));
}

TEST_F(Terminal, CtrlCStopsWhatIsPrinted) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    PrintMillions(terminal);
    terminal.Type(CtrlC);
    EXPECT_TRUE(terminal.Shows(std::string("\r\n") + Cancelled));
    EXPECT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "?d", "'d' is undefined"); // and "5" was not run
}

TEST_F(Terminal, ASecondCtrlCIsTheLastResort) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    PrintMillions(terminal);
    terminal.WaitUntilBlocked(); // nobody reads
    terminal.InterruptUntilItEnds();
    EXPECT_EQ(terminal.WaitForEnd(), -SIGINT);
}

TEST_F(Terminal, WhatStopsOrEndsItLeavesTheTerminalAsItWas) {
    PseudoTerminal terminal(folder, "xterm", "; }; set -m; (start); stty -a > first; fg; stty -a > second; fg",
                            "start() {");
    const auto goesOn = [&](const char* modesOfShell) { // the shell puts it into the foreground again
        for (int i = 0; i < 30'000 && (folder.Read(modesOfShell).empty() || terminal.EditsLines()); ++i) usleep(1'000);
        return folder.Read(modesOfShell).find(" icanon") != std::string::npos && !terminal.EditsLines();
    };
    ASSERT_TRUE(terminal.Shows("> "));
    EXPECT_FALSE(terminal.EditsLines());
    terminal.Type("1+" + Ctrl('Z'));
    EXPECT_TRUE(terminal.Shows("\r\n\r\033[J\033[?2004l") && terminal.Shows("\033[?2004h") && terminal.Shows("> 1+"));
    EXPECT_TRUE(goesOn("first"));
    ExpectAnswer(terminal, "1", "Scalar : 2");
    DefineEndless(terminal);
    terminal.Type("f60\r");
    EXPECT_TRUE(terminal.Shows("f60\r\n\033[?2004l"));
    terminal.Type(Ctrl('Z'));
    EXPECT_TRUE(goesOn("second"));
    terminal.Type(CtrlC);
    EXPECT_TRUE(terminal.Shows(Cancelled) && terminal.Shows("\033[?2004h"));

    PseudoTerminal ended(folder);
    ASSERT_TRUE(ended.Shows("> "));
    EXPECT_FALSE(ended.EditsLines());
    ended.Signal(SIGTERM);
    EXPECT_TRUE(ended.Shows("\r\n\r\033[J\033[?2004l"));
    EXPECT_EQ(ended.WaitForEnd(), -SIGTERM);
    EXPECT_TRUE(ended.EditsLines());
}

TEST_F(Terminal, CtrlDEndsItOnAnEmptyLineOnly) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "x = 1" + CtrlD, "Defining Scalar : x = 1");
    terminal.Type("~\r");
    EXPECT_TRUE(terminal.Shows(Question));
    terminal.Type(CtrlD);
    EXPECT_TRUE(terminal.Shows("n\r\n"));
    EXPECT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "x", "Scalar : 1");
    terminal.Type(CtrlD);
    EXPECT_TRUE(terminal.Shows("q\r\n"));
    EXPECT_EQ(terminal.WaitForEnd(), 0);
}

TEST_F(Terminal, PastedLinesAreAnsweredOneByOne) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, PasteOn + "6\u00d77" + PasteOff, "Scalar : 42"); // as if typed
    for (const char* lineEnd : {"\r", "\n", "\r\n"}) {
        terminal.Type(PasteOn + "x =\t1" + lineEnd + "~" + lineEnd + "n" + lineEnd + "x+1" + lineEnd + "9+" + PasteOff);
        for (const char* shown : {"x = 1\r\n", "\tDefining Scalar : x = 1\r\n", "> ~\r\n", Question, "n\r\n",
                                  "> x+1\r\n", "\tScalar : 2\r\n", "> 9+"})
            EXPECT_TRUE(terminal.Shows(shown)) << shown << "\n" << terminal.GetRest();
        ExpectAnswer(terminal, "1", "Scalar : 10");
    }
    terminal.Type(PasteOn + "ae\xcc\x81\x01\x7f\xc2\x80\xff" + PasteOff);
    EXPECT_TRUE(terminal.Shows("ae\xcc\x81^A^?\\x80\\xff")) << terminal.GetRest();
    terminal.Type(CtrlC);
    EXPECT_TRUE(terminal.Shows("^C\r\n") && terminal.Shows("> "));
    terminal.Type(PasteOn + "8\r" + PasteOff + PasteOn + "\n" + PasteOff); // two ends of lines
    EXPECT_TRUE(terminal.Shows("\tScalar : 8\r\n") && terminal.Shows("> \r\n") && terminal.Shows("> "));
    terminal.Type(PasteOn + "8");
    terminal.WaitUntilBlocked();
    terminal.Signal(SIGCONT); // somebody else may have changed the modes
    terminal.Type("+1" + PasteOff);
    EXPECT_TRUE(terminal.Shows("\033[?2004h") && terminal.Shows("> 8+1")) << terminal.GetRest();
    ExpectAnswer(terminal, "", "Scalar : 9");
    terminal.Type("1+1\r2+2\r"); // the same without marks
    for (const char* shown : {"1+1\r\n", "\tScalar : 2\r\n", "2+2\r\n", "\tScalar : 4\r\n", "> "})
        EXPECT_TRUE(terminal.Shows(shown)) << shown;
}

TEST_F(Terminal, AMillionCharactersCanBePasted) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    const std::string sum = "1" + Repeat("+1", 500'000);
    ExpectAnswer(terminal, PasteOn + sum + PasteOff, "Scalar : 500001");
    ExpectAnswer(terminal, Up + "+1", "Scalar : 500002");
    ExpectAnswer(terminal, Repeat("+1", 10'000), "Scalar : 10000"); // without marks
    terminal.Type(PasteOn + "e\xcc\x81" + sum + PasteOff);          // the combining character is above the window
    terminal.WaitUntilBlocked();
    ExpectAnswer(terminal, Ctrl('U') + "5", "Scalar : 5");
    const std::string numbers = "<1" + Repeat(", 1", 10'000) + ">"; // is shown in parts
    terminal.Type(PasteOn + numbers + PasteOff + "\r");
    EXPECT_TRUE(terminal.Shows("\033[?2004l\tVector : " + numbers + "\r\n\033[?2004h> "));
}

TEST_F(Terminal, CtrlCDropsTheRestOfWhatIsPasted) {
    PseudoTerminal terminal(folder);
    ASSERT_TRUE(terminal.Shows("> "));
    DefineEndless(terminal);
    terminal.Type(PasteOn + "f60+0\rx = 1\r");
    EXPECT_TRUE(terminal.Shows("f60+0\r\n\033[?2004l"));
    terminal.Type(CtrlC);
    EXPECT_TRUE(terminal.Shows(Cancelled));
    terminal.Type("y = 2\r" + PasteOff);
    EXPECT_TRUE(terminal.Shows("> "));
    terminal.Type("f60+0\r");
    EXPECT_TRUE(terminal.Shows("f60+0\r\n\033[?2004l"));
    terminal.Type(CtrlC + PasteOn + "y = 2\r");
    EXPECT_TRUE(terminal.Shows(Cancelled));
    terminal.Type("y = 2\r" + PasteOff);
    EXPECT_TRUE(terminal.Shows("> "));
    ExpectAnswer(terminal, "?x", "'x' is undefined");
    ExpectAnswer(terminal, "?y", "'y' is undefined");
}

TEST(PlainTerminal, CtrlCAndCtrlDAreKeysToo) {
    const Folder folder;
    PseudoTerminal terminal(folder, "dumb");
    ASSERT_TRUE(terminal.Shows("> "));
    terminal.Type("1+1\n");
    EXPECT_TRUE(terminal.Shows("1+1\r\n\tScalar : 2\r\n> "));
    terminal.Type("x = 1" + CtrlC);
    EXPECT_TRUE(terminal.Shows("^C\r\n> "));
    terminal.Type("~\n");
    EXPECT_TRUE(terminal.Shows(Question));
    terminal.Type(CtrlD);
    EXPECT_TRUE(terminal.Shows("n\r\n> "));
    terminal.Type("~\n");
    EXPECT_TRUE(terminal.Shows(Question));
    terminal.Type(CtrlC);
    EXPECT_TRUE(terminal.Shows("^C\r\n" + std::string(Cancelled) + "> "));
    terminal.Type("5" + CtrlD + CtrlD); // what was typed, without its end
    EXPECT_TRUE(terminal.Shows("5\r\n\tScalar : 5\r\n> "));
    terminal.Type(CtrlD);
    EXPECT_TRUE(terminal.Shows("q\r\n"));
    EXPECT_EQ(terminal.WaitForEnd(), 0);
    EXPECT_FALSE(std::filesystem::exists(folder.Path(".local")));
}

TEST(PlainTerminal, NothingIsShownBesideTheLineWithoutColours) {
    const Folder folder;
    PseudoTerminal terminal(folder, "xterm", "", "export NO_COLOR=1;");
    ASSERT_TRUE(terminal.Shows("> "));
    terminal.Type("2*21");
    EXPECT_TRUE(terminal.Shows("2*21"));
    terminal.WaitUntilBlocked();
    terminal.Type("\033a"); // Alt-A
    terminal.WaitUntilBlocked();
    terminal.Type("+");
    EXPECT_TRUE(terminal.Shows("+"));
    terminal.WaitUntilBlocked();
    EXPECT_EQ(terminal.GetRest(), "");
}

TEST(PlainTerminal, TheOutputMayBeAFile) {
    const Folder folder;
    PseudoTerminal terminal(folder, "xterm", "> output");
    terminal.Type("1+1\n");
    EXPECT_TRUE(terminal.Shows("1+1\r\n"));
    terminal.Type(CtrlD);
    EXPECT_TRUE(terminal.Shows("q\r\n"));
    EXPECT_EQ(terminal.WaitForEnd(), 0);
    EXPECT_EQ(folder.Read("output"), "> \tScalar : 2\n> ");
}

TEST(PlainTerminal, CtrlCEndsAScript) {
    const Folder folder;
    PseudoTerminal terminal(folder, "xterm", "/dev/stdin");
    terminal.Type("?v0" + Repeat(";?v0", 1'000) + "\n");  // more than a buffer of output
    terminal.Type("//" + std::string(4'000, ' ') + "\n"); // libc++ reads a file in blocks of 4096 bytes
    EXPECT_TRUE(terminal.Shows("\t'v0' is undefined\r\n"));
    terminal.Type(CtrlC);
    EXPECT_EQ(terminal.WaitForEnd(), -SIGINT);
}

TEST(PlainTerminal, AHungUpTerminalEndsIt) {
    const struct {
        const char* kind;
        std::string typed;
        bool isResized = false;
    } rows[] = {{"xterm", ""}, {"xterm", "", true}, {"xterm", PasteOn + "1"}, {"dumb", ""}};
    for (const auto& [kind, typed, isResized] : rows) {
        const Folder folder;
        PseudoTerminal terminal(folder, kind, "2> errors", "trap '' HUP;");
        ASSERT_TRUE(terminal.Shows("> "));
        terminal.Type(typed);
        if (isResized) terminal.Resize(40);
        ASSERT_TRUE(!isResized || terminal.Shows("\033[6n")); // it waits for where the cursor is
        terminal.WaitUntilBlocked();
        terminal.HangUp();
        EXPECT_EQ(terminal.WaitForEnd(), 0);
        EXPECT_EQ(folder.Read("errors"), "orbel: the terminal is gone\n");
    }
}

} // namespace
