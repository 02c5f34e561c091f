// A manual clock drives all these tests.

#include <cmath>

#include <gtest/gtest.h>

#include "quarn/core/chrono.h"
#include "quarn/core/periodic_timer.h"
#include "quarn/core/time_manager.h"
#include "quarn/core/utils_manager.h"

namespace {

using namespace Quarn;

double Now;
std::string Logged;

class Time : public testing::Test {
protected:
    Time() {
        Now = 100;
        Logged.clear();
        manager.SetGetTimeFunction([] { return Now; });
        UtilsManager::Get().SetLogFunction([](const s_str& text, s_bool, s_uint) { Logged += text.Get() + "\n"; });
    }
    ~Time() override {
        TimeManager::Delete();
        UtilsManager::Delete();
    }

    TimeManager& manager = TimeManager::Get();
};

TEST_F(Time, TimersCountOnlyWhileTheyRun) {
    Timer timer(false);
    Now += 1;
    EXPECT_EQ(timer.GetElapsed(), 0);
    timer.Start();
    Now += 2;
    timer.Start();
    EXPECT_EQ(timer.GetElapsed(), 2);
    timer.Stop();
    Now += 4;
    timer.Stop();
    EXPECT_EQ(timer.GetElapsed(), 2);
    timer.Start();
    Now += 8;
    EXPECT_EQ(timer.GetElapsed(), 10);
    EXPECT_FALSE(timer.IsStopped());
}

TEST_F(Time, WhatTheClockGoesBackCountsAsItIs) {
    Profiler profiler("p", 0u);
    manager.EnableProfiling(true);
    manager.StartProfiling();
    manager.Start();
    const Timer timer;
    PeriodicTimer periodic(1);
    {
        const Chrono chrono(&profiler);
        Now -= 50;
        EXPECT_EQ(timer.GetElapsed(), -50);
        EXPECT_FALSE(periodic.HasPassed());
        manager.Update();
    }
    EXPECT_EQ(manager.GetFrameDelta(), -50);
    EXPECT_EQ(manager.GetRateSum().Get(), 10000u); // as a short frame
    EXPECT_TRUE(profiler.GetNotTimedCount() == s_uint(1u));
    manager.PrintProfiling();
    EXPECT_EQ(Logged, "\n\n# Profiling info : -50.00 s of profiling\n# end.\n");
    Now = std::nan("");
    manager.Update();
    EXPECT_TRUE(manager.GetRateSum().GetState() == s_uint::State::NaN);
}

TEST_F(Time, PeriodsPassWithoutDrift) {
    PeriodicTimer timer(0.1);
    EXPECT_FALSE(timer.HasPassed());
    int passed = 0;
    for (int i = 1; i <= 1000; ++i) {
        Now = 100 + 0.05 * i;
        while (timer.HasPassed()) ++passed;
    }
    EXPECT_EQ(passed, 500);
    Now += 0.3001; // three periods late
    EXPECT_TRUE(timer.HasPassed());
    EXPECT_TRUE(timer.HasPassed());
    EXPECT_TRUE(timer.HasPassed());
    EXPECT_FALSE(timer.HasPassed());
}

TEST_F(Time, PeriodsThatAreNoneNeverPass) {
    for (const double period : {0.0, -1.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
        PeriodicTimer timer(period);
        Now += 1;
        EXPECT_FALSE(timer.HasPassed()) << period;
    }
}

TEST_F(Time, ShortRecordsAreCountedAndNotTimed) {
    Profiler profiler("p", 0u, true);
    profiler.AddRecord(0.0000005);
    EXPECT_EQ(profiler.GetHighest(), -1);
    EXPECT_EQ(profiler.GetLowest(), -1);
    profiler.AddRecord(0.002);
    profiler.AddRecord(0.001);
    EXPECT_EQ(profiler.GetHighest(), 0.002);
    EXPECT_EQ(profiler.GetLowest(), 0.001);
    EXPECT_EQ(profiler.GetTotal(), 0.003);
    EXPECT_EQ(profiler.GetRecords(), (std::vector{0.002, 0.001}));
    EXPECT_TRUE(profiler.GetCallCount() == s_uint(3u));
    EXPECT_TRUE(profiler.GetNotTimedCount() == s_uint(1u));
}

TEST_F(Time, ChronosHandOverWhatTheyMeasured) {
    Profiler profiler("p", 0u, true);
    {
        Chrono chrono(&profiler);
        Now += 1;
        chrono.Stop(true);
        Now += 10;
        chrono.Stop();
        chrono.Start();
        chrono.Start();
        Now += 2;
        chrono.Stop(); // reports 1 + 2
        chrono.Start();
        Now += 4;
    } // and 4
    {
        Chrono chrono(&profiler);
        Now += 8;
        chrono.Stop(true);
    } // the kept time is lost
    EXPECT_EQ(profiler.GetRecords(), (std::vector{3.0, 4.0}));
    Chrono nothing(nullptr);
    nothing.Stop();
}

TEST_F(Time, FramesAndRates) {
    EXPECT_EQ(manager.GetFrameDelta(), 0.017);
    EXPECT_FALSE(manager.GetTimer());
    Now = 7;
    manager.Start();
    EXPECT_EQ(manager.GetStartTime(), 7);
    EXPECT_TRUE(manager.GetLowestRate() == s_uint::Infinity);
    Now += 0.25;
    manager.Update();
    EXPECT_EQ(manager.GetFrameDelta(), 0.25);
    Now += 0.00001;
    manager.Update();
    EXPECT_TRUE(manager.GetFrameCount() == s_uint(2u));
    EXPECT_TRUE(manager.GetRateSum() == s_uint(10004u));
    EXPECT_TRUE(manager.GetHighestRate() == s_uint(10000u));
    EXPECT_TRUE(manager.GetLowestRate() == s_uint(4u));
    Now += 0.125;
    manager.Update();
    EXPECT_TRUE(manager.GetHighestRate() == s_uint(10000u) && manager.GetLowestRate() == s_uint(4u));
    EXPECT_NEAR(manager.GetTimer()->GetElapsed(), 0.37501, 1e-9);
    manager.Start();
    EXPECT_TRUE(manager.GetFrameCount().IsZero());
    EXPECT_TRUE(manager.GetRateSum().IsZero());
    EXPECT_TRUE(manager.GetHighestRate().IsZero());
}

TEST_F(Time, WithoutACallbackEveryTimeIsZero) {
    manager.SetGetTimeFunction(nullptr);
    EXPECT_EQ(manager.GetTime(), 0.0);
    Profiler profiler("p", 0u);
    { const Chrono chrono(&profiler); }
    EXPECT_TRUE(profiler.GetNotTimedCount() == s_uint(1u));
}

TEST_F(Time, SeedingMakesTheManagerAndDrawsTheFourth) {
    TimeManager::Delete();
    const auto before = static_cast<unsigned>(std::time(nullptr));
    const int drawn = TimeManager::SeedRandom();
    EXPECT_TRUE(TimeManager::Exists());
    bool isFourth = false;
    for (unsigned seed = before; seed <= static_cast<unsigned>(std::time(nullptr)); ++seed) {
        std::srand(seed);
        for (int i = 0; i < 3; ++i) std::rand();
        isFourth = isFourth || std::rand() == drawn;
    }
    EXPECT_TRUE(isFourth);
}

class Report : public Time {
protected:
    std::string Print(s_uint group) {
        Logged.clear();
        manager.PrintProfiling(group);
        return Logged;
    }
};

TEST_F(Report, StandsAsItIsRead) {
    manager.EnableProfiling(true);
    manager.StartProfiling();
    Profiler& work = manager.GetProfiler("work", 1u, true);
    EXPECT_EQ(&manager.GetProfiler("work", 2u), &work); // keeps the first group
    manager.GetProfiler("idle", 2u);
    work.AddRecord(0.25);
    work.AddRecord(0.5);
    work.AddRecord(1e-7);
    Now += 12.5;
    const char* const workLines = "  - work :\n"
                                  "     - call number     : 3 (1 not timed)\n"
                                  "     - total time      : 0.075000 s (06.00% of total)\n"
                                  "     - average time    : 375.0 ms\n"
                                  "     - highest time    : 500.0 ms\n"
                                  "     - lowest time     : 250.0 ms\n"
                                  "     - listing records :\n"
                                  "        [1] : 250 ms\n"
                                  "        [2] : 500 ms\n";
    const char* const idleLines = "  - idle :\n     - call number     : 0 (0 not timed)\n";
    const auto report = [](const std::string& header, const std::string& lines) {
        return "\n\n# Profiling info" + header + " s of profiling\n" + lines + "# end.\n";
    };
    EXPECT_EQ(Print(1u), report(" for group [1] : 12.5", workLines));
    Now += 100; // the first report ended the run
    EXPECT_EQ(Print(s_uint::Infinity), report(" : 12.50", std::string(idleLines) + workLines));
    EXPECT_EQ(Print(s_uint::NaN), Print(s_uint::Infinity));
    EXPECT_EQ(Print(7u), report(" for group [7] : 12.5", ""));
    manager.EnableProfiling(false);
    EXPECT_EQ(Print(s_uint::NaN), "");
}

TEST_F(Report, ScalesTheTotalBeforeItDivides) {
    Profiler profiler("p", 1u);
    for (const double milliseconds : {3, 8, 7}) profiler.AddRecord(milliseconds / 1000);
    profiler.Print(1);
    EXPECT_NE(Logged.find("average time    : 6.000 ms"), std::string::npos) << Logged;
}

TEST_F(Report, DividesByZeroInWords) {
    manager.EnableProfiling(true);
    Profiler& untimed = manager.GetProfiler("a", 1u);
    untimed.AddRecord(0);
    manager.GetProfiler("b", 1u).AddRecord(1);
    EXPECT_EQ(Print(s_uint::NaN), "\n\n# Profiling info : 0.00 s of profiling\n"
                                  "  - a :\n"
                                  "     - call number     : 1 (1 not timed)\n"
                                  "     - total time      : 0.00000 s (nan.nan% of total)\n"
                                  "     - average time    : nan.nan ms\n"
                                  "     - highest time    : -1000.0 ms\n"
                                  "     - lowest time     : -1000.0 ms\n"
                                  "  - b :\n"
                                  "     - call number     : 1 (0 not timed)\n"
                                  "     - total time      : 1.000 s (inf.nan% of total)\n"
                                  "     - average time    : 1000.0 ms\n"
                                  "     - highest time    : 1000.0 ms\n"
                                  "     - lowest time     : 1000.0 ms\n"
                                  "# end.\n");
}

} // namespace
