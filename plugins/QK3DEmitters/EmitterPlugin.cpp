// EmitterPlugin.cpp: the plug-in "QK3DEmitters": registers "ParticleEmitter" and "EmitterEmitter". It takes no settings.
#include "EmitterEmitter.h"
#include "ParticleEmitter.h"
#include "PluginEntry.h"
#include <iterator>

namespace {
// `Base` is what the caller gets a pointer to.
template <class Emitter, class Base>
void Create(char const* name, Base** out) {
    if (!out) return;
    *out = nullptr;
    *out = new Emitter(nullptr, name ? name : "");
}

template <class Emitter, class Base>
void* Creator() {
    void (*fun)(char const*, Base**) = &Create<Emitter, Base>;
    return reinterpret_cast<void*>(fun);
}
} // namespace

int InitPlugin(unsigned char const*, int) { return 1; }

void ReleasePlugin() {}

int GetObjectInfos(qk3d::PluginObjectInfo const** infos) {
    using namespace qk3d;
    // As emitters, and as movable objects, which scene managers make.
    static PluginObjectInfo const list[] = {
        {"ParticleEmitter", 7, Creator<CThrowingEmitter, CEmitter>()},
        {"EmitterEmitter", 7, Creator<CNestingEmitter, CEmitter>()},
        {"ParticleEmitter", 5, Creator<CThrowingEmitter, CMovableObject>()},
        {"EmitterEmitter", 5, Creator<CNestingEmitter, CMovableObject>()},
    };
    if (infos) *infos = list;
    return static_cast<int>(std::size(list));
}

qk3d::PluginInfo const* GetPluginInfo() { return nullptr; }
