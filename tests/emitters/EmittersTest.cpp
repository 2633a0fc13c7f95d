// EmittersTest.cpp: the emitters of the plug-in, from settings to what is drawn.
#include "AllocationCount.h"
#include "QK3DEmitters.h"
#include "QK3DFactory.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DParticle.h"
#include "QK3DRenderQueue.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "RecordingRenderSystem.h"
#include <gtest/gtest.h>
#include <limits>
#include <memory>

using namespace qk3d;

namespace {
constexpr long long kSecond = 10'000'000;

class Emitters : public ::testing::Test {
protected:
    static void SetUpTestSuite() { ASSERT_TRUE(CQK3DMain::GetQK3DMain().LoadPlugin("QK3DEmitters.so", nullptr, 0)); }

    template <class Emitter>
    std::unique_ptr<Emitter> Make(char const* type, CSceneNode* node = nullptr) {
        CEmitter* const made = CQK3DMain::GetFactory().CreateEmitter(type, "emitter");
        auto* const emitter = dynamic_cast<Emitter*>(made);
        if (!emitter) ADD_FAILURE() << type;
        (node ? node : m_scene.GetRootSceneNode())->AttachMovableObject(emitter);
        return std::unique_ptr<Emitter>(emitter);
    }
    std::unique_ptr<CParticleEmitter> Particles() { return Make<CParticleEmitter>("ParticleEmitter"); }

    void Goto(double seconds) {
        m_scene.GetTimer().GotoTime(static_cast<long long>(seconds * kSecond));
        m_scene.UpdateScene();
    }
    static CParticle* At(CEmitter& emitter, int index) {
        return static_cast<CParticle*>(emitter.EnumAliveParticleBegin()[index]);
    }
    static Vector3 Place(CEmitter& emitter, int index) { return At(emitter, index)->GetTransform().GetRow(3); }
    static std::size_t Living(CEmitter& emitter) {
        return static_cast<std::size_t>(emitter.EnumAliveParticleEnd() - emitter.EnumAliveParticleBegin());
    }

    CSceneManager m_scene{"scene"};
};

::testing::AssertionResult Near(Vector3 const& a, Vector3 const& b, float bound = 1e-4f) {
    if ((a - b).Length() <= bound) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << a << " and " << b;
}
} // namespace

TEST_F(Emitters, ComeAsEmittersAndAsMovableObjects) {
    for (char const* type : {"ParticleEmitter", "EmitterEmitter"}) {
        std::unique_ptr<CEmitter> emitter(CQK3DMain::GetFactory().CreateEmitter(type, "name"));
        ASSERT_TRUE(emitter) << type;
        EXPECT_EQ(emitter->GetTypeName(), type);
        EXPECT_EQ(emitter->GetName(), "name");
        CMovableObject* const object = m_scene.CreateMovableObject(type, "owned");
        ASSERT_NE(object, nullptr) << type;
        EXPECT_EQ(object->GetTypeName(), type);
        m_scene.GetRootSceneNode()->AttachMovableObject(object);
    }
    m_scene.UpdateScene();
}

TEST_F(Emitters, ParticlesFlyAsTheirAgeSays) {
    auto emitter = Particles();
    ASSERT_TRUE(
        emitter->SetFromScript(R"({"Rate": 1, "Life": 4, "Direction": [0, 3, 0], "Speed": 2, "Gravity": [0, -1, 0],
        "Size": [1, 3], "Colors": [[0, [255, 0, 0, 0]], [0.5, [255, 200, 100, 0]], [1, [0, 200, 100, 0]]]})"));
    Goto(10); // starts here
    emitter->Translation(5, 0, 0);
    Goto(12);
    ASSERT_EQ(Living(*emitter), 3u); // born at 10, 11 and right now
    EXPECT_EQ(At(*emitter, 0)->GetBornTime(), 10 * kSecond);
    // Two seconds of age: 2 * 2 - 1 / 2 * 2^2 up, half its life, so twice the size.
    EXPECT_TRUE(Near(Place(*emitter, 0), {0, 2, 0}));
    EXPECT_TRUE(Near(Place(*emitter, 1), {5, 1.5f, 0})); // born where the emitter had moved to
    EXPECT_FLOAT_EQ(At(*emitter, 0)->GetTransform()[0], 2);
    EXPECT_EQ(At(*emitter, 0)->GetColor(), color(255, 200, 100, 0));
    EXPECT_EQ(At(*emitter, 1)->GetColor(), color(255, 100, 50, 0));
    Goto(11);
    EXPECT_TRUE(Near(Place(*emitter, 0), {0, 1.5f, 0})); // back where it was
    EXPECT_FALSE(At(*emitter, 1)->IsVisible());
    emitter->Translation(100, 0, 0);
    Goto(11.5);
    EXPECT_EQ(Place(*emitter, 0).x, 0); // not bound: it stays
}

TEST_F(Emitters, BoundParticlesMoveWithTheEmitter) {
    auto emitter = Particles();
    emitter->SetFromScript(R"({"Rate": 1, "Life": 9, "Direction": [1, 0, 0], "Bound": true})");
    Goto(0);
    Goto(2);
    emitter->RotateZ(3.14159265f / 2);
    emitter->Translation(7, 0, 0);
    Goto(3);
    EXPECT_TRUE(Near(Place(*emitter, 0), {3, 0, 0})); // in the emitter's own space
    CRecordingRenderSystem device;
    CSharePtr<CResourceLoader> none;
    _ResourceSharePtr<CMesh> mesh(new CMesh(nullptr, "", "", true, none, nullptr));
    mesh->CreateSubMesh(true);
    emitter->SetMesh(mesh);
    _ResourceSharePtr<CMaterial> material = CQK3DMain::GetResourceSystem().CreateResourceManual("CMaterial", "bound");
    material->Load();
    material->CreateTechnique()->CreatePass();
    emitter->SetMaterial(material);
    device.TakeJournal();
    emitter->RenderRenderableObject(&device, 0);
    std::string const journal = device.TakeJournal();
    float world[16] = {};
    ASSERT_EQ(std::sscanf(journal.c_str() + journal.find("SetWorldMatrix"),
                          "SetWorldMatrix %f %f %f %f %f %f %f %f %f %f %f %f %f %f %f %f", world, world + 1, world + 2,
                          world + 3, world + 4, world + 5, world + 6, world + 7, world + 8, world + 9, world + 10,
                          world + 11, world + 12, world + 13, world + 14, world + 15),
              16)
        << journal;
    EXPECT_TRUE(Near({world[12], world[13], world[14]}, {7, 3, 0})); // and in the world
}

TEST_F(Emitters, ThrowIntoTheirConeAndTheirRanges) {
    auto emitter = Particles();
    ParticleEmitterSettings settings;
    settings.rate = 1000;
    settings.max = 1000;
    settings.life = {2, 2};
    settings.direction = {1, 1, 0};
    settings.spread = 0.5f;
    settings.speed = {3, 1};
    settings.rangeMin = {-1, 0, 0};
    settings.rangeMax = {1, 0, 0};
    emitter->SetSettings(settings);
    Goto(0);
    Goto(1.0);
    Goto(1.0001);
    ASSERT_GE(Living(*emitter), 900u);
    Vector3 const axis = settings.direction.GetNormalized();
    float widest = 0, slowest = 10, fastest = 0;
    for (int i = 0; i < 900; ++i) {
        auto const age = static_cast<float>(At(*emitter, i)->GetAge(m_scene.GetTime())) / kSecond;
        Goto(1.5);
        Vector3 const later = Place(*emitter, i);
        Goto(1.0001);
        Vector3 const flown = (later - Place(*emitter, i)) / 0.4999f;
        widest = std::max(widest, GetAngle(flown, axis));
        slowest = std::min(slowest, flown.Length());
        fastest = std::max(fastest, flown.Length());
        ASSERT_LE(std::fabs(Place(*emitter, i).x - flown.x * age), 1.01f);
        if (i == 20) i = 800; // two updates of all for each one that is looked at
    }
    EXPECT_LE(widest, 0.51f);
    EXPECT_GT(widest, 0.2f);
    EXPECT_GE(slowest, 0.99f);
    EXPECT_LE(fastest, 3.01f);
    EXPECT_GT(fastest - slowest, 0.5f);
}

TEST_F(Emitters, OneSeedGivesOnePictureWhateverTheFrames) {
    auto const run = [&](unsigned int seed, int frames) {
        m_scene.GetTimer().Reset();
        auto emitter = Particles();
        ParticleEmitterSettings settings;
        settings.seed = seed;
        settings.spread = 1;
        settings.rangeMax = {1, 1, 1};
        settings.life = {0.5f, 3};
        emitter->SetSettings(settings);
        Goto(0);
        for (int i = 1; i <= frames; ++i) Goto(2.0 * i / frames);
        std::vector<Vector3> places;
        for (std::size_t i = 0; i < Living(*emitter); ++i)
            if (At(*emitter, static_cast<int>(i))->IsVisible()) places.push_back(Place(*emitter, static_cast<int>(i)));
        return places;
    };
    EXPECT_EQ(run(1, 100), run(1, 100));
    EXPECT_NE(run(1, 100), run(2, 100));
    auto const few = run(3, 7), many = run(3, 50);
    ASSERT_EQ(few.size(), many.size());
    for (std::size_t i = 0; i < few.size(); ++i) EXPECT_TRUE(Near(few[i], many[i], 1e-5f));
}

TEST_F(Emitters, ALongPauseIsPassedOver) {
    auto emitter = Particles();
    emitter->SetFromScript(R"({"Rate": 100, "Life": 1, "Max": 200})");
    Goto(0);
    Goto(100'000);
    Goto(100'000.01);
    int visible = 0;
    for (std::size_t i = 0; i < Living(*emitter); ++i) visible += At(*emitter, static_cast<int>(i))->IsVisible();
    EXPECT_GE(visible, 98);
    for (long long born : {std::numeric_limits<long long>::min(), std::numeric_limits<long long>::max()}) {
        emitter->SetBornTime(born);
        Goto(100'001); // nothing of value, but nothing undefined either
    }
}

TEST_F(Emitters, ScriptsReadWhatTheyNameAndSurviveTheRest) {
    auto emitter = Particles();
    EXPECT_FALSE(emitter->SetFromScript("[1, 2]"));
    EXPECT_FALSE(emitter->SetFromScript("{"));
    emitter->SetFromScript(R"({"Rate": 20, "Life": [3, 1], "Seed": 9, "Total": 5, "Bound": true})");
    emitter->SetFromScript(R"({"Rate": "fast", "Life": [1], "Range": [[0, 0], 7], "Direction": "up", "Colors": 5,
        "Seed": -1, "Max": {}, "Unknown": 1, "Material": "nowhere", "Spin": [null, 2]})");
    ParticleEmitterSettings const& read = emitter->GetSettings();
    EXPECT_EQ(read.rate, 20);
    EXPECT_EQ(read.life.from, 1);
    EXPECT_EQ(read.life.to, 3);
    EXPECT_EQ(read.seed, 9u);
    EXPECT_EQ(read.total, 5u);
    EXPECT_TRUE(read.isBound);
    EXPECT_EQ(emitter->GetTotalEmitNum(), 5u);

    emitter->SetFromScript(R"({"Rate": 1e30, "Max": 4000000000, "Life": [-5, 1e38], "Spread": 99, "Speed": 1e38,
        "Gravity": [1e38, -1e38, 1e38], "Size": 1e38, "Spin": 1e38, "Range": [[-1e38, 0, 0], [1e38, 0, 0]],
        "Colors": [[-1, 7], [2, [900, -4, 0, 0]], ["x", 1], [0.5]]})");
    EXPECT_EQ(read.rate, 1e6f);
    EXPECT_EQ(read.max, 1'000'000u);
    EXPECT_EQ(read.life.from, 0);
    ASSERT_EQ(read.colors.size(), 2u);
    EXPECT_EQ(read.colors[1].value, color(255, 0, 0, 0));
    ParticleEmitterSettings odd = read;
    odd.max = 10;
    odd.life = {NAN, INFINITY};
    odd.direction = {NAN, INFINITY, 0};
    odd.rate = NAN;
    emitter->SetSettings(odd);
    EXPECT_EQ(read.rate, 0);
    odd.rate = 5;
    emitter->SetSettings(odd);
    for (double t : {0.0, 1.0, 50.0, 1e9}) Goto(t);
}

TEST_F(Emitters, EmitEmittersThatLiveUntilTheirLastParticleIsGone) {
    auto emitter = Make<CEmitterEmitter>("EmitterEmitter");
    ASSERT_TRUE(emitter->SetFromScript(R"({"Rate": 1, "Life": 2, "Range": [[5, 0, 0], [5, 0, 0]],
        "Emitter": {"Rate": 10, "Life": 1, "Max": 50, "Direction": [0, 1, 0]}})"));
    EXPECT_EQ(emitter->GetSettings().child.rate, 10);
    Goto(100);
    Goto(101.5);
    ASSERT_EQ(Living(*emitter), 2u); // born at 100 and 101
    auto* const first = dynamic_cast<CParticleEmitter*>(emitter->EnumAliveParticleBegin()[0]);
    auto* const second = dynamic_cast<CParticleEmitter*>(emitter->EnumAliveParticleBegin()[1]);
    ASSERT_TRUE(first && second);
    EXPECT_EQ(second->GetEmittedNum(), 6u);
    EXPECT_NE(first->GetSettings().seed, second->GetSettings().seed);
    EXPECT_TRUE(Near(Place(*second, 0), {5, 0.5f, 0}));
    EXPECT_TRUE(At(*second, 0)->IsVisible());

    CRecordingRenderSystem device;
    CSharePtr<CResourceLoader> none;
    _ResourceSharePtr<CMesh> mesh(new CMesh(nullptr, "", "", true, none, nullptr));
    mesh->CreateSubMesh(true);
    _ResourceSharePtr<CMaterial> material = CQK3DMain::GetResourceSystem().CreateResourceManual("CMaterial", "rocket");
    material->Load();
    material->CreateTechnique()->CreatePass();
    first->SetMesh(mesh);
    first->SetMaterial(material);
    CRenderQueue queue;
    emitter->AddRenderableObjectToRenderQueue(queue, &device);
    EXPECT_EQ(queue.GetOpaqueCollection().GetRenderablePassNum(), 2u); // both, though one has nothing to show
    emitter->RenderRenderableObject(&device, 0);
    EXPECT_EQ(device.CountOf("Render"), 10u);
    emitter->SetMesh(mesh);
    emitter->SetMaterial(material);

    Goto(102.95);
    EXPECT_EQ(first->GetEmittedNum(), 20u); // for two seconds
    EXPECT_EQ(Living(*emitter), 3u);
    Goto(103.05);
    Goto(103.06);
    EXPECT_EQ(Living(*emitter), 3u); // the first has gone and was born again as the fourth
    device.ResetCounts();
    emitter->RenderRenderableObject(&device, 0);
    EXPECT_GT(device.CountOf("Render"), 0u);
    emitter->SetVisible(false);
    device.ResetCounts();
    emitter->RenderRenderableObject(&device, 0);
    EXPECT_EQ(device.CountOf("Render"), 0u);
}

TEST_F(Emitters, ASteadyFireAllocatesNothing) {
    auto fire = Particles();
    fire->SetFromScript(R"({"Rate": 500, "Life": 0.8, "Max": 1000, "Spread": 1, "Spin": 1,
        "Colors": [[0, [255, 255, 255, 0]], [1, [0, 255, 0, 0]]]})");
    auto works = Make<CEmitterEmitter>("EmitterEmitter");
    works->SetFromScript(R"({"Rate": 5, "Life": 0.5, "Emitter": {"Rate": 50, "Life": 0.5}})");
    for (int i = 0; i < 400; ++i) Goto(i * 0.03);
    AllocationCount const count;
    for (int i = 400; i < 500; ++i) Goto(i * 0.03);
    EXPECT_EQ(count.Get(), 0u);
    EXPECT_GT(Living(*fire), 200u);
    EXPECT_GT(Living(*works), 2u);
}
