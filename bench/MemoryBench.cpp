// MemoryBench.cpp: what a node and an entity weigh, with all tables that hold them.
#include "Bench.h"
#include "BenchStage.h"

#include "QK3DEntity.h"

namespace {
using namespace qk3d;

constexpr int kCount = 100'000;

// Time is beside the point here; the counters tell bytes and heap blocks of one object.
template <class F>
void Weigh(benchmark::State& state, F make) {
    for (auto _ : state) {
        bench::Stage stage;
        auto mesh = stage.MakeBox();
        auto material = stage.MakeMaterial(0);
        auto const before = bench::GetHeapUse();
        for (int i = 0; i < kCount; ++i) make(stage.GetScene(), "object" + std::to_string(i), mesh, material);
        auto const after = bench::GetHeapUse();
        state.counters["bytes"] = static_cast<double>(after.bytes - before.bytes) / kCount;
        state.counters["blocks"] = static_cast<double>(after.blocks - before.blocks) / kCount;
    }
}

void Node(benchmark::State& state) {
    Weigh(state, [](CSceneManager& scene, std::string const& name, auto&, auto&) {
        scene.GetRootSceneNode()->AddChild(scene.CreateSceneNode(name));
    });
}

void Entity(benchmark::State& state) {
    Weigh(state, [](CSceneManager& scene, std::string const& name, auto& mesh, auto& material) {
        CEntity* const entity = scene.CreateEntity("CEntity", name);
        entity->SetMesh(mesh);
        entity->SetSubEntityMaterial(material);
    });
}

BENCHMARK(Node)->Name("memory/node")->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK(Entity)->Name("memory/entity")->Iterations(1)->Unit(benchmark::kMillisecond);
} // namespace
