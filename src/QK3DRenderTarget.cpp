// QK3DRenderTarget.cpp: what every render target does: its viewports, its listeners, and one update.
#include "QK3DRenderTarget.h"

#include "QK3DKeepActiveInternal.h"
#include "QK3DOverlayItem.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderWindow.h"
#include "QK3DTexture.h"
#include "QK3DViewport.h"
#include <memory>
#include <optional>

namespace qk3d {

CRenderTarget::CRenderTarget(CRenderSystem* renderSystem, string const& name, unsigned int width, unsigned int height,
                             EPixelFormat format)
    : m_renderSystem(renderSystem),
      m_name(name),
      m_width(width),
      m_height(height),
      m_bitsPerPixel(static_cast<unsigned int>(GetPixelFormatBits(format))),
      m_pixelFormat(format) {}

CRenderTarget::~CRenderTarget() {
    RemoveAllUpdateListener();
    RemoveAllOverlayItem();
    m_isUpdating = false; // nothing is put off any more
    for (auto const& [z, viewport] : m_viewports) _DeleteViewport(viewport);
    for (CViewport* const viewport : m_removedViewports) _DeleteViewport(viewport);
    if (m_renderSystem) m_renderSystem->_ForgetTarget(this);
}

bool CRenderTarget::SetFromParameter(Json::Value const&) { return true; }
bool CRenderTarget::FormatToParameter(Json::Value&) const { return true; }
void CRenderTarget::_UpdateImpl(long long) {}

bool CRenderTarget::Create() { return m_isCreated = _CreateImpl(); }

bool CRenderTarget::Reset(unsigned int width, unsigned int height, EPixelFormat format) {
    bool const isReset = m_isCreated && _ResetImpl(width, height, format);
    if (isReset || !m_isCreated) {
        m_width = width;
        m_height = height;
        m_pixelFormat = format;
    }
    for (auto const& [z, viewport] : m_viewports) viewport->UpdateRange();
    return m_isCreated ? isReset : Create();
}

template <class... Range>
CViewport* CRenderTarget::_InsertViewport(CCamera* camera, short z, Range... range) {
    if (m_viewports.contains(z)) {
        if (z != 0) return nullptr;
        do {
            if (m_nextAutoZOrder == std::numeric_limits<short>::max()) return nullptr;
            z = ++m_nextAutoZOrder;
        } while (m_viewports.contains(z));
    }
    auto viewport = std::make_unique<CViewport>(camera, this, range..., z);
    CViewport*& slot = m_viewports[z];
    return slot = viewport.release();
}

CViewport* CRenderTarget::AddViewport(CCamera* camera, short z, unsigned int left, unsigned int top, unsigned int width,
                                      unsigned int height) {
    return _InsertViewport(camera, z, left, top, width, height);
}

CViewport* CRenderTarget::AddViewport(CCamera* camera, short z, float left, float top, float width, float height) {
    return _InsertViewport(camera, z, left, top, width, height);
}

CViewport* CRenderTarget::GetViewport(short z) const {
    auto const found = m_viewports.find(z);
    return found != m_viewports.end() ? found->second : nullptr;
}

void CRenderTarget::RemoveViewport(short z) {
    auto const found = m_viewports.find(z);
    if (found == m_viewports.end()) return;
    CViewport* const viewport = found->second;
    if (m_isUpdating) m_removedViewports.push_back(viewport); // before the step that can't be undone
    m_viewports.erase(found);
    if (!m_isUpdating) _DeleteViewport(viewport);
}

void CRenderTarget::RemoveAllViewport() {
    while (!m_viewports.empty()) CRenderTarget::RemoveViewport(m_viewports.begin()->first);
}

void CRenderTarget::_DeleteViewport(CViewport* viewport) {
    if (m_renderSystem) m_renderSystem->_ForgetViewport(viewport);
    delete viewport;
}

// An item knows its targets, so that it can leave them when it dies first.
void CRenderTarget::AddOverlayItem(COverlayItem* item) {
    if (!item || !m_overlayItems.insert(item).second) return;
    try {
        item->_NotifyRenderTargetAdd(this);
    } catch (...) { // of memory there is none: both know each other, or neither
        m_overlayItems.erase(item);
        throw;
    }
}

void CRenderTarget::RemoveOverlayItem(COverlayItem* item) {
    if (m_overlayItems.erase(item)) item->_NotifyRenderTargetRemove(this);
}

void CRenderTarget::RemoveAllOverlayItem() {
    while (!m_overlayItems.empty()) RemoveOverlayItem(*m_overlayItems.begin());
}

void CRenderTarget::AddUpdateListener(CUpdateListener* listener) { m_updateListeners.Add(listener); }
void CRenderTarget::RemoveUpdateListener(CUpdateListener* listener) { m_updateListeners.Remove(listener); }
void CRenderTarget::RemoveAllUpdateListener() { m_updateListeners.RemoveAll(); }

bool CRenderTarget::IsNeedToUpdate(long long time) const {
    if (m_viewports.empty() && !m_isClearPerUpdate && m_updateCount != 0) return false; // nothing would change
    if (!m_isAutoUpdate) return true;
    return time != m_lastUpdateTime || time == kForceUpdateTime;
}

void CRenderTarget::Update(long long time) {
    if (m_isUpdating || !m_renderSystem || !IsNeedToUpdate(time)) return;

    std::optional<CKeepActive> before; // a target on auto update leaves the active records as they fall
    if (!m_isAutoUpdate) before.emplace(*m_renderSystem);
    if (!m_renderSystem->SetActiveRenderTarget(0, this)) return;

    CRenderSystem* const renderSystem = m_renderSystem;
    m_isUpdating = true;
    try {
        _DrawContents(time, before ? &*before : nullptr);
    } catch (...) { // of a listener or an object of the host
        _EndUpdate();
        throw;
    }
    _EndUpdate();
    renderSystem->_DeleteRemovedTargets(); // this one may be among them
}

void CRenderTarget::_EndUpdate() {
    m_isUpdating = false;
    while (!m_removedViewports.empty()) {
        CViewport* const viewport = m_removedViewports.back();
        m_removedViewports.pop_back();
        _DeleteViewport(viewport);
    }
}

void CRenderTarget::_DrawContents(long long time, CKeepActive* before) {
    if (IsClear()) {
        m_renderSystem->SetActiveViewport(nullptr); // the clear covers the whole target
        m_renderSystem->ClearRenderTarget();
    }
    m_updateListeners.Notify([&](CUpdateListener* listener) { listener->OnRenderTargetPerUpdate(this, time); });

    // Both walks go by key, so that anything may be added or removed meanwhile.
    for (auto at = m_viewports.begin(); at != m_viewports.end();) {
        short const z = at->first;
        if (at->second->IsVisible()) at->second->Update(time);
        at = m_viewports.upper_bound(z);
    }
    for (auto at = m_overlayItems.begin(); at != m_overlayItems.end();) {
        COverlayItem* const item = *at;
        item->Render(m_renderSystem, time);
        at = m_overlayItems.upper_bound(item);
    }

    if (before) before->Restore();
    if (time != kForceUpdateTime) m_lastUpdateTime = time;
    ++m_updateCount;
    m_updateListeners.Notify([&](CUpdateListener* listener) { listener->OnRenderTargetPostUpdate(this, time); });
}

bool CRenderTarget::CopyToTexture(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions) {
    if (!texture || texture->GetRenderSystem() != m_renderSystem) return false;
    return _CopyToTextureImpl(texture, boxes, count, positions);
}

bool CRenderTarget::CopyToRenderTarget(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                       Vector2* positions) {
    if (!target || target->GetRenderSystem() != m_renderSystem) return false;
    return _CopyToRenderTargetImpl(target, boxes, count, positions);
}

void CRenderTarget::SetAutoUpdate(bool autoUpdate) {
    if (autoUpdate == m_isAutoUpdate) return;
    if (!autoUpdate) ResetUpdateFlag();
    m_isAutoUpdate = autoUpdate;
}

CRenderWindow::CRenderWindow(CRenderSystem* renderSystem, string const& name, unsigned int width, unsigned int height,
                             EPixelFormat format, bool fullScreen)
    : CRenderTarget(renderSystem, name, width, height, format), m_isFullScreen(fullScreen) {
    m_targetType = RTT_WINDOW;
}

CRenderWindow::~CRenderWindow() = default;

bool CRenderWindow::ResetToFullScreen(unsigned int width, unsigned int height, EPixelFormat format) {
    if (m_isFullScreen) return true;
    m_isFullScreen = true; // the back-end's reset looks at it
    return m_isFullScreen = Reset(width, height, format);
}
} // namespace qk3d
