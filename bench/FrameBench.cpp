// FrameBench.cpp: whole frames of many entities, sorted and direct, and the sort of what is seen through.
#include "Bench.h"
#include "BenchStage.h"

#include "QK3DEntity.h"
#include "QK3DRenderOperation.h"
#include "QK3DRenderQueue.h"
#include "QK3DRenderState.h"
#include "QK3DRenderableObject.h"
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace {
using namespace qk3d;

constexpr int kMaterials = 16;

void PerEntity(benchmark::State& state) {
    state.counters["ns/entity"] =
        benchmark::Counter(static_cast<double>(state.range(0)) * 1e-9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void Entities(benchmark::State& state, bool sorted) {
    bench::Stage stage;
    auto mesh = stage.MakeBox();
    std::vector<_ResourceSharePtr<CMaterial>> materials;
    for (int i = 0; i < kMaterials; ++i) materials.push_back(stage.MakeMaterial(i));

    auto const count = static_cast<int>(state.range(0));
    CSceneManager& scene = stage.GetScene();
    for (int i = 0; i < count; ++i) {
        std::string const name = std::to_string(i);
        CEntity* const entity = scene.CreateEntity("CEntity", name);
        entity->SetMesh(mesh);
        entity->SetSubEntityMaterial(materials[static_cast<std::size_t>(i % kMaterials)]);
        CSceneNode* const node = scene.GetRootSceneNode()->CreateChildSceneNode(
            name, Vector3(static_cast<float>(i % 100), static_cast<float>(i / 100), 0), Quaternion::IDENTITY);
        node->AttachMovableObject(entity);
        stage.GetViewport().AddMovableObject(entity);
    }
    if (!sorted) stage.GetViewport().DisableSortRenderQueue();

    stage.Frame();
    stage.ResetCounts();
    stage.Frame();
    bench::Check(stage.DrawsOf() == static_cast<unsigned long long>(count), "draws of a frame");
    bench::Measure(state, [&] { stage.Frame(); });
    PerEntity(state);
}

// The calls of the device that such a frame makes for its entities, with nothing around them.
void Calls(benchmark::State& state) {
    bench::Stage stage;
    CRenderSystem& device = stage.GetDevice();
    auto const mesh = stage.MakeBox();
    auto const material = stage.MakeMaterial(0);
    CPass* const pass = material->GetBestTechnique()->GetPass(0);
    std::vector<std::size_t> states;
    for (int i = 1; i <= CRenderState::LAST_STATE; ++i)
        if (pass->GetRenderState()->IsStateSet(i)) states.push_back(static_cast<std::size_t>(i));
    CRenderOperation operation;
    mesh->GetSubMesh(0)->GetRenderOperation(operation);

    auto const& setters = CRenderState::GetDeviceSetters();
    bench::Measure(state, [&] {
        for (std::int64_t i = 0; i < state.range(0); ++i) {
            device.SetTexture(0, true, static_cast<CTexture*>(pass->GetTexture(0)));
            for (std::size_t const each : states) (device.*setters[each])(static_cast<unsigned long>(i));
            device.SetWorldMatrix(Matrix44::IDENTITY);
            device.Render(operation);
        }
    });
    bench::Check(stage.DrawsOf("SetZEnable") == stage.DrawsOf(), "a setter for each draw");
    PerEntity(state);
}

// Drawn from back to front by a depth of its own.
class SeenThrough : public CRenderableObject {
public:
    SeenThrough(CMaterial* material, CSubMesh* shape, float depth)
        : m_material(material), m_shape(shape), m_depth(depth) {}
    CTechnique* GetTechnique() override { return m_material->GetBestTechnique(); }
    void GetWorldTransform(Matrix44* out) const override { *out = Matrix44::IDENTITY; }
    float GetSquaredViewDepth(CCamera*, long long) const override { return m_depth; }
    void GetRenderOperation(CRenderOperation& out) const override { m_shape->GetRenderOperation(out); }
    void SetDepth(float depth) { m_depth = depth; }

private:
    CMaterial* m_material;
    CSubMesh* m_shape;
    float m_depth;
};

// With `isNew`, each frame brings other depths in an order of no kinship with the last one.
void Sorted(benchmark::State& state, bool isNew) {
    bench::Stage stage;
    auto const mesh = stage.MakeBox();
    std::vector<_ResourceSharePtr<CMaterial>> materials;
    for (int i = 0; i < kMaterials; ++i) materials.push_back(stage.MakeMaterial(i));
    auto random = bench::MakeRandom();
    std::vector<std::unique_ptr<SeenThrough>> objects;
    for (int i = 0; i < state.range(0); ++i) {
        CMaterial* const material = materials[static_cast<std::size_t>(i % kMaterials)];
        objects.push_back(
            std::make_unique<SeenThrough>(material, mesh->GetSubMesh(0), bench::Uniform(random, 0, 10'000)));
    }

    CQueueRenderableCollection queue(QSM_BACK_TO_FRONT);
    CCamera* const camera = stage.GetScene().GetCamera("camera");
    std::uint32_t depth = 1;
    bench::Measure(state, [&] {
        for (auto const& object : objects) {
            if (!isNew) break;
            depth = depth * 1'664'525u + 1'013'904'223u; // any numbers without an order will do
            object->SetDepth(static_cast<float>(depth >> 8));
        }
        queue.Clear();
        for (auto const& object : objects) {
            queue.AddRenderablePass(object.get(), object->GetTechnique()->GetPass(0));
        }
        queue.Sort(camera, 1);
        queue.Render(&stage.GetDevice(), 1);
    });
    float last = 1e9f;
    for (std::size_t i = 0; i < queue.GetRenderablePassNum(); ++i) {
        float const depth = queue.GetRenderablePass(i).renderable->GetSquaredViewDepth(camera, 1);
        bench::Check(depth <= last, "order from back to front");
        last = depth;
    }
    PerEntity(state);
}

void Sizes(benchmark::internal::Benchmark* workload) {
    workload->Arg(1'000)->Arg(10'000)->Arg(50'000)->Unit(benchmark::kMicrosecond);
}

BENCHMARK_CAPTURE(Entities, opaque, true)->Name("frame/opaque")->Apply(Sizes);
BENCHMARK_CAPTURE(Entities, direct, false)->Name("frame/direct")->Apply(Sizes);
BENCHMARK(Calls)->Name("frame/calls")->Arg(10'000)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(Sorted, sorted, false)->Name("frame/sorted")->Apply(Sizes);
BENCHMARK_CAPTURE(Sorted, resorted, true)->Name("frame/resorted")->Apply(Sizes);
} // namespace
