// ModelPlugin.cpp: the plug-in "QK3DModels": registers the loader "ModelLoader". It takes no settings.
#include "ModelLoader.h"
#include "PluginEntry.h"
#include <iterator>
#include <memory>

namespace {
void CreateModelLoader(qk3d::CResourceLoader** out) {
    if (!out) return;
    *out = nullptr;
    *out = std::make_unique<qk3d::CModelLoader>().release();
}
} // namespace

int InitPlugin(unsigned char const*, int) { return 1; }

void ReleasePlugin() {}

int GetObjectInfos(qk3d::PluginObjectInfo const** infos) {
    static qk3d::PluginObjectInfo const list[] = {
        {"ModelLoader", 4, reinterpret_cast<void*>(&CreateModelLoader)},
    };
    if (infos) *infos = list;
    return static_cast<int>(std::size(list));
}

qk3d::PluginInfo const* GetPluginInfo() { return nullptr; }
