// ModelLoader.cpp: from a file to sub-meshes with buffers.
#include "ModelLoader.h"

#include "ModelFiles.h"
#include "ModelGeometry.h"
#include "ModelLog.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DMesh.h"
#include "QK3DRenderSystem.h"
#include "QK3DResourceManager.h"
#include "QK3DText.h"
#include <assimp/DefaultLogger.hpp>
#include <assimp/Importer.hpp>
#include <assimp/postprocess.h>
#include <assimp/scene.h>

namespace qk3d {
namespace {
using namespace models;

constexpr unsigned int kSteps = aiProcess_Triangulate | aiProcess_SortByPType | aiProcess_JoinIdenticalVertices |
                                aiProcess_GenSmoothNormals | aiProcess_ImproveCacheLocality |
                                aiProcess_ValidateDataStructure;

// The handedness of space, of texture coordinates and of fronts. By itself, behind the others: the importer would do it
// first, and normals that it makes afterwards would look inside.
constexpr unsigned int kTurnSteps = aiProcess_ConvertToLeftHanded;

// The importer drops faces whose indices name no vertex, and says so in its log only; we take no half models. Lives for one
// import, during which the importer's log is ours.
class CImportWatch {
public:
    CImportWatch() { Assimp::DefaultLogger::set(new Listener(*this)); } // which owns what it is given
    ~CImportWatch() { Assimp::DefaultLogger::kill(); }

    bool HasDroppedFaces() const { return m_hasDroppedFaces; }

private:
    class Listener : public Assimp::Logger {
    public:
        explicit Listener(CImportWatch& watch) : m_watch(watch) {}
        bool attachStream(Assimp::LogStream*, unsigned int) override { return false; }
        bool detachStream(Assimp::LogStream*, unsigned int) override { return false; }

    private:
        void OnDebug(char const*) override {}
        void OnVerboseDebug(char const*) override {}
        void OnInfo(char const*) override {}
        void OnWarn(char const* message) override { Look(message); }
        void OnError(char const* message) override { Look(message); }
        void Look(std::string_view message) {
            if (message.find("out-of-range indices") != message.npos) m_watch.m_hasDroppedFaces = true;
        }

        CImportWatch& m_watch;
    };

    bool m_hasDroppedFaces = false;
};

bool MakeVertices(CHardwareBufferManager& buffers, Part const& part, CVertexData& data) {
    CVertexDeclaration& declaration = *data.GetVertexDeclaration();
    declaration.AddElement(0, VET_FLOAT3, VES_POSITION);
    if (part.layout.hasNormal) declaration.AddElement(0, VET_FLOAT3, VES_NORMAL);
    if (part.layout.hasColour) declaration.AddElement(0, VET_COLOR_ARGB, VES_DIFFUSE);
    for (unsigned int set = 0; set < part.layout.texCoordSets; ++set)
        declaration.AddElement(0, VET_FLOAT2, VES_TEXCOORD);

    auto buffer =
        buffers.CreateVertexBuffer(part.GetVertexSize(), part.vertexNum, CHardwareBuffer::HBU_STATIC, false, false);
    if (buffer.IsNull() || !buffer->Create()) return false;
    buffer->WriteData(0, part.vertices.size(), part.vertices.data(), true);
    data.GetVertexBufferBinding()->SetSource(0, buffer);
    data.SetVertexNum(part.vertexNum);
    return true;
}

bool MakeIndices(CHardwareBufferManager& buffers, Part const& part, CIndexData& data) {
    bool const isShort = part.vertexNum <= 65536;
    auto const indexNum = static_cast<unsigned int>(part.indices.size());
    auto buffer = buffers.CreateIndexBuffer(isShort ? CHardwareIndexBuffer::IT_16BIT : CHardwareIndexBuffer::IT_32BIT,
                                            indexNum, CHardwareBuffer::HBU_STATIC, false, false);
    if (buffer.IsNull() || !buffer->Create()) return false;
    if (isShort) {
        std::vector<std::uint16_t> const indices(part.indices.begin(), part.indices.end());
        buffer->WriteData(0, indices.size() * sizeof indices[0], indices.data(), true);
    } else {
        buffer->WriteData(0, part.indices.size() * sizeof part.indices[0], part.indices.data(), true);
    }
    data.SetIndexBuffer(buffer);
    data.SetIndexNum(indexNum);
    return true;
}

bool MakeSubMesh(CHardwareBufferManager& buffers, Part const& part, CSubMesh& subMesh) {
    subMesh.SetShapeType(ST_TRIANGLELIST);
    subMesh.CreateIndexData();
    return MakeVertices(buffers, part, *subMesh.GetVertexData()) && MakeIndices(buffers, part, *subMesh.GetIndexData());
}

// Null with a reason if there is no file that holds a sound scene.
aiScene const* Import(Assimp::Importer& importer, CFileSystem const& store, wstring const& path, std::string& reason) {
    // No points, lines, cameras, lights and bones: the engine's meshes have none.
    importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE, aiPrimitiveType_POINT | aiPrimitiveType_LINE);
    importer.SetPropertyFloat(AI_CONFIG_PP_GSN_MAX_SMOOTHING_ANGLE, 66);
    importer.SetIOHandler(std::make_unique<CModelFiles>(store).release()); // owned by the importer
    CImportWatch const watch;
    aiScene const* scene = importer.ReadFile(WideToUtf8(path), kSteps);
    if (scene) scene = importer.ApplyPostProcessing(kTurnSteps);
    if (!scene)
        reason = importer.GetErrorString();
    else if (scene->mFlags & AI_SCENE_FLAGS_INCOMPLETE)
        reason = "it is incomplete";
    else if (watch.HasDroppedFaces())
        reason = "an index names no vertex";
    return reason.empty() ? scene : nullptr;
}
} // namespace

bool CModelLoader::IsSupportResourceType(string const& typeName) { return typeName == "CMesh"; }

bool CModelLoader::LoadResource(CResource* resource) {
    // Only meshes have this loader: IsSupportResourceType saw to it.
    auto& mesh = static_cast<CMesh&>(*resource);
    CRenderSystem* const renderSystem = mesh.GetRenderSystem();
    CHardwareBufferManager* const buffers = renderSystem ? renderSystem->GetHardwareBufferManager() : nullptr;
    if (!buffers || mesh.GetPath().empty()) return false;

    string path = mesh.GetPath();
    CFileSystem const* const store =
        mesh.GetResourceManager() ? mesh.GetResourceManager()->LocateResource(path) : nullptr;
    wstring const widePath = AnsiToWide(path, "chs");
    std::string reason;
    std::vector<Part> parts;
    Assimp::Importer importer;
    aiScene const* const scene = store ? Import(importer, *store, widePath, reason) : nullptr;
    if (!store) reason = "no such file";
    if (!scene || !CollectParts(*scene, parts, reason)) {
        QK_LOG_TO(LogCategory(), LOG_WARNING, "Model cannot be loaded : %s, %s", path.c_str(), reason.c_str());
        return false;
    }

    mesh.DestroyAllSubMesh();
    ModelSource const source{*scene, *store, FolderOf(widePath), mesh.GetName(), renderSystem};
    for (Part const& part : parts) {
        CSubMesh& subMesh = *mesh.CreateSubMesh(false);
        if (!MakeSubMesh(*buffers, part, subMesh)) {
            mesh.DestroyAllSubMesh(); // half a model helps nobody
            QK_LOG_TO(LogCategory(), LOG_WARNING, "Model does not fit the device : %s", path.c_str());
            return false;
        }
        subMesh.SetMaterialName(NameMaterial(source, part.material));
        MakeMaterial(source, part.material, m_held);
    }
    return true;
}
} // namespace qk3d
