// Importer.cpp: qk3d-import: turns one model file into plain geometry and materials, for the plug-in QK3DModels.
//
// It runs on the line to the loader that started it, and ends with its one answer. The importer's library is large, and files
// from elsewhere do break it: here that ends nothing but this process.
#include "ImportFiles.h"
#include "ImportGeometry.h"
#include "ImportSurfaces.h"
#include "PlatformSanitizer.h"
#include <assimp/DefaultLogger.hpp>
#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <cstdlib>
#include <exception>
#include <memory>

namespace {
using namespace qk3d::models;

constexpr unsigned int kSeconds = 60;
// The sanitizer reserves more than any limit would allow, and brings limits of its own.
constexpr unsigned int kMegabytes = QK_HAS_ADDRESS_SANITIZER ? 0 : 4096;

constexpr unsigned int kSteps = aiProcess_Triangulate | aiProcess_SortByPType | aiProcess_JoinIdenticalVertices |
                                aiProcess_GenSmoothNormals | aiProcess_ImproveCacheLocality |
                                aiProcess_ValidateDataStructure;

// The handedness of space, of texture coordinates and of fronts. By itself, behind the others: the importer would do it
// first, and normals that it makes afterwards would look inside.
constexpr unsigned int kTurnSteps = aiProcess_ConvertToLeftHanded;

// The importer drops faces whose indices name no vertex, and says so in its log only; we take no half models.
class CListener : public Assimp::Logger {
public:
    bool HasDroppedFaces() const { return m_hasDroppedFaces; }

    bool attachStream(Assimp::LogStream*, unsigned int) override { return false; }
    bool detachStream(Assimp::LogStream*, unsigned int) override { return false; }

private:
    void OnDebug(char const*) override {}
    void OnVerboseDebug(char const*) override {}
    void OnInfo(char const*) override {}
    void OnWarn(char const* message) override { Look(message); }
    void OnError(char const* message) override { Look(message); }
    void Look(std::string_view message) {
        if (message.find("out-of-range indices") != message.npos) m_hasDroppedFaces = true;
    }

    bool m_hasDroppedFaces = false;
};

// False with a reason if there is no file that holds a sound scene.
bool Import(qklib::platform::CProcessLine& line, std::string const& path, ModelScene& scene, std::string& reason) {
    auto* const listener = new CListener;
    Assimp::DefaultLogger::set(listener); // which owns it from now on
    Assimp::Importer importer;
    // No points, lines, cameras, lights and bones: the engine's meshes have none.
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    importer.SetPropertyFloat(AI_CONFIG_PP_GSN_MAX_SMOOTHING_ANGLE, 66);
    importer.SetIOHandler(std::make_unique<CImportFiles>(line).release()); // owned by the importer
    aiScene const* imported = importer.ReadFile(path, kSteps);
    if (imported) imported = importer.ApplyPostProcessing(kTurnSteps);
    if (!imported)
        reason = importer.GetErrorString();
    else if (imported->mFlags & AI_SCENE_FLAGS_INCOMPLETE)
        reason = "it is incomplete";
    else if (listener->HasDroppedFaces())
        reason = "an index names no vertex";
    if (!reason.empty() || !imported || !CollectParts(*imported, scene.parts, reason)) return false;
    CollectSurfaces(*imported, scene);
    return true;
}
} // namespace

#if QK_HAS_ADDRESS_SANITIZER
extern "C" [[gnu::visibility("default")]] char const* __asan_default_options();
extern "C" char const* __asan_default_options() { return "max_allocation_size_mb=4096:hard_rss_limit_mb=4096"; }
#endif

int main() {
    qklib::platform::LimitThisProcess(kSeconds, kMegabytes);
    qklib::platform::CProcessLine line;
    line.Answer();
    Message order;
    if (!ReceiveMessage(line, order) || order.kind != EMessage::IMPORT) std::_Exit(2); // nobody's child
    try {
        ModelScene scene;
        std::string reason;
        if (Import(line, order.GetText(), scene, reason))
            SendMessage(line, EMessage::MODEL, EncodeScene(scene));
        else
            SendMessage(line, EMessage::REFUSED, reason);
    } catch (std::exception const& e) { SendMessage(line, EMessage::REFUSED, e.what()); }
    std::_Exit(0); // what the importer still holds, and may have spoiled, goes with the process
}
