// QK3DResourceSystem.h: one resource manager for each type, made on demand, and requests by type and name.
#pragma once

#include "QK3DExport.h"
#include "QK3DResourceSharePtr.h"
#include "QK3DSharePtr.h"
#include "QK3DTypes.h"
#include <map>
#include <set>

namespace qk3d {
class CRenderSystem;
class CResourceLoader;
class CResourceManager;

/// The front of the resource layer. Built in are the types "CMesh", "CTexture", "CMaterial", "CRenderState",
/// "CTextureState", "CSamplerState" and "CGPUProgram"; plug-ins add others. A request for a type makes its manager, if
/// that is missing; a type without a creator gives a null handle, or false. CQK3DMain makes the instances.
class QK3D_API CResourceSystem {
public:
    CResourceSystem(CResourceSystem const&) = delete;
    CResourceSystem& operator=(CResourceSystem const&) = delete;
    virtual ~CResourceSystem();

    string const& GetName() const { return m_name; }

    /// Null for a type without a creator, and while the managers are being torn down.
    CResourceManager* GetResourceManager(string const& type);

    /// These go to the manager of `type`.
    ResourceSharePtr CreateResource(string const& type, string const& path, string const& name, bool isManual,
                                    CSharePtr<CResourceLoader>& loader);
    ResourceSharePtr CreateResourceManual(string const& type, string const& name);
    ResourceSharePtr GetResource(string const& type, string const& name);
    bool IsResourceExist(string const& type, string const& name);
    bool DestroyResource(string const& type, string const& name);

    /// These go to every manager that has been made, by ascending type.
    void UnloadAllResources();
    void DestroyAllResources();
    void DestroyUnusedResources();

    /// Add or replace. A creator sets `*out` to a new object, or to null if it cannot.
    void AddCreateResourceManagerFun(string const& type, void (*fun)(CResourceManager** out));
    void AddCreateResourceLoaderFun(string const& type, void (*fun)(CResourceLoader** out));

    /// A manager that has been made stays.
    void RemoveCreateResourceManagerFun(string const& type);
    void RemoveCreateResourceLoaderFun(string const& type);

    /// A new loader that the caller alone holds; null for a type without a creator.
    CSharePtr<CResourceLoader> CreateResourceLoader(string const& type);

    /// Called before a render system goes. Textures, meshes and programs of it are destroyed if nobody outside holds
    /// them; the others are unloaded and belong to no render system then.
    void NotifyRenderSystemDestroy(CRenderSystem* renderSystem);

protected:
    friend class CQK3DMain;

    explicit CResourceSystem(string const& name);

    /// A new manager that is entered nowhere yet; the caller owns it.
    CResourceManager* _CreateResourceManager(string const& type);
    void _DestroyResourceManager(string const& type);

    /// All resources of all types go first, since they hold each other, then the managers.
    void _DestroyAllResourceManager();

    string m_name;
    std::map<string, CResourceManager*> m_managers; // owned
    std::map<string, void (*)(CResourceManager** out)> m_managerFuns;
    std::map<string, void (*)(CResourceLoader** out)> m_loaderFuns;

private:
    template <class TResource>
    void _LeaveRenderSystem(string const& type, CRenderSystem* renderSystem);

    std::set<string> m_typesInCreation; // a creator that asks for its own type gets null
    bool m_isClosing = false;
};
} // namespace qk3d
