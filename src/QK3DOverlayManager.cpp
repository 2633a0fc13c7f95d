// QK3DOverlayManager.cpp: the top-level items and the search for their scripts.
#include "QK3DOverlayManager.h"
#include "PlatformFile.h"
#include "QK3DGenName.h"
#include "QK3DLogInternal.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayScriptInternal.h"
#include "QK3DText.h"
#include "QKText.h"
#include <memory>

namespace qk3d {
COverlayManager::~COverlayManager() {
    DestroyAllOverlayItem();
    m_scriptDirs.clear();
    COverlayItem::_ReleaseVertexDeclaration();
    QK_LOG(LOG_INFO, "COverlayManager Destroy");
}

void COverlayManager::AddOverlayScriptDirPath(string const& dir) { m_scriptDirs.insert(dir); }

void COverlayManager::RemoveOverlayScriptDirPath(string const& dir) { m_scriptDirs.erase(dir); }

bool COverlayManager::CheckScriptFileExist(string& path) const {
    if (path.empty()) return false;
    auto const take = [&path](string const& found) {
        if (found.empty() || !qklib::platform::FileExists(found)) return false;
        path = qklib::ToLowerNarrow(found);
        return true;
    };
    if (path.find(':') != path.npos || path.front() == '/') return take(path);
    for (string const& dir : m_scriptDirs) {
        string candidate = path;
        if (ResolvePath(dir, candidate, false) && take(candidate)) return true;
    }
    return false;
}

COverlayItem* COverlayManager::CreateOverlayItem(string const& name, int x, int y, int width, int height, int zOrder) {
    if (!name.empty() && m_overlayItems.Find(name)) return nullptr;
    auto item =
        std::make_unique<COverlayItem>(this, nullptr, name.empty() ? CGenName::GenNameByTime_ansi("OI", "") : name, x,
                                       y, width, height, static_cast<short>(zOrder));
    return m_overlayItems.Insert(item->GetName(), item.get()) ? item.release() : nullptr;
}

COverlayItem* COverlayManager::CreateOverlayItem(string scriptFile, string const& name) {
    if (!name.empty() && m_overlayItems.Find(name)) return nullptr;
    auto item = std::make_unique<COverlayItem>(
        this, nullptr, name.empty() ? CGenName::GenNameByTime_ansi("OI", "") : name, 0, 0, 0, 0, short(0));
    if (!scriptFile.empty() && CheckScriptFileExist(scriptFile)) ReadOverlayScriptFile(*item, scriptFile, "The ");
    return m_overlayItems.Insert(item->GetName(), item.get()) ? item.release() : nullptr;
}

COverlayItem* COverlayManager::GetOverlayItem(string const& path) {
    auto const dot = path.find('.');
    COverlayItem* const head = m_overlayItems.Find(std::string_view(path).substr(0, dot));
    return head && dot != path.npos ? head->GetSubItem(path.substr(dot + 1)) : head;
}

void COverlayManager::DestroyOverlayItem(string const& name) {
    COverlayItem* const item = m_overlayItems.Find(name);
    if (!item) return;
    m_overlayItems.Erase(item->GetName(), item);
    item->m_manager = nullptr;
    delete item;
}

void COverlayManager::DestroyAllOverlayItem() {
    while (COverlayItem* const item = m_overlayItems.GetFirst()) DestroyOverlayItem(item->GetName());
}

void COverlayManager::Update() {
    m_overlayItems.ForEach([](COverlayItem* item) { item->Update(false, CBox()); });
}

void COverlayManager::_NotifyOverlayItemDestroy(COverlayItem* item) { m_overlayItems.Erase(item->GetName(), item); }

void COverlayManager::_NotifyRenderSystemDestroy(CRenderSystem* renderSystem) {
    m_overlayItems.ForEach([renderSystem](COverlayItem* item) { item->_NotifyRenderSystemDestroy(renderSystem); });
}
} // namespace qk3d
