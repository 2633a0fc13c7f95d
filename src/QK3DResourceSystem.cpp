// QK3DResourceSystem.cpp: managers on demand, and requests that name a resource by type and name.
#include "QK3DResourceSystem.h"

#include "QK3DGPUProgram.h"
#include "QK3DGPUProgramManager.h"
#include "QK3DLogInternal.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DMeshManager.h"
#include "QK3DRenderState.h"
#include "QK3DResourceManager.h"
#include "QK3DSamplerState.h"
#include "QK3DShareInternal.h"
#include "QK3DTexture.h"
#include "QK3DTextureManager.h"
#include "QK3DTextureState.h"
#include <memory>

namespace qk3d {
namespace {
template <class TManager>
void MakeManager(CResourceManager** out) {
    if (!out) return;
    *out = nullptr;
    *out = new TManager;
}

struct BuiltInType {
    char const* name;
    void (*make)(CResourceManager** out);
};
constexpr BuiltInType kBuiltInTypes[] = {
    {"CMesh", &MakeManager<CMeshManager>},
    {"CTexture", &MakeManager<CTextureManager>},
    {"CMaterial", &MakeManager<CMaterialManager>},
    {"CRenderState", &MakeManager<CRenderStateManager>},
    {"CTextureState", &MakeManager<CTextureStateManager>},
    {"CSamplerState", &MakeManager<CSamplerStateManager>},
    {"CGPUProgram", &MakeManager<CGPUProgramManager>},
};
} // namespace

CResourceSystem::CResourceSystem(string const& name) : m_name(name) {
    for (auto const& type : kBuiltInTypes) AddCreateResourceManagerFun(type.name, type.make);
}

CResourceSystem::~CResourceSystem() {
    _DestroyAllResourceManager();
    m_managerFuns.clear();
    m_loaderFuns.clear();
    QK_LOG(LOG_INFO, "CResourceSystem Destroy");
}

CResourceManager* CResourceSystem::GetResourceManager(string const& type) {
    if (auto const found = m_managers.find(type); found != m_managers.end()) return found->second;
    std::unique_ptr<CResourceManager> manager(_CreateResourceManager(type));
    if (!manager) return nullptr;
    CResourceManager*& slot = m_managers[type]; // the step that can throw comes before the release
    return slot = manager.release();
}

ResourceSharePtr CResourceSystem::CreateResource(string const& type, string const& path, string const& name,
                                                 bool isManual, CSharePtr<CResourceLoader>& loader) {
    CResourceManager* const manager = GetResourceManager(type);
    return manager ? manager->CreateResource(path, name, isManual, loader) : ResourceSharePtr();
}

ResourceSharePtr CResourceSystem::CreateResourceManual(string const& type, string const& name) {
    return CreateResource(type, string(), name, true, CSharePtr<CResourceLoader>::GetNullSharePtr());
}

ResourceSharePtr CResourceSystem::GetResource(string const& type, string const& name) {
    CResourceManager* const manager = GetResourceManager(type);
    return manager ? manager->GetResource(name) : ResourceSharePtr();
}

bool CResourceSystem::IsResourceExist(string const& type, string const& name) {
    CResourceManager* const manager = GetResourceManager(type);
    return manager && manager->IsResourceExist(name);
}

bool CResourceSystem::DestroyResource(string const& type, string const& name) {
    CResourceManager* const manager = GetResourceManager(type);
    return manager && manager->DestroyResource(name);
}

// Managers made while these walks run are in the map, before or behind; none can leave it meanwhile.
void CResourceSystem::UnloadAllResources() {
    for (auto const& [type, manager] : m_managers) manager->UnloadAllResources();
}

void CResourceSystem::DestroyAllResources() {
    for (auto const& [type, manager] : m_managers) manager->DestroyAllResources();
}

void CResourceSystem::DestroyUnusedResources() {
    for (auto const& [type, manager] : m_managers) manager->DestroyUnusedResources();
}

void CResourceSystem::AddCreateResourceManagerFun(string const& type, void (*fun)(CResourceManager** out)) {
    m_managerFuns[type] = fun;
}

void CResourceSystem::AddCreateResourceLoaderFun(string const& type, void (*fun)(CResourceLoader** out)) {
    m_loaderFuns[type] = fun;
}

void CResourceSystem::RemoveCreateResourceManagerFun(string const& type) { m_managerFuns.erase(type); }
void CResourceSystem::RemoveCreateResourceLoaderFun(string const& type) { m_loaderFuns.erase(type); }

CSharePtr<CResourceLoader> CResourceSystem::CreateResourceLoader(string const& type) {
    auto const found = m_loaderFuns.find(type);
    CResourceLoader* loader = nullptr;
    if (found != m_loaderFuns.end() && found->second) found->second(&loader);
    return Share(std::unique_ptr<CResourceLoader>(loader));
}

void CResourceSystem::NotifyRenderSystemDestroy(CRenderSystem* renderSystem) {
    _LeaveRenderSystem<CTexture>("CTexture", renderSystem);
    _LeaveRenderSystem<CMesh>("CMesh", renderSystem);
    _LeaveRenderSystem<CGPUProgram>("CGPUProgram", renderSystem);
}

CResourceManager* CResourceSystem::_CreateResourceManager(string const& type) {
    auto const found = m_managerFuns.find(type);
    if (found == m_managerFuns.end() || !found->second || m_isClosing) return nullptr;
    if (!m_typesInCreation.insert(type).second) return nullptr;

    struct Leave {
        std::set<string>& types;
        string const& type;
        ~Leave() { types.erase(type); }
    } const leave{m_typesInCreation, type};
    CResourceManager* manager = nullptr;
    found->second(&manager);
    return manager;
}

void CResourceSystem::_DestroyResourceManager(string const& type) {
    // Out of the map before it goes, so that what is destroyed with it does not find it.
    if (auto const removed = m_managers.extract(type)) delete removed.mapped();
}

void CResourceSystem::_DestroyAllResourceManager() {
    if (m_managers.empty() || m_isClosing) return;
    m_isClosing = true; // what is destroyed below may ask for types, and must not bring managers back
    DestroyAllResources();
    while (!m_managers.empty()) _DestroyResourceManager(string(m_managers.begin()->first));
    m_isClosing = false;
}

template <class TResource>
void CResourceSystem::_LeaveRenderSystem(string const& type, CRenderSystem* renderSystem) {
    CResourceManager* const manager = GetResourceManager(type);
    if (!manager) return;
    for (auto it = manager->EnumResourceBegin(); it != manager->EnumResourceEnd();) {
        // A plug-in may have put a manager of another class under this type.
        auto* const resource = dynamic_cast<TResource*>(static_cast<CResource*>(it->second));
        if (!resource || resource->GetRenderSystem() != renderSystem) {
            ++it;
        } else if (it->second.GetRef() < 2) {
            manager->RemoveResourceAndEnumNext(it);
        } else {
            string const key = it->first;
            {
                ResourceSharePtr const held = it->second; // unloading may drop the others
                resource->Unload();
                resource->SetRenderSystem(nullptr);
            }
            it = manager->m_resources.upper_bound(key);
        }
    }
}
} // namespace qk3d
