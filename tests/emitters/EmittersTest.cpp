// EmittersTest.cpp: the emitters of the plug-in, from settings to what is drawn.
#include "AllocationCount.h"
#include "QK3D.h"
#include "QK3DEmitters.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"

using namespace qk3d;

namespace {
constexpr long long kSecond = 10'000'000;

class Emitters : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_TRUE(CQK3DMain::GetQK3DMain().LoadPlugin("QK3DEmitters.so", nullptr, 0)); }

    // Each kind by one of its roads: an emitter of the factory, and a movable object of the scene.
    std::unique_ptr<CParticleEmitter> Particles(string const& script) {
        auto* const emitter =
            dynamic_cast<CParticleEmitter*>(CQK3DMain::GetFactory().CreateEmitter("ParticleEmitter", "emitter"));
        m_scene.GetRootSceneNode()->AttachMovableObject(emitter);
        EXPECT_TRUE(emitter->SetFromScript(script));
        return std::unique_ptr<CParticleEmitter>(emitter);
    }
    CEmitterEmitter* Works(char const* script) {
        auto* const emitter = dynamic_cast<CEmitterEmitter*>(m_scene.CreateMovableObject("EmitterEmitter", "works"));
        m_scene.GetRootSceneNode()->AttachMovableObject(emitter);
        EXPECT_TRUE(emitter->SetFromScript(script));
        return emitter;
    }

    void Goto(double seconds) {
        m_scene.GetTimer().GotoTime(static_cast<long long>(seconds * kSecond));
        m_scene.UpdateScene();
    }
    static CParticle* At(CEmitter& emitter, int index) {
        return static_cast<CParticle*>(emitter.EnumAliveParticleBegin()[index]);
    }
    static Vector3 Place(CEmitter& emitter, int index) { return At(emitter, index)->GetTransform().GetRow(3); }
    static int Living(CEmitter& emitter) {
        return static_cast<int>(emitter.EnumAliveParticleEnd() - emitter.EnumAliveParticleBegin());
    }
    // Gives it a mesh of one part and a material of one pass.
    static void Dress(CEmitter& emitter) {
        _ResourceSharePtr<CMesh> mesh(new CMesh(nullptr, "", "", true, NoLoader(), nullptr));
        _ResourceSharePtr<CMaterial> material(new CMaterial(nullptr, "", "", true, NoLoader()));
        mesh->CreateSubMesh(true);
        material->Load();
        material->CreateTechnique()->CreatePass();
        emitter.SetMesh(mesh);
        emitter.SetMaterial(material);
    }

    CSceneManager m_scene{"scene"};
};

bool Near(Vector3 const& a, Vector3 const& b, float bound = 1e-4f) { return (a - b).Length() <= bound; }
} // namespace

TEST_F(Emitters, ParticlesFlyAsTheirAgeSays) {
    auto emitter = Particles(R"({"Rate": 1, "Life": 4, "Direction": [0, 3, 0], "Speed": 2, "Gravity": [0, -1, 0],
        "Size": [1, 3], "Colors": [[0, [255, 0, 0, 0]], [0.5, [255, 200, 100, 0]], [1, [0, 200, 100, 0]]]})");
    Goto(10); // starts here
    emitter->Translation(5, 0, 0);
    Goto(12);
    ASSERT_EQ(Living(*emitter), 3); // born at 10, 11 and right now
    // Two seconds of age: 2 * 2 - 1 / 2 * 2^2 up, half its life, so twice the size.
    EXPECT_TRUE(Near(Place(*emitter, 0), {0, 2, 0}));
    EXPECT_TRUE(Near(Place(*emitter, 1), {5, 1.5f, 0})); // born where the emitter had moved to
    EXPECT_FLOAT_EQ(At(*emitter, 0)->GetTransform()[0], 2);
    EXPECT_EQ(At(*emitter, 0)->GetColor(), color(255, 200, 100, 0));
    EXPECT_EQ(At(*emitter, 1)->GetColor(), color(255, 100, 50, 0));
    Goto(11);
    EXPECT_TRUE(Near(Place(*emitter, 0), {0, 1.5f, 0})); // back where it was
    EXPECT_FALSE(At(*emitter, 1)->IsVisible());
}

TEST_F(Emitters, BoundParticlesMoveWithTheEmitter) {
    auto emitter = Particles(R"({"Rate": 1, "Life": 9, "Direction": [1, 0, 0], "Bound": true})");
    Goto(0);
    Goto(2);
    emitter->Translation(7, 0, 0);
    Goto(3);
    EXPECT_EQ(Place(*emitter, 0), Vector3(3, 0, 0)); // in the emitter's own space
    CRecordingRenderSystem device;
    Dress(*emitter);
    emitter->RenderRenderableObject(&device, 0);
    string const journal = device.TakeJournal(); // and in the world
    EXPECT_NE(journal.find("SetWorldMatrix 1 0 0 0 0 1 0 0 0 0 1 0 10 0 0 1\n"), string::npos) << journal;
}

TEST_F(Emitters, ThrowIntoTheirConeAndTheirRanges) {
    auto emitter = Particles(R"({"Rate": 100, "Max": 100, "Life": 2, "Direction": [1, 1, 0], "Spread": 0.5,
        "Speed": [3, 1], "Range": [[-1, 0, 0], [1, 0, 0]]})");
    Goto(0);
    Goto(1.0);
    std::vector<Vector3> before;
    for (int i = 0; i < 90; ++i) before.push_back(Place(*emitter, i));
    Goto(1.5);
    float widest = 0, fastest = 0;
    for (int i = 0; i < 90; ++i) {
        Vector3 const flown = (Place(*emitter, i) - before[i]) * 2;
        ASSERT_GT(flown.Length(), 0.99f);
        ASSERT_LE(std::fabs(before[i].x - flown.x * static_cast<float>(100 - i) / 100), 1.01f);
        widest = std::max(widest, GetAngle(flown, {1, 1, 0}));
        fastest = std::max(fastest, flown.Length());
    }
    EXPECT_TRUE(widest > 0.2f && widest < 0.51f) << widest;
    EXPECT_TRUE(fastest > 2 && fastest < 3.01f) << fastest;
}

TEST_F(Emitters, OneSeedGivesOnePictureWhateverTheFrames) {
    auto const run = [&](unsigned int seed, int frames) {
        m_scene.GetTimer().Reset();
        auto emitter = Particles(R"({"Spread": 1, "Range": [[0, 0, 0], [1, 1, 1]], "Life": [0.5, 3], "Seed": )" +
                                 std::to_string(seed) + "}");
        Goto(0);
        for (int i = 1; i <= frames; ++i) Goto(2.0 * i / frames);
        std::vector<Vector3> places;
        for (int i = 0; i < Living(*emitter); ++i)
            if (At(*emitter, i)->IsVisible()) places.push_back(Place(*emitter, i));
        return places;
    };
    auto const few = run(3, 7), many = run(3, 50);
    EXPECT_NE(run(2, 50), many);
    ASSERT_EQ(few.size(), many.size());
    for (std::size_t i = 0; i < few.size(); ++i) EXPECT_TRUE(Near(few[i], many[i], 1e-5f));
}

TEST_F(Emitters, ALongPauseIsPassedOver) {
    auto emitter = Particles(R"({"Rate": 100, "Life": 1, "Max": 200})");
    Goto(0);
    Goto(100'000);
    Goto(100'000.01);
    int visible = 0;
    for (int i = 0; i < Living(*emitter); ++i) visible += At(*emitter, i)->IsVisible();
    EXPECT_GE(visible, 98);
}

TEST_F(Emitters, ScriptsReadWhatTheyNameAndSurviveTheRest) {
    auto emitter = Particles(R"({"Rate": 20, "Life": [3, 1], "Seed": 9, "Total": 5})");
    for (char const* script : {"[1, 2]", "{"}) EXPECT_FALSE(emitter->SetFromScript(script)) << script;
    emitter->SetFromScript(R"({"Rate": "fast", "Life": [1], "Range": [[0, 0], 7], "Direction": "up", "Colors": 5,
        "Seed": -1, "Max": {}, "Unknown": 1, "Material": "nowhere", "Spin": [null, 2]})");
    ParticleEmitterSettings const& read = emitter->GetSettings();
    EXPECT_EQ(std::tuple(read.rate, read.life.from, read.life.to, read.seed), std::tuple(20.0f, 1.0f, 3.0f, 9u));
    EXPECT_EQ(emitter->GetTotalEmitNum(), 5u);

    emitter->SetFromScript(R"({"Rate": 1e30, "Max": 4000000000, "Life": [-5, 1e38], "Spread": 99, "Speed": 1e38,
        "Gravity": [1e38, -1e38, 1e38], "Size": 1e38, "Spin": 1e38, "Range": [[-1e38, 0, 0], [1e38, 0, 0]],
        "Colors": [[-1, 7], [2, [900, -4, 0, 0]], ["x", 1], [0.5]]})");
    EXPECT_EQ(std::pair(read.rate, read.max), std::pair(1e6f, 1'000'000u));
    ASSERT_EQ(read.colors.size(), 2u);
    EXPECT_EQ(read.colors[1].value, color(255, 0, 0, 0));
    ParticleEmitterSettings odd = read;
    odd.max = 10;
    odd.life = {NAN, INFINITY};
    emitter->SetSettings(odd);
    for (double t : {0.0, 1.0, 50.0, 1e9}) Goto(t);
}

TEST_F(Emitters, EmitEmittersThatLiveUntilTheirLastParticleIsGone) {
    CEmitterEmitter* const emitter = Works(R"({"Rate": 1, "Life": 2, "Range": [[5, 0, 0], [5, 0, 0]],
        "Emitter": {"Rate": 10, "Life": 1, "Max": 50, "Direction": [0, 1, 0]}})");
    Goto(100);
    Goto(101.5);
    ASSERT_EQ(Living(*emitter), 2); // born at 100 and 101
    auto* const first = dynamic_cast<CParticleEmitter*>(emitter->EnumAliveParticleBegin()[0]);
    auto* const second = dynamic_cast<CParticleEmitter*>(emitter->EnumAliveParticleBegin()[1]);
    EXPECT_EQ(second->GetEmittedNum(), 6u);
    EXPECT_NE(first->GetSettings().seed, second->GetSettings().seed);
    EXPECT_TRUE(Near(Place(*second, 0), {5, 0.5f, 0}));

    CRecordingRenderSystem device;
    Dress(*first);
    emitter->RenderRenderableObject(&device, 0);
    EXPECT_EQ(device.CountOf("Render"), 10u);

    Goto(102.95);
    EXPECT_EQ(first->GetEmittedNum(), 20u); // for two seconds
    for (double t : {103.05, 103.06}) Goto(t);
    EXPECT_EQ(Living(*emitter), 3); // the first has gone and was born again as the fourth
}

TEST_F(Emitters, ASteadyFireAllocatesNothing) {
    auto fire = Particles(R"({"Rate": 500, "Life": 0.8, "Max": 1000, "Spread": 1, "Spin": 1})");
    Works(R"({"Rate": 5, "Life": 0.5, "Emitter": {"Rate": 50, "Life": 0.5}})");
    for (int i = 0; i < 400; ++i) Goto(i * 0.03);
    AllocationCount const count;
    for (int i = 400; i < 500; ++i) Goto(i * 0.03);
    EXPECT_EQ(count.Get(), 0u);
    EXPECT_GT(Living(*fire), 200);
}
