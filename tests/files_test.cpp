#include <gtest/gtest.h>

#include <iostream>
#include <sstream>

#include "app/services.h"
#include "program.h"
#include "quarn/core/file.h"
#include "quarn/core/log.h"
#include "quarn/core/time_manager.h"
#include "quarn/core/utils_manager.h"

namespace {

using namespace Quarn;

TEST(Files, LinesAreIndentedThroughoutTheirText) {
    const Folder folder;
    File file(folder.Path("out"), File::Write);
    file.RemoveTab(); // at level 0 already
    file.WriteLine("a\nb");
    file.AddTab();
    file.AddTab();
    file.WriteLine("a\nb");
    file.RemoveTab();
    file.SetTab("-");
    file.WriteLine("c");
    file.ResetTab();
    file.WriteLine("d");
    file.WriteText("e");
    file.PutChar('f');
    file.Close();
    EXPECT_EQ(folder.Read("out"), "a\nb\n        a\n        b\n-c\nd\nef");
}

TEST(Files, ModesOpenWhatTheySay) {
    const Folder folder;
    const std::string path = folder.Write("file", "first\n\nlast");
    File file(path, File::ReadWrite);
    EXPECT_EQ(file.ReadLine().Get(), "first");
    EXPECT_EQ(file.ReadLine().Get(), "");
    EXPECT_TRUE(file.IsValid());
    EXPECT_EQ(file.GetChar(), 'l');
    char block[8];
    EXPECT_EQ(file.ReadBlock(block, sizeof block), 3u);
    EXPECT_FALSE(file.IsValid());
    EXPECT_TRUE(file.IsOpen());
    EXPECT_EQ(file.ReadLine().Get(), "");
    EXPECT_EQ(file.GetChar(), '\0');
    EXPECT_EQ(file.GetPath().Get(), path);

    EXPECT_FALSE(File(path, 3).IsOpen());
    EXPECT_FALSE(File(folder.Path("missing"), File::ReadWrite).IsOpen());
    EXPECT_FALSE(File(folder.Path("missing"), File::Read).IsValid());
    File(path, File::Write, true).WriteBlock("x\0y", 3);
    EXPECT_EQ(folder.Read("file"), std::string("x\0y", 3));
}

TEST(Files, ExistWhenTheyCanBeOpened) {
    const Folder folder;
    EXPECT_TRUE(File::Exists(folder.Write("file", "")));
    EXPECT_TRUE(File::Exists(folder.Write(" ", "")));
    EXPECT_FALSE(File::Exists(folder.Path("missing")));
    EXPECT_FALSE(File::Exists(""));
}

std::string Logged;

void Collect(const s_str& text, s_bool flag, s_uint prefixLength) {
    Logged += text.Get() + (flag ? "|" : "?") + s_str(prefixLength).Get() + "\n";
}

TEST(Log, HeadersCountIntoThePrefix) {
    Logged.clear();
    UtilsManager::Get().SetLogFunction(Collect);
    Error("parser", "bad");
    Error("", "bad");
    Warning("here", "odd");
    Warning("", "odd");
    Log("plain");
    EXPECT_EQ(Logged, "# Error # : parser : bad|21\n# Error # : bad|12\n# Warning # : here : odd|21\n"
                      "# Warning # : odd|14\nplain|0\n");
}

TEST(Log, LinesWithoutASinkAreDropped) {
    Logged.clear();
    UtilsManager::Get().SetLogFunction(Collect);
    UtilsManager::Delete();
    Log("lost");
    EXPECT_TRUE(UtilsManager::Exists());
    EXPECT_EQ(Logged, "");
    UtilsManager::Delete();
}

TEST(Log, OfTheProgramGoesToTheOutputAndToItsFile) {
    const Folder folder;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path(""));
    std::ostringstream output;
    std::streambuf* const standard = std::cout.rdbuf(output.rdbuf());
    StartServices("");
    Error("place", "bad\nworse");
    EXPECT_GE(TimeManager::Get().GetTime(), 0.0);
    StopServices();
    Error("place", "after that, nobody listens");
    std::cout.rdbuf(standard);
    std::filesystem::current_path(before);
    EXPECT_EQ(output.str(), "# Error # : place : bad\nworse\n");
    EXPECT_EQ(folder.Read("orbel.log"), output.str());
    UtilsManager::Delete();
}

} // namespace
