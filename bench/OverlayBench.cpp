// OverlayBench.cpp: panels of ten items each, with nothing changed and with everything moved.
#include "Bench.h"
#include "BenchStage.h"

#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include <vector>

namespace {
using namespace qk3d;

constexpr int kInPanel = 10;

void Items(benchmark::State& state, bool moving) {
    bench::Stage stage;
    COverlayManager manager;
    std::vector<COverlayItem*> panels;
    auto const count = static_cast<int>(state.range(0));
    for (int i = 0; i < count / kInPanel; ++i) {
        COverlayItem* const panel =
            manager.CreateOverlayItem("panel" + std::to_string(i), i % 60 * 10, i / 60 * 10, 100, 100, 0);
        for (int k = 1; k < kInPanel; ++k) {
            COverlayItem* const item = panel->CreateSubItem("item" + std::to_string(k));
            item->SetPosition(k, k);
            item->SetSize(8, 8);
            item->SetTexture(string("Blank"));
        }
        panel->SetTexture(string("Blank"));
        stage.GetWindow().AddOverlayItem(panel);
        panels.push_back(panel);
    }

    int turn = 0;
    auto const frame = [&] {
        if (moving) {
            ++turn;
            for (std::size_t i = 0; i < panels.size(); ++i)
                panels[i]->SetPosition(turn % 2 + static_cast<int>(i) % 600, 5);
        }
        manager.Update();
        stage.Frame();
    };
    for (int i = 0; i < 4; ++i) frame();
    stage.ResetCounts();
    frame();
    auto const items = static_cast<unsigned long long>(count);
    bench::Check(stage.DrawsOf() == items, "quads of a frame");
    bench::Check(stage.DrawsOf("LockBuffer") == (moving ? items : 0), "quads written in a frame");
    bench::Measure(state, frame);
    stage.GetWindow().RemoveAllOverlayItem();
    manager.DestroyAllOverlayItem();
}

void Sizes(benchmark::internal::Benchmark* workload) {
    workload->Arg(1'000)->Arg(10'000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(Items, still, false)->Name("overlay/still")->Apply(Sizes);
BENCHMARK_CAPTURE(Items, moving, true)->Name("overlay/moving")->Apply(Sizes);
} // namespace
