// QK3DSamplerState.cpp: the block of sampler states, and how a script fills it.
#include "QK3DSamplerState.h"

#include "QK3DLogInternal.h"
#include "QK3DRenderSystem.h"
#include "QK3DStateBlockInternal.h"

namespace qk3d {
namespace {
constexpr std::array kStateNumbers = {
#define ROW(number, NAME, Setter, reader) number,
#include "QK3DSamplerStateTable.inl"
};
static_assert(kStateNumbers.size() == CSamplerState::LAST_STATE && IsEachNumberOnce(kStateNumbers),
              "a sampler state is missing or doubled");

// By number, with null at 0.
constexpr auto setStateFuns = [] {
    std::array<void (CSamplerState::*)(Json::Value const&), CSamplerState::LAST_STATE + 1> setters{};
#define ROW(number, NAME, Setter, reader) setters[number] = &CSamplerState::Set##Setter;
#include "QK3DSamplerStateTable.inl"
    return setters;
}();
} // namespace

constinit std::array<CSamplerState::DeviceSetter, CSamplerState::LAST_STATE + 1> const CSamplerState::s_deviceSetters =
    [] {
        std::array<DeviceSetter, LAST_STATE + 1> setters{};
#define ROW(number, NAME, Setter, reader) setters[number] = &CRenderSystem::Set##Setter;
#include "QK3DSamplerStateTable.inl"
        return setters;
    }();

constinit StateNameMap<CSamplerState::LAST_STATE> gStringSamplerStateStateMap{{{
#define ROW(number, NAME, Setter, reader) {#NAME, number},
#include "QK3DSamplerStateTable.inl"
}}};

CSamplerState::CSamplerState(CResourceManager* manager, string const& path, string const& name, bool isManual,
                             CSharePtr<CResourceLoader>& loader)
    : CStateBlock(manager, path, name, isManual, loader) {}

CSamplerState::~CSamplerState() = default;

void CSamplerState::SetState(EState state, unsigned long value) {
    m_entries.Set(state, static_cast<std::uint32_t>(value));
}

void CSamplerState::SetSamplerState(EState state, CRenderSystem* system, unsigned int stage) const {
    if (system && IsStateSet(state)) (system->*GetDeviceSetter(state))(stage, GetState(state));
}

#define ROW(number, NAME, Setter, reader)                                                                              \
    void CSamplerState::Set##Setter(Json::Value const& value) {                                                        \
        if (std::uint32_t read; Read##reader(value, read)) SetState(NAME, read);                                       \
    }
#include "QK3DSamplerStateTable.inl"

bool CSamplerState::SetFromParameter(Json::Value const& value) {
    return VisitStateMembers(value, gStringSamplerStateStateMap, [this](int state, Json::Value const& member) {
        (this->*setStateFuns[static_cast<std::size_t>(state)])(member);
    });
}

void CSamplerState::InitStringStateMap() { gStringSamplerStateStateMap.Fill(); }
void CSamplerState::ClearStringStateMap() { gStringSamplerStateStateMap.Clear(); }
void CSamplerState::InitSetStateFuns() {}

bool CSamplerState::_LoadImpl() {
    if (m_path.empty()) return true;
    EScriptResult const result = _ReadScriptFile();
    if (result == SCRIPT_NOT_FOUND) QK_LOG(LOG_WARNING, "The SamplerState File No Find : %s", m_path.c_str());
    if (result == SCRIPT_REFUSED) QK_LOG(LOG_WARNING, "The SamplerState File Error : %s", m_path.c_str());
    return result == SCRIPT_READ;
}

bool CSamplerState::_UnloadImpl() {
    _ClearAllState();
    return true;
}

void CSamplerState::_ClearAllState() { m_entries.Clear(); }

CSamplerState::EState CSamplerState::_StringToState(string& name) {
    return static_cast<EState>(FoldStateName(name, gStringSamplerStateStateMap));
}

CSamplerStateManager::~CSamplerStateManager() { QK_LOG(LOG_INFO, "CSamplerStateManager Destroy"); }
string CSamplerStateManager::GetResourceTypeName() const { return "CSamplerState"; }

CResource* CSamplerStateManager::_CreateResourceImpl(string const& path, string const& name, bool isManual,
                                                     CSharePtr<CResourceLoader>& loader) {
    return new CSamplerState(this, path, name, isManual, loader);
}
} // namespace qk3d
