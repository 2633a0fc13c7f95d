// TestScene.h: a small scene with one of everything, built step by step, so that a test can let any step fail.
#pragma once

#include "QK3D.h"
#include "TestStore.h"
#include "TraceRenderSystem.h"
#include <functional>
#include <memory>
#include <vector>

namespace qk3d {
/// An emitter of particles that live for two frames; at most five at once.
class CTestEmitter : public CEmitter {
public:
    explicit CTestEmitter(string const& name);
    ~CTestEmitter() override { DestroyAllEmitableObject(); }
    string GetTypeName() override { return "CTestEmitter"; }

    std::function<void()> onEmit;
};

/// An entity with a lit, textured material that mirrors a render texture, an emitter of particles, an overlay item with a
/// sub-item, and a timed event. One at a time.
class TestScene {
public:
    /// Asks the engine for one thing. False, or an exception, is a refusal: nothing was done, and it may be asked again.
    struct Step {
        char const* what;
        bool (*run)(TestScene& scene);
    };
    static std::vector<Step> const& GetSteps();

    static constexpr long long kTick = 1'000'000; // ten frames a second

    TestScene();
    ~TestScene();

    /// All steps, each of which must go well.
    bool Build();

    /// Brings the clock to frame `number` and draws it; false if the device drew nothing.
    bool Frame(int number);

    /// The same; gives all calls of the frame, with serial numbers left out, and what the timed event has counted.
    std::string Draw(int number);

    CTraceRenderSystem& GetDevice() { return *m_device; }
    CSceneManager& GetScene() { return *m_scene; }
    CSceneNode& GetNode() { return *m_node; }
    CEntity& GetEntity() { return *m_entity; }
    CEmitter& GetEmitter() { return *m_emitter; }
    CViewport& GetViewport() { return *m_viewport; }
    CRenderWindow& GetWindow() { return *m_window; }
    COverlayManager& GetOverlay() { return *m_overlay; }
    COverlayItem& GetItem() { return *m_item; }
    _ResourceSharePtr<CMesh>& GetMesh() { return m_mesh; }

    /// Runs when the timed event is called, and when the emitter asks for a particle.
    std::function<void()> onCall = [] {};

private:
    bool MakeMesh();
    bool MakeEmitter();
    static void CountEvent(CTimerEvent* event, long long time);

    CTestStore m_store;
    CSceneManager* m_scene = nullptr;
    std::unique_ptr<CTraceRenderSystem> m_device;
    std::unique_ptr<COverlayManager> m_overlay;
    CRenderWindow* m_window = nullptr;
    CCamera* m_camera = nullptr;
    CViewport* m_viewport = nullptr;
    CEntity* m_entity = nullptr;
    CSceneNode* m_node = nullptr;
    std::unique_ptr<CTestEmitter> m_emitter;
    COverlayItem* m_item = nullptr;
    _ResourceSharePtr<CMaterial> m_material;
    _ResourceSharePtr<CMesh> m_mesh;
    int m_events = 0;
};

/// The first line in which what was drawn differs from what should have been; empty if there is none. Whole frames are too
/// long to read.
std::string FirstDifference(std::string const& drawn, std::string const& sound);
} // namespace qk3d
