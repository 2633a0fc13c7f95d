// TracePlugin.cpp: the plug-in "QK3DTrace": registers the recording back-end and writes what it records to a file.
//
// What LoadPlugin hands over is a JSON object in UTF-8, all of it optional:
//   "file"    where the lines go, one JSON object each; an existing file is replaced. Without it calls are only counted.
//   "omit"    array of operations to leave out: ["SetWorldMatrix", "Render"]
//   "blobs"   true: the bytes of buffers, images and programs in full, beside size and hash
// All devices of the plug-in write into the one file, in the order of the calls.

#include "PluginEntry.h"
#include "QKLog.h"
#include "TraceRenderSystem.h"
#include <filesystem>
#include <fstream>
#include <json/reader.h>
#include <memory>
#include <new>
#include <vector>

namespace {
struct Settings {
    std::ofstream file;
    std::vector<std::string> omitted;
    bool keepBlobs = false;
};

// Lives from InitPlugin to ReleasePlugin, which outlasts every device.
Settings* g_settings = nullptr;

qklib::CLogCategory* Log() { return qklib::CLoger::GetLoger().GetCategory("QK3DTrace"); }

// Refuses what it does not understand: a trace that silently lacks half its lines is worse than none.
bool ReadSettings(Json::Value const& root, Settings& settings) {
    if (!root.isObject()) return false;
    for (auto const& key : root.getMemberNames()) {
        Json::Value const& value = root[key];
        if (key == "file" && value.isString()) {
            std::string const name = value.asString();
            settings.file.open(std::filesystem::path(std::u8string(name.begin(), name.end())), std::ios::binary);
            if (!settings.file) {
                QK_LOG_TO(Log(), LOG_WARNING, "Trace file cannot be written : %s", name.c_str());
                return false;
            }
        } else if (key == "omit" && value.isArray()) {
            for (Json::Value const& item : value) {
                if (!item.isString() || qk3d::FindTraceOperation(item.asString()) == qk3d::ETraceOperation::Count) {
                    QK_LOG_TO(Log(), LOG_WARNING, "Trace settings omit what is no operation : %s",
                              item.isString() ? item.asCString() : "(no text)");
                    return false;
                }
                settings.omitted.push_back(item.asString());
            }
        } else if (key == "blobs" && value.isBool()) {
            settings.keepBlobs = value.asBool();
        } else {
            QK_LOG_TO(Log(), LOG_WARNING, "Trace settings are wrong at : %s", key.c_str());
            return false;
        }
    }
    return true;
}

bool ParseSettings(unsigned char const* data, int size, Settings& settings) {
    if (!data || size <= 0) return true;
    try {
        Json::CharReaderBuilder builder;
        builder["failIfExtra"] = true;
        builder["rejectDupKeys"] = true;
        auto const* text = reinterpret_cast<char const*>(data);
        Json::Value root;
        std::unique_ptr<Json::CharReader> const reader(builder.newCharReader());
        if (reader->parse(text, text + size, &root, nullptr)) return ReadSettings(root, settings);
    } catch (std::exception const&) { // nesting beyond any sense
    }
    QK_LOG_TO(Log(), LOG_WARNING, "Trace settings are no JSON object");
    return false;
}

void CreateTraceRenderSystem(char const* name, qk3d::CRenderSystem** out) {
    if (!out) return;
    *out = nullptr;
    auto system = std::make_unique<qk3d::CTraceRenderSystem>(name ? name : "");
    qk3d::CTraceJournal& journal = system->GetJournal();
    for (auto const& operation : g_settings->omitted) journal.Omit(operation);
    journal.KeepBlobs(g_settings->keepBlobs);
    if (g_settings->file.is_open()) {
        journal.SetListener([](qk3d::CTraceCall const& call) {
            g_settings->file << call.GetJson() << '\n';
            // Whole frames are on the disk also when the host dies in the next one.
            if (call.GetOperation() == qk3d::GetTraceOperationName(qk3d::ETraceOperation::PresentFrame))
                g_settings->file.flush();
        });
    }
    *out = system.release();
}
} // namespace

int InitPlugin(unsigned char const* data, int size) {
    auto settings = std::make_unique<Settings>();
    if (!ParseSettings(data, size, *settings)) return 0;
    g_settings = settings.release();
    return 1;
}

void ReleasePlugin() {
    delete g_settings;
    g_settings = nullptr;
}

int GetObjectInfos(qk3d::PluginObjectInfo const** infos) {
    static qk3d::PluginObjectInfo const list[] = {
        {"QK3DTrace", 1, reinterpret_cast<void*>(&CreateTraceRenderSystem)},
    };
    if (infos) *infos = list;
    return static_cast<int>(std::size(list));
}

qk3d::PluginInfo const* GetPluginInfo() { return nullptr; }
