// QK3DResource.cpp: the states of a resource.
#include "QK3DResource.h"

#include "QK3DFileSystem.h"
#include "QK3DGenName.h"
#include "QK3DResourceHoldInternal.h"
#include "QK3DResourceManager.h"
#include <cstdlib>
#include <cstring>
#include <new>

namespace qk3d {
namespace {
// One run of hooks. When it ends, by an exception too, the resource is in the state of a failure, unless Succeed named
// another one.
class HookRun {
public:
    HookRun(CResource* resource, bool& isInHook, ELoadingState& state, ELoadingState onFailure)
        : m_hold(resource), m_isInHook(isInHook), m_state(state), m_outcome(onFailure) {
        m_isInHook = true;
    }
    HookRun(HookRun const&) = delete;
    HookRun& operator=(HookRun const&) = delete;
    ~HookRun() {
        m_isInHook = false;
        m_state = m_outcome;
    }

    bool Succeed(ELoadingState state) {
        m_outcome = state;
        return true;
    }

private:
    CResourceHold m_hold; // first to come, last to go
    bool& m_isInHook;
    ELoadingState& m_state;
    ELoadingState m_outcome;
};
} // namespace

CResourceLoader::~CResourceLoader() = default;
bool CResourceLoader::PrepareResource(CResource*) { return false; }
bool CResourceLoader::LoadResource(CResource*) { return false; }

CResource::CResource(CResourceManager* manager, string const& path, string const& name, bool isManual,
                     CSharePtr<CResourceLoader>& loader)
    : m_manager(manager), m_name(name), m_path(path), m_loader(loader), m_isManual(isManual) {
    if (!m_loader.IsNull() && !m_loader->IsSupportResourceType(GetTypeName())) m_loader.Release();
    if (m_manager) m_manager->_Attach(this); // last: nothing throws any more
}

CResource::CResource(CResourceManager* manager, void* data, std::size_t size, string const& name, bool isManual,
                     CSharePtr<CResourceLoader>& loader)
    : CResource(manager, string(), name, isManual, loader) {
    _TakeData(data, size);
}

CResource::CResource(CResource const& other)
    : ISerial(other),
      m_manager(other.m_manager),
      m_name(other.m_name),
      m_path(other.m_path),
      m_fileSystem(other.m_fileSystem),
      m_loader(other.m_loader),
      m_loadingState(other.m_loadingState),
      m_isManual(other.m_isManual) {
    if (m_loadingState == LOADSTATE_LOADING || m_loadingState == LOADSTATE_UNLOADING)
        m_loadingState = LOADSTATE_PREPARED;
    _TakeData(other.m_data, other.m_dataSize);
    if (m_manager) m_manager->_Attach(this);
}

CResource& CResource::operator=(CResource const&) { return *this; }

CResource::~CResource() {
    if (m_manager) m_manager->_Detach(this);
    std::free(m_data);
}

bool CResource::Prepare() {
    if (m_loadingState != LOADSTATE_UNPREPARED) return true;
    if (m_isInHook) return false;

    HookRun run(this, m_isInHook, m_loadingState, LOADSTATE_UNPREPARED);
    CSharePtr<CResourceLoader> loader = m_loader; // held: it may be replaced from inside its own call
    if (m_isManual && !loader.IsNull() && loader->PrepareResource(this)) return run.Succeed(LOADSTATE_PREPARED);
    return _PrepareImpl() && run.Succeed(LOADSTATE_PREPARED);
}

bool CResource::UnPrepare() {
    if (m_loadingState == LOADSTATE_UNPREPARED) return true;
    if (m_isInHook) return false;
    CResourceHold const hold(this);
    if (m_loadingState == LOADSTATE_LOADED && !Unload()) return false;

    HookRun run(this, m_isInHook, m_loadingState, LOADSTATE_PREPARED);
    return _UnPrepareImpl() && run.Succeed(LOADSTATE_UNPREPARED);
}

bool CResource::Load(bool) {
    if (m_loadingState == LOADSTATE_LOADED) return true;
    CResourceHold const hold(this);
    if (m_isInHook || !Prepare()) return false;
    if (m_isManual) {
        m_loadingState = LOADSTATE_LOADED;
        return true;
    }

    HookRun run(this, m_isInHook, m_loadingState, LOADSTATE_PREPARED);
    m_loadingState = LOADSTATE_LOADING;
    if (!m_loader.IsNull() && m_loader->LoadResource(this)) return run.Succeed(LOADSTATE_LOADED);
    return _LoadImpl() && run.Succeed(LOADSTATE_LOADED);
}

bool CResource::Unload() {
    if (m_loadingState == LOADSTATE_UNPREPARED) return true;
    if (m_isInHook) return false;

    HookRun run(this, m_isInHook, m_loadingState, LOADSTATE_LOADED);
    m_loadingState = LOADSTATE_UNLOADING;
    return _UnloadImpl() && run.Succeed(LOADSTATE_PREPARED);
}

bool CResource::MakeSurePrepared() {
    CResourceHold const hold(this);
    if (m_loadingState == LOADSTATE_UNPREPARED) Prepare();
    return m_loadingState == LOADSTATE_PREPARED || m_loadingState == LOADSTATE_LOADING ||
           m_loadingState == LOADSTATE_LOADED;
}

bool CResource::WaitForPrepared() { return MakeSurePrepared(); }
bool CResource::WaitForLoaded() { return MakeSureLoaded(); }

bool CResource::SetIsManual(bool value) {
    if (m_loadingState != LOADSTATE_UNPREPARED) return false;
    m_isManual = value;
    return true;
}

bool CResource::SetLoader(CSharePtr<CResourceLoader>& loader) {
    if (m_loadingState != LOADSTATE_UNPREPARED) return false;
    CResourceHold const hold(this);
    CSharePtr<CResourceLoader> next = loader; // held: the call may change what the caller has
    if (!next.IsNull() && !next->IsSupportResourceType(GetTypeName())) return false;
    m_loader = next;
    return true;
}

bool CResource::SetPath(string const& path) {
    if (m_loadingState != LOADSTATE_UNPREPARED) return false;
    if (!m_manager) return true;
    if (path.empty()) {
        m_path = path;
        return true;
    }
    string located = path;
    m_fileSystem = m_manager->LocateResource(located);
    if (m_fileSystem)
        m_path = located;
    else if (m_isManual)
        m_path = path;
    return true;
}

ResourceSharePtr CResource::Copy(string const& name) {
    if (!m_manager) return nullptr;
    ResourceSharePtr copy = m_manager->CreateResource(m_path, name.empty() ? m_manager->_GenerateName() : name, false,
                                                      CSharePtr<CResourceLoader>::GetNullSharePtr());
    if (!copy) return copy;
    _CopyImpl(copy);
    copy->m_isManual = true;
    return copy;
}

string CResource::GetTypeName() const { return m_manager ? m_manager->GetResourceTypeName() : string(); }

CResource::EScriptResult CResource::_ReadScriptFile() {
    _Locate();
    string text;
    if (!m_fileSystem || !m_fileSystem->ReadFileAsString(m_path, text) || text.empty()) return SCRIPT_NOT_FOUND;
    return SetFromScript(text) ? SCRIPT_READ : SCRIPT_REFUSED;
}

void CResource::_Locate() {
    string located = m_path;
    m_fileSystem = m_manager ? m_manager->LocateResource(located) : nullptr;
    if (m_fileSystem) m_path = located;
}

void CResource::_TakeData(void const* data, unsigned long long size) {
    if (!data || size == 0) return;
    m_data = static_cast<unsigned char*>(std::malloc(size));
    if (!m_data) throw std::bad_alloc();
    std::memcpy(m_data, data, size);
    m_dataSize = size;
}
} // namespace qk3d
