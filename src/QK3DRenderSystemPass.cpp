// QK3DRenderSystemPass.cpp: brings the device to what a pass asks for, and sends only what differs.
#include "QK3DRenderSystem.h"

#include "QK3DGPUProgram.h"
#include "QK3DMain.h"
#include "QK3DPass.h"
#include "QK3DRenderTarget.h"
#include "QK3DResourceSystem.h"
#include "QK3DTexture.h"
#include <algorithm>
#include <utility>

namespace qk3d {
namespace {
// Blocks keep values as plain numbers; the setters of texture stages take them as void*.
unsigned long ToDevice(std::uint32_t value) { return value; }
void* ToDevice(std::uintptr_t value) { return reinterpret_cast<void*>(value); }

// The baseline of a back-end. One that has none yet is answered with an empty block, and nothing is restored then.
template <class Block>
typename Block::Entries const& EntriesOf(Block const* block) {
    static constexpr typename Block::Entries kNothing;
    return block ? block->GetEntries() : kNothing;
}

// Sends to `system` what differs between two blocks, either of which may be null. `stage` is the stage, or nothing.
template <class Block, class... Stage>
void SendDifferences(CRenderSystem& system, Block const* next, Block const* active, Block const* base, Stage... stage) {
    auto const* const setters = Block::GetDeviceSetters().data();
    Block::Entries::VisitDifferences(
        next ? &next->GetEntries() : nullptr, active ? &active->GetEntries() : nullptr, EntriesOf(base),
        [&system, setters, stage...](int state, auto value) { (system.*setters[state])(stage..., ToDevice(value)); });
}

// Sends one state as `block` has it, or else as `base` has it, whatever the device believes.
template <class Block, class... Stage>
void SendState(CRenderSystem& system, int state, Block const* block, Block const* base, Stage... stage) {
    auto const& entries = block && block->GetEntries().IsSet(state) ? block->GetEntries() : EntriesOf(base);
    if (entries.IsSet(state)) (system.*Block::GetDeviceSetter(state))(stage..., ToDevice(entries.Get(state)));
}

template <class Block, class... Stage>
void SendAllStates(CRenderSystem& system, Block const* block, Block const* base, Stage... stage) {
    for (int state = 1; state <= Block::LAST_STATE; ++state) SendState(system, state, block, base, stage...);
}

// What is recorded for a stage; stages without a record are at the baseline.
template <class Block>
Block const* At(std::vector<_ResourceSharePtr<Block>> const& active, unsigned int stage) {
    return stage < active.size() ? static_cast<Block const*>(active[stage]) : nullptr;
}
} // namespace

// Asked once, since it is fixed for the life of the device.
unsigned int CRenderSystem::_StageNum() {
    if (m_stageNum == 0) m_stageNum = static_cast<unsigned int>(std::max(0, GetTextureStageNum()));
    return m_stageNum;
}

void CRenderSystem::SetRenderState(_ResourceSharePtr<CRenderState> const& state) {
    CRenderState const* const next = state;
    CRenderState const* const active = std::as_const(m_activeRenderState);
    if (next == active) return;
    SendDifferences(*this, next, active, GetDefaultRenderState());
    m_activeRenderState = state;
}

void CRenderSystem::SetTextureState(unsigned int stage, _ResourceSharePtr<CTextureState> const& state) {
    CTextureState const* const next = state;
    CTextureState const* const active = At(m_activeTextureStates, stage);
    if (next == active || stage >= _StageNum()) return;
    if (stage >= m_activeTextureStates.size()) m_activeTextureStates.resize(_StageNum()); // once in the device's life
    SendDifferences(*this, next, active, GetDefaultTextureState(stage), stage);
    m_activeTextureStates[stage] = state;
}

void CRenderSystem::SetSamplerState(unsigned int stage, _ResourceSharePtr<CSamplerState> const& state) {
    CSamplerState const* const next = state;
    CSamplerState const* const active = At(m_activeSamplerStates, stage);
    if (next == active || stage >= _StageNum()) return;
    if (stage >= m_activeSamplerStates.size()) m_activeSamplerStates.resize(_StageNum());
    SendDifferences(*this, next, active, GetDefaultSamplerState(stage), stage);
    m_activeSamplerStates[stage] = state;
}

void CRenderSystem::ResetActiveRenderStateToDefault() { SetRenderState(nullptr); }
void CRenderSystem::ResetActiveTextureStateToDefault(unsigned int stage) { SetTextureState(stage, nullptr); }
void CRenderSystem::ResetActiveSamplerStateToDefault(unsigned int stage) { SetSamplerState(stage, nullptr); }

void CRenderSystem::ResetActiveTextureStateToDefault() {
    for (unsigned int stage = 0; stage < m_activeTextureStates.size(); ++stage) SetTextureState(stage, nullptr);
}

void CRenderSystem::ResetActiveSamplerStateToDefault() {
    for (unsigned int stage = 0; stage < m_activeSamplerStates.size(); ++stage) SetSamplerState(stage, nullptr);
}

void CRenderSystem::ResetRenderStateToDefault(CRenderState::EState state) {
    SendState<CRenderState>(*this, state, nullptr, GetDefaultRenderState());
}

void CRenderSystem::ResetTextureStateToDefault(unsigned int stage, CTextureState::EState state) {
    if (stage < _StageNum()) SendState<CTextureState>(*this, state, nullptr, GetDefaultTextureState(stage), stage);
}

void CRenderSystem::ResetSamplerStateToDefault(unsigned int stage, CSamplerState::EState state) {
    if (stage < _StageNum()) SendState<CSamplerState>(*this, state, nullptr, GetDefaultSamplerState(stage), stage);
}

void CRenderSystem::ResetTextureStateToDefault(unsigned int first, unsigned int last, CTextureState::EState state) {
    unsigned int const stageNum = _StageNum();
    for (unsigned int stage = first; stage <= last && stage < stageNum; ++stage)
        ResetTextureStateToDefault(stage, state);
}

void CRenderSystem::ResetSamplerStateToDefault(unsigned int first, unsigned int last, CSamplerState::EState state) {
    unsigned int const stageNum = _StageNum();
    for (unsigned int stage = first; stage <= last && stage < stageNum; ++stage)
        ResetSamplerStateToDefault(stage, state);
}

void CRenderSystem::SetTexture(unsigned int stage, bool enable, string const& managerType, string const& resourceName) {
    if (stage >= _StageNum()) return;
    ResourceSharePtr const found = CQK3DMain::GetResourceSystem().GetResource(managerType, resourceName);
    SetTexture(stage, enable, dynamic_cast<CTexture const*>(static_cast<CResource const*>(found)));
}

void CRenderSystem::DisableTexture(unsigned int stage) {
    if (stage < _StageNum()) SetTexture(stage, false, nullptr);
}

void CRenderSystem::DisableTexturesFrom(unsigned int stage) { _UnbindTextures(stage, _StageNum()); }

void CRenderSystem::_UnbindTextures(unsigned int first, unsigned int end) {
    for (unsigned int stage = first; stage < end; ++stage) SetTexture(stage, false, nullptr);
}

void CRenderSystem::SetPass(CPass const* pass) {
    if (!pass) {
        _UnbindTextures(0, std::exchange(m_activeTextureLevel, 0));
        for (unsigned int stage = 0; stage < m_activeTextureStateLevel; ++stage) SetTextureState(stage, nullptr);
        m_activeTextureStateLevel = 0;
        for (unsigned int stage = 0; stage < m_activeSamplerStateLevel; ++stage) SetSamplerState(stage, nullptr);
        m_activeSamplerStateLevel = 0;
        SetRenderState(nullptr);
        SetVertexShader(nullptr);
        SetPixelShader(nullptr);
        SetCommShader(nullptr);
        return;
    }

    // Most passes of a frame have no more than textures and render states; what is none on both sides costs no call.
    _ApplyPassTextures(*pass);
    if (pass->EnumSamplerStateBegin() != pass->EnumSamplerStateEnd() || m_activeSamplerStateLevel != 0)
        _ApplyPassSamplerStates(*pass);
    SetRenderState(pass->GetRenderState());

    bool isVertexOn = false, isPixelOn = false;
    if (pass->PeekVertexShader() || m_activeVertexShader || m_boundVertexShader) {
        isVertexOn = SetVertexShader(pass->PeekVertexShader()) && pass->PeekVertexShader();
        if (isVertexOn) SetVertexShaderParamTable(pass->GetVertexShaderParamTable());
    }
    if (pass->PeekPixelShader() || m_activePixelShader || m_boundPixelShader) {
        isPixelOn = SetPixelShader(pass->PeekPixelShader()) && pass->PeekPixelShader();
        if (isPixelOn) SetPixelShaderParamTable(pass->GetPixelShaderParamTable());
    }

    // With both programs on nothing reads the stage blocks, so what is active of them stays.
    bool const hasTextureStates =
        pass->EnumTextureStateBegin() != pass->EnumTextureStateEnd() || m_activeTextureStateLevel != 0;
    if (hasTextureStates && (!isVertexOn || !isPixelOn)) _ApplyPassTextureStates(*pass);

    if (pass->PeekCommShader() || m_activeCommShader || m_boundCommShader)
        if (SetCommShader(pass->PeekCommShader()) && pass->PeekCommShader())
            SetCommShaderParamTable(pass->GetCommShaderParamTable());
}

void CRenderSystem::_ApplyPassTextures(CPass const& pass) {
    unsigned int const stageNum = _StageNum();
    unsigned int level = 0;
    for (auto texture = pass.EnumTextureBegin(); texture != pass.EnumTextureEnd() && level < stageNum; ++texture)
        SetTexture(level++, true, static_cast<CTexture const*>(*texture));
    _UnbindTextures(level, m_activeTextureLevel);
    m_activeTextureLevel = level;
}

void CRenderSystem::_ApplyPassSamplerStates(CPass const& pass) {
    unsigned int const level = std::min(pass.GetMaxSamplerStateLevel(), _StageNum());
    auto state = pass.EnumSamplerStateBegin();
    for (unsigned int stage = 0; stage < level; ++stage, ++state) SetSamplerState(stage, *state);
    for (unsigned int stage = level; stage < m_activeSamplerStateLevel; ++stage) SetSamplerState(stage, nullptr);
    m_activeSamplerStateLevel = level;
}

void CRenderSystem::_ApplyPassTextureStates(CPass const& pass) {
    unsigned int const level = std::min(pass.GetMaxTextureStateLevel(), _StageNum());
    auto state = pass.EnumTextureStateBegin();
    for (unsigned int stage = 0; stage < level; ++stage, ++state) SetTextureState(stage, *state);
    for (unsigned int stage = level; stage < m_activeTextureStateLevel; ++stage) SetTextureState(stage, nullptr);
    m_activeTextureStateLevel = level;
}

// The three kinds of programs go the same way; the rows below make their operations.
#define QK3D_PROGRAM_KINDS(ROW) ROW(Vertex) ROW(Pixel) ROW(Comm)

#define ROW(Kind)                                                                                                      \
    bool CRenderSystem::Set##Kind##Shader(_ResourceSharePtr<CGPUProgram> const& program) {                             \
        CGPUProgram const* const next = program;                                                                       \
        void* const shader = next ? next->GetGPUShader() : nullptr;                                                    \
        if (next == GetActive##Kind##Shader() && shader == m_bound##Kind##Shader) return true;                         \
        if (!_Set##Kind##ShaderImpl(shader)) return false;                                                             \
        m_bound##Kind##Shader = shader;                                                                                \
        m_active##Kind##Shader = program;                                                                              \
        return true;                                                                                                   \
    }                                                                                                                  \
    CGPUProgram const* CRenderSystem::GetActive##Kind##Shader() const { return m_active##Kind##Shader; }               \
    void CRenderSystem::Set##Kind##ShaderParamTable(CGPUProgramParamTable const* table) {                              \
        /* A const table still hands its program and values to a device that may write to them. */                     \
        auto* const program = table ? const_cast<CGPUProgram*>(table->GetGPUProgram()) : nullptr;                      \
        if (!program) return;                                                                                          \
        if (table->IsFirstSetDefault()) _ApplyDefaultParams(program);                                                  \
        for (auto value = table->EnumParamValuesBegin(); value != table->EnumParamValuesEnd(); ++value)                \
            _Set##Kind##ShaderParam(program->GetGPUShader(), value->first, value->second->buffer,                      \
                                    value->second->size);                                                              \
    }                                                                                                                  \
    void CRenderSystem::Release##Kind##Shader(CGPUProgram* program) {                                                  \
        if (!program || m_isDying) return;                                                                             \
        void* const shader = program->GetGPUShader();                                                                  \
        /* The record keeps the program itself: letting go of it could end its life in its own Unload. */              \
        if (shader && shader == m_bound##Kind##Shader && _Set##Kind##ShaderImpl(nullptr))                              \
            m_bound##Kind##Shader = nullptr;                                                                           \
        _Release##Kind##ShaderImpl(shader);                                                                            \
    }
QK3D_PROGRAM_KINDS(ROW)
#undef ROW

void CRenderSystem::AddGPUProgramParamDec(CGPUProgram* program, string const& name, void* handle,
                                          unsigned int registerIndex) {
    if (program) program->_AddParamDesc(name, handle, registerIndex);
}

void CRenderSystem::_DropActiveState() {
    // The records are empty before anything dies, since a block or a program that goes may look at this system.
    auto const renderState = std::exchange(m_activeRenderState, nullptr);
    auto const textureStates = std::exchange(m_activeTextureStates, {});
    auto const samplerStates = std::exchange(m_activeSamplerStates, {});
    auto const vertexShader = std::exchange(m_activeVertexShader, nullptr);
    auto const pixelShader = std::exchange(m_activePixelShader, nullptr);
    auto const commShader = std::exchange(m_activeCommShader, nullptr);
    m_boundVertexShader = m_boundPixelShader = m_boundCommShader = nullptr;
    m_stageNum = 0;
}

void CRenderSystem::_SendActiveState() {
    for (auto const& [index, target] : m_activeRenderTargets)
        if (index != 0) _SetRenderTargetImpl(index, target);
    _SetRenderTargetImpl(0, m_activeRenderTarget);
    SetActiveViewport(m_activeViewport);

    SendAllStates<CRenderState>(*this, std::as_const(m_activeRenderState), GetDefaultRenderState());
    for (unsigned int stage = 0; stage < _StageNum(); ++stage) {
        SendAllStates(*this, At(m_activeTextureStates, stage), GetDefaultTextureState(stage), stage);
        SendAllStates(*this, At(m_activeSamplerStates, stage), GetDefaultSamplerState(stage), stage);
    }
#define ROW(Kind)                                                                                                      \
    m_bound##Kind##Shader = GetActive##Kind##Shader() ? GetActive##Kind##Shader()->GetGPUShader() : nullptr;           \
    _Set##Kind##ShaderImpl(m_bound##Kind##Shader);
    QK3D_PROGRAM_KINDS(ROW)
#undef ROW
}
} // namespace qk3d
