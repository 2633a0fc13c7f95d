// ParticleTest.cpp: emitters, what they emit, and how it is drawn.
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"
#include <random>

using namespace qk3d;

namespace {
constexpr long long kSecond = 10'000'000;

struct Emitter : CEmitter {
    explicit Emitter(CEmitter* emitter = nullptr) : CEmitter(emitter, "emitter") {}
    string GetTypeName() override { return "Emitter"; }
    using CEmitter::m_deadObjects;
};

// Particles that count themselves and may act when they are updated.
int g_living = 0;
std::function<void()> g_onUpdate;
struct Spark : CParticle {
    explicit Spark(CEmitter* emitter) : CParticle(emitter) {
        ++g_living;
        SetLifeTime(kSecond);
    }
    ~Spark() override { --g_living; }
    void _UpdateImpl(bool changed) override {
        CParticle::_UpdateImpl(changed);
        if (g_onUpdate) g_onUpdate();
    }
};

int g_calls = 0;
void CreateSpark(CEmitter* emitter, CEmitableObject** out) {
    ++g_calls;
    *out = new Spark(emitter);
}
void CreateEveryOther(CEmitter* emitter, CEmitableObject** out) {
    if (++g_calls % 2) *out = new Spark(emitter);
}
void CreateNested(CEmitter* emitter, CEmitableObject** out) { *out = new Emitter(emitter); }

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

TEST_F(Emitting, EmitsAtItsRateWithTheTimeOfEachTurn) {
    Goto(kSecond / 2);
    ASSERT_EQ(Living(), 5u);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(At(i)->GetBornTime(), i * 1'000'000) << i;
    Goto(kSecond); // the one born at 0 lives through its last tick
    EXPECT_EQ(m_emitter->GetAliveNum(), 10u);
    Goto(kSecond + 1'000'000); // two have gone, one of them is born again
    EXPECT_EQ(m_emitter->GetEmittedNum(), 11u);
    EXPECT_EQ(At(9)->GetBornTime(), 10 * 1'000'000);
    m_emitter->ResetEmitter(); // keeps the objects
    Goto(kSecond + 1);         // catches up
    EXPECT_EQ(m_emitter->GetEmittedNum(), 10u);
    EXPECT_EQ(g_calls, 10);
    Goto(100 * kSecond);
    EXPECT_EQ(m_emitter->GetEmittedNum(), 60u); // all had gone, and at most 50 come at a time
    Emitter const copy(*m_emitter);             // has none of them
}

TEST_F(Emitting, LimitsAndClocksNeverWrapIntoLargeNumbers) {
    struct {
        char const* what;
        std::function<void()> act;
        unsigned int alive, living; // after one second: those it counts, and those there are
    } const rows[] = {
        {"negative speed", [&] { m_emitter->SetEmitSpeed(-5); }, 0, 0},
        {"no number", [&] { m_emitter->SetEmitSpeed(NAN); }, 0, 0},
        {"endless speed", [&] { m_emitter->SetEmitSpeed(INFINITY); }, 50, 50},
        {"nobody may live", [&] { m_emitter->SetMaxParticleNum(0); }, 0, 0},
        {"one that makes every other", [&] { m_emitter->SetEmitableObjectCreateFun(CreateEveryOther, true); }, 10, 5},
        {"emitters to draw", [&] { m_emitter->SetEmitableObjectCreateFun(CreateNested, true); }, 10, 0},
        {"born later", [&] { m_emitter->SetBornTime(5 * kSecond); }, 0, 0},
        {"detached", [&] { m_emitter->DetachFromSceneNode(); }, 0, 0}, // without a clock
    };
    for (auto const& row : rows) {
        MakeEmitter(100, 50);
        row.act();
        m_scene.GetTimer().Reset();
        Goto(kSecond);
        EXPECT_EQ(m_emitter->GetAliveNum(), row.alive) << row.what;
        EXPECT_EQ(Living(), row.living) << row.what;
    }
}

TEST_F(Emitting, CountsStayTrueHoweverTheClockIsScrubbed) {
    std::mt19937 random(5);
    MakeEmitter(60, 12); // its whole life: 60 sparks in some seven seconds, since no more than 12 live at once
    unsigned int before = 0;
    auto const check = [&](long long time) {
        Goto(time);
        unsigned int const emitted = m_emitter->GetEmittedNum();
        ASSERT_EQ(m_emitter->GetAliveNum(), Living()) << time;
        ASSERT_EQ(Living() + m_emitter->m_deadObjects.size(), static_cast<std::size_t>(g_living)) << time;
        ASSERT_TRUE(emitted >= before && emitted <= 60) << "what was emitted stays so, at " << time;
        for (int i = 0; i < static_cast<int>(Living()); ++i)
            ASSERT_EQ(At(i)->IsVisible(), At(i)->IsAlive(time)) << time;
        before = emitted;
    };
    for (long long time = 0; time < 4 * kSecond; time += kSecond / 7) check(time);
    for (long long time = 4 * kSecond; time > -kSecond; time -= kSecond / 9) check(time); // back beyond the start
    m_emitter->SetMaxParticleNum(5);                                                      // takes nothing back
    for (int i = 0; i < 500; ++i) check(static_cast<long long>(random() % (20 * kSecond)) - 2 * kSecond);
    for (long long time = 0; time < 30 * kSecond; time += kSecond / 3) check(time);
    EXPECT_EQ(before, 60u);
    EXPECT_EQ(Living(), 0u) << "and in the end all have died";
}

TEST_F(Emitting, SurvivesWhatItsObjectsDoToIt) {
    std::function<void()> const actions[] = {
        [&] { m_emitter->DestroyAllEmitableObject(); },
        [&] { m_emitter->ResetEmitter(); },
        [&] { m_emitter->SetEmitableObjectCreateFun(CreateEveryOther, true); },
        [&] { m_emitter->Update(true); },
        [&] { m_emitter->DetachFromSceneNode(); },
        [&] { m_emitter.reset(); },
    };
    for (auto const& act : actions)
        for (int turn : {0, 3, 7, 12, 15}) { // among the first born, the living, those born again
            MakeEmitter(1000, 8);
            int updates = 0;
            g_onUpdate = [&] {
                if (updates++ == turn) act();
            };
            m_scene.GetTimer().Reset();
            for (int i = 1; i < 40; ++i) Goto(i * kSecond / 5);
            m_emitter.reset();
            EXPECT_EQ(g_living, 0) << "action " << &act - actions << " at " << turn;
        }
}

TEST_F(Emitting, DrawsEachVisibleObjectWithEachPassAndPutsTheStatesBack) {
    CRecordingRenderSystem device;
    CQK3DMain::GetQK3DMain(); // has the words of scripts
    _ResourceSharePtr<CMesh> mesh(new CMesh(nullptr, "", "quad", true, NoLoader(), nullptr));
    _ResourceSharePtr<CMaterial> material = CQK3DMain::GetResourceSystem().CreateResourceManual("CMaterial", "spark");
    material->Load();
    CTechnique* const technique = material->CreateTechnique();
    ASSERT_TRUE(technique->CreatePass()->SetFromScript(R"({"RenderState": {"TEXTUREFACTOR": [18, 52, 86, 120]}})"));
    m_emitter->SetMesh(mesh);
    m_emitter->SetMaterial(material);
    Goto(kSecond / 2);
    Goto(kSecond / 4);                                     // so that two of five are not born yet
    At(0)->SetTextureTransform(1, MatBuildScale(2, 2, 2)); // stage 0 stays null
    for (unsigned int stage : {200u, 0xFFFFFFFFu}) At(0)->SetTextureTransform(stage, Matrix44::IDENTITY); // beyond it

    auto const draw = [&] {
        device.ResetCounts();
        m_emitter->RenderRenderableObject(&device, 0);
        return device.CountOf("Render");
    };
    EXPECT_EQ(draw(), 0u); // a mesh without parts
    mesh->CreateSubMesh(true);
    EXPECT_EQ(draw(), 3u);
    std::string const journal = device.TakeJournal();
    EXPECT_EQ(journal.substr(journal.rfind("SetTextureFactor"), 26), "SetTextureFactor #12345678"); // that of the pass
    EXPECT_EQ(device.CountOf("SetTransformMatrix"), 1u + static_cast<unsigned long long>(device.GetTextureStageNum()));
    mesh->CreateSubMesh(true);
    technique->CreatePass();
    EXPECT_EQ(draw(), 2u * 2 * 2 * 3); // each pass calls for the whole walk
}
