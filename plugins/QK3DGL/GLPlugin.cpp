// GLPlugin.cpp: the entry points of the plug-in, and the options a host gives it.
#include "GLContext.h"
#include "GLLog.h"
#include "GLRenderSystem.h"

#include "PluginEntry.h"
#include "QKJson.h"
#include "QKText.h"

#include <json/value.h>

namespace qk3d::gl {
qklib::CLogCategory* g_log = nullptr;

namespace {
Options g_options;

/// The text that LoadPlugin hands over is empty or a JSON object:
///     {"Windows": "AUTO" | "NONE" | "ALWAYS", "Multisample": 4, "Debug": true, "VerticalSync": true,
///      "Visible": false, "Software": true}
/// AUTO, the default, opens windows if there is a display and does without them otherwise; ALWAYS fails without one.
/// Unknown keys are ignored; a value that makes no sense refuses the plug-in.
bool ReadOptions(unsigned char const* data, int size, Options& options) {
    if (!data || size <= 0) return true;
    string const text(reinterpret_cast<char const*>(data), static_cast<std::size_t>(size));
    if (qklib::TrimBlanks(text).empty()) return true;
    Json::Value value;
    if (!qklib::ParseJson(text, value) || !value.isObject()) return false;

    string windows;
    if (qklib::ReadString(value, "Windows", windows)) {
        windows = qklib::ToUpperAscii(qklib::TrimBlanks(windows));
        if (windows == "AUTO")
            options.windows = WindowMode::Auto;
        else if (windows == "NONE")
            options.windows = WindowMode::None;
        else if (windows == "ALWAYS")
            options.windows = WindowMode::Windows;
        else
            return false;
    }
    qklib::ReadUInt(value, "Multisample", options.multisample);
    qklib::ReadBool(value, "Debug", options.debug);
    qklib::ReadBool(value, "VerticalSync", options.verticalSync);
    qklib::ReadBool(value, "Visible", options.visible);
    qklib::ReadBool(value, "Software", options.software);
    return true;
}

void CreateSystem(char const* name, CRenderSystem** out) {
    if (out) *out = GLRenderSystem::Create(name ? name : "", g_options);
}

PluginObjectInfo g_objects[1];
PluginInfo g_info;
} // namespace
} // namespace qk3d::gl

QK3D_PLUGIN_ENTRY int InitPlugin(unsigned char const* data, int size) {
    using namespace qk3d::gl;
    g_log = qklib::CLoger::GetLoger().GetCategory("QK3DGL");
    g_options = {};
    if (ReadOptions(data, size, g_options)) return 1;
    GL_LOG(LOG_ERROR, "The options are no JSON object that makes sense");
    return 0;
}

QK3D_PLUGIN_ENTRY void ReleasePlugin() { qk3d::gl::g_log = nullptr; }

QK3D_PLUGIN_ENTRY int GetObjectInfos(qk3d::PluginObjectInfo const** infos) {
    using namespace qk3d::gl;
    if (!infos) return 0;
    g_objects[0] = {"QK3DGL", 1, reinterpret_cast<void*>(&CreateSystem)};
    *infos = g_objects;
    return 1;
}

QK3D_PLUGIN_ENTRY qk3d::PluginInfo const* GetPluginInfo() { return &qk3d::gl::g_info; }
