// QK3DSceneManager.cpp: the tables of a scene, and its update.
#include "QK3DSceneManager.h"
#include "QK3DCamera.h"
#include "QK3DEntity.h"
#include "QK3DFactory.h"
#include "QK3DFreeNameInternal.h"
#include "QK3DLogInternal.h"
#include "QK3DMain.h"
#include "QK3DMesh.h"
#include "QK3DMovableObject.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneNode.h"
#include <memory>

namespace qk3d {
namespace {
// The entry goes first: what a destructor does to the table, or asks of it, finds it in order.
template <class Map>
void Destroy(Map& map, typename Map::iterator entry) {
    auto* const object = entry->second;
    map.erase(entry);
    delete object;
}

template <class Map>
void Destroy(Map& map, string const& name) {
    if (auto const entry = map.find(name); entry != map.end()) Destroy(map, entry);
}

template <class Map>
void DestroyAll(Map& map) {
    while (!map.empty()) Destroy(map, map.begin());
}

template <class Map>
typename Map::mapped_type Find(Map const& map, string const& name) {
    auto const entry = map.find(name);
    return entry == map.end() ? nullptr : entry->second;
}
} // namespace

CSceneNode* CSceneManager::_CreateSceneNodeImpl(string const& name) { return new CSceneNode(name, this); }

// The root comes last: nothing throws any more once it is there.
CSceneManager::CSceneManager(string const& name) : m_name(name), m_rootSceneNode(nullptr) {
    m_rootSceneNode = new CSceneNode("Root", this);
}

CSceneManager::~CSceneManager() {
    // Objects before nodes: their destructors may want to see where they hung.
    CSceneManager::DestroyAllMovableObject();
    DestroyAllCamera();
    CSceneManager::DestroyAllSceneNode();
    delete m_rootSceneNode;
    QK_LOG(LOG_INFO, "CSceneManager Destroy");
}

string CSceneManager::GetTypeName() { return "CSceneManager"; }
void CSceneManager::Init() {}
CSceneNode* CSceneManager::GetRootSceneNode() { return m_rootSceneNode; }

CSceneNode* CSceneManager::CreateSceneNode(string const& name) {
    if (CSceneNode* const node = Find(m_sceneNodes, name)) return node;
    std::unique_ptr<CSceneNode> node(_CreateSceneNodeImpl(name));
    if (node) m_sceneNodes.emplace(name, node.get());
    return node.release();
}

CSceneNode* CSceneManager::GetSceneNode(string const& name) { return Find(m_sceneNodes, name); }
void CSceneManager::DestroySceneNode(string const& name) { Destroy(m_sceneNodes, name); }
void CSceneManager::DestroyAllSceneNode() { DestroyAll(m_sceneNodes); }

CMovableObject* CSceneManager::CreateMovableObject(string const& type, string const& name) {
    if (name.empty()) return CreateMovableObject(type);
    auto const table = m_movableObjects.find(type);
    if (table != m_movableObjects.end())
        if (CMovableObject* const object = Find(table->second, name)) return object;
    return MakeMovableObject(type, name);
}

CMovableObject* CSceneManager::CreateMovableObject(string const& type) {
    return MakeMovableObject(type, FreeObjectName(type, "mov"));
}

string CSceneManager::FreeObjectName(string const& type, char const* prefix) const {
    auto const table = m_movableObjects.find(type);
    return FreeName(
        prefix, [&](string const& name) { return table != m_movableObjects.end() && table->second.count(name) != 0; });
}

CMovableObject* CSceneManager::MakeMovableObject(string const& type, string const& name) {
    std::unique_ptr<CMovableObject> object(CQK3DMain::GetFactory().CreateMovableObject(type, name));
    if (!object) return nullptr;
    object->_SetCreator(this);
    // A creator that made an object of this name itself meanwhile has that one returned.
    auto const [entry, isNew] = m_movableObjects[type].emplace(name, object.get());
    return isNew ? object.release() : entry->second;
}

CMovableObject* CSceneManager::GetMovableObject(string const& type, string const& name) {
    if (type == "CCamera") return GetCamera(name);
    auto const table = m_movableObjects.find(type);
    return table == m_movableObjects.end() ? nullptr : Find(table->second, name);
}

void CSceneManager::DestroyMovableObject(string const& type, string const& name) {
    if (auto const table = m_movableObjects.find(type); table != m_movableObjects.end()) Destroy(table->second, name);
}

void CSceneManager::DestroyAllMovableObject() {
    // Destructors may make objects of a type that has been through already, so this starts over until nothing is left.
    while (!m_movableObjects.empty()) {
        auto const table = m_movableObjects.begin();
        if (table->second.empty())
            m_movableObjects.erase(table);
        else
            Destroy(table->second, table->second.begin());
    }
}

bool CSceneManager::UpdateScene() {
    m_rootSceneNode->Update(true, true);
    return true;
}

bool CSceneManager::GetShootedRenderableObject(CViewport const&, CRenderQueue&) { return true; }
bool CSceneManager::RenderShootedRenderableObject(CViewport const&, long long) { return true; }

CCamera* CSceneManager::CreateCamera(string const& name) {
    string key = name;
    if (name.empty() || HasCamera(name)) key = FreeName("cam", [this](string const& n) { return HasCamera(n); });
    if (!name.empty() && key != name)
        QK_LOG(LOG_WARNING, "There is a camera %s already, the new one is called %s", name.c_str(), key.c_str());

    auto camera = std::make_unique<CCamera>(key);
    camera->_SetCreator(this);
    m_cameras.emplace(key, camera.get());
    return camera.release();
}

CCamera* CSceneManager::GetCamera(string const& name) const { return Find(m_cameras, name); }
bool CSceneManager::HasCamera(string const& name) const { return m_cameras.count(name) != 0; }
void CSceneManager::DestroyCamera(string const& name) { Destroy(m_cameras, name); }

void CSceneManager::DestroyCamera(CCamera* camera) {
    if (camera && GetCamera(camera->GetName()) == camera) DestroyCamera(camera->GetName());
}

void CSceneManager::DestroyAllCamera() { DestroyAll(m_cameras); }

// A type that names no entities gives null here, though its object is made and found by GetMovableObject.
CEntity* CSceneManager::CreateEntity(string const& type) {
    return dynamic_cast<CEntity*>(CreateMovableObject(type, FreeObjectName(type, "ent")));
}

CEntity* CSceneManager::CreateEntity(string const& type, string const& name) {
    if (name.empty()) return CreateEntity(type);
    return dynamic_cast<CEntity*>(CreateMovableObject(type, name));
}

CEntity* CSceneManager::CreateEntity(string const& type, string const& name, string const& resourceType,
                                     string const& meshFile, string const& meshName) {
    auto* const entity = dynamic_cast<CEntity*>(CreateMovableObject(type, name));
    if (!entity) return nullptr;

    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    ResourceSharePtr resource = resources.GetResource(resourceType, meshName.empty() ? meshFile : meshName);
    if (!resource) {
        qklib::CSharePtr<CResourceLoader> noLoader;
        resource = resources.CreateResource(resourceType, meshFile, meshName, false, noLoader);
    }
    if (!dynamic_cast<CMesh*>(static_cast<CResource*>(resource))) return entity; // another type of resource, or none

    _ResourceSharePtr<CMesh> mesh = resource;
    entity->SetMesh(mesh);
    return entity;
}

CEntity* CSceneManager::GetEntity(string const& type, string const& name) {
    return dynamic_cast<CEntity*>(GetMovableObject(type, name));
}

void CSceneManager::DestroyEntity(string const& type, string const& name) { DestroyMovableObject(type, name); }
} // namespace qk3d
