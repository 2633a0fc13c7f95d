// Bench.h: what the workloads share: counted allocations, the seed, a device that only counts.
#pragma once

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <random>

namespace bench {
/// Calls of operator new since the program began.
unsigned long long AllocationCount();

/// Bytes that malloc has handed out and not got back, and how many blocks that is.
struct HeapUse {
    unsigned long long bytes = 0;
    unsigned long long blocks = 0;
};
HeapUse GetHeapUse();

/// Every workload draws its input from one of these, so that two runs work on the same numbers.
using Random = std::mt19937;
inline Random MakeRandom() { return Random(20'240'229u); }

inline float Uniform(Random& random, float low, float high) {
    return std::uniform_real_distribution<float>(low, high)(random);
}

/// Ends the program: a workload whose result is wrong has no time worth telling.
[[noreturn]] void Fail(char const* what);
inline void Check(bool right, char const* what) {
    if (!right) Fail(what);
}

/// Runs `once` twice to warm it up, then under the clock, and writes the allocations of one iteration beside the time.
template <class F>
void Measure(benchmark::State& state, F once) {
    once();
    once();
    unsigned long long const before = AllocationCount();
    once();
    state.counters["allocs"] = static_cast<double>(AllocationCount() - before);
    for (auto _ : state) once();
}
} // namespace bench
