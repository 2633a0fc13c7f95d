// ViewEngine.h: starts the engine with its plug-ins and a device, and stops it again.
#pragma once

#include "QK3DColor.h"
#include "QK3DResourceSharePtr.h"
#include "QK3DSharePtr.h"
#include "ViewFiles.h"
#include "ViewOptions.h"

namespace qk3d {
class CRenderSystem;
class CRenderWindow;
class CSceneManager;
} // namespace qk3d

namespace view {
/// Everything between is the engine's; whoever holds resources lets go of them before this object dies.
class CViewEngine {
public:
    /// Failure if a plug-in or the device cannot be had.
    explicit CViewEngine(Options const& options);
    CViewEngine(CViewEngine const&) = delete;
    CViewEngine& operator=(CViewEngine const&) = delete;
    ~CViewEngine();

    qk3d::CRenderSystem& Device() { return *m_device; }
    qk3d::CSceneManager& Scene() { return *m_scene; }

    /// What is drawn into, window or not.
    qk3d::CRenderWindow& Target() { return *m_target; }

    /// The one loader of all models, which holds the materials that it makes.
    qklib::CSharePtr<qk3d::CResourceLoader>& ModelLoader() { return m_modelLoader; }

    /// Everything that is shown is read through it.
    CViewFiles& Files() { return m_files; }

    /// A command that the device may or may not know.
    bool Call(char const* command, Json::Value in, Json::Value* out = nullptr);

private:
    void LoadPlugin(std::string const& name, std::string const& settings);

    CViewFiles m_files;
    qk3d::CRenderSystem* m_device = nullptr; // the engine's, like the two below
    qk3d::CRenderWindow* m_target = nullptr;
    qk3d::CSceneManager* m_scene = nullptr;
    qklib::CSharePtr<qk3d::CResourceLoader> m_modelLoader;
};
} // namespace view
