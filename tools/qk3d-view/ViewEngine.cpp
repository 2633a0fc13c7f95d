// ViewEngine.cpp: the way up and the way down.
#include "ViewEngine.h"

#include "QK3DMain.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderWindow.h"
#include "QK3DResource.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include <json/writer.h>

namespace view {
using namespace qk3d;

namespace {
// The settings of either back-end of ours. Others get none.
std::string SettingsFor(Options const& options, std::string const& backend) {
    Json::Value settings(Json::objectValue);
    if (backend == "QK3DTrace") {
        if (!options.trace.empty()) settings["file"] = options.trace;
    } else if (backend == "QK3DGL") {
        settings["Windows"] = options.window ? "ALWAYS" : "NONE";
        settings["Multisample"] = 4;
        settings["VerticalSync"] = options.window;
    } else {
        return {};
    }
    return Json::writeString(Json::StreamWriterBuilder(), settings);
}
} // namespace

CViewEngine::CViewEngine(Options const& options) : m_files(options.package) {
    CQK3DMain& engine = CQK3DMain::GetQK3DMain();
    std::string const backend = options.trace.empty() ? options.backend : "QK3DTrace";
    LoadPlugin(backend, SettingsFor(options, backend));
    LoadPlugin("QK3DModels", {});
    LoadPlugin("QK3DEmitters", {});

    m_device = engine.CreateRenderSystem(backend, "view");
    if (!m_device) throw Failure("the device cannot be had: " + backend);
    m_target = m_device->CreateRenderWindow("view", options.width, options.height, PF_A8R8G8B8, false);
    if (!m_target || !m_target->IsCreated()) throw Failure("there is no target to draw into on " + backend);
    m_scene = engine.CreateSceneManager("CSceneManager", "view");
    m_modelLoader = CQK3DMain::GetResourceSystem().CreateResourceLoader("ModelLoader");
    if (!m_scene || m_modelLoader.IsNull()) throw Failure("the engine lacks its scene manager or its model loader");
}

CViewEngine::~CViewEngine() {
    m_modelLoader.Release();
    CQK3DMain::GetQK3DMain().Clear();
}

void CViewEngine::LoadPlugin(std::string const& name, std::string const& settings) {
    std::string const file = name + QK3D_PLUGIN_SUFFIX;
    auto const load = [&](std::string const& path) {
        return CQK3DMain::GetQK3DMain().LoadPlugin(
            ToNarrow(path), reinterpret_cast<unsigned char const*>(settings.data()), static_cast<int>(settings.size()));
    };
    // Beside the program where it was built, in a folder of their own where it is installed.
    if (!load(file) && !load(QK3D_PLUGIN_FOLDER "/" + file)) throw Failure("the plug-in cannot be loaded: " + file);
}

bool CViewEngine::Call(char const* command, Json::Value in, Json::Value* out) {
    return m_device->UnusualCall(command, &in, out);
}
} // namespace view
