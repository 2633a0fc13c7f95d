// BenchStage.h: an engine with a device that only counts, a scene, a camera and one viewport.
#pragma once

#include "TraceRenderSystem.h"

#include "QK3DCamera.h"
#include "QK3DFactory.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DPass.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "QK3DTexture.h"
#include "QK3DViewport.h"
#include <string>

namespace bench {
/// One at a time: it uses the engine root's default resource system, and gives everything back when it goes.
class Stage {
public:
    Stage() : m_device("bench") {
        qk3d::CQK3DMain::GetQK3DMain(); // which brings the creator of entities
        // Small: the device fills its surface at each clear, which is not what is measured.
        m_window = m_device.CreateRenderWindow("window", 64, 48, qk3d::PF_A8R8G8B8, false);
        m_scene = std::make_unique<qk3d::CSceneManager>("bench");
        qk3d::CCamera* const camera = m_scene->CreateCamera("camera");
        camera->SetViewParams(qk3d::Vector3(0, 0, -10), qk3d::Vector3::ZERO, qk3d::Vector3::UNIT_Y);
        camera->SetProjParams(1, 4.0f / 3, 1, 1'000);
        m_viewport = m_window->AddViewport(camera, 0, 0.0f, 0.0f, 1.0f, 1.0f);
    }

    ~Stage() {
        m_device.DestroyAllRenderTarget();
        m_scene.reset();
        qk3d::CQK3DMain::GetResourceSystem().NotifyRenderSystemDestroy(&m_device);
    }

    void Frame() {
        m_scene->UpdateScene();
        m_device.UpdateAllRenderTarget(++m_time);
    }

    qk3d::CSceneManager& GetScene() { return *m_scene; }
    qk3d::CViewport& GetViewport() { return *m_viewport; }
    qk3d::CRenderWindow& GetWindow() { return *m_window; }
    qk3d::CTraceRenderSystem& GetDevice() { return m_device; }
    unsigned long long DrawsOf(std::string const& operation = "Render") const {
        return const_cast<qk3d::CTraceRenderSystem&>(m_device).GetJournal().GetCount(operation);
    }
    void ResetCounts() { m_device.GetJournal().ResetCounts(); }

    /// A material by code: a texture of its own and a render state block of twelve states.
    qk3d::_ResourceSharePtr<qk3d::CMaterial> MakeMaterial(int number);

    /// A box of 24 vertices and 36 indices in one sub-mesh.
    qk3d::_ResourceSharePtr<qk3d::CMesh> MakeBox();

private:
    qk3d::CTraceRenderSystem m_device;
    qk3d::CRenderWindow* m_window; // the device's
    std::unique_ptr<qk3d::CSceneManager> m_scene;
    qk3d::CViewport* m_viewport; // the window's
    long long m_time = 0;
};
} // namespace bench
