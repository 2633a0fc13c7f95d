// ImportGeometry.cpp: walks the nodes of an imported scene and gathers their triangles by material.
#include "ImportGeometry.h"

#include <algorithm>
#include <assimp/scene.h>
#include <cmath>
#include <cstring>

namespace qk3d::models {
namespace {
constexpr unsigned int kMaxDepth = 1000;
constexpr std::uint64_t kMaxVertices = 1ULL << 27;

bool IsFinite(aiVector3D const& v) { return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z); }

bool IsFinite(aiMatrix4x4 const& m) {
    return std::all_of(&m.a1, &m.a1 + 16, [](ai_real element) { return std::isfinite(element); });
}

float Clean(float value) { return std::isfinite(value) ? value : 0; }

std::uint32_t PackColour(aiColor4D const& colour) {
    auto const channel = [](float value) {
        return static_cast<std::uint32_t>(std::clamp(Clean(value), 0.0f, 1.0f) * 255 + 0.5f);
    };
    return channel(colour.a) << 24 | channel(colour.r) << 16 | channel(colour.g) << 8 | channel(colour.b);
}

// Appends plain values to the bytes of a part.
template <class... Values>
void Append(std::vector<std::uint8_t>& bytes, Values... values) {
    std::size_t const start = bytes.size();
    bytes.resize(start + (sizeof(values) + ...));
    std::uint8_t* at = bytes.data() + start;
    ((std::memcpy(at, &values, sizeof values), at += sizeof values), ...);
}

class Collector {
public:
    Collector(aiScene const& scene, std::string& reason) : m_scene(scene), m_reason(reason) {}

    bool Run(std::vector<Part>& parts) {
        m_parts.resize(m_scene.mNumMaterials ? m_scene.mNumMaterials : 1);
        for (unsigned int i = 0; i < m_scene.mNumMeshes; ++i)
            if (!CheckMesh(*m_scene.mMeshes[i])) return false;
        if (m_scene.mRootNode && !Walk(*m_scene.mRootNode, aiMatrix4x4(), 0)) return false;

        for (unsigned int i = 0; i < m_parts.size(); ++i) {
            if (m_parts[i].indices.empty()) continue;
            m_parts[i].surface = i;
            parts.push_back(std::move(m_parts[i]));
        }
        return !parts.empty() || Fail("there is no triangle in it");
    }

private:
    bool Fail(char const* reason) {
        m_reason = reason;
        return false;
    }

    // Seen once, however many nodes use the mesh; also settles the layout of the part that it belongs to.
    bool CheckMesh(aiMesh const& mesh) {
        for (unsigned int i = 0; i < mesh.mNumVertices; ++i)
            if (!IsFinite(mesh.mVertices[i])) return Fail("a position is infinite or no number");
        for (unsigned int i = 0; i < mesh.mNumFaces; ++i)
            for (unsigned int corner = 0; corner < mesh.mFaces[i].mNumIndices; ++corner)
                if (mesh.mFaces[i].mIndices[corner] >= mesh.mNumVertices) return Fail("an index names no vertex");
        if (mesh.mMaterialIndex >= m_parts.size()) return Fail("a mesh names no material");

        PartLayout& layout = m_parts[mesh.mMaterialIndex].layout;
        layout.hasNormal |= mesh.HasNormals();
        layout.hasColour |= mesh.HasVertexColors(0);
        layout.texCoordSets = std::max(layout.texCoordSets, std::min(mesh.GetNumUVChannels(), kMaxTexCoordSets));
        return true;
    }

    bool Walk(aiNode const& node, aiMatrix4x4 const& parent, unsigned int depth) {
        if (depth > kMaxDepth) return Fail("its nodes are nested too deep");
        aiMatrix4x4 const world = parent * node.mTransformation;
        if (!IsFinite(world)) return Fail("a transform is infinite or no number");
        for (unsigned int i = 0; i < node.mNumMeshes; ++i) {
            if (node.mMeshes[i] >= m_scene.mNumMeshes) return Fail("a node names no mesh");
            if (!AppendMesh(*m_scene.mMeshes[node.mMeshes[i]], world)) return false;
        }
        for (unsigned int i = 0; i < node.mNumChildren; ++i)
            if (!Walk(*node.mChildren[i], world, depth + 1)) return false;
        return true;
    }

    bool AppendMesh(aiMesh const& mesh, aiMatrix4x4 const& world) {
        Part& part = m_parts[mesh.mMaterialIndex];
        unsigned int const first = part.vertexNum;
        if (!AppendIndices(part, mesh, world.Determinant() < 0, first)) return true; // no triangles, so no vertices
        if ((m_vertexNum += mesh.mNumVertices) > kMaxVertices) return Fail("it has too many vertices");

        // Normals keep a right angle to their surface under the inverse transpose only.
        aiMatrix3x3 normalMatrix(world);
        normalMatrix.Inverse().Transpose();
        for (unsigned int i = 0; i < mesh.mNumVertices; ++i) {
            aiVector3D const position = world * mesh.mVertices[i];
            if (!IsFinite(position)) return Fail("a position is infinite or no number");
            Append(part.vertices, static_cast<float>(position.x), static_cast<float>(position.y),
                   static_cast<float>(position.z));
            if (part.layout.hasNormal) {
                aiVector3D const normal =
                    mesh.HasNormals() ? (normalMatrix * mesh.mNormals[i]).NormalizeSafe() : aiVector3D();
                Append(part.vertices, Clean(normal.x), Clean(normal.y), Clean(normal.z));
            }
            if (part.layout.hasColour)
                Append(part.vertices, mesh.HasVertexColors(0) ? PackColour(mesh.mColors[0][i]) : 0xFFFFFFFFu);
            for (unsigned int set = 0; set < part.layout.texCoordSets; ++set) {
                aiVector3D const uv = mesh.HasTextureCoords(set) ? mesh.mTextureCoords[set][i] : aiVector3D();
                Append(part.vertices, Clean(uv.x), Clean(uv.y));
            }
        }
        part.vertexNum += mesh.mNumVertices;
        return true;
    }

    // A mirroring transform turns triangles inside out, so they are turned back.
    static bool AppendIndices(Part& part, aiMesh const& mesh, bool mirrored, unsigned int first) {
        std::size_t const before = part.indices.size();
        for (unsigned int i = 0; i < mesh.mNumFaces; ++i) {
            aiFace const& face = mesh.mFaces[i];
            if (face.mNumIndices != 3) continue; // points and lines
            part.indices.push_back(first + face.mIndices[0]);
            part.indices.push_back(first + face.mIndices[mirrored ? 2 : 1]);
            part.indices.push_back(first + face.mIndices[mirrored ? 1 : 2]);
        }
        return part.indices.size() > before;
    }

    aiScene const& m_scene;
    std::string& m_reason;
    std::vector<Part> m_parts; // by material
    std::uint64_t m_vertexNum = 0;
};
} // namespace

bool CollectParts(aiScene const& scene, std::vector<Part>& parts, std::string& reason) {
    return Collector(scene, reason).Run(parts);
}
} // namespace qk3d::models
