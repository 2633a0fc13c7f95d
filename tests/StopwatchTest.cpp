// StopwatchTest.cpp: the stopwatch on clocks that the test winds, and the precise wait.
#include "PlatformClock.h"
#include "QK3DCalculagraph.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

using namespace qk3d;
namespace platform = qklib::platform;

namespace {
unsigned int g_processors;
long long g_frequency;
long long g_counter;
unsigned int g_tick;

CWin32Calculagraph::Clocks TestClocks(unsigned int processors, long long frequency, bool isShared = false) {
    g_processors = processors;
    g_frequency = frequency;
    g_counter = 0;
    g_tick = 0;
    return {[] { return g_processors; }, isShared, [] { return g_frequency; }, [] { return g_counter; },
            [] { return g_tick; }};
}

class StopwatchTest : public testing::TestWithParam<bool> {
protected:
    // A stopwatch on the counter (3 steps a millisecond) or on the tick.
    CWin32Calculagraph Make() { return CWin32Calculagraph(TestClocks(GetParam() ? 1 : 2, 3000)); }

    void Pass(unsigned int milliseconds) {
        g_counter += 3 * milliseconds;
        g_tick += milliseconds;
    }
};
INSTANTIATE_TEST_SUITE_P(BothClocks, StopwatchTest, testing::Bool());

long long Milliseconds(std::chrono::steady_clock::time_point since) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - since).count();
}
} // namespace

TEST_P(StopwatchTest, CountsWhileItRunsAndKeepsWhatItCounted) {
    CWin32Calculagraph watch = Make();
    Pass(1000);
    EXPECT_EQ(watch.GetTimeAsMillisecond(), 0);
    watch.Start();
    Pass(1500);
    EXPECT_EQ(watch.GetTimeAsMillisecond(), 1500);
    EXPECT_DOUBLE_EQ(watch.GetTimeAsSecond(), 1.5);
    watch.Pause();
    Pass(400);
    EXPECT_EQ(watch.GetTimeAsMillisecond(), 1500) << "paused";
    watch.Start();
    Pass(100);
    EXPECT_EQ(watch.GetTimeAsMillisecond(), 1600);
    watch.Start();
    Pass(20);
    EXPECT_EQ(watch.GetTimeAsMillisecond(), 1520) << "a second start drops the open run";
    watch.Stop();
    Pass(5);
    EXPECT_EQ(watch.GetTimeAsExactTime(), 0);
    watch.Start();
    Pass(7);
    EXPECT_EQ(watch.GetTimeAsMillisecond(), 7);
    EXPECT_EQ(watch.GetTimestamp(), 30'320'000) << "all that has passed, whatever was stopped";
}

TEST(Stopwatch, ATickThatWrapsRoundCostsOneMillisecond) {
    CWin32Calculagraph watch(TestClocks(2, 1000));
    g_tick = 4294967290u;
    watch.Start();
    g_tick = 10;
    EXPECT_EQ(watch.GetTimeAsMillisecond(), 15);
    watch.Pause();
    EXPECT_EQ(watch.GetTimeAsExactTime(), 150'000);

    g_tick = 0;
    watch.Stop();
    watch.Start();
    g_tick = 4'000'000'000u;
    EXPECT_EQ(watch.GetTimeAsExactTime(), 40'000'000'000'000) << "multiplied in 64 bits";
}

TEST(Stopwatch, TheCounterServesWhereItCanBeReliedOn) {
    struct {
        unsigned int processors;
        bool isShared;
        long long frequency;
        bool onCounter;
    } const rows[] = {{1, false, 10, true}, {2, false, 10, false}, {2, true, 10, true}, {1, true, 0, false}};
    for (auto const& row : rows) {
        CWin32Calculagraph watch(TestClocks(row.processors, row.frequency, row.isShared));
        watch.Start();
        g_counter = 10; // a second
        g_tick = 500;
        EXPECT_EQ(watch.GetTimeAsMillisecond(), row.onCounter ? 1000 : 500)
            << row.processors << row.isShared << row.frequency;
    }
}

TEST(Stopwatch, RunsOnTheClocksOfTheSystem) {
    CWin32Calculagraph watch;
    auto const since = std::chrono::steady_clock::now();
    long long const stamp = watch.GetTimestamp();
    watch.Start();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    watch.Pause();
    EXPECT_GE(watch.GetTimeAsExactTime(), 190'000);
    EXPECT_LE(watch.GetTimeAsMillisecond(), Milliseconds(since) + 1);
    EXPECT_GE(watch.GetTimestamp() - stamp, 190'000);
}

TEST(SleepEx, WaitsItsTimeOrForTheEvent) {
    void* event = CreateSleepEvent();
    void* none = nullptr;
    auto since = std::chrono::steady_clock::now();
    SleepEx(0, event);
    SleepEx(10'000, none);
    EXPECT_LT(Milliseconds(since), 5000) << "nothing to wait for";
    SleepEx(20, event);
    EXPECT_GE(Milliseconds(since), 20);

    SignalSleepEvent(event);
    since = std::chrono::steady_clock::now();
    SleepEx(10'000, event);
    EXPECT_LT(Milliseconds(since), 5000) << "signalled before";
    since = std::chrono::steady_clock::now();
    SleepEx(20, event);
    EXPECT_GE(Milliseconds(since), 20) << "one signal ends one wait";

    since = std::chrono::steady_clock::now();
    std::thread other([&] { SignalSleepEvent(event); });
    SleepEx(10'000, event);
    other.join();
    EXPECT_LT(Milliseconds(since), 5000);
    DestroySleepEvent(event);
    DestroySleepEvent(nullptr);
    SignalSleepEvent(nullptr);
}

TEST(Clock, BreaksSecondsDownInUtc) {
    struct {
        long long seconds;
        int parts[6];
    } const rows[] = {
        {951'782'400, {2000, 2, 29, 0, 0, 0}},
        {-1, {1969, 12, 31, 23, 59, 59}},
    };
    for (auto const& row : rows) {
        platform::CalendarTime time{};
        ASSERT_TRUE(platform::BreakDownCalendarSeconds(row.seconds, time));
        int const parts[] = {time.year, time.month, time.day, time.hour, time.minute, time.second};
        for (int i = 0; i < 6; ++i) EXPECT_EQ(parts[i], row.parts[i]) << row.seconds << ", part " << i;
    }
    platform::CalendarTime time{};
    EXPECT_FALSE(platform::BreakDownCalendarSeconds(0x7FFFFFFFFFFFFFFF, time));
    EXPECT_GT(platform::GetCalendarSeconds(), 1'700'000'000);
}
