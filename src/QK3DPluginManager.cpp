// QK3DPluginManager.cpp: the table of loaded plug-ins.
#include "QK3DPluginManager.h"

#include "PlatformFile.h"
#include "QK3DLogInternal.h"
#include "QK3DPlugin.h"
#include "QK3DText.h"
#include <memory>

namespace qk3d {
CPluginManager::CPluginManager() : m_dirPath(qklib::platform::GetExecutableFolder()) {}

CPluginManager::~CPluginManager() {
    _UnloadAllPlugin();
    QK_LOG(LOG_INFO, "CPluginManager Destroy");
}

void CPluginManager::SetDirPath(string const& dir) { m_dirPath = dir; }

CPlugin* CPluginManager::LoadPlugin(string const& name, unsigned char const* data, int size, bool reload) {
    string key;
    if (!_MakeKey(name, key)) return nullptr;
    if (auto const found = m_plugins.find(key); found != m_plugins.end() && !reload) return found->second;

    auto plugin = std::make_unique<CPlugin>(key.c_str(), data, size);
    if (!plugin->IsLoaded()) return nullptr;
    CPlugin*& slot = m_plugins[key];
    std::unique_ptr<CPlugin> const old(slot); // goes last, when the new one is in its place
    return slot = plugin.release();
}

CPlugin* CPluginManager::GetPlugin(string const& name) {
    string key;
    if (!_MakeKey(name, key)) return nullptr;
    auto const found = m_plugins.find(key);
    return found != m_plugins.end() ? found->second : nullptr;
}

bool CPluginManager::IsPluginLoad(string const& name) { return GetPlugin(name) != nullptr; }

void CPluginManager::UnloadPlugin(string const& name) {
    string key;
    if (!_MakeKey(name, key)) return;
    if (auto const entry = m_plugins.extract(key)) delete entry.mapped();
}

void CPluginManager::_UnloadAllPlugin() {
    while (!m_plugins.empty()) delete m_plugins.extract(m_plugins.begin()).mapped();
}

bool CPluginManager::_MakeKey(string const& name, string& key) const {
    key = name;
    ResolvePath(m_dirPath, key, false);
    return !name.empty();
}
} // namespace qk3d
