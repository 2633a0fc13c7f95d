// QK3DPass.cpp: what a pass holds, and getting it ready for a draw.
#include "QK3DPass.h"

#include "QK3DGPUProgram.h"
#include "QK3DRenderState.h"
#include "QK3DSamplerState.h"
#include "QK3DTexture.h"
#include "QK3DTextureState.h"
#include <stdexcept>
#include <utility>

namespace qk3d {
namespace {
template <class TList>
typename TList::value_type& SlotAt(TList& list, unsigned int stage, char const* message) {
    if (stage >= list.size()) throw std::runtime_error(message);
    return list[stage];
}

template <class TList>
typename TList::value_type const& SlotAt(TList const& list, unsigned int stage) {
    static typename TList::value_type const empty;
    return stage < list.size() ? list[stage] : empty;
}

template <class TList>
void SetSlot(TList& list, unsigned int stage, typename TList::value_type const& resource) {
    if (stage >= CPass::MAX_STAGE_NUM) return;
    typename TList::value_type const kept = resource; // it may lie in this very list
    if (stage >= list.size()) list.resize(stage + 1);
    list[stage] = kept;
}

// By index and with a handle of its own for each: what loads or draws may change the lists.
template <class TList, class TWork>
void VisitSlots(TList const& list, TWork&& work) {
    for (std::size_t i = 0; i < list.size(); ++i)
        if (typename TList::value_type resource = list[i]) work(resource);
}
} // namespace

CPass::ProgramSlot::ProgramSlot() = default;
CPass::ProgramSlot::ProgramSlot(ProgramSlot const& other)
    : program(other.program), table(other.table ? std::make_unique<CGPUProgramParamTable>(*other.table) : nullptr) {}

CPass::ProgramSlot& CPass::ProgramSlot::operator=(ProgramSlot const& other) {
    if (this == &other) return *this;
    ProgramSlot copy(other);
    program.Swap(copy.program);
    table.swap(copy.table);
    return *this;
}

CPass::ProgramSlot::~ProgramSlot() = default;

void CPass::ProgramSlot::Set(_ResourceSharePtr<CGPUProgram> const& newProgram) {
    if (program == newProgram) return;
    program = newProgram;
    if (!program)
        table.reset();
    else if (table)
        table->SetGPUProgram(program);
}

void CPass::ProgramSlot::Load() {
    if (!program) return;
    program->Load();
    if (program->GetParamNum() == 0) return;
    if (table)
        table->SetGPUProgram(program);
    else
        table = std::make_unique<CGPUProgramParamTable>(program);
}

void CPass::ProgramSlot::PrepareForRender(CRenderSystem* system) {
    if (!program || program->GetLoadingState() == LOADSTATE_LOADED) return;
    program->SetRenderSystem(system);
    program->Load();
}

CGPUProgramParamTable* CPass::ProgramSlot::NeedTable() const {
    if (!table && program && program->GetParamNum()) table = std::make_unique<CGPUProgramParamTable>(program);
    return table.get();
}

CPass::CPass(CTechnique* parent, string const& name, unsigned int index)
    : m_parent(parent), m_name(name), m_index(index) {}

CPass::CPass(CTechnique* parent, unsigned int index) : CPass(parent, std::to_string(index), index) {}

CPass::CPass(CPass const&) = default;

CPass& CPass::operator=(CPass const& other) {
    if (this == &other) return *this;
    CPass copy(other);
    m_name.swap(copy.m_name);
    m_isAlpha = copy.m_isAlpha;
    m_renderState.Swap(copy.m_renderState);
    m_textures.swap(copy.m_textures);
    m_textureStates.swap(copy.m_textureStates);
    m_samplerStates.swap(copy.m_samplerStates);
    m_vertexProgram = copy.m_vertexProgram;
    m_pixelProgram = copy.m_pixelProgram;
    m_commProgram = copy.m_commProgram;
    return *this;
}

CPass::~CPass() {
    m_vertexProgram.table.reset(); // tables first, in this order, then the references
    m_pixelProgram.table.reset();
    m_commProgram.table.reset();
}

void CPass::SetRenderState(_ResourceSharePtr<CRenderState> const& renderState) { m_renderState = renderState; }

_ResourceSharePtr<CTexture>& CPass::GetTexture(unsigned int stage) {
    return SlotAt(m_textures, stage, "CPass::GetTexture out of bound");
}
_ResourceSharePtr<CTexture> const& CPass::GetTexture(unsigned int stage) const { return SlotAt(m_textures, stage); }

_ResourceSharePtr<CTextureState>& CPass::GetTextureState(unsigned int stage) {
    return SlotAt(m_textureStates, stage, "CPass::GetTextureState out of bound");
}
_ResourceSharePtr<CTextureState> const& CPass::GetTextureState(unsigned int stage) const {
    return SlotAt(m_textureStates, stage);
}

_ResourceSharePtr<CSamplerState>& CPass::GetSamplerState(unsigned int stage) {
    return SlotAt(m_samplerStates, stage, "CPass::GetSamplerState out of bound");
}
_ResourceSharePtr<CSamplerState> const& CPass::GetSamplerState(unsigned int stage) const {
    return SlotAt(m_samplerStates, stage);
}

void CPass::SetTexture(unsigned int stage, _ResourceSharePtr<CTexture> const& texture) {
    SetSlot(m_textures, stage, texture);
}
void CPass::SetTextureState(unsigned int stage, _ResourceSharePtr<CTextureState> const& state) {
    SetSlot(m_textureStates, stage, state);
}
void CPass::SetSamplerState(unsigned int stage, _ResourceSharePtr<CSamplerState> const& state) {
    SetSlot(m_samplerStates, stage, state);
}

void CPass::SetVertexShader(_ResourceSharePtr<CGPUProgram> program) { m_vertexProgram.Set(program); }
void CPass::SetPixelShader(_ResourceSharePtr<CGPUProgram> program) { m_pixelProgram.Set(program); }
void CPass::SetCommShader(_ResourceSharePtr<CGPUProgram> program) { m_commProgram.Set(program); }

CGPUProgramParamTable* CPass::GetVertexShaderParamTable() { return m_vertexProgram.NeedTable(); }
CGPUProgramParamTable const* CPass::GetVertexShaderParamTable() const { return m_vertexProgram.NeedTable(); }
CGPUProgramParamTable* CPass::GetPixelShaderParamTable() { return m_pixelProgram.NeedTable(); }
CGPUProgramParamTable const* CPass::GetPixelShaderParamTable() const { return m_pixelProgram.NeedTable(); }
CGPUProgramParamTable* CPass::GetCommShaderParamTable() { return m_commProgram.NeedTable(); }
CGPUProgramParamTable const* CPass::GetCommShaderParamTable() const { return m_commProgram.NeedTable(); }

void CPass::Load() {
    auto const load = [](ResourceSharePtr& resource) { resource->Load(); };
    if (m_renderState) m_renderState->Load();
    VisitSlots(m_textures, load);
    VisitSlots(m_textureStates, load);
    VisitSlots(m_samplerStates, load);
    m_vertexProgram.Load();
    m_pixelProgram.Load();
    m_commProgram.Load();
}

void CPass::Unload() {}

void CPass::PrepareForRender(CRenderSystem* system, long long time) {
    bool isReady = true;
    for (CTexture const* const texture : std::as_const(m_textures))
        isReady = isReady && (!texture || texture->IsReadyForRender(system));
    if (!isReady)
        VisitSlots(m_textures,
                   [system, time](_ResourceSharePtr<CTexture>& texture) { texture->PrepareForRender(system, time); });
    if (m_vertexProgram.program) m_vertexProgram.PrepareForRender(system);
    if (m_pixelProgram.program) m_pixelProgram.PrepareForRender(system);
    if (m_commProgram.program) m_commProgram.PrepareForRender(system);
}

unsigned int CPass::GetStateNum() const {
    unsigned int count = m_renderState ? m_renderState->GetStateNum() : 0;
    for (auto const& state : m_textureStates)
        if (state) count += state->GetStateNum();
    return count;
}

bool CPass::FormatToParameter(Json::Value&) const { return true; }
} // namespace qk3d
