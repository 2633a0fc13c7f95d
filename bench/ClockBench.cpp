// ClockBench.cpp: a clock full of interval events beside a priority queue that makes the same calls.
#include "Bench.h"

#include "QK3DTimer.h"
#include <memory>
#include <queue>
#include <vector>

namespace {
using namespace qk3d;

constexpr int kEvents = 100'000;
constexpr int kSteps = 1'000;

long long calls = 0;
void CountCall(CTimerEvent*, long long) { ++calls; }

std::vector<long long> MakeIntervals() {
    auto random = bench::MakeRandom();
    std::vector<long long> intervals(kEvents);
    for (auto& interval : intervals) interval = std::uniform_int_distribution<int>(1, 1'000)(random);
    return intervals;
}

long long ExpectedCalls(std::vector<long long> const& intervals) {
    long long expected = 0;
    for (long long const interval : intervals) expected += kSteps / interval;
    return expected;
}

void Fill(CTimer& timer, std::vector<long long> const& intervals) {
    for (long long const interval : intervals) {
        timer.SetTimerEvent(interval, CountCall, nullptr, 0LL, 1'000'000'000LL, CTimerEvent::TSM_CATCHUP);
    }
}

void Insert(benchmark::State& state) {
    auto const intervals = MakeIntervals();
    for (auto _ : state) {
        CTimer timer;
        Fill(timer, intervals);
        benchmark::DoNotOptimize(timer.GetTime());
    }
}

void Advance(benchmark::State& state) {
    auto const intervals = MakeIntervals();
    for (auto _ : state) {
        state.PauseTiming();
        auto timer = std::make_unique<CTimer>();
        Fill(*timer, intervals);
        calls = 0;
        state.ResumeTiming();
        for (int step = 1; step <= kSteps; ++step) timer->GotoTime(step);
        state.PauseTiming();
        bench::Check(calls == ExpectedCalls(intervals), "calls of the clock");
        timer.reset();
        state.ResumeTiming();
    }
}

// The same calls out of one queue ordered by due time.
void AdvanceOfQueue(benchmark::State& state) {
    struct Due {
        long long time;
        long long interval;
        bool operator<(Due const& other) const { return time > other.time; }
    };
    auto const intervals = MakeIntervals();
    for (auto _ : state) {
        state.PauseTiming();
        std::priority_queue<Due> queue;
        for (long long const interval : intervals) queue.push({interval, interval});
        calls = 0;
        state.ResumeTiming();
        for (int step = 1; step <= kSteps; ++step) {
            while (queue.top().time <= step) {
                Due due = queue.top();
                queue.pop();
                CountCall(nullptr, due.time);
                due.time += due.interval;
                queue.push(due);
            }
        }
        bench::Check(calls == ExpectedCalls(intervals), "calls of the queue");
    }
}

BENCHMARK(Advance)->Name("clock/advance")->Unit(benchmark::kMillisecond);
BENCHMARK(AdvanceOfQueue)->Name("clock/advance/queue")->Unit(benchmark::kMillisecond);
BENCHMARK(Insert)->Name("clock/insert")->Unit(benchmark::kMillisecond);
} // namespace
