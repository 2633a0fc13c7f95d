// TreeBench.cpp: what a scene update costs beside the bare matrix products.
#include "Bench.h"

#include "QK3DMain.h"
#include "QK3DMath.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include <string>
#include <vector>

namespace {
using namespace qk3d;

enum class Shape { Wide, Deep };

// A scene of `count` nodes with two sets of local transforms to alternate between.
class Tree {
public:
    Tree(Shape shape, int count) : m_scene("bench") {
        auto random = bench::MakeRandom();
        for (int i = 0; i < count; ++i) {
            CSceneNode* const node = m_scene.CreateSceneNode("node" + std::to_string(i));
            bool const top = shape == Shape::Wide ? i < 10 : i % 1000 == 0;
            int const parent = shape == Shape::Wide ? (i - 10) / 10 : i - 1;
            (top ? m_scene.GetRootSceneNode() : m_nodes[static_cast<std::size_t>(parent)])->AddChild(node);
            m_nodes.push_back(node);
            m_parents.push_back(top ? -1 : parent);
            for (auto& locals : m_locals) {
                float const angle = bench::Uniform(random, -3, 3);
                float const x = bench::Uniform(random, -1, 1), y = bench::Uniform(random, -1, 1);
                locals.push_back(MatBuildRotationY(angle) * MatBuildTranslation(x, y, 0.5f));
            }
        }
    }

    void Change() {
        m_turn ^= 1;
        for (std::size_t i = 0; i < m_nodes.size(); ++i) m_nodes[i]->SetTransform(m_locals[m_turn][i]);
    }
    void Update() { m_scene.UpdateScene(); }

    // The products of one update and nothing else.
    void Floor(std::vector<Matrix44>& worlds) {
        m_turn ^= 1;
        auto const& locals = m_locals[m_turn];
        for (std::size_t i = 0; i < locals.size(); ++i) {
            worlds[i] = m_parents[i] < 0 ? locals[i] : locals[i] * worlds[static_cast<std::size_t>(m_parents[i])];
        }
    }

    void CheckAgainstFloor() {
        std::vector<Matrix44> worlds(m_nodes.size());
        m_turn = 0;
        Floor(worlds);
        m_turn = 0;
        Change();
        Update();
        for (std::size_t i = 0; i < worlds.size(); ++i) {
            bench::Check(m_nodes[i]->GetWorldTransform() == worlds[i], "world transforms of the tree");
        }
    }

private:
    CSceneManager m_scene;
    std::vector<CSceneNode*> m_nodes;
    std::vector<int> m_parents;
    std::vector<Matrix44> m_locals[2];
    std::size_t m_turn = 0;
};

void PerNode(benchmark::State& state) {
    state.counters["ns/node"] =
        benchmark::Counter(static_cast<double>(state.range(0)) * 1e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void Changed(benchmark::State& state, Shape shape) {
    Tree tree(shape, static_cast<int>(state.range(0)));
    tree.CheckAgainstFloor();
    bench::Measure(state, [&] {
        tree.Change();
        tree.Update();
    });
    PerNode(state);
}

void UpdateOnly(benchmark::State& state) {
    Tree tree(Shape::Wide, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        state.PauseTiming();
        tree.Change();
        state.ResumeTiming();
        tree.Update();
    }
    PerNode(state);
}

void Still(benchmark::State& state) {
    Tree tree(Shape::Wide, static_cast<int>(state.range(0)));
    bench::Measure(state, [&] { tree.Update(); });
    PerNode(state);
}

void Floor(benchmark::State& state, Shape shape) {
    Tree tree(shape, static_cast<int>(state.range(0)));
    std::vector<Matrix44> worlds(static_cast<std::size_t>(state.range(0)));
    bench::Measure(state, [&] {
        tree.Floor(worlds);
        benchmark::DoNotOptimize(worlds.data());
        benchmark::ClobberMemory();
    });
    PerNode(state);
}

void Sizes(benchmark::internal::Benchmark* workload) { workload->Arg(1'000)->Arg(10'000)->Arg(100'000); }

BENCHMARK_CAPTURE(Changed, wide, Shape::Wide)->Name("tree/changed/wide")->Apply(Sizes);
BENCHMARK_CAPTURE(Changed, deep, Shape::Deep)->Name("tree/changed/deep")->Apply(Sizes);
BENCHMARK(UpdateOnly)->Name("tree/update")->Apply(Sizes);
BENCHMARK(Still)->Name("tree/still")->Apply(Sizes);
BENCHMARK_CAPTURE(Floor, wide, Shape::Wide)->Name("tree/floor/wide")->Apply(Sizes);
BENCHMARK_CAPTURE(Floor, deep, Shape::Deep)->Name("tree/floor/deep")->Apply(Sizes);
} // namespace
