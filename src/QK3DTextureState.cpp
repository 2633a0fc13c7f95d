// QK3DTextureState.cpp: the block of texture stage states, and how a script fills it.
#include "QK3DTextureState.h"

#include "QK3DLogInternal.h"
#include "QK3DMatrix.h"
#include "QK3DRenderSystem.h"
#include "QK3DStateBlockInternal.h"
#include <new>

namespace qk3d {
namespace {
constexpr std::array kStateNumbers = {
#define ROW(number, NAME, Setter, reader) number,
#include "QK3DTextureStateTable.inl"
};
static_assert(kStateNumbers.size() == CTextureState::LAST_STATE && IsEachNumberOnce(kStateNumbers),
              "a texture stage state is missing or doubled");

// By number, with null at 0.
constexpr auto setStateFuns = [] {
    std::array<void (CTextureState::*)(Json::Value const&), CTextureState::LAST_STATE + 1> setters{};
#define ROW(number, NAME, Setter, reader) setters[number] = &CTextureState::Set##Setter;
#include "QK3DTextureStateTable.inl"
    return setters;
}();

// The one kind of value that is not 32 bits.
bool ReadMatrix(Json::Value const& value, Matrix44& out) {
    if (!value.isArray()) return false;
    Matrix44 matrix;
    for (unsigned int i = 0; i < 16; ++i)
        if (!qklib::ReadFloat(qklib::JsonElement(value, i), matrix.m[i])) return false;
    out = matrix;
    return true;
}

template <auto const&>
using ValueWord = std::uint32_t;
template <auto const&>
using ValueFlags = std::uint32_t;
using ValueFloat = std::uint32_t;
using ValueColour = std::uint32_t;
using ValueMatrix = Matrix44;

void Store(CTextureState& block, CTextureState::EState state, std::uint32_t value) {
    block.SetState(state, reinterpret_cast<void*>(std::uintptr_t(value)));
}
void Store(CTextureState& block, CTextureState::EState, Matrix44 const& value) { block.SetTransformMatrix(value); }
} // namespace

constinit std::array<CTextureState::DeviceSetter, CTextureState::LAST_STATE + 1> const CTextureState::s_deviceSetters =
    [] {
        std::array<DeviceSetter, LAST_STATE + 1> setters{};
#define ROW(number, NAME, Setter, reader) setters[number] = &CRenderSystem::Set##Setter;
#include "QK3DTextureStateTable.inl"
        return setters;
    }();

constinit StateNameMap<CTextureState::LAST_STATE> gStringTextureStateStateMap{{{
#define ROW(number, NAME, Setter, reader) {#NAME, number},
#include "QK3DTextureStateTable.inl"
}}};

CTextureState::CTextureState(CResourceManager* manager, string const& path, string const& name, bool isManual,
                             CSharePtr<CResourceLoader>& loader)
    : CStateBlock(manager, path, name, isManual, loader) {}

CTextureState::CTextureState(CTextureState const& other) : CStateBlock(other) { *this = other; }

CTextureState::~CTextureState() = default;

CTextureState& CTextureState::operator=(CTextureState const& other) {
    if (this == &other) return *this;
    std::unique_ptr<Matrix44> matrix;
    if (other.m_entries.Get(TRANSFORMMATRIX)) matrix = std::make_unique<Matrix44>(*other.m_transformMatrix);
    m_transformMatrix = std::move(matrix);
    m_entries = other.m_entries;
    if (m_transformMatrix) m_entries.Set(TRANSFORMMATRIX, reinterpret_cast<std::uintptr_t>(m_transformMatrix.get()));
    return *this;
}

void CTextureState::SetState(EState state, void* value) {
    if (state == TRANSFORMMATRIX) {
        if (!value)
            m_transformMatrix.reset();
        else if (value != m_transformMatrix.get())
            return SetTransformMatrix(*static_cast<Matrix44 const*>(value));
    }
    m_entries.Set(state, reinterpret_cast<std::uintptr_t>(value));
}

void CTextureState::SetTextureState(EState state, CRenderSystem* system, unsigned int stage) const {
    if (system && IsStateSet(state)) (system->*GetDeviceSetter(state))(stage, GetState(state));
}

void CTextureState::SetTransformMatrix(Matrix44 const& matrix) {
    if (!m_transformMatrix) m_transformMatrix = std::make_unique<Matrix44>();
    *m_transformMatrix = matrix;
    SetState(TRANSFORMMATRIX, m_transformMatrix.get());
}

#define ROW(number, NAME, Setter, reader)                                                                              \
    void CTextureState::Set##Setter(Json::Value const& value) {                                                        \
        if (Value##reader read; Read##reader(value, read)) Store(*this, NAME, read);                                   \
    }
#include "QK3DTextureStateTable.inl"

bool CTextureState::SetFromParameter(Json::Value const& value) {
    return VisitStateMembers(value, gStringTextureStateStateMap, [this](int state, Json::Value const& member) {
        (this->*setStateFuns[static_cast<std::size_t>(state)])(member);
    });
}

void CTextureState::InitStringStateMap() { gStringTextureStateStateMap.Fill(); }
void CTextureState::ClearStringStateMap() { gStringTextureStateStateMap.Clear(); }
void CTextureState::InitSetStateFuns() {}

bool CTextureState::_LoadImpl() {
    if (m_path.empty()) return true;
    EScriptResult const result = _ReadScriptFile();
    if (result == SCRIPT_NOT_FOUND) QK_LOG(LOG_WARNING, "The TextureState File No Find : %s", m_path.c_str());
    if (result == SCRIPT_REFUSED) QK_LOG(LOG_WARNING, "The TextureState File Error : %s", m_path.c_str());
    return result == SCRIPT_READ;
}

bool CTextureState::_UnloadImpl() {
    _ClearAllState();
    return true;
}

void CTextureState::_ClearAllState() {
    m_entries.Clear();
    m_transformMatrix.reset();
}

CTextureState::EState CTextureState::_StringToState(string& name) {
    return static_cast<EState>(FoldStateName(name, gStringTextureStateStateMap));
}

CTextureStateManager::~CTextureStateManager() { QK_LOG(LOG_INFO, "CTextureStateManager Destroy"); }
string CTextureStateManager::GetResourceTypeName() const { return "CTextureState"; }

CResource* CTextureStateManager::_CreateResourceImpl(string const& path, string const& name, bool isManual,
                                                     CSharePtr<CResourceLoader>& loader) {
    return new CTextureState(this, path, name, isManual, loader);
}
} // namespace qk3d
