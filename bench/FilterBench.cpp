// FilterBench.cpp: what it costs to find the three states that differ among thirty.
#include "Bench.h"
#include "BenchStage.h"

#include <array>
#include <cstdint>

namespace {
using namespace qk3d;

constexpr std::int64_t kSwitches = 1'000'000;
constexpr int kStates = 30;

_ResourceSharePtr<CRenderState> MakeBlock(std::string const& name, unsigned long differing) {
    _ResourceSharePtr<CRenderState> block(CQK3DMain::GetResourceSystem().CreateResourceManual("CRenderState", name));
    for (int state = 1; state <= kStates; ++state) {
        block->SetState(static_cast<CRenderState::EState>(state), state % 10 == 5 ? differing : 77);
    }
    return block;
}

void Switch(benchmark::State& state) {
    bench::Stage stage;
    auto const one = MakeBlock("one", 1);
    auto const other = MakeBlock("other", 2);
    CTraceRenderSystem& device = stage.GetDevice();
    device.SetRenderState(one);
    stage.ResetCounts();
    device.SetRenderState(other);
    bench::Check(device.GetJournal().GetStateCount() == 3, "calls of one switch");

    for (auto _ : state) {
        for (std::int64_t i = 0; i < kSwitches; i += 2) {
            device.SetRenderState(one);
            device.SetRenderState(other);
        }
    }
    state.SetItemsProcessed(state.iterations() * kSwitches);
    device.SetPass(nullptr);
}

// Thirty values held against thirty others, and a call for each of the three that differ.
void Compares(benchmark::State& state) {
    std::array<std::uint32_t, kStates> one, other;
    for (int i = 0; i < kStates; ++i) {
        one[static_cast<std::size_t>(i)] = 77;
        other[static_cast<std::size_t>(i)] = i % 10 == 4 ? 78 : 77;
    }
    bench::Stage stage;
    CTraceRenderSystem& device = stage.GetDevice();
    for (auto _ : state) {
        for (std::int64_t i = 0; i < kSwitches; ++i) {
            benchmark::DoNotOptimize(one.data());
            benchmark::DoNotOptimize(other.data());
            for (std::size_t k = 0; k < kStates; ++k) {
                if (one[k] != other[k]) device.SetZEnable(other[k]);
            }
        }
    }
    state.SetItemsProcessed(state.iterations() * kSwitches);
}

BENCHMARK(Switch)->Name("filter/switch")->Unit(benchmark::kMillisecond);
BENCHMARK(Compares)->Name("filter/compares")->Unit(benchmark::kMillisecond);
} // namespace
