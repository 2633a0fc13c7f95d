// ParticleBench.cpp: one emitter with a hundred thousand living particles: update and draw.
#include "Bench.h"
#include "BenchStage.h"

#include "QK3DEmitter.h"
#include "QK3DParticle.h"

namespace {
using namespace qk3d;

constexpr long long kSecond = 10'000'000;
constexpr long long kStep = kSecond / 60;
constexpr unsigned int kLiving = 100'000;

void MakeParticle(CEmitter* emitter, CEmitableObject** out) {
    CreateCParticle(emitter, out);
    if (*out) (*out)->SetLifeTime(5 * kSecond);
}

class SteadyEmitter : public CEmitter {
public:
    SteadyEmitter() : CEmitter(nullptr, "steady") {
        SetEmitSpeed(20'000);
        SetTotalEmitNum(4'000'000'000u);
        SetMaxParticleNum(kLiving);
        SetRange(Vector3(-1, -1, -1), Vector3(1, 1, 1));
        SetEmitableObjectCreateFun(MakeParticle, true);
    }
    string GetTypeName() override { return "SteadyEmitter"; }
};

void Steady(benchmark::State& state) {
    bench::Stage stage;
    auto mesh = stage.MakeBox();
    auto material = stage.MakeMaterial(0);
    SteadyEmitter emitter;
    emitter.SetMesh(mesh);
    emitter.SetMaterial(material);
    stage.GetScene().GetRootSceneNode()->AttachMovableObject(&emitter);
    stage.GetViewport().AddMovableObject(&emitter);

    auto const frame = [&] {
        stage.GetScene().GetTimer().TimeStepIn(kStep);
        stage.Frame();
    };
    for (int i = 0; i < 6 * 60; ++i) frame();
    stage.ResetCounts();
    frame();
    auto const drawn = stage.DrawsOf();
    bench::Check(drawn > kLiving * 98 / 100 && drawn <= kLiving, "particles of a steady emitter");

    bench::Measure(state, frame);
    state.counters["ns/particle"] = benchmark::Counter(
        static_cast<double>(drawn) * 1e-9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    emitter.DetachFromSceneNode();
    stage.GetViewport().Clear();
}

BENCHMARK(Steady)->Name("particles/steady")->Unit(benchmark::kMicrosecond);
} // namespace
