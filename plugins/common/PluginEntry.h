// PluginEntry.h: how a plug-in of ours exports its four entry points.
#pragma once

#include "QK3DPlugin.h"

#if defined(_WIN32)
#define QK3D_PLUGIN_ENTRY extern "C" __declspec(dllexport)
#else
#define QK3D_PLUGIN_ENTRY extern "C" __attribute__((visibility("default")))
#endif

QK3D_PLUGIN_ENTRY int InitPlugin(unsigned char const* data, int size);
QK3D_PLUGIN_ENTRY void ReleasePlugin();
QK3D_PLUGIN_ENTRY int GetObjectInfos(qk3d::PluginObjectInfo const** infos);
QK3D_PLUGIN_ENTRY qk3d::PluginInfo const* GetPluginInfo();
