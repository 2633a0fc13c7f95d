// QK3DRenderSystem.cpp: the targets of a device, what of them is active, and the frame.
#include "QK3DRenderSystem.h"

#include "QK3DCamera.h"
#include "QK3DGPUProgram.h"
#include "QK3DGenName.h"
#include "QK3DKeepActiveInternal.h"
#include "QK3DLogInternal.h"
#include "QK3DMatrix.h"
#include "QK3DRenderTexture.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceManager.h"
#include "QK3DTexture.h"
#include "QK3DVertexDeclaration.h"
#include "QK3DViewport.h"
#include <algorithm>
#include <utility>

namespace qk3d {

CKeepActive::CKeepActive(CRenderSystem& renderSystem)
    : m_renderSystem(renderSystem),
      m_outer(std::exchange(renderSystem.m_keepers, this)),
      m_target(renderSystem.GetActiveRenderTarget(0)),
      m_viewport(renderSystem.GetActiveViewport()) {}

CKeepActive::~CKeepActive() { m_renderSystem.m_keepers = m_outer; }

void CKeepActive::Restore() {
    m_renderSystem.SetActiveRenderTarget(0, m_target);
    m_renderSystem.SetActiveViewport(m_viewport);
}

CRenderSystem::CRenderSystem(string const& name) : m_name(name) {}

CRenderSystem::~CRenderSystem() {
    // Targets, blocks and programs that go now must not call the back-end, whose part of this object is gone.
    m_isDying = true;
    m_activeViewport = nullptr;
    m_activeRenderTarget = nullptr;
    m_activeRenderTargets.clear();
    DestroyAllRenderTarget();
    for (CRenderTarget* const target : m_removedTargets) delete target;
    _DropActiveState();
    _DropVertexDeclarations();
    QK_LOG(LOG_INFO, "CRenderSystem Destroy");
}

bool CRenderSystem::SetFromParameter(Json::Value const&) { return true; }
bool CRenderSystem::FormatToParameter(Json::Value&) const { return true; }
bool CRenderSystem::Restore() { return true; }
bool CRenderSystem::StretchToRenderTexture(CTexture* const, CBox const*, CTexture*, CBox const*,
                                           CSamplerState::ETextureFilterType) {
    return false;
}
bool CRenderSystem::UnusualCall(string const&, Json::Value*, Json::Value*) { return false; }

CRenderWindow* CRenderSystem::CreateRenderWindow(string const& name, unsigned int width, unsigned int height,
                                                 EPixelFormat format, bool fullScreen) {
    string windowName = name;
    // Generated names repeat after 65536 of them in a second, or when a host made one of its own.
    while (windowName.empty() || (name.empty() && m_renderTargets.contains(windowName)))
        windowName = CGenName::GenNameByTime_ansi("rwin", "");
    if (m_renderTargets.contains(windowName)) return nullptr;
    return static_cast<CRenderWindow*>(
        _InsertTarget(_CreateRenderWindowImpl(windowName, width, height, format, fullScreen)));
}

CRenderTexture* CRenderSystem::CreateRenderTexture(CTexture* texture) {
    if (!texture || texture->GetRenderSystem() != this) return nullptr;
    if (CRenderTarget* const found = GetRenderTarget(texture->GetName())) {
        if (found->GetRenderTargetType() != RTT_TEXTURE) return nullptr;
        auto* const target = static_cast<CRenderTexture*>(found);
        return target->GetTexture() == texture ? target : nullptr;
    }

    CResourceManager* const manager = texture->GetResourceManager();
    if (!manager) return nullptr;
    _ResourceSharePtr<CTexture> handle = manager->GetResource(texture->GetName());
    if (!(handle == texture)) return nullptr; // it has left the table, and another one may bear its name
    auto* const target = static_cast<CRenderTexture*>(_InsertTarget(_CreateRenderTextureImpl(handle)));
    if (target) target->Create();
    return target;
}

// Takes a target of the back-end over. A name that is taken can only come from a back-end that changed it.
CRenderTarget* CRenderSystem::_InsertTarget(CRenderTarget* target) {
    if (!target) return nullptr;
    std::unique_ptr<CRenderTarget> owned(target);
    auto const [entry, isNew] = m_renderTargets.try_emplace(target->GetName(), target);
    if (isNew || entry->second == target) return owned.release();
    return nullptr;
}

CRenderTarget* CRenderSystem::GetRenderTarget(string const& name) {
    auto const found = m_renderTargets.find(name);
    return found != m_renderTargets.end() ? found->second : nullptr;
}

void CRenderSystem::DestroyRenderTarget(string const& name) {
    auto const found = m_renderTargets.find(name);
    if (found != m_renderTargets.end()) _RemoveTarget(found);
}

void CRenderSystem::DestroyAllRenderTarget() {
    while (!m_renderTargets.empty()) _RemoveTarget(m_renderTargets.begin());
}

void CRenderSystem::_RemoveTarget(TargetIterator entry) {
    CRenderTarget* const target = entry->second;
    if (target->IsUpdating() && !m_isDying) m_removedTargets.push_back(target); // before the step that can't be undone
    m_renderTargets.erase(entry);
    if (!target->IsUpdating() || m_isDying) _DeleteTarget(target);
}

void CRenderSystem::_DeleteTarget(CRenderTarget* target) {
    _ForgetTarget(target); // while it is whole: the back-end may look at what it unbinds
    delete target;
}

void CRenderSystem::_DeleteRemovedTargets() {
    for (std::size_t i = m_removedTargets.size(); i-- > 0;) {
        CRenderTarget* const target = m_removedTargets[i];
        if (target->IsUpdating()) continue;
        m_removedTargets.erase(m_removedTargets.begin() + static_cast<std::ptrdiff_t>(i));
        _DeleteTarget(target);
        i = std::min(i, m_removedTargets.size()); // what died may have taken others along
    }
}

void CRenderSystem::_ForgetTarget(CRenderTarget* target) {
    for (CKeepActive* keeper = m_keepers; keeper; keeper = keeper->m_outer)
        if (keeper->m_target == target) keeper->m_target = nullptr;
    if (m_activeViewport && m_activeViewport->GetRenderTarget() == target) _ForgetViewport(m_activeViewport);
    if (m_activeRenderTarget == target) {
        m_activeRenderTarget = nullptr;
        m_activeRenderTargets.try_emplace(0, target); // a refused bind moves the member alone; unbind it all the same
    }
    for (auto& [index, active] : m_activeRenderTargets) {
        if (active != target) continue;
        active = nullptr;
        if (!m_isDying) _SetRenderTargetImpl(index, nullptr);
    }
}

void CRenderSystem::_ForgetViewport(CViewport* viewport) {
    for (CKeepActive* keeper = m_keepers; keeper; keeper = keeper->m_outer)
        if (keeper->m_viewport == viewport) keeper->m_viewport = nullptr;
    if (m_activeViewport != viewport) return;
    m_activeViewport = nullptr;
    if (!m_isDying) _SetViewportImpl(nullptr);
}

bool CRenderSystem::UpdateAllRenderTarget(long long time) {
    if (m_isInFrame) return false;
    if (!IsDeviceReady() && !Restore()) return false;

    struct InFrame { // also when a listener throws
        explicit InFrame(CRenderSystem& system) : renderSystem(system) { renderSystem.m_isInFrame = true; }
        ~InFrame() { renderSystem.m_isInFrame = false; }
        CRenderSystem& renderSystem;
    } const inFrame(*this);

    BeginFrame();
    // By name, so that targets may come and go meanwhile. The text keeps its room from frame to frame.
    for (auto at = m_renderTargets.begin(); at != m_renderTargets.end();
         at = m_renderTargets.upper_bound(m_lastDrawn)) {
        m_lastDrawn = at->first;
        if (at->second->IsAutoUpdate()) at->second->Update(time);
    }
    EndFrame();
    PresentFrame();
    ResetActiveRenderStateToDefault();
    ResetActiveTextureStateToDefault();
    ResetActiveSamplerStateToDefault();
    return true;
}

void CRenderSystem::ResetUpdateFlag() {
    for (auto const& [name, target] : m_renderTargets)
        if (target->IsAutoUpdate()) target->ResetUpdateFlag();
}

bool CRenderSystem::SetActiveRenderTarget(unsigned int index, CRenderTarget* target) {
    if (GetActiveRenderTarget(index) == target) return true;
    if (target && target->GetRenderSystem() != this) return false;
    bool const isBound = _SetRenderTargetImpl(index, target);
    if (isBound) m_activeRenderTargets[index] = target;
    if (index == 0) m_activeRenderTarget = target;
    return isBound;
}

CRenderTarget* CRenderSystem::GetActiveRenderTarget(unsigned int index) const {
    if (index == 0) return m_activeRenderTarget;
    auto const found = m_activeRenderTargets.find(index);
    return found != m_activeRenderTargets.end() ? found->second : nullptr;
}

bool CRenderSystem::SetActiveViewport(CViewport* viewport) {
    if (viewport && viewport->GetRenderTarget() != m_activeRenderTarget) return false;
    if (!_SetViewportImpl(viewport)) return false;
    if (CCamera* const camera = viewport ? viewport->GetCamera() : nullptr) {
        SetViewMatrix(camera->GetViewMatrix());
        SetProjectionMatrix(camera->GetProjectionMatrix());
    }
    m_activeViewport = viewport;
    return true;
}

void CRenderSystem::SetWorldMatrices(Matrix44 const* matrices, unsigned int count) {
    if (!matrices) return;
    Matrix44 product = matrices[0];
    for (unsigned int i = 1; i < count; ++i) product = product * matrices[i];
    SetWorldMatrix(product);
}

void CRenderSystem::Release() {
    DestroyAllRenderTarget();
    _DropActiveState();
    m_activeRenderTarget = nullptr;
    m_activeRenderTargets.clear();
    m_activeViewport = nullptr;
    _DropVertexDeclarations();
    _ReleaseImpl();
}

// The device objects of declarations that outlive this system, as the one of all overlay items does.
void CRenderSystem::_DropVertexDeclarations() {
    while (!m_vertexDeclarations.empty()) {
        CVertexDeclaration* const declaration = *m_vertexDeclarations.begin();
        if (!m_isDying) _ReleaseVertexDeclaration(declaration);
        declaration->SetHardwareDeclaration(nullptr, 0);
    }
}

void CRenderSystem::_ForgetActiveState() {
    _DropActiveState();
    m_activeTextureLevel = m_activeTextureStateLevel = m_activeSamplerStateLevel = 0;
    m_activeRenderTarget = nullptr;
    m_activeRenderTargets.clear();
    m_activeViewport = nullptr;
}
} // namespace qk3d
