// QK3DResourceManager.cpp: the table of resources, and what happens when a resource loses its holders.
#include "QK3DResourceManager.h"

#include "QK3DFileSystem.h"
#include "QK3DGenName.h"
#include "QK3DLogInternal.h"
#include "QK3DOSFileSystem.h"
#include "QK3DResource.h"
#include "QK3DResourceHoldInternal.h"
#include "QK3DShareInternal.h"
#include "QKText.h"
#include <memory>
#include <utility>

namespace qk3d {
CResourceManager::CResourceManager() {
    CSharePtr<CFileSystem> fileSystem = Share(std::unique_ptr<CFileSystem>(std::make_unique<COSFileSystem>()));
    AddFileSystem("OSFileSystem", fileSystem);
}

CResourceManager::~CResourceManager() {
    m_isClosing = true;
    // The subclass is gone, so from here on no resource may ask for its manager, neither those that outlive it nor
    // those that are destroyed below.
    while (CResource* const resource = m_firstOfAll) {
        _Detach(resource);
        resource->m_manager = nullptr;
        resource->m_fileSystem = nullptr;
    }
    DestroyAllResources();
    RemoveAllFileSystem();
    QK_LOG(LOG_INFO, "CResourceManager Destroy");
}

ResourceSharePtr CResourceManager::CreateResource(string const& path, string const& name, bool isManual,
                                                  CSharePtr<CResourceLoader>& loader) {
    if (m_isClosing) return nullptr;
    if (!loader.IsNull() && !loader->IsSupportResourceType(GetResourceTypeName())) {
        QK_LOG(LOG_WARNING, "Create resource with a wrong loader -> %s %s", name.c_str(), path.c_str());
        return nullptr;
    }

    string located = path;
    if (!located.empty() && !LocateResource(located)) {
        located = path;
        if (!isManual) {
            QK_LOG(LOG_WARNING, "Create auto load resource with a unexist file -> %s, %s", name.c_str(), path.c_str());
            return nullptr;
        }
    }

    string const key = !name.empty() ? name : !located.empty() ? located : _GenerateName();
    if (m_resources.contains(key)) {
        QK_LOG(LOG_WARNING, "Create resource failed, the resource is valid : %s", key.c_str());
        return nullptr;
    }

    std::unique_ptr<CResource> made(_CreateResourceImpl(located, key, isManual, loader));
    if (!made) return nullptr;
    ResourceSharePtr resource(made.get());
    made.release();
    // Tested again: making the resource may have made others, and a subclass may give it a name of its own.
    if (!m_resources.emplace(resource->GetName(), resource).second) {
        QK_LOG(LOG_WARNING, "Create resource failed, the resource is valid : %s", resource->GetName().c_str());
        return nullptr;
    }
    return resource;
}

ResourceSharePtr CResourceManager::CreateResource() {
    return CreateResource(string(), _GenerateName(), false, CSharePtr<CResourceLoader>::GetNullSharePtr());
}

ResourceSharePtr CResourceManager::GetResource(string const& name) {
    if (auto const found = m_resources.find(name); found != m_resources.end()) return found->second;
    string located = name;
    if (LocateResource(located))
        if (auto const found = m_resources.find(located); found != m_resources.end()) return found->second;
    return ResourceSharePtr::GetNullSharePtr();
}

bool CResourceManager::IsResourceExist(string const& name) const { return m_resources.contains(name); }

CFileSystem const* CResourceManager::LocateResource(string& path) const {
    if (auto const trimmed = qklib::TrimBlanks(path); trimmed.size() != path.size()) path = string(trimmed);
    if (path.empty()) return nullptr;
    for (auto const& [name, fileSystem] : m_fileSystems)
        if (fileSystem->MakeResourceAbsolutePath(path)) return fileSystem;
    return nullptr;
}

bool CResourceManager::DestroyResource(string const& name) {
    auto const found = m_resources.find(name);
    if (found == m_resources.end() || found->second.GetRef() > 1) return false;
    m_resources.extract(found); // out of the table before it is destroyed
    return true;
}

void CResourceManager::DestroyUnusedResources() {
    for (string const& name : _GetResourceNames()) {
        auto const found = m_resources.find(name);
        if (found != m_resources.end() && found->second.GetRef() < 2) _DropAfter(found->second, &CResource::UnPrepare);
    }
}

void CResourceManager::DestroyAllResources() {
    // Out of the table first: each handle that goes may destroy resources that hold others of the same table, and what
    // is held outside tells this manager that its count fell, which must find no entry.
    ResourceMap dropped;
    dropped.swap(m_resources);
    while (!dropped.empty()) dropped.erase(dropped.begin());
}

void CResourceManager::UnloadAllResources() {
    for (string const& name : _GetResourceNames())
        if (auto const found = m_resources.find(name); found != m_resources.end()) found->second->Unload();
}

void CResourceManager::AddFileSystem(string const& name, CSharePtr<CFileSystem>& fileSystem) {
    if (fileSystem.IsNull()) return RemoveFileSystem(name);
    CSharePtr<CFileSystem>& slot = m_fileSystems[name];
    if (slot == fileSystem) return;
    CSharePtr<CFileSystem> const previous = slot;
    slot = fileSystem;
    _ForgetFileSystem(previous.GetPointer());
}

CSharePtr<CFileSystem>& CResourceManager::GetFileSystem(string const& name) {
    auto const found = m_fileSystems.find(name);
    return found == m_fileSystems.end() ? CSharePtr<CFileSystem>::GetNullSharePtr() : found->second;
}

void CResourceManager::RemoveFileSystem(string const& name) {
    auto const removed = m_fileSystems.extract(name);
    if (removed) _ForgetFileSystem(removed.mapped().GetPointer());
}

void CResourceManager::RemoveAllFileSystem() {
    while (!m_fileSystems.empty()) RemoveFileSystem(string(m_fileSystems.begin()->first));
}

void CResourceManager::_NotifyResourceRelease(ResourceSharePtr const& resource, int refCount) {
    if (refCount > 1) return;
    if (refCount == 1) return _DropResource(resource, resource && !resource->IsManual());
    if (resource)
        QK_LOG(LOG_ERROR, "Auto Destroy Resource [Something Wrong] -> %s, %d", resource->GetName().c_str(), refCount);
    _DestroyMiscounted(resource);
}

void CResourceManager::_DropResource(ResourceSharePtr const& resource, bool unload) {
    _DropAfter(resource, unload ? &CResource::Unload : nullptr);
}

void CResourceManager::_EraseEntry(ResourceSharePtr const& resource) {
    if (auto const found = _FindEntry(resource); found != m_resources.end()) m_resources.extract(found);
}

void CResourceManager::RemoveResourceAndEnumNext(ResourceIterator& it) {
    string const key = it->first;
    m_resources.extract(it); // what its destruction drops may erase the entries around it too
    it = m_resources.upper_bound(key);
}

string CResourceManager::_GenerateName() const {
    string name;
    do name = CGenName::GenNameByTime_ansi("res", "");
    while (m_resources.contains(name)); // the generator repeats itself after 65536 names in one second
    return name;
}

void CResourceManager::_DropAfter(ResourceSharePtr const& resource, bool (CResource::*lastStep)()) {
    if (_FindEntry(resource) == m_resources.end()) return;
    CResource* const pointer = resource.m_pointer;
    CResourceHold const held(pointer);
    try {
        if (lastStep) (pointer->*lastStep)();
    } catch (...) {
        // As a step that says false: the resource goes all the same. The destructor of a handle waits above us, which
        // must not throw.
    }
    if (!held.HasHolders()) _EraseEntry(held.GetHandle());
}

void CResourceManager::_DestroyMiscounted(ResourceSharePtr const& resource) {
    auto const entry = _FindEntry(resource);
    CResource* const pointer = std::exchange(resource.m_pointer, nullptr);
    unsigned int* const ref = std::exchange(resource.m_ref, nullptr);
    if (entry != m_resources.end()) {
        // The table's handle shares the wrong count and must not follow it.
        entry->second.m_pointer = nullptr;
        entry->second.m_ref = nullptr;
        m_resources.erase(entry);
    }
    if (pointer) pointer->m_handleCount = nullptr;
    delete ref;
    delete pointer;
}

std::vector<string> CResourceManager::_GetResourceNames() const {
    std::vector<string> names;
    names.reserve(m_resources.size());
    for (auto const& entry : m_resources) names.push_back(entry.first);
    return names;
}

CResourceManager::ResourceIterator CResourceManager::_FindEntry(ResourceSharePtr const& resource) {
    if (!resource) return m_resources.end();
    auto const found = m_resources.find(resource->GetName());
    return found != m_resources.end() && found->second == resource ? found : m_resources.end();
}

void CResourceManager::_ForgetFileSystem(CFileSystem const* fileSystem) {
    for (CResource* resource = m_firstOfAll; resource; resource = resource->m_nextOfManager)
        if (resource->m_fileSystem == fileSystem) resource->m_fileSystem = nullptr;
}

void CResourceManager::_Attach(CResource* resource) {
    resource->m_nextOfManager = m_firstOfAll;
    if (m_firstOfAll) m_firstOfAll->m_previousOfManager = resource;
    m_firstOfAll = resource;
}

void CResourceManager::_Detach(CResource* resource) {
    CResource* const previous = resource->m_previousOfManager;
    CResource* const next = resource->m_nextOfManager;
    (previous ? previous->m_nextOfManager : m_firstOfAll) = next;
    if (next) next->m_previousOfManager = previous;
    resource->m_previousOfManager = nullptr;
    resource->m_nextOfManager = nullptr;
}
} // namespace qk3d
