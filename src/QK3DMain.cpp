// QK3DMain.cpp: the engine's static objects in their order, the registries, and the way up and down.
#include "QK3DMain.h"
#include "QK3DEntity.h"
#include "QK3DFactory.h"
#include "QK3DHardwareBuffer.h"
#include "QK3DLogInternal.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include "QK3DPlugin.h"
#include "QK3DPluginManager.h"
#include "QK3DRenderState.h"
#include "QK3DRenderSystem.h"
#include "QK3DResourceSystem.h"
#include "QK3DSamplerState.h"
#include "QK3DSceneManager.h"
#include "QK3DTexture.h"
#include "QK3DTextureState.h"
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <memory>
#include <new>

namespace qk3d {
// The one place with static objects that have constructors. They are built in this order when the library is loaded,
// and destroyed in reverse, after the root.
qklib::CLogCategory* g_logCategory = qklib::CLoger::GetLoger().GetCategory("QK3D");
CPluginManager CQK3DMain::m_pluginMgr;
CFactory CQK3DMain::m_factory;
CResourceSystem CQK3DMain::m_resSys("def_resourcesys");
qklib::CSharePtr<CVertexDeclaration> COverlayItem::m_vertexDec;
COverlayManager CQK3DMain::m_overlayMgr;

namespace {
template <class Object>
Object* Find(std::map<string, Object*> const& registry, string const& name) {
    auto const found = registry.find(name);
    return found == registry.end() ? nullptr : found->second;
}

// Gives the registered object if the making of `object` has registered one of the same name on the way.
template <class Object>
Object* Enter(std::map<string, Object*>& registry, string const& name, std::unique_ptr<Object> object) {
    auto const [entry, isNew] = registry.try_emplace(name, object.get());
    if (isNew) object.release();
    return entry->second;
}

// Takes an object out of its registry; null if there is none of that name. Whatever runs while the object goes finds
// it no more, and so cannot destroy it a second time.
template <class Object>
std::unique_ptr<Object> Take(std::map<string, Object*>& registry, string const& name) {
    auto const node = registry.extract(name);
    return std::unique_ptr<Object>(node.empty() ? nullptr : node.mapped());
}

template <class Object>
void DestroyAll(std::map<string, Object*>& registry) {
    while (!registry.empty()) Take(registry, string(registry.begin()->first));
}

template <class Object, class Base>
void CreateNamed(char const* name, Base** out) {
    if (!out) return;
    *out = nullptr;
    try {
        *out = new Object(string(name ? name : ""));
    } catch (std::bad_alloc const&) { // null says so
    }
}

// What a plug-in can bring, by the type number of its record.
struct CreatorKind {
    void (*add)(PluginObjectInfo const& info);
    void (*remove)(string const& type);
};

template <class Owner, class Fun>
Fun CreatorOf(void (Owner::*add)(string const& type, Fun));

template <auto GetOwner, auto Add, auto Remove>
constexpr CreatorKind Kind() {
    return {[](PluginObjectInfo const& info) {
                (GetOwner().*Add)(info.name, reinterpret_cast<decltype(CreatorOf(Add))>(info.creator));
            },
            [](string const& type) { (GetOwner().*Remove)(type); }};
}

constexpr auto kFactory = &CQK3DMain::GetFactory;
constexpr CResourceSystem& (*kResources)() = &CQK3DMain::GetResourceSystem;
constexpr CreatorKind kCreatorKinds[] = {
    /* 1 */ Kind<kFactory, &CFactory::AddCreateRenderSystemFun, &CFactory::RemoveCreateRenderSystemFun>(),
    /* 2 */ Kind<kFactory, &CFactory::AddCreateSceneManagerFun, &CFactory::RemoveCreateSceneManagerFun>(),
    /* 3 */
    Kind<kResources, &CResourceSystem::AddCreateResourceManagerFun, &CResourceSystem::RemoveCreateResourceManagerFun>(),
    /* 4 */
    Kind<kResources, &CResourceSystem::AddCreateResourceLoaderFun, &CResourceSystem::RemoveCreateResourceLoaderFun>(),
    /* 5 */ Kind<kFactory, &CFactory::AddCreateMovableObjectFun, &CFactory::RemoveCreateMovableObjectFun>(),
    /* 6 */ Kind<kFactory, &CFactory::AddCreateParticleSystemFun, &CFactory::RemoveCreateParticleSystemFun>(),
    /* 7 */ Kind<kFactory, &CFactory::AddCreateEmitterFun, &CFactory::RemoveCreateEmitterFun>(),
    /* 8 */ Kind<kFactory, &CFactory::AddCreateUserObjectFun, &CFactory::RemoveCreateUserObjectFun>(),
};

// Null for a void record.
CreatorKind const* FindKind(PluginObjectInfo const& info) {
    if (!info.name || !*info.name || info.type < 1 || info.type > static_cast<int>(std::size(kCreatorKinds)))
        return nullptr;
    return &kCreatorKinds[info.type - 1];
}

template <class Function>
void ForEachCreator(CPlugin& plugin, Function function) {
    int const count = plugin.GetPluginObjectNum();
    PluginObjectInfo const* const infos = plugin.GetPluginObjectInfos();
    for (int i = 0; infos && i < count; ++i)
        if (CreatorKind const* const kind = FindKind(infos[i])) function(*kind, infos[i]);
}
} // namespace

CQK3DMain& CQK3DMain::GetQK3DMain() {
    struct CRoot : CQK3DMain {}; // the constructor is for this one place
    static CRoot root;
    return root;
}

CFactory& CQK3DMain::GetFactory() { return m_factory; }
COverlayManager& CQK3DMain::GetOverlayManager() { return m_overlayMgr; }
CPluginManager& CQK3DMain::GetPluginManager() { return m_pluginMgr; }
CResourceSystem& CQK3DMain::GetResourceSystem() { return m_resSys; }

CQK3DMain::CQK3DMain() {
    CHardwareBuffer::InitStringUsageMap();
    CTexture::InitStringTextureUsageMap();
    CRenderState::InitStringStateMap();
    CRenderState::InitSetStateFuns();
    CTextureState::InitStringStateMap();
    CTextureState::InitSetStateFuns();
    CSamplerState::InitStringStateMap();
    CSamplerState::InitSetStateFuns();
    m_factory.AddCreateSceneManagerFun("CSceneManager", CreateNamed<CSceneManager, CSceneManager>);
    m_factory.AddCreateMovableObjectFun("CEntity", CreateNamed<CEntity, CMovableObject>);
    m_randomSeed = static_cast<unsigned int>(std::time(nullptr));
    std::srand(m_randomSeed);
}

CQK3DMain::~CQK3DMain() {
    Clear();
    CHardwareBuffer::ClearStringUsageMap();
    CTexture::ClearStringTextureUsageMap();
    CRenderState::ClearStringStateMap();
    CTextureState::ClearStringStateMap();
    CSamplerState::ClearStringStateMap();
    QK_LOG(LOG_INFO, "CQK3DMain Destroy");
}

CSceneManager* CQK3DMain::CreateSceneManager(string const& type, string const& name) {
    if (CSceneManager* const existing = Find(m_sceneMgrs, name))
        return existing->GetTypeName() == type ? existing : nullptr;
    std::unique_ptr<CSceneManager> manager(m_factory.CreateSceneManager(type, name));
    if (!manager) return nullptr;
    manager->Init();
    return Enter(m_sceneMgrs, name, std::move(manager));
}

CRenderSystem* CQK3DMain::CreateRenderSystem(string const& type, string const& name) {
    if (CRenderSystem* const existing = Find(m_renderSystems, name))
        return existing->GetTypeName() == type ? existing : nullptr;
    std::unique_ptr<CRenderSystem> renderSystem(m_factory.CreateRenderSystem(type, name));
    return renderSystem ? Enter(m_renderSystems, name, std::move(renderSystem)) : nullptr;
}

CResourceSystem* CQK3DMain::CreateResourceSystem(string const& name) {
    if (CResourceSystem* const existing = Find(m_resSystems, name)) return existing;
    return Enter(m_resSystems, name, std::unique_ptr<CResourceSystem>(new CResourceSystem(name)));
}

COverlayManager* CQK3DMain::CreateOverlayManager(string const& name) {
    if (COverlayManager* const existing = Find(m_overlayMgrs, name)) return existing;
    return Enter(m_overlayMgrs, name, std::make_unique<COverlayManager>());
}

void CQK3DMain::DestroySceneManager(string const& name) { Take(m_sceneMgrs, name); }

void CQK3DMain::DestroyRenderSystem(string const& name) {
    auto const renderSystem = Take(m_renderSystems, name);
    if (!renderSystem) return;
    m_overlayMgr._NotifyRenderSystemDestroy(renderSystem.get());
    for (auto const& [key, manager] : m_overlayMgrs) manager->_NotifyRenderSystemDestroy(renderSystem.get());
    m_resSys.NotifyRenderSystemDestroy(renderSystem.get());
    for (auto const& [key, system] : m_resSystems) system->NotifyRenderSystemDestroy(renderSystem.get());
    renderSystem->Release();
}

void CQK3DMain::DestroyResourceSystem(string const& name) { Take(m_resSystems, name); }
void CQK3DMain::DestroyOverlayManager(string const& name) { Take(m_overlayMgrs, name); }

void CQK3DMain::DestoryAllSceneManager() { DestroyAll(m_sceneMgrs); }
void CQK3DMain::DestotyAllRenderSystem() {
    while (!m_renderSystems.empty()) DestroyRenderSystem(string(m_renderSystems.begin()->first));
}
void CQK3DMain::DestotyAllResourceSystem() { DestroyAll(m_resSystems); }
void CQK3DMain::DestotyAllOverlayManager() { DestroyAll(m_overlayMgrs); }

bool CQK3DMain::LoadPlugin(string const& name, unsigned char const* data, int size) {
    CPlugin* const plugin = m_pluginMgr.LoadPlugin(name, data, size, false);
    if (!plugin) return false;
    ForEachCreator(*plugin, [](CreatorKind const& kind, PluginObjectInfo const& info) { kind.add(info); });
    return true;
}

void CQK3DMain::UnloadPlugin(string const& name) {
    CPlugin* const plugin = m_pluginMgr.GetPlugin(name);
    if (!plugin) return;
    ForEachCreator(*plugin, [](CreatorKind const& kind, PluginObjectInfo const& info) { kind.remove(info.name); });
    m_pluginMgr.UnloadPlugin(name);
}

void CQK3DMain::Clear() {
    // Everything lets go of its resources before the resources go, and of its device objects before the device goes.
    // Code of plug-ins may be behind any of these objects, so plug-ins are last.
    m_overlayMgr.DestroyAllOverlayItem();
    for (auto const& [name, manager] : m_overlayMgrs) manager->DestroyAllOverlayItem();
    for (auto const& [name, renderSystem] : m_renderSystems) renderSystem->DestroyAllRenderTarget();
    for (auto const& [name, manager] : m_sceneMgrs) {
        manager->DestroyAllCamera();
        manager->DestroyAllMovableObject();
        manager->DestroyAllSceneNode();
    }
    m_resSys.UnloadAllResources();
    DestotyAllOverlayManager();
    DestoryAllSceneManager();
    DestotyAllRenderSystem();
    m_resSys.DestroyAllResources();
    m_resSys._DestroyAllResourceManager();
    for (auto const& [name, system] : m_resSystems) {
        system->UnloadAllResources();
        system->DestroyAllResources();
        system->_DestroyAllResourceManager();
    }
    DestotyAllResourceSystem();
    m_factory._Clear();
    m_pluginMgr._UnloadAllPlugin();
}

CSceneManager* CQK3DMain::GetSceneManager(string const& name) { return Find(m_sceneMgrs, name); }
CRenderSystem* CQK3DMain::GetRenderSystem(string const& name) { return Find(m_renderSystems, name); }
CResourceSystem* CQK3DMain::GetResourceSystem(string const& name) { return Find(m_resSystems, name); }
COverlayManager* CQK3DMain::GetOverlayManager(string const& name) { return Find(m_overlayMgrs, name); }
} // namespace qk3d
