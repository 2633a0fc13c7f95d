// RootPlugin.cpp: a plug-in for RootTest: one record of each kind, named after its number, and void ones between them.
#include "QK3DPlugin.h"
#include <iterator>

#define EXPORT extern "C" __attribute__((visibility("default")))

namespace {
int* g_calls = nullptr; // of the creators, by kind; the test's

template <int kind>
void CreateNamed(char const*, void** out) {
    ++g_calls[kind];
    *out = nullptr;
}
template <int kind>
void Create(void** out) {
    ++g_calls[kind];
    *out = kind == 8 ? g_calls : nullptr;
}

template <class Fun>
qk3d::PluginObjectInfo Info(char const* name, int type, Fun creator) {
    qk3d::PluginObjectInfo info;
    info.name = name;
    info.type = type;
    info.creator = reinterpret_cast<void*>(creator);
    return info;
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
        Info("0", 0, CreateNamed<0>), Info(nullptr, 5, CreateNamed<0>), Info("", 5, CreateNamed<0>),
        Info("9", 9, CreateNamed<0>), Info("1", 1, CreateNamed<1>),     Info("2", 2, CreateNamed<2>),
        Info("3", 3, Create<3>),      Info("4", 4, Create<4>),          Info("5", 5, CreateNamed<5>),
        Info("6", 6, CreateNamed<6>), Info("7", 7, CreateNamed<7>),     Info("8", 8, Create<8>),
    };
    *infos = list;
    return static_cast<int>(std::size(list));
}
