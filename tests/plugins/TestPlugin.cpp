// TestPlugin.cpp: a plug-in that keeps a journal. KIND_... says what is wrong with this one.
#include "TestPlugin.h"
#include "QK3DPlugin.h"

#include <stdexcept>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {
#if defined(KIND_Newer)
constexpr int kVersion = 2;
#else
constexpr int kVersion = 1;
#endif

struct Instance {
    PluginJournal* journal = nullptr;
    int calls = 0;

    void Note(char const* word) const {
        if (journal) journal->words += word + std::to_string(kVersion) + ' ';
    }
    ~Instance() { Note("gone"); } // runs when the library leaves the process
} g_instance;
} // namespace

#if defined(KIND_Needy)
extern "C" int NeededNumber();
#define START NeededNumber() == 17
#elif defined(KIND_Unresolved)
extern "C" int NobodyHasThis();
#define START NobodyHasThis()
#elif defined(KIND_InitThrows)
#define START throw std::runtime_error("this plug-in does not start"), 1
#elif defined(KIND_InitTwo)
#define START 2
#else
#define START 1
#endif

#if !defined(KIND_NoInit)
EXPORT int InitPlugin(unsigned char const* data, int) {
    g_instance.journal = *reinterpret_cast<PluginJournal* const*>(data);
    g_instance.Note("init");
    return START;
}
#endif

#if !defined(KIND_NoRelease)
EXPORT void ReleasePlugin() {
    g_instance.Note("release");
    if (g_instance.journal && g_instance.journal->onRelease) g_instance.journal->onRelease();
#if defined(KIND_ReleaseThrows)
    throw 5;
#endif
}
#endif

#if !defined(KIND_NoObjects)
EXPORT int GetObjectInfos(qk3d::PluginObjectInfo const** infos) {
    static qk3d::PluginObjectInfo const list[2] = {{"CTestLoader", 4, nullptr}, {}};
    *infos = list;
#if defined(KIND_ObjectsThrow)
    throw 5;
#elif defined(KIND_ObjectsLie)
    return *infos = nullptr, 2;
#else
    return ++g_instance.calls;
#endif
}
#endif

#if !defined(KIND_NoInfo)
EXPORT void GetPluginInfo() {}
#endif

EXPORT int CountCalls() { return ++g_instance.calls; }
EXPORT int GetVersion() { return kVersion; }
