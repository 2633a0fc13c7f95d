// StopwatchTest.cpp: the stopwatch on clocks that the test winds, and the precise wait.
#include "QK3DCalculagraph.h"

#include <gtest/gtest.h>
#include <thread>

using namespace qk3d;

namespace {
unsigned int g_processors, g_tick;
long long g_frequency, g_counter;

CWin32Calculagraph::Clocks TestClocks(unsigned int processors, long long frequency, bool isShared = false) {
    g_processors = processors;
    g_frequency = frequency;
    g_counter = g_tick = 0;
    return {[] { return g_processors; }, isShared, [] { return g_frequency; }, [] { return g_counter; },
            [] { return g_tick; }};
}

} // namespace

TEST(Stopwatch, CountsWhileItRunsAndKeepsWhatItCounted) {
    using W = CWin32Calculagraph;
    struct {
        char const* what;
        void (W::*action)();
        unsigned int passed; // milliseconds after the action
        long long shown;     // then
    } const rows[] = {
        {"not started", &W::Stop, 1000, 0},
        {"running", &W::Start, 1500, 1500},
        {"paused", &W::Pause, 400, 1500},
        {"running on", &W::Start, 100, 1600},
        {"a second start drops the open run", &W::Start, 20, 1520},
        {"stopped", &W::Stop, 5, 0},
    };
    for (unsigned int const processors : {1u, 2u}) { // the counter, with 3 steps a millisecond, or the tick
        CWin32Calculagraph watch(TestClocks(processors, 3000));
        for (auto const& row : rows) {
            (watch.*row.action)();
            g_counter += 3 * row.passed;
            g_tick += row.passed;
            EXPECT_EQ(watch.GetTimeAsMillisecond(), row.shown) << row.what;
            EXPECT_DOUBLE_EQ(watch.GetTimeAsSecond(), static_cast<double>(row.shown) / 1000) << row.what;
        }
        EXPECT_EQ(watch.GetTimestamp(), 30'250'000) << "all that has passed, whatever was stopped";
    }
}

TEST(Stopwatch, ATickThatWrapsRoundCostsOneMillisecond) {
    CWin32Calculagraph watch(TestClocks(2, 1000));
    g_tick = 4'294'967'290;
    watch.Start();
    g_tick = 10;
    EXPECT_EQ(watch.GetTimeAsMillisecond(), 15);
    watch.Start();
    g_tick = 4'000'000'010;
    EXPECT_EQ(watch.GetTimeAsExactTime(), 40'000'000'000'000) << "multiplied in 64 bits";
}

TEST(Stopwatch, TheCounterServesWhereItCanBeReliedOn) {
    auto const shown = [](unsigned int processors, bool isShared, long long frequency) {
        CWin32Calculagraph watch(TestClocks(processors, frequency, isShared));
        watch.Start();
        g_counter = 10; // a second
        g_tick = 500;
        return watch.GetTimeAsMillisecond();
    };
    EXPECT_TRUE(shown(1, false, 10) == 1000 && shown(2, true, 10) == 1000);
    EXPECT_TRUE(shown(2, false, 10) == 500 && shown(1, true, 0) == 500);
}

TEST(SleepEx, WaitsItsTimeOrForTheEvent) {
    void *event = CreateSleepEvent(), *none = nullptr;
    auto const wait = [](unsigned int time, void*& on) {
        auto const start = std::chrono::steady_clock::now();
        SleepEx(time, on);
        return (std::chrono::steady_clock::now() - start) / std::chrono::milliseconds(1);
    };
    EXPECT_LT(wait(10'000, none), 5000) << "nothing to wait for";
    EXPECT_GE(wait(20, event), 20);
    SignalSleepEvent(event);
    EXPECT_LT(wait(10'000, event), 5000) << "signalled before";
    EXPECT_GE(wait(20, event), 20) << "one signal ends one wait";
    std::thread other([event] { SignalSleepEvent(event); });
    EXPECT_LT(wait(10'000, event), 5000);
    other.join();
    DestroySleepEvent(event);
    DestroySleepEvent(nullptr);
    SignalSleepEvent(nullptr);
}
