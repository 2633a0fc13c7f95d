// RootPlugin.cpp: a plug-in for RootTest: one record of each kind, named after its number, and void ones between them.
#include "QK3DPlugin.h"
#include <iterator>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {
int* g_calls = nullptr; // of the creators, by kind; the test's

template <int kind>
void Create(void** out) {
    ++g_calls[kind];
    *out = kind == 8 ? g_calls : nullptr;
}
template <int kind>
void CreateNamed(char const*, void** out) {
    Create<kind>(out);
}

template <int kind>
qk3d::PluginObjectInfo Info(char const* name, int type = kind) {
    bool const isNamed = kind != 3 && kind != 4 && kind != 8;
    return {name, type, isNamed ? reinterpret_cast<void*>(&CreateNamed<kind>) : reinterpret_cast<void*>(&Create<kind>)};
}
} // namespace

EXPORT int InitPlugin(unsigned char const* data, int) {
    g_calls = *reinterpret_cast<int* const*>(data);
    ++g_calls[0];
    return 1;
}
EXPORT void ReleasePlugin() {}
EXPORT void GetPluginInfo() {}

EXPORT int GetObjectInfos(qk3d::PluginObjectInfo const** infos) {
    static qk3d::PluginObjectInfo const list[] = {
        Info<0>("0"), Info<0>(nullptr, 5), Info<0>("", 5), Info<0>("9", 9), Info<1>("1"), Info<2>("2"),
        Info<3>("3"), Info<4>("4"),        Info<5>("5"),   Info<6>("6"),    Info<7>("7"), Info<8>("8"),
    };
    *infos = list;
    return static_cast<int>(std::size(list));
}
