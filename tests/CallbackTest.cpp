// CallbackTest.cpp: what is called during a frame throws, calls back, takes listeners away, or destroys what is being walked,
// at each single call that a frame makes.
#include "QK3DEmitter.h"
#include "QK3DEntity.h"
#include "QK3DFactory.h"
#include "QK3DMain.h"
#include "QK3DOverlayItem.h"
#include "QK3DRenderWindow.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "QK3DViewport.h"
#include "TestLog.h"
#include "TestScene.h"
#include <functional>
#include <gtest/gtest.h>

using namespace qk3d;

namespace {
constexpr int kSteadyFrame = 9;

// Hears of everything in a scene that has listeners, timed events and creators, and does something once.
class Trap : public CSceneNode::CUpdateListener,
             public CMovableObject::CUpdateListener,
             public COverlayItem::CUpdateListener,
             public COverlayItem::CRenderListener,
             public CRenderTarget::CUpdateListener,
             public CRenderableObject::CRenderListener {
public:
    using Action = void (*)(TestScene& scene, Trap& trap);

    explicit Trap(TestScene& scene) : m_scene(scene) {
        Add();
        scene.onCall = [this] { Spring(); };
    }
    Trap(Trap const&) = delete;
    Trap& operator=(Trap const&) = delete;

    /// From now on: at the call of that number, counted from 0.
    void Set(Action action, int number) {
        m_action = action;
        m_left = number;
    }
    bool HasSprung() const { return m_left < 0; }

    void Add() {
        m_scene.GetScene().GetRootSceneNode()->AddUpdateListener(this);
        m_scene.GetNode().AddUpdateListener(this);
        m_scene.GetEntity().AddUpdateListener(this);
        m_scene.GetEntity().GetSubEntity(0)->AddRenderListener(this);
        m_scene.GetEmitter().CMovableObject::AddUpdateListener(this);
        m_scene.GetEmitter().AddRenderListener(this);
        m_scene.GetItem().AddUpdateListener(this);
        m_scene.GetItem().AddRenderListener(this);
        m_scene.GetWindow().AddUpdateListener(this);
    }
    void Remove() {
        m_scene.GetScene().GetRootSceneNode()->RemoveUpdateListener(this);
        m_scene.GetNode().RemoveAllUpdateListener();
        m_scene.GetEntity().RemoveUpdateListener(this);
        m_scene.GetEntity().GetSubEntity(0)->RemoveAllRenderListener();
        m_scene.GetEmitter().CMovableObject::RemoveAllUpdateListener();
        m_scene.GetEmitter().RemoveRenderListener(this);
        m_scene.GetItem().RemoveUpdateListener(this);
        m_scene.GetItem().RemoveAllRenderListener();
        m_scene.GetWindow().RemoveUpdateListener(this);
    }

private:
    void Spring() {
        if (m_left-- == 0) m_action(m_scene, *this);
    }
    void OnSceneNodePerUpdate(CSceneNode*) override { Spring(); }
    void OnSceneNodePostUpdate(CSceneNode*) override { Spring(); }
    void OnMovableObjectPerUpdate(CMovableObject*) override { Spring(); }
    void OnMovableObjectPostUpdate(CMovableObject*) override { Spring(); }
    void OnOverlayItemPerUpdate(COverlayItem*) override { Spring(); }
    void OnOverlayItemPostUpdate(COverlayItem*) override { Spring(); }
    void OnOverlayItemPerRender(COverlayItem*, CRenderSystem*) override { Spring(); }
    void OnOverlayItemPostRender(COverlayItem*, CRenderSystem*) override { Spring(); }
    void OnRenderTargetPerUpdate(CRenderTarget*, long long) override { Spring(); }
    void OnRenderTargetPostUpdate(CRenderTarget*, long long) override { Spring(); }

    void OnRenderableObjectPerRender(CRenderableObject*, CRenderSystem*) override { Spring(); }
    void OnRenderableObjectPostRender(CRenderableObject*, CRenderSystem*) override { Spring(); }

    TestScene& m_scene;
    Action m_action = nullptr;
    int m_left = -1;
};

std::string Sound() {
    TestScene scene;
    EXPECT_TRUE(scene.Build());
    for (int frame = 1; frame < kSteadyFrame; ++frame) EXPECT_TRUE(scene.Frame(frame));
    return scene.Draw(kSteadyFrame);
}

struct Oops {};

void DestroyObjects(TestScene& scene) {
    scene.GetViewport().RemoveAllMovableObject();
    scene.GetScene().DestroyAllMovableObject();
}

void TryFrame(TestScene& scene, int number) {
    try {
        scene.Frame(number);
    } catch (Oops const&) {}
}
} // namespace

TEST(Callback, WhateverACallOfAFrameDoesTheEngineStaysWhole) {
    struct {
        char const* what;
        Trap::Action act;
        bool isHarmless; // later frames are those of a scene where nothing happened
    } const rows[] = {
        {"throws", [](TestScene&, Trap&) { throw Oops(); }, true},
        {"takes all listeners away", [](TestScene&, Trap& trap) { trap.Remove(); }, true},
        {"takes them away and back", [](TestScene&, Trap& trap) { trap.Remove(), trap.Add(), trap.Add(); }, true},
        {"updates the scene", [](TestScene& scene, Trap&) { scene.GetScene().UpdateScene(); }, true},
        {"updates the overlay", [](TestScene& scene, Trap&) { scene.GetOverlay().Update(); }, true},
        {"draws a frame", [](TestScene& scene, Trap&) { scene.GetDevice().UpdateAllRenderTarget(1'000); }, true},
        {"moves the clock", [](TestScene& scene, Trap&) { scene.GetScene().GetTimer().TimeStepIn(1); }, false},
        {"removes all events", [](TestScene& scene, Trap&) { scene.GetScene().GetTimer().RemoveAllTimerEvents(); },
         false},
        {"empties the emitter", [](TestScene& scene, Trap&) { scene.GetEmitter().DestroyAllEmitableObject(); }, false},
        {"destroys the nodes", [](TestScene& scene, Trap&) { scene.GetScene().DestroyAllSceneNode(); }, false},
        {"destroys the objects", [](TestScene& scene, Trap&) { DestroyObjects(scene); }, false},
        {"destroys the overlay items", [](TestScene& scene, Trap&) { scene.GetOverlay().DestroyAllOverlayItem(); },
         false},
        {"destroys the targets", [](TestScene& scene, Trap&) { scene.GetDevice().DestroyAllRenderTarget(); }, false},
        {"loses the device", [](TestScene& scene, Trap&) { scene.GetDevice().LoseDevice(); }, true},
    };
    CTestLog log;
    std::string const sound = Sound();
    for (auto const& row : rows) {
        bool isThrough = false;
        for (int number = 0; !isThrough; ++number) {
            SCOPED_TRACE(std::string(row.what) + " at call " + std::to_string(number));
            TestScene scene;
            ASSERT_TRUE(scene.Build());
            Trap trap(scene);
            trap.Set(row.act, number);
            for (int frame = 1; frame < 4; ++frame) TryFrame(scene, frame);
            isThrough = !trap.HasSprung();
            if (isThrough) { EXPECT_GT(number, 40) << "calls"; }
            trap.Set(nullptr, -1);
            for (int frame = 4; frame < kSteadyFrame; ++frame) TryFrame(scene, frame);
            if (row.isHarmless) { EXPECT_EQ(FirstDifference(scene.Draw(kSteadyFrame), sound), ""); }
        }
    }
}

TEST(Callback, ADeviceThatThrowsAtAnyCallLeavesTheEngineWhole) {
    CTestLog log;
    std::string const sound = Sound();
    bool isThrough = false;
    for (int number = 0; !isThrough; ++number) {
        SCOPED_TRACE("at call " + std::to_string(number));
        TestScene scene;
        ASSERT_TRUE(scene.Build());
        int left = number;
        scene.GetDevice().GetJournal().SetListener([&](CTraceCall const&) {
            if (left-- == 0) throw Oops();
        });
        for (int frame = 1; frame < 4; ++frame) TryFrame(scene, frame);
        isThrough = left >= 0;
        scene.GetDevice().GetJournal().SetListener(nullptr);
        for (int frame = 4; frame < kSteadyFrame; ++frame) EXPECT_TRUE(scene.Frame(frame));
        EXPECT_EQ(FirstDifference(scene.Draw(kSteadyFrame), sound), "");
    }
}

TEST(Callback, WhateverACreatorDoesTheSceneStaysWhole) {
    static std::function<void()> act; // creators are plain functions
    auto const create = [](char const* name, CMovableObject** out) {
        auto made = std::make_unique<CEntity>(name);
        if (act) std::exchange(act, nullptr)();
        *out = made.release();
    };
    CTestLog log;
    CFactory& factory = CQK3DMain::GetQK3DMain().GetFactory();
    for (char const* const what : {"throw", "remove itself", "make the same", "destroy objects", "destroy nodes"}) {
        SCOPED_TRACE(what);
        TestScene scene;
        ASSERT_TRUE(scene.Build());
        factory.AddCreateMovableObjectFun("Trap", create);
        act = [&factory, &scene, what = std::string(what)] {
            if (what == "throw") throw Oops();
            if (what == "remove itself") factory.RemoveCreateMovableObjectFun("Trap");
            if (what == "make the same") scene.GetScene().CreateMovableObject("Trap", "o");
            if (what == "destroy objects") DestroyObjects(scene);
            if (what == "destroy nodes") scene.GetScene().DestroyAllSceneNode();
        };
        CMovableObject* made = nullptr;
        try {
            made = scene.GetScene().CreateMovableObject("Trap", "o");
        } catch (Oops const&) {}
        EXPECT_EQ(made == nullptr, what == std::string("throw"));
        EXPECT_EQ(scene.GetScene().GetMovableObject("Trap", "o"), made);
        TryFrame(scene, 1);
        factory.RemoveCreateMovableObjectFun("Trap");
    }
}
