// QK3DPlugin.cpp: loads a plug-in's library, starts it and lets it go.
#include "QK3DPlugin.h"

#include "PlatformLibrary.h"
#include <cstddef>
#include <utility>

namespace qk3d {
namespace {
namespace platform = qklib::platform;

// The layout is part of the interface of plug-ins.
static_assert(sizeof(void*) != 8 || (sizeof(PluginObjectInfo) == 24 && offsetof(PluginObjectInfo, type) == 8 &&
                                     offsetof(PluginObjectInfo, creator) == 16 && sizeof(PluginInfo) == 32));

// Fetches an entry point into a pointer of its own type.
template <class Function>
void Fetch(HINSTANCE library, char const* name, Function& function) {
    function = reinterpret_cast<Function>(platform::FindFunction(library, name));
}
} // namespace

CPlugin::CPlugin(char const* fileName, unsigned char const* data, int size) {
    if (fileName) OpenPlugin(fileName, data, size);
}

CPlugin::~CPlugin() { Close(); }

int CPlugin::OpenPlugin(char const* fileName, unsigned char const* data, int size) {
    Close();
    if (!fileName) return 0;
    m_module = platform::OpenLibrary(fileName);
    if (!m_module) return 0;

    Fetch(m_module, "InitPlugin", m_initPlugin);
    Fetch(m_module, "ReleasePlugin", m_releasePlugin);
    Fetch(m_module, "GetObjectInfos", m_getObjectInfos);
    Fetch(m_module, "GetPluginInfo", m_getPluginInfo);
    bool const isComplete = m_initPlugin && m_releasePlugin && m_getObjectInfos && m_getPluginInfo;
    m_isInitialised = isComplete && _Start(data, size);
    if (!m_isInitialised) Close();
    return m_isInitialised ? 1 : 0;
}

void CPlugin::Close() {
    if (!m_module) return;
    // All is taken out first, so that a plug-in that looks at us while it goes finds an empty one.
    HINSTANCE const module = std::exchange(m_module, nullptr);
    auto const release = std::exchange(m_releasePlugin, nullptr);
    m_initPlugin = nullptr;
    m_getObjectInfos = nullptr;
    m_getPluginInfo = nullptr;
    m_isInitialised = false;
    m_objectNum = 0;
    m_objectInfos = nullptr;

    try {
        if (release) release();
    } catch (...) { // it goes all the same; what it threw is gone before its code is
    }
    platform::CloseLibrary(module);
}

bool CPlugin::IsLoaded() const { return m_module != nullptr; }

CPlugin::operator HINSTANCE() { return m_module; }

void (*CPlugin::GetProcAddress(char const* name) const)() { return platform::FindFunction(m_module, name); }

PluginInfo const* CPlugin::GetPluginInfo() const { return m_pluginInfo; }

int CPlugin::GetPluginObjectNum() {
    _AskForObjects();
    return m_objectNum;
}

PluginObjectInfo const* CPlugin::GetPluginObjectInfos() {
    _AskForObjects();
    return m_objectInfos;
}

bool CPlugin::_Start(unsigned char const* data, int size) try { return m_initPlugin(data, size) == 1; } catch (...) {
    return false;
}

// A list without a length, or a length without a list, is none.
void CPlugin::_AskForObjects() {
    m_objectNum = 0;
    m_objectInfos = nullptr;
    if (!m_isInitialised || !m_getObjectInfos) return;
    PluginObjectInfo const* infos = nullptr;
    int count = 0;
    try {
        count = m_getObjectInfos(&infos);
    } catch (...) { return; }
    if (!infos || count <= 0) return;
    m_objectNum = count;
    m_objectInfos = infos;
}
} // namespace qk3d
