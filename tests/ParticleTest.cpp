// ParticleTest.cpp: emitters, what they emit, and how it is drawn.
#include "AllocationCount.h"
#include "QK3DCamera.h"
#include "QK3DEmitter.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DParticle.h"
#include "QK3DParticleSystem.h"
#include "QK3DPass.h"
#include "QK3DRenderQueue.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "RecordingRenderSystem.h"
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>

using namespace qk3d;

namespace {
constexpr long long kSecond = 10'000'000;

class Emitter : public CEmitter {
public:
    explicit Emitter(CEmitter* emitter = nullptr) : CEmitter(emitter, "emitter") {}
    string GetTypeName() override { return "Emitter"; }
    using CEmitter::m_deadObjects;
};

// Particles that count themselves and may act when they are updated.
int g_living = 0;
std::function<void(class Spark*)> g_onUpdate;
class Spark : public CParticle {
public:
    explicit Spark(CEmitter* emitter) : CParticle(emitter) {
        ++g_living;
        SetLifeTime(kSecond);
    }
    ~Spark() override { --g_living; }
    void _UpdateImpl(bool changed) override {
        CParticle::_UpdateImpl(changed);
        if (g_onUpdate) g_onUpdate(this);
    }
    using CParticle::m_worldTransform;
};

int g_calls = 0;
void CreateSpark(CEmitter* emitter, CEmitableObject** out) {
    ++g_calls;
    *out = new Spark(emitter);
}
void CreateEveryOther(CEmitter* emitter, CEmitableObject** out) {
    if (++g_calls % 2) *out = new Spark(emitter);
}
void CreateNested(CEmitter* emitter, CEmitableObject** out) {
    auto* const nested = new Emitter(emitter);
    nested->SetEmitSpeed(5);
    nested->SetTotalEmitNum(10);
    nested->SetMaxParticleNum(10);
    nested->SetEmitableObjectCreateFun(CreateSpark, true);
    *out = nested;
}

class Emitting : public ::testing::Test {
protected:
    Emitting() {
        g_calls = 0;
        g_onUpdate = nullptr;
        MakeEmitter(100, 50);
    }
    ~Emitting() override {
        m_emitter.reset();
        EXPECT_EQ(g_living, 0); // nothing leaks, nothing goes twice
    }

    // Ten sparks a second from the start, in place of the emitter before.
    void MakeEmitter(unsigned int total, unsigned int most) {
        m_emitter = std::make_unique<Emitter>();
        m_emitter->SetBornTime(0);
        m_emitter->SetEmitSpeed(10);
        m_emitter->SetTotalEmitNum(total);
        m_emitter->SetMaxParticleNum(most);
        m_emitter->SetEmitableObjectCreateFun(CreateSpark, true);
        m_scene.GetRootSceneNode()->AttachMovableObject(m_emitter.get());
    }
    void Goto(long long time) {
        m_scene.GetTimer().GotoTime(time);
        m_scene.UpdateScene();
    }
    std::size_t Living() {
        return static_cast<std::size_t>(m_emitter->EnumAliveParticleEnd() - m_emitter->EnumAliveParticleBegin());
    }
    Spark* At(int index) { return static_cast<Spark*>(m_emitter->EnumAliveParticleBegin()[index]); }

    CSceneManager m_scene{"scene"};
    std::unique_ptr<Emitter> m_emitter;
};
} // namespace

TEST(EmitableObject, LivesFromTheTickAfterItsBirth) {
    CParticle p(nullptr);
    p.SetBornTime(100);
    p.SetLifeTime(50);
    struct {
        long long time;
        bool isAlive, isDead;
        long long aliveTime;
    } const rows[] = {{99, false, false, -1},
                      {100, false, false, 0},
                      {101, true, false, 1},
                      {150, true, false, 50},
                      {151, false, true, -1}};
    for (auto const& row : rows) {
        EXPECT_EQ(p.IsAlive(row.time), row.isAlive) << row.time;
        EXPECT_EQ(p.IsDead(row.time), row.isDead) << row.time;
        EXPECT_EQ(p.IsValid(row.time), !row.isDead) << row.time;
        EXPECT_EQ(p.GetAliveTime(row.time), row.aliveTime) << row.time;
        p.GotoTime(row.time);
        EXPECT_EQ(p.IsVisible(), row.isAlive) << row.time;
    }
    p.Kill();
    EXPECT_FALSE(p.IsAlive(100) || p.IsDead(100));
    p.Translation(1, 1, 1);
    p.ReBorn(7, {1, 2, 3});
    EXPECT_EQ(p.GetTransform(), MatBuildTranslation(1, 2, 3));
    EXPECT_EQ(p.GetAge(10), 3);
}

TEST(Particle, HoldsAMatrixForEachTextureStageSet) {
    CParticle p(nullptr);
    EXPECT_EQ(p.GetColor(), color(0xFFFFFFFFu));
    EXPECT_EQ(p.GetTextureTransform(0), nullptr);
    p.SetTextureTransform(2, MatBuildScale(1, 2, 3));
    EXPECT_EQ(p.GetTextureMatrixNum(), 3u);
    EXPECT_EQ(p.GetTextureTransform(1), nullptr);
    Matrix44* const kept = p.GetTextureTransform(2);
    p.SetTextureTransform(2, Matrix44::IDENTITY);
    p.SetTextureTransform(9, *kept);
    EXPECT_EQ(p.GetTextureTransform(2), kept);
    EXPECT_TRUE(kept->IsIdentity());
    p.SetTextureTransform(0xFFFFFFFF, Matrix44::IDENTITY); // ignored
    EXPECT_EQ(p.GetTextureMatrixNum(), 10u);
    CParticle copy(p);
    EXPECT_NE(copy.GetTextureTransform(2), kept);
    EXPECT_TRUE(copy.GetTextureTransform(2)->IsIdentity());
    CreateCParticle(nullptr, nullptr);
    EXPECT_EQ(p.GetTypeName(), "CParticle");
}

TEST_F(Emitting, EmitsAtItsRateWithTheTimeOfEachTurn) {
    EXPECT_EQ(m_emitter->GetEmitInterval(), 1'000'000);
    Goto(kSecond / 2);
    ASSERT_EQ(Living(), 5u);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(At(i)->GetBornTime(), i * 1'000'000) << i;
    Goto(kSecond / 2 + 1);
    EXPECT_EQ(g_calls, 5);
    Goto(kSecond); // the one born at 0 lives through its last tick
    EXPECT_EQ(m_emitter->GetAliveNum(), 10u);
    Goto(kSecond + 1'000'000); // two have gone, one of them is born again
    EXPECT_EQ(g_calls, 10);
    EXPECT_EQ(m_emitter->GetEmittedNum(), 11u);
    EXPECT_EQ(m_emitter->m_deadObjects.size(), 0u);
    EXPECT_EQ(At(9)->GetBornTime(), 10 * 1'000'000);
    Goto(100 * kSecond);
    EXPECT_EQ(m_emitter->GetEmittedNum(), 61u); // all had gone, and at most 50 come at a time
    Goto(101 * kSecond);
    Goto(102 * kSecond);
    Goto(103 * kSecond);
    EXPECT_EQ(m_emitter->GetEmittedNum(), 100u); // all
    EXPECT_EQ(m_emitter->GetAliveNum(), 0u);
}

TEST_F(Emitting, LimitsAndClocksNeverWrapIntoLargeNumbers) {
    struct {
        char const* what;
        std::function<void()> act;
        unsigned int alive; // after one second
    } const rows[] = {
        {"nothing", [] {}, 10},
        {"no speed", [&] { m_emitter->SetEmitSpeed(0); }, 0},
        {"negative speed", [&] { m_emitter->SetEmitSpeed(-5); }, 0},
        {"no number", [&] { m_emitter->SetEmitSpeed(NAN); }, 0},
        {"endless speed", [&] { m_emitter->SetEmitSpeed(INFINITY); }, 50},
        {"the slowest speed", [&] { m_emitter->SetEmitSpeed(1e-38f); }, 0},
        {"nobody may live", [&] { m_emitter->SetMaxParticleNum(0); }, 0},
        {"a total", [&] { m_emitter->SetTotalEmitNum(3); }, 3},
        {"no function", [&] { m_emitter->SetEmitableObjectCreateFun(nullptr, false); }, 0},
        {"born later", [&] { m_emitter->SetBornTime(5 * kSecond); }, 0},
        {"detached", [&] { m_emitter->DetachFromSceneNode(); }, 0},
    };
    for (auto const& row : rows) {
        MakeEmitter(100, 50);
        row.act();
        m_scene.GetTimer().Reset();
        Goto(kSecond);
        EXPECT_EQ(m_emitter->GetAliveNum(), row.alive) << row.what;
    }
    m_emitter->Update(true); // detached now: no clock
}

TEST_F(Emitting, TimeMayGoBackAndLimitsDown) {
    Goto(kSecond / 2);
    Goto(kSecond / 4);
    EXPECT_EQ(m_emitter->GetEmittedNum(), 5u);
    EXPECT_TRUE(At(0)->IsVisible());
    EXPECT_FALSE(At(4)->IsVisible()); // not born yet
    m_emitter->SetMaxParticleNum(2);
    m_emitter->SetTotalEmitNum(3);
    Goto(kSecond);
    EXPECT_EQ(m_emitter->GetEmittedNum(), 5u);
    EXPECT_EQ(m_emitter->GetAliveNum(), 5u);
    Goto(3 * kSecond);
    EXPECT_EQ(m_emitter->GetAliveNum(), 0u);
}

TEST_F(Emitting, CountsStayTrueHoweverTheClockIsScrubbed) {
    std::mt19937 random(5);
    MakeEmitter(60, 12); // its whole life: 60 sparks in some seven seconds, since no more than 12 live at once
    unsigned int before = 0;
    auto const check = [&](long long time) {
        Goto(time);
        unsigned int const emitted = m_emitter->GetEmittedNum();
        ASSERT_EQ(m_emitter->GetAliveNum(), Living()) << time;
        ASSERT_LE(Living(), 12u) << time;
        ASSERT_EQ(Living() + m_emitter->m_deadObjects.size(), static_cast<std::size_t>(g_living)) << time;
        ASSERT_GE(emitted, before) << "what was emitted stays so, at " << time;
        ASSERT_LE(emitted, 60u) << time;
        for (auto at = m_emitter->EnumAliveParticleBegin(); at != m_emitter->EnumAliveParticleEnd(); ++at) {
            ASSERT_EQ((*at)->IsVisible(), (*at)->IsAlive(time)) << time;
        }
        before = emitted;
    };
    for (long long time = 0; time < 4 * kSecond; time += kSecond / 7) check(time);
    for (long long time = 4 * kSecond; time > -kSecond; time -= kSecond / 9) check(time); // back beyond the start
    for (int i = 0; i < 500; ++i) check(static_cast<long long>(random() % (20 * kSecond)) - 2 * kSecond);
    for (long long time = 0; time < 30 * kSecond; time += kSecond / 3) check(time);
    EXPECT_EQ(before, 60u);
    EXPECT_EQ(Living(), 0u) << "and in the end all have died";
}

TEST_F(Emitting, WaitsForEverWhenNothingDies) {
    g_onUpdate = [](Spark* spark) { spark->SetLifeTime(0x7FFFFFFFFFFFFFFF); };
    m_emitter->SetMaxParticleNum(10);
    for (int i = 1; i < 20; ++i) Goto(i * kSecond);
    EXPECT_EQ(m_emitter->GetEmittedNum(), 10u);
}

TEST_F(Emitting, AFunctionThatMakesNothingUsesUpItsTurns) {
    m_emitter->SetEmitableObjectCreateFun(CreateEveryOther, true);
    Goto(kSecond);
    EXPECT_EQ(Living(), 5u);
    EXPECT_EQ(m_emitter->GetEmittedNum(), 5u);
    EXPECT_EQ(m_emitter->GetAliveNum(), 10u);
}

TEST_F(Emitting, ResetKeepsTheObjectsForTheNextTime) {
    Goto(kSecond);
    m_emitter->SetEmitableObjectCreateFun(CreateSpark, false); // the same: nothing happens
    m_emitter->ResetEmitter();
    EXPECT_EQ(m_emitter->GetAliveNum() + m_emitter->GetEmittedNum(), 0u);
    EXPECT_EQ(m_emitter->m_deadObjects.size(), 10u);
    Goto(kSecond + 1); // catches up
    EXPECT_EQ(Living(), 10u);
    EXPECT_EQ(g_calls, 10);
    m_emitter->SetEmitableObjectCreateFun(CreateEveryOther, true);
    EXPECT_EQ(g_living, 0);

    Emitter copy(*m_emitter);
    EXPECT_EQ(copy.GetTotalEmitNum(), 100u);
    EXPECT_EQ(copy.EnumAliveParticleBegin(), copy.EnumAliveParticleEnd());
}

TEST_F(Emitting, BirthPlacesLieInTheRangeOfTheMovedEmitter) {
    m_emitter->SetRange({-1, -2, 0}, {1, 2, 0});
    m_emitter->Translation(10, 0, 0);
    m_emitter->RotateZ(3.14159265f / 2); // the place moves to (0, 10)
    Goto(kSecond);
    for (int i = 0; i < 10; ++i) {
        Matrix44 const& place = At(i)->GetTransform();
        EXPECT_LE(std::fabs(place[12]), 2.001f);
        EXPECT_LE(std::fabs(place[13] - 10), 1.001f);
        EXPECT_EQ(At(i)->m_worldTransform, place);
    }
}

TEST_F(Emitting, BoundParticlesFollowTheOthersStay) {
    Goto(kSecond / 10);
    Matrix44 const before = At(0)->m_worldTransform;
    m_emitter->Translation(0, 5, 0);
    Goto(kSecond / 10 + 1);
    EXPECT_EQ(At(0)->m_worldTransform, before);
    m_emitter->SetEmitableObjBandToEmitter(true);
    Goto(kSecond / 10 + 2);
    EXPECT_EQ(At(0)->m_worldTransform, m_emitter->GetWorldTransform() * before);
}

TEST_F(Emitting, NestedEmittersRunOnTheSceneClock) {
    m_emitter->SetEmitSpeed(1);
    m_emitter->SetEmitableObjectCreateFun(CreateNested, false);
    Goto(2 * kSecond); // born at 0 and 1 second
    ASSERT_EQ(Living(), 2u);
    auto* const second = static_cast<Emitter*>(m_emitter->EnumAliveParticleBegin()[1]);
    EXPECT_EQ(second->GetEmittedNum(), 5u); // one second, 5 a second
    EXPECT_EQ(second->GetAttachedSceneManager(), &m_scene);
    m_emitter->DetachFromSceneNode();
    EXPECT_EQ(second->GetAttachedSceneManager(), nullptr);
    EXPECT_EQ((*second->EnumAliveParticleBegin())->GetAttachedSceneManagerTime(), 0);
}

TEST_F(Emitting, SurvivesWhatItsObjectsDoToIt) {
    struct {
        char const* what;
        std::function<void()> act;
    } const rows[] = {
        {"destroy all", [&] { m_emitter->DestroyAllEmitableObject(); }},
        {"reset", [&] { m_emitter->ResetEmitter(); }},
        {"another function", [&] { m_emitter->SetEmitableObjectCreateFun(CreateEveryOther, true); }},
        {"update", [&] { m_emitter->Update(true); }},
        {"detach", [&] { m_emitter->DetachFromSceneNode(); }},
        {"destroy the emitter", [&] { m_emitter.reset(); }},
    };
    for (auto const& row : rows)
        for (int turn : {0, 3, 7, 12, 15}) { // among the first born, the living, those born again
            MakeEmitter(1000, 8);
            int updates = 0;
            g_onUpdate = [&](Spark*) {
                if (updates++ == turn) row.act();
            };
            m_scene.GetTimer().Reset();
            for (int i = 1; i < 40; ++i) Goto(i * kSecond / 5);
            m_emitter.reset();
            EXPECT_EQ(g_living, 0) << row.what << turn;
        }
}

TEST_F(Emitting, DrawsEachVisibleObjectWithEachPassAndPutsTheStatesBack) {
    CRecordingRenderSystem device;
    CSharePtr<CResourceLoader> none;
    _ResourceSharePtr<CMesh> mesh(new CMesh(nullptr, "", "quad", true, none, nullptr));
    _ResourceSharePtr<CMaterial> material = CQK3DMain::GetResourceSystem().CreateResourceManual("CMaterial", "spark");
    material->Load();
    CTechnique* const technique = material->CreateTechnique();
    technique->CreatePass();
    m_emitter->SetEmitSpeed(2);
    m_emitter->SetMesh(mesh);
    m_emitter->SetMaterial(material);
    Goto(kSecond + 1);
    m_emitter->SetEmitSpeed(4);
    Goto(kSecond + 2);
    for (int i = 0; i < 2; ++i) At(i)->SetColor(0xFF000000u + static_cast<unsigned int>(i));
    At(0)->SetTextureTransform(1, MatBuildScale(2, 2, 2)); // stage 0 stays null
    At(0)->SetTextureTransform(200, Matrix44::IDENTITY);   // beyond the device
    std::size_t const visible = std::count_if(m_emitter->EnumAliveParticleBegin(), m_emitter->EnumAliveParticleEnd(),
                                              [](auto* p) { return p->IsVisible(); });
    ASSERT_GT(visible, 1u);

    auto const draw = [&] {
        device.ResetCounts();
        m_emitter->RenderRenderableObject(&device, 0);
        return device.CountOf("Render");
    };
    EXPECT_EQ(draw(), 0u); // a mesh without parts
    mesh->CreateSubMesh(true);
    EXPECT_EQ(draw(), visible);
    EXPECT_EQ(device.CountOf("SetTextureFactor"), visible + 1); // and back
    EXPECT_EQ(device.CountOf("SetTransformMatrix"), 1u + static_cast<unsigned long long>(device.GetTextureStageNum()));
    mesh->CreateSubMesh(true);
    EXPECT_EQ(draw(), 2 * visible);
    technique->CreatePass();
    EXPECT_EQ(draw(), 2 * 2 * 2 * visible); // each pass calls for the whole walk

    _ResourceSharePtr<CRenderState> state =
        CQK3DMain::GetResourceSystem().CreateResourceManual("CRenderState", "tinted");
    state->SetState(CRenderState::TEXTUREFACTOR, 0x12345678);
    technique->DestroyPass(1);
    technique->GetPass(0)->SetRenderState(state);
    device.TakeJournal();
    draw();
    EXPECT_NE(device.TakeJournal().rfind("SetTextureFactor #12345678"), std::string::npos); // that of the pass

    CRenderQueue queue;
    m_emitter->AddRenderableObjectToRenderQueue(queue, &device);
    EXPECT_EQ(queue.GetOpaqueCollection().GetRenderablePassNum(), 1u);
    m_emitter->SetVisible(false);
    EXPECT_EQ(draw(), 0u);
    queue.Clear();
    m_emitter->AddRenderableObjectToRenderQueue(queue, &device);
    EXPECT_EQ(queue.GetOpaqueCollection().GetRenderablePassNum(), 0u);
}

TEST_F(Emitting, AnEmitterThatDrawsTakesParticlesOnly) {
    m_emitter->SetEmitableObjectCreateFun(CreateNested, true);
    Goto(kSecond);
    EXPECT_EQ(Living(), 0u);
}

TEST_F(Emitting, ASteadyPopulationAllocatesNothing) {
    m_emitter->SetEmitSpeed(1000);
    m_emitter->SetTotalEmitNum(1'000'000);
    m_emitter->SetMaxParticleNum(5000);
    for (int i = 1; i < 30; ++i) Goto(i * kSecond / 10);
    AllocationCount const count;
    for (int i = 30; i < 40; ++i) Goto(i * kSecond / 10);
    EXPECT_EQ(count.Get(), 0u);
    EXPECT_GE(Living(), 1000u);
}

TEST(ParticleSystem, CopiesItsContainers) {
    struct System : CParticleSystem {
        using CParticleSystem::CParticleSystem;
        using CParticleSystem::m_objects;
    };
    System system("system");
    int object = 0;
    system.m_objects.push_back(&object);
    System copy(system);
    system.m_objects.clear();
    EXPECT_EQ(copy.m_objects.size(), 1u);
}
