// QK3DRenderState.cpp: the block of render states, and how a script fills it.
#include "QK3DRenderState.h"

#include "QK3DLogInternal.h"
#include "QK3DRenderSystem.h"
#include "QK3DStateBlockInternal.h"

namespace qk3d {
namespace {
constexpr std::array kStateNumbers = {
#define ROW(number, NAME, Setter, reader) number,
#include "QK3DRenderStateTable.inl"
};
static_assert(kStateNumbers.size() == CRenderState::LAST_STATE && IsEachNumberOnce(kStateNumbers),
              "a render state is missing or doubled");

// By number, with null at 0.
constexpr auto setStateFuns = [] {
    std::array<void (CRenderState::*)(Json::Value const&), CRenderState::LAST_STATE + 1> setters{};
#define ROW(number, NAME, Setter, reader) setters[number] = &CRenderState::Set##Setter;
#include "QK3DRenderStateTable.inl"
    return setters;
}();
} // namespace

constinit std::array<CRenderState::DeviceSetter, CRenderState::LAST_STATE + 1> const CRenderState::s_deviceSetters =
    [] {
        std::array<DeviceSetter, LAST_STATE + 1> setters{};
#define ROW(number, NAME, Setter, reader) setters[number] = &CRenderSystem::Set##Setter;
#include "QK3DRenderStateTable.inl"
        return setters;
    }();

constinit StateNameMap<CRenderState::LAST_STATE> gStringRenderStateStateMap{{{
#define ROW(number, NAME, Setter, reader) {#NAME, number},
#include "QK3DRenderStateTable.inl"
}}};

CRenderState::CRenderState(CResourceManager* manager, string const& path, string const& name, bool isManual,
                           CSharePtr<CResourceLoader>& loader)
    : CStateBlock(manager, path, name, isManual, loader) {}

CRenderState::~CRenderState() = default;

void CRenderState::SetState(EState state, unsigned long value) {
    m_entries.Set(state, static_cast<std::uint32_t>(value));
}

void CRenderState::SetRenderState(EState state, CRenderSystem* system) const {
    if (system && IsStateSet(state)) (system->*GetDeviceSetter(state))(GetState(state));
}

#define ROW(number, NAME, Setter, reader)                                                                              \
    void CRenderState::Set##Setter(Json::Value const& value) {                                                         \
        if (std::uint32_t read; Read##reader(value, read)) SetState(NAME, read);                                       \
    }
#include "QK3DRenderStateTable.inl"

bool CRenderState::SetFromParameter(Json::Value const& value) {
    return VisitStateMembers(value, gStringRenderStateStateMap, [this](int state, Json::Value const& member) {
        (this->*setStateFuns[static_cast<std::size_t>(state)])(member);
    });
}

void CRenderState::InitStringStateMap() { gStringRenderStateStateMap.Fill(); }
void CRenderState::ClearStringStateMap() { gStringRenderStateStateMap.Clear(); }
void CRenderState::InitSetStateFuns() {}

bool CRenderState::_LoadImpl() {
    if (m_path.empty()) return true;
    EScriptResult const result = _ReadScriptFile();
    if (result == SCRIPT_NOT_FOUND) QK_LOG(LOG_WARNING, "The RenderState File No Find : %s", m_path.c_str());
    if (result == SCRIPT_REFUSED) QK_LOG(LOG_WARNING, "The RenderState File Error : %s", m_path.c_str());
    return result == SCRIPT_READ;
}

bool CRenderState::_UnloadImpl() {
    _ClearAllState();
    return true;
}

void CRenderState::_ClearAllState() { m_entries.Clear(); }

CRenderState::EState CRenderState::_StringToState(string& name) {
    return static_cast<EState>(FoldStateName(name, gStringRenderStateStateMap));
}

CRenderStateManager::~CRenderStateManager() { QK_LOG(LOG_INFO, "CRenderStateManager Destroy"); }
string CRenderStateManager::GetResourceTypeName() const { return "CRenderState"; }

CResource* CRenderStateManager::_CreateResourceImpl(string const& path, string const& name, bool isManual,
                                                    CSharePtr<CResourceLoader>& loader) {
    return new CRenderState(this, path, name, isManual, loader);
}
} // namespace qk3d
