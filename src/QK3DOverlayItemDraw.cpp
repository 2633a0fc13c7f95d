// QK3DOverlayItemDraw.cpp: quad, texture and material of overlay items, and their drawing.
#include "QK3DGenName.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DLogInternal.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMatrix.h"
#include "QK3DOverlayItem.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DRenderSystem.h"
#include "QK3DResourceSystem.h"
#include "QK3DSamplerState.h"
#include "QK3DShareInternal.h"
#include "QK3DTexture.h"
#include "QK3DTextureState.h"
#include "QK3DVertexBufferBinding.h"
#include "QK3DVertexData.h"
#include "QK3DVertexDeclaration.h"
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <utility>

namespace qk3d {
namespace {
constexpr float kEpsilon = 1.1920929e-7f;
constexpr unsigned int kCornerNum = 4;

bool IsClose(float a, float b) { return std::fabs(a - b) <= kEpsilon; }

int Texel(float value) {
    if (std::isnan(value)) return 0;
    return static_cast<int>(
        std::clamp<double>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

struct StateValue {
    int state;
    unsigned long value;
};

// What a block that nobody named holds. Everything that lies under an item shows through where it is transparent.
constexpr StateValue kRenderStates[] = {
    {CRenderState::ALPHABLENDENABLE, 1},
    {CRenderState::SRCBLEND, 5 /* SRCALPHA */},
    {CRenderState::DESTBLEND, 6 /* INVSRCALPHA */},
    {CRenderState::ALPHATESTENABLE, 1},
    {CRenderState::ALPHAREF, 0},
    {CRenderState::ALPHAFUNC, 5 /* GREATER */},
    {CRenderState::LIGHTING, 0},
    {CRenderState::CULLMODE, 1 /* NONE */},
    {CRenderState::ZENABLE, 0},
    {CRenderState::ZWRITEENABLE, 0},
};
constexpr StateValue kTextureStates[] = {
    {CTextureState::COLORARG1, 3 /* TFACTOR */}, {CTextureState::COLORARG2, 2 /* TEXTURE */},
    {CTextureState::COLOROP, 4 /* MODULATE */},  {CTextureState::ALPHAARG1, 3 /* TFACTOR */},
    {CTextureState::ALPHAARG2, 2 /* TEXTURE */}, {CTextureState::ALPHAOP, 4 /* MODULATE */},
};
constexpr StateValue kSamplerStates[] = {
    {CSamplerState::MINFILTER, 0 /* NONE */},
    {CSamplerState::MAGFILTER, 0 /* NONE */},
    {CSamplerState::ADDRESSU, 3 /* CLAMP */},
    {CSamplerState::ADDRESSV, 3 /* CLAMP */},
};

template <class State>
void SetState(State& block, StateValue const& value) {
    block.SetState(static_cast<typename State::EState>(value.state), value.value);
}
void SetState(CTextureState& block, StateValue const& value) { // here a value can be a matrix, so it is a pointer
    block.SetState(static_cast<CTextureState::EState>(value.state),
                   reinterpret_cast<void*>(static_cast<std::uintptr_t>(value.value)));
}

template <class State, std::size_t N>
void SetStates(State& block, StateValue const (&states)[N]) {
    for (StateValue const& value : states) SetState(block, value);
}

// A resource that others may have made already; read from the file of that name otherwise.
ResourceSharePtr FindOrRead(CResourceSystem& resources, char const* type, string const& name) {
    ResourceSharePtr resource = resources.GetResource(type, name);
    if (resource) return resource;
    qklib::CSharePtr<CResourceLoader> noLoader;
    return resources.CreateResource(type, name, "", false, noLoader);
}

// The block that a script named; without a name the one that all items share, which is made with the given states.
template <class State, std::size_t N>
_ResourceSharePtr<State> FindBlock(CResourceSystem& resources, char const* type, string const& name,
                                   char const* sharedName, StateValue const (&states)[N]) {
    _ResourceSharePtr<State> block;
    if (!name.empty())
        block = FindOrRead(resources, type, name);
    else
        block = resources.GetResource(type, sharedName);
    if (!block && name.empty()) {
        block = resources.CreateResourceManual(type, sharedName);
        if (block) SetStates(*block, states);
    }
    if (block) block->Load();
    return block;
}
} // namespace

CVertexElement const* COverlayItem::m_posElm = nullptr;
CVertexElement const* COverlayItem::m_uvElm = nullptr;

void COverlayItem::_CreateVertexDeclaration() {
    if (!m_vertexDec.IsNull()) return;
    auto declaration = std::make_unique<CVertexDeclaration>();
    m_posElm = declaration->AddElement(0, VET_FLOAT4, VES_POSITION);
    m_uvElm = declaration->AddElement(0, VET_FLOAT2, VES_TEXCOORD);
    m_vertexDec = Share(std::move(declaration));
}

void COverlayItem::_ReleaseVertexDeclaration() {
    if (m_vertexDec.GetRef() != 1) return; // quads of other managers hold it
    m_posElm = m_uvElm = nullptr;
    m_vertexDec.Release();
}

void COverlayItem::_SetTextureRange(int first, float a, float b, ERangeForm form) {
    m_textureRange[first] = a;
    m_textureRange[first + 1] = b;
    m_textureRangeForms[first] = m_textureRangeForms[first + 1] = form;
    m_isTextureRangeDirty = true;
}

void COverlayItem::SetTexturePosition(float x, float y) {
    if (!IsClose(m_textureRange[0], x) || !IsClose(m_textureRange[1], y)) _SetTextureRange(0, x, y, RANGE_PERCENT);
}

void COverlayItem::SetTexturePositionAsPixel(int x, int y) {
    if (m_textureRange[0] == static_cast<float>(x) && m_textureRange[1] == static_cast<float>(y)) return;
    _SetTextureRange(0, static_cast<float>(x), static_cast<float>(y), RANGE_PIXEL);
}

void COverlayItem::SetTextureSize(float width, float height) {
    if (!IsClose(m_textureRange[2], width) || !IsClose(m_textureRange[3], height))
        _SetTextureRange(2, width, height, RANGE_PERCENT);
}

void COverlayItem::SetTextureSizeAsPixel(int width, int height) {
    if (m_textureRange[2] == static_cast<float>(width) && m_textureRange[3] == static_cast<float>(height)) return;
    _SetTextureRange(2, static_cast<float>(width), static_cast<float>(height), RANGE_PIXEL);
}

void COverlayItem::SetTexture(string const& name) {
    if (name == m_textureName) return;
    m_textureName = name;
    m_isTextureChanged = true;
    m_isTextureRangeDirty = true;
}

void COverlayItem::SetTexture(_ResourceSharePtr<CTexture> texture) {
    m_texture = texture;
    m_textureName = m_texture ? m_texture->GetPath() : string();
    m_isTextureChanged = false; // a name that was to be looked up counts no more
    m_isTextureRangeDirty = true;
    if (!_HasTexture()) _DeleteQuad();
    _ShowTexture();
}

// Puts the texture that is held into the pass, and makes the pass for the first one.
void COverlayItem::_ShowTexture() {
    if (!m_material && m_texture) {
        try {
            _CreateMaterial();
        } catch (...) { // half a material would pass for a whole one
            m_pass = nullptr;
            m_material = nullptr;
            throw;
        }
    }
    if (m_pass) m_pass->SetTexture(0, m_texture);
}

void COverlayItem::_SetTextureFactor() {
    if (m_pass && m_pass->GetRenderState()) m_pass->GetRenderState()->SetState(CRenderState::TEXTUREFACTOR, m_color);
}

void COverlayItem::SetColor(color value) {
    if (value == m_color) return;
    m_color = value;
    _SetTextureFactor();
}

void COverlayItem::SetAlpha(unsigned int alpha) {
    if (alpha == GetAlpha()) return;
    m_color = color((static_cast<unsigned int>(m_color) & 0x00FFFFFFu) | alpha << 24);
    _SetTextureFactor();
}

void COverlayItem::SetRenderSystem(CRenderSystem* renderSystem) {
    if (renderSystem == m_renderSystem) return;
    m_renderSystem = renderSystem;
    m_isRenderSystemChanged = true;
}

void COverlayItem::_NotifyRenderSystemDestroy(CRenderSystem* renderSystem) {
    if (m_renderSystem == renderSystem) {
        _DeleteQuad();
        m_renderSystem = nullptr;
        m_isRenderSystemChanged = false;
    }
    m_subItems.ForEach([renderSystem](COverlayItem* item) { item->_NotifyRenderSystemDestroy(renderSystem); });
}

void COverlayItem::Render(CRenderSystem* renderSystem, long long time) {
    if (!m_isVisible || m_isRendering) return;
    CLifeWatch const watch(m_life);
    CFlagScope const scope(m_isRendering, watch);
    auto const tellBefore = [=, this](auto* listener) { listener->OnOverlayItemPerRender(this, renderSystem); };
    if (!m_renderListeners.Notify(tellBefore)) return;

    SetRenderSystem(renderSystem);
    _RefreshDeviceState();
    if (m_vertexData && renderSystem) {
        if (m_pass) m_pass->PrepareForRender(renderSystem, time);
        if (watch.IsDead()) return;                       // a render texture was drawn, whose listeners may do anything
        if (m_isTextureRangeDirty) _UpdateTextureRange(); // the texture may have been loaded just now
        if (m_vertexData) _WriteQuadIfNeeded();
        if (m_vertexData && m_isQuadWritten) {
            renderSystem->SetPass(m_pass);
            renderSystem->Render(m_renderOperation);
        }
    }

    _RenderSubItems(time);
    if (watch.IsDead()) return;
    auto const tellAfter = [=, this](auto* listener) { listener->OnOverlayItemPostRender(this, renderSystem); };
    m_renderListeners.Notify(tellAfter);
}

void COverlayItem::_RenderSubItems(long long time) {
    CRenderSystem* const renderSystem = m_renderSystem;
    if (m_subItems.GetSize() < 2) {
        m_subItems.ForEach([=](COverlayItem* item) { item->Render(renderSystem, time); });
        return;
    }
    m_sortArray.clear();
    m_subItems.ForEach([this](COverlayItem* item) {
        if (item->m_isVisible) m_sortArray.push_back(item);
    });
    std::sort(m_sortArray.begin(), m_sortArray.end(), [](COverlayItem const* a, COverlayItem const* b) {
        return a->m_zOrder != b->m_zOrder ? a->m_zOrder < b->m_zOrder : std::less<>()(a, b);
    });
    CLifeWatch const watch(m_life);
    for (std::size_t i = 0; !watch.IsDead() && i < m_sortArray.size(); ++i)
        if (m_sortArray[i]) m_sortArray[i]->Render(renderSystem, time); // null: destroyed meanwhile
}

// All that waits to be done before a quad can be written and drawn. Costs a few compares when nothing is due.
void COverlayItem::_RefreshDeviceState() {
    bool const isTextureDue = m_isTextureChanged;
    CLifeWatch const watch(m_life);
    try {
        if (m_isRenderSystemChanged || (!m_vertexData && m_renderSystem && _HasTexture())) _SetRenderSystem();
        if (m_isTextureChanged) _UpdateTexture();
        if (m_isTextureRangeDirty) _UpdateTextureRange();
    } catch (...) { // no memory, or a loader that throws: all of it is still due
        if (!watch.IsDead()) {
            m_isRenderSystemChanged = true;
            m_isTextureChanged = m_isTextureChanged || isTextureDue;
        }
        throw;
    }
}

void COverlayItem::_DeleteQuad() {
    delete std::exchange(m_vertexData, nullptr);
    m_renderOperation = CRenderOperation();
    m_isQuadWritten = false;
}

void COverlayItem::_SetRenderSystem() {
    m_isRenderSystemChanged = false;
    if (!_HasTexture()) return _DeleteQuad();
    if (m_texture && m_renderSystem && m_texture->GetRenderSystem() != m_renderSystem) {
        m_texture->Unload();
        m_texture->SetRenderSystem(m_renderSystem);
        m_texture->Load();
    }
    _DeleteQuad();
    if (!m_renderSystem) return;

    _CreateVertexDeclaration();
    CHardwareBufferManager* const buffers = m_renderSystem->GetHardwareBufferManager();
    qklib::CSharePtr<CHardwareVertexBuffer> buffer;
    if (buffers) {
        buffer = buffers->CreateVertexBuffer(m_vertexDec->GetSourceUnitSizeInByte(0), kCornerNum,
                                             CHardwareBuffer::HBU_DYNAMIC_WRITEONLY_DISCARDABLE, false, false);
    }
    if (!buffer.IsNull()) buffer->Create();
    if (buffer.IsNull() || !buffer->IsCreated()) {
        m_isRenderSystemChanged = true; // tried again the next time
        return;
    }
    qklib::CSharePtr<CVertexBufferBinding> binding = Share(std::make_unique<CVertexBufferBinding>());
    binding->SetSource(0, buffer);
    m_vertexData = new CVertexData(m_vertexDec, binding);
    m_vertexData->SetVertexNum(kCornerNum);
    m_renderOperation = {ST_TRIANGLESTRIP, m_vertexData, false, nullptr, nullptr};
    ++m_vertexChanges;
}

void COverlayItem::_UpdateTexture() {
    m_isTextureChanged = false;
    bool const isFound = m_textureName == "Blank" ? _FindBlankTexture() : !m_textureName.empty() && _FindNamedTexture();
    if (isFound) {
        m_texture->SetFilter(FILTER_NONE);
        m_texture->SetMipFilter(FILTER_NONE);
        m_texture->Load();
    } else {
        // Whoever has no texture draws nothing, and does not try again until it gets another name.
        m_texture = nullptr;
        m_textureName.clear();
        _DeleteQuad();
    }
    _ShowTexture();
    m_isTextureRangeDirty = true;
}

// The item's own texture, in the size of its box.
bool COverlayItem::_FindBlankTexture() {
    _UpdateAbsoluteBox();
    auto const width = static_cast<unsigned int>(std::max(m_absoluteBox.width, 0));
    auto const height = static_cast<unsigned int>(std::max(m_absoluteBox.height, 0));
    if (m_texture) {
        // The table of the manager, this item and its pass hold it. Whoever else does still wants what is in it.
        bool const isInPass =
            m_pass && m_pass->EnumTextureBegin() != m_pass->EnumTextureEnd() && m_pass->GetTexture(0) == m_texture;
        if (m_texture.GetRef() > (isInPass ? 3u : 2u))
            m_texture = nullptr;
        else if (m_texture->GetWidth() != width || m_texture->GetHeight() != height || !m_texture->GetPath().empty()) {
            m_texture->UnPrepare();
            m_texture->SetPath("");
        }
    }
    if (!m_texture) {
        qklib::CSharePtr<CResourceLoader> noLoader;
        m_texture = CQK3DMain::GetResourceSystem().CreateResource("CTexture", "", "", false, noLoader);
    }
    if (!m_texture) return false;
    if (m_renderSystem && m_texture->GetRenderSystem() != m_renderSystem) {
        m_texture->Unload();
        m_texture->SetRenderSystem(m_renderSystem);
    }
    m_texture->SetWidth(width);
    m_texture->SetHeight(height);
    m_texture->SetPixelFormat(PF_A8R8G8B8);
    m_texture->SetUsage(CTexture::TU_WRITEONLY);
    return true;
}

bool COverlayItem::_FindNamedTexture() {
    m_texture = FindOrRead(CQK3DMain::GetResourceSystem(), "CTexture", m_textureName);
    if (!m_texture) return false;
    if (m_renderSystem && m_texture->GetRenderSystem() != m_renderSystem) {
        m_texture->Unload();
        m_texture->SetRenderSystem(m_renderSystem);
    }
    m_texture->SetPixelFormat(PF_A8R8G8B8);
    m_texture->SetUsage(CTexture::TU_STATIC);
    return true;
}

void COverlayItem::_UpdateTextureRange() const {
    if (!m_isTextureRangeDirty || !m_texture || m_texture->GetLoadingState() != LOADSTATE_LOADED) return;
    for (int i = 0; i < 4; ++i) {
        bool const isHorizontal = i % 2 == 0;
        float const value = m_textureRange[i];
        if (m_textureRangeForms[i] == RANGE_PIXEL)
            m_uvRange[i] = isHorizontal ? m_texture->ConvertToU(Texel(value)) : m_texture->ConvertToV(Texel(value));
        else
            m_uvRange[i] = isHorizontal ? m_texture->ConvertToU(value) : m_texture->ConvertToV(value);
    }
    ++m_vertexChanges;
    m_isTextureRangeDirty = false;
}

// False if the quad is out of date and cannot be written now.
bool COverlayItem::_WriteQuadIfNeeded() {
    if (m_vertexChanges == 0 || !m_vertexData || !m_posElm || !m_uvElm) return true;
    if (!_WriteQuad()) return false;
    m_vertexChanges = 0;
    m_isQuadWritten = true;
    return true;
}

bool COverlayItem::_WriteQuad() {
    auto& binding = m_vertexData->GetVertexBufferBinding();
    if (binding.IsNull() || binding->GetSourceNum() == 0) return false;
    qklib::CSharePtr<CHardwareVertexBuffer> const& buffer = binding->GetSource(0);
    CHardwareVertexBuffer* const device = buffer.GetPointer();
    if (!device || device->IsLocked() || (!device->IsCreated() && !device->Create())) return false;
    auto const stride = device->GetUnitSizeInBytes();
    if (stride < m_vertexDec->GetSourceUnitSizeInByte(0)) return false;
    auto* vertex = static_cast<std::byte*>(device->Lock(0, 0, CHardwareBuffer::LM_DISCARD));
    if (!vertex) {
        device->Unlock(); // a refused lock has to be given back too
        return false;
    }

    auto const left = static_cast<float>(m_absoluteBox.x);
    auto const top = static_cast<float>(m_absoluteBox.y);
    // In a wider type: a script can ask for boxes whose far side no int holds.
    auto const right = static_cast<float>(static_cast<long long>(m_absoluteBox.x) + m_absoluteBox.width);
    auto const bottom = static_cast<float>(static_cast<long long>(m_absoluteBox.y) + m_absoluteBox.height);
    float const uRight = m_uvRange[0] + m_uvRange[2];
    float const vBottom = m_uvRange[1] + m_uvRange[3];
    struct Corner {
        float x, y, u, v;
    } const corners[kCornerNum] = {{left, bottom, m_uvRange[0], vBottom},
                                   {left, top, m_uvRange[0], m_uvRange[1]},
                                   {right, bottom, uRight, vBottom},
                                   {right, top, uRight, m_uvRange[1]}};

    Matrix33 rotation = Matrix33::IDENTITY;
    if (m_isRotated) rotation = MatBuild2DRotation(Vector2(left, top) + m_rotationCentre, m_rotationAngle);
    for (auto const& [x, y, u, v] : corners) {
        float const position[4] = {m_isRotated ? x * rotation[0] + y * rotation[3] + rotation[6] : x,
                                   m_isRotated ? x * rotation[1] + y * rotation[4] + rotation[7] : y, 0, 1};
        float const uv[2] = {u, v};
        std::memcpy(vertex + m_posElm->GetOffset(), position, sizeof position);
        std::memcpy(vertex + m_uvElm->GetOffset(), uv, sizeof uv);
        vertex += stride;
    }
    device->Unlock();
    return true;
}

void COverlayItem::_CreateMaterial() {
    if (m_material) return;
    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    m_material = resources.CreateResourceManual("CMaterial", CGenName::GenNameByTime_ansi("mat", ""));
    if (!m_material) {
        QK_LOG(LOG_WARNING, "OverlayItem Create Material Failed");
        return;
    }
    CTechnique* const technique = m_material->CreateTechnique("T");
    if (!technique) QK_LOG(LOG_WARNING, "OverlayItem Create Technique Failed");
    m_pass = technique ? technique->CreatePass("P") : nullptr;
    if (technique && !m_pass) QK_LOG(LOG_WARNING, "OverlayItem Create Pass Failed");
    if (m_pass) {
        _ResourceSharePtr<CRenderState> renderState;
        if (!m_renderStateName.empty())
            renderState = FindOrRead(resources, "CRenderState", m_renderStateName);
        else
            renderState = resources.CreateResourceManual("CRenderState", CGenName::GenNameByTime_ansi("rs", ""));
        if (renderState && m_renderStateName.empty()) { // the item's own, since the colour is in it
            SetStates(*renderState, kRenderStates);
            renderState->SetState(CRenderState::TEXTUREFACTOR, m_color);
        }
        if (renderState) {
            renderState->Load();
            m_pass->SetRenderState(renderState);
        }
        if (auto const block = FindBlock<CTextureState>(resources, "CTextureState", m_textureStateName,
                                                        "_OverlayTextureState", kTextureStates))
            m_pass->SetTextureState(0, block);
        if (auto const block = FindBlock<CSamplerState>(resources, "CSamplerState", m_samplerStateName,
                                                        "_OverlaySamplerState", kSamplerStates))
            m_pass->SetSamplerState(0, block);
    }
    m_material->Load();
}
} // namespace qk3d
