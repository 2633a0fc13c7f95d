// QK3DMain.h: the root of the engine.
#pragma once

#include "QK3DExport.h"
#include "QK3DTypes.h"
#include <map>

namespace qk3d {
class CFactory;
class COverlayManager;
class CPluginManager;
class CRenderSystem;
class CResourceSystem;
class CSceneManager;

/// Owns the named top-level objects and knows in which order the engine starts and stops. There is one; the four
/// default objects below are there from the moment the library is loaded, and outlive it. A Create operation with a
/// name that is taken returns the object of that name, or null if its type is another one. An unknown name gives null
/// or is ignored. Any text is a name, the empty one too. Single-threaded, as the whole engine.
class QK3D_API CQK3DMain {
public:
    /// The first call fills the engine's name tables, registers the types "CSceneManager" and "CEntity" and seeds
    /// rand. The root is destroyed when the process or the library goes.
    static CQK3DMain& GetQK3DMain();

    static CFactory& GetFactory();
    static COverlayManager& GetOverlayManager();
    static CPluginManager& GetPluginManager();
    static CResourceSystem& GetResourceSystem();

    CQK3DMain(CQK3DMain const&) = delete;
    CQK3DMain& operator=(CQK3DMain const&) = delete;
    virtual ~CQK3DMain();

    /// Null for a type that the factory does not know. A new scene manager has been through Init.
    CSceneManager* CreateSceneManager(string const& type, string const& name);

    /// Null for a type that the factory does not know. A new render system still has to be set up by its own operations.
    CRenderSystem* CreateRenderSystem(string const& type, string const& name);

    /// A resource system beside the default one. The resource types of plug-ins go to the default one only.
    CResourceSystem* CreateResourceSystem(string const& name);

    COverlayManager* CreateOverlayManager(string const& name);

    void DestroySceneManager(string const& name);

    /// Resources of all resource systems let go of their device objects first.
    void DestroyRenderSystem(string const& name);

    void DestroyResourceSystem(string const& name);
    void DestroyOverlayManager(string const& name);

    void DestoryAllSceneManager();
    void DestotyAllRenderSystem();
    void DestotyAllResourceSystem();
    void DestotyAllOverlayManager();

    /// Loads and starts a plug-in and registers what it can make. `data` and `size` go to the plug-in unread and may be
    /// null and 0. False if it cannot be loaded or refuses to start; nothing is registered then. A plug-in that runs
    /// already is not started again.
    bool LoadPlugin(string const& name, unsigned char const* data, int size);

    /// Takes the plug-in's types out and unloads it. Objects that it made have to be gone by then.
    void UnloadPlugin(string const& name);

    /// Takes everything down, plug-ins last, and leaves the registries and the factory empty. May be called again.
    void Clear();

    CSceneManager* GetSceneManager(string const& name);
    CRenderSystem* GetRenderSystem(string const& name);

    /// Named resource systems only, so never the default one.
    CResourceSystem* GetResourceSystem(string const& name);

    /// Named overlay managers only, so never the default one.
    COverlayManager* GetOverlayManager(string const& name);

protected:
    CQK3DMain();

    std::map<string, CSceneManager*> m_sceneMgrs;     // owned
    std::map<string, CRenderSystem*> m_renderSystems; // owned
    std::map<string, CResourceSystem*> m_resSystems;  // owned
    std::map<string, COverlayManager*> m_overlayMgrs; // owned
    unsigned int m_randomSeed = 0;                    // what rand was seeded with

    static CFactory m_factory;
    static COverlayManager m_overlayMgr;
    static CPluginManager m_pluginMgr;
    static CResourceSystem m_resSys;
};
} // namespace qk3d
