// Replays what the fuzzer found interesting.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "fuzz/session.h"

namespace {

TEST(Corpus, IsPlayedWithoutABreach) {
    std::size_t played = 0;
    for (const auto& entry : std::filesystem::directory_iterator(CORPUS)) {
        std::ostringstream script;
        script << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        SCOPED_TRACE(entry.path().filename());
        PlayAnything(script.str());
        ++played;
    }
    EXPECT_GT(played, 0u);
}

} // namespace
