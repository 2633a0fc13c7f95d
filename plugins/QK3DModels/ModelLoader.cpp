// ModelLoader.cpp: from a file to sub-meshes with buffers.
#include "ModelLoader.h"

#include "ModelFiles.h"
#include "ModelImport.h"
#include "ModelLog.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DMesh.h"
#include "QK3DRenderSystem.h"
#include "QK3DResourceManager.h"
#include "QK3DText.h"

namespace qk3d {
namespace {
using namespace models;

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
    std::string reason = "no such file";
    ModelScene scene;
    if (!store || !ImportModel(*store, widePath, scene, reason)) {
        QK_LOG_TO(LogCategory(), LOG_WARNING, "Model cannot be loaded : %s, %s", path.c_str(), reason.c_str());
        return false;
    }

    mesh.DestroyAllSubMesh();
    ModelSource const source{scene, *store, FolderOf(widePath), mesh.GetName(), renderSystem};
    for (Part const& part : scene.parts) {
        CSubMesh& subMesh = *mesh.CreateSubMesh(false);
        if (!MakeSubMesh(*buffers, part, subMesh)) {
            mesh.DestroyAllSubMesh(); // half a model helps nobody
            QK_LOG_TO(LogCategory(), LOG_WARNING, "Model does not fit the device : %s", path.c_str());
            return false;
        }
        subMesh.SetMaterialName(NameMaterial(source, part.surface));
        MakeMaterial(source, part.surface, m_held);
    }
    return true;
}
} // namespace qk3d
