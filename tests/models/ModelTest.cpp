// ModelTest.cpp: model files become meshes: the geometry, the materials, who holds them, and what is refused.
#include "ImageDecoder.h"
#include "PlatformProcess.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMemFileSystem.h"
#include "QK3DMesh.h"
#include "QK3DPass.h"
#include "QK3DResourceSystem.h"
#include "QK3DTexture.h"
#include "QK3DVector.h"
#include "RecordingRenderSystem.h"
#include "TempFolder.h"
#include "TestFiles.h"
#include "TestLog.h"
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>

using namespace qk3d;

namespace {
CResourceSystem& Resources() { return CQK3DMain::GetResourceSystem(); }

// A device, the plug-in, and a store of memory that both meshes and textures search.
class Models : public testing::Test {
protected:
    Models() {
        EXPECT_TRUE(CQK3DMain::GetQK3DMain().LoadPlugin("QK3DModels.so", nullptr, 0));
        auto files = std::make_unique<CMemFileSystem>();
        m_files = files.get();
        qklib::CSharePtr<CFileSystem> handle(files.release(), qklib::PRM_DELETE);
        Resources().GetResourceManager("CMesh")->AddFileSystem("memory", handle);
        m_loader = Resources().CreateResourceLoader("ModelLoader");
    }
    ~Models() override {
        m_mesh.Release();
        m_loader.Release();
        Resources().GetResourceManager("CMesh")->RemoveFileSystem("memory");
        CQK3DMain::GetQK3DMain().UnloadPlugin("QK3DModels.so");
    }

    void Write(string const& name, std::string const& bytes) { WriteFile(*m_files, name, bytes); }

    // The number of sub-meshes that the file gave.
    unsigned int Load(string const& name) {
        m_mesh.Release();
        m_mesh = Resources().CreateResource("CMesh", name, "", false, m_loader);
        if (!m_mesh) return 0;
        m_mesh->SetRenderSystem(&m_device);
        EXPECT_TRUE(m_mesh->Load());
        return m_mesh->GetSubMeshNum();
    }
    unsigned int Load(string const& name, std::string const& bytes) {
        Write(name, bytes);
        return Load(name);
    }

    struct Corner {
        Vector3 position, normal;
        Vector2 uv;
    };

    // The corners of a sub-mesh in the order in which they are drawn.
    std::vector<Corner> Corners(unsigned int index) {
        CSubMesh& subMesh = *m_mesh->GetSubMesh(index);
        CVertexData& data = *subMesh.GetVertexData();
        auto buffer = std::as_const(*data.GetVertexBufferBinding().GetPointer()).GetSource(0);
        std::vector<unsigned char> vertices(buffer->GetRequestMemSizeInBytes());
        buffer->ReadData(0, vertices.size(), vertices.data());
        auto indexBuffer = subMesh.GetIndexData()->GetIndexBuffer();
        std::vector<unsigned char> indices(indexBuffer->GetRequestMemSizeInBytes());
        indexBuffer->ReadData(0, indices.size(), indices.data());

        auto const read = [&](std::size_t vertex, EVertexElementSemantic semantic, auto& out) {
            auto const* element = data.GetVertexDeclaration()->FindElementBySemantic(semantic, 0);
            if (element)
                std::memcpy(&out, &vertices[vertex * buffer->GetUnitSizeInBytes() + element->GetOffset()], sizeof out);
        };
        std::vector<Corner> corners(subMesh.GetIndexData()->GetIndexNum());
        std::size_t const unit = indexBuffer->GetUnitSizeInBytes();
        for (std::size_t i = 0; i < corners.size(); ++i) {
            std::uint32_t vertex = 0;
            std::memcpy(&vertex, &indices[i * unit], unit);
            read(vertex, VES_POSITION, corners[i].position);
            read(vertex, VES_NORMAL, corners[i].normal);
            read(vertex, VES_TEXCOORD, corners[i].uv);
        }
        return corners;
    }

    std::vector<std::string> TakeWarnings() { return m_log.TakeLines(qklib::LOG_WARNING); }

    CTestLog m_log;
    CRecordingRenderSystem m_device;
    CMemFileSystem* m_files = nullptr; // the mesh manager's
    qklib::CSharePtr<CResourceLoader> m_loader;
    _ResourceSharePtr<CMesh> m_mesh;
};

// A triangle in the plane z = 2, seen from +z with its corners counter-clockwise, as these files have their fronts.
std::string Triangle(std::string const& material = {}) {
    return material + "v 0 0 2\nv 1 0 2\nv 0 1 2\nvt 0 0\nvt 1 0\nvt 0 1\nvn 0 0 1\nf 1/1/1 2/2/1 3/3/1\n";
}

std::string Base64(std::vector<unsigned char> const& bytes) {
    static char const* const kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t k = 0; k < 3; ++k) group = group << 8 | (i + k < bytes.size() ? bytes[i + k] : 0);
        for (std::size_t k = 0; k < 4; ++k) out += i + k <= bytes.size() ? kDigits[group >> (18 - 6 * k) & 63] : '=';
    }
    return out;
}

// glTF with that triangle under one node of the given transform.
std::string GltfTriangle(std::string const& node, std::vector<float> positions,
                         std::vector<std::uint16_t> const& indices) {
    std::vector<unsigned char> bytes(positions.size() * 4 + indices.size() * 2);
    std::memcpy(bytes.data(), positions.data(), positions.size() * 4);
    std::memcpy(bytes.data() + positions.size() * 4, indices.data(), indices.size() * 2);
    std::ostringstream out;
    out << R"({"asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0]}], "nodes": [{"mesh": 0)" << node
        << R"(}], "meshes": [{"primitives": [{"attributes": {"POSITION": 0}, "indices": 1}]}], "buffers": [{"byteLength": )"
        << bytes.size() << R"(, "uri": "data:application/octet-stream;base64,)" << Base64(bytes)
        << R"("}], "bufferViews": [{"buffer": 0, "byteOffset": 0, "byteLength": )" << positions.size() * 4
        << R"(}, {"buffer": 0, "byteOffset": )" << positions.size() * 4 << R"(, "byteLength": )" << indices.size() * 2
        << R"(}], "accessors": [{"bufferView": 0, "componentType": 5126, "count": )" << positions.size() / 3
        << R"(, "type": "VEC3", "min": [0,0,0], "max": [1,1,1]}, {"bufferView": 1, "componentType": 5123, "count": )"
        << indices.size() << R"(, "type": "SCALAR"}]})";
    return out.str();
}
} // namespace

TEST_F(Models, GeometryIsTurnedIntoTheEnginesSpace) {
    ASSERT_EQ(Load("triangle.obj", Triangle()), 1u);
    auto const corners = Corners(0);
    ASSERT_EQ(corners.size(), 3u);
    for (Corner const& corner : corners) {
        EXPECT_EQ(corner.position.z, -2) << "z grows away from the viewer";
        EXPECT_EQ(corner.normal, Vector3(0, 0, -1));
        EXPECT_EQ(corner.uv, Vector2(corner.position.x, 1 - corner.position.y)) << "row 0 of a texture is its top";
    }
    // With clockwise fronts in a left-handed space this product points to where the front is seen from.
    Vector3 const face = VecCross(corners[1].position - corners[0].position, corners[2].position - corners[0].position);
    EXPECT_LT(face.z, 0);
    EXPECT_EQ(m_mesh->GetSubMesh(0)->GetIndexData()->GetIndexBuffer()->GetUnitSizeInBytes(), 2u);
}

TEST_F(Models, EachMaterialHasOneSubMesh) {
    Write("two.mtl", "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\nd 0.5\n");
    std::string const file = "mtllib two.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n"
                             "usemtl red\nf 1 2 3\nusemtl blue\nf 2 4 3\nusemtl red\no other\nf 1 3 4\n";
    ASSERT_EQ(Load("two.obj", file), 2u);
    std::map<string, unsigned int> indexNums;
    for (unsigned int i = 0; i < 2; ++i)
        indexNums[m_mesh->GetSubMesh(i)->GetMaterialName()] = m_mesh->GetSubMesh(i)->GetIndexData()->GetIndexNum();
    EXPECT_EQ(indexNums["red"], 6u);
    EXPECT_EQ(indexNums["blue"], 3u);

    _ResourceSharePtr<CMaterial> blue = Resources().GetResource("CMaterial", "blue");
    ASSERT_TRUE(blue);
    CRenderState const& state = *blue->GetTechnique(0)->GetPass(0)->GetRenderState();
    EXPECT_EQ(state.GetState(CRenderState::TEXTUREFACTOR), 0x800000FFu);
    EXPECT_EQ(state.GetState(CRenderState::ALPHABLENDENABLE), 1u) << "half of it lets through";
}

TEST_F(Models, NodeTransformsAreAppliedAndMirroredOnesKeepTheirFronts) {
    std::vector<float> const positions = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    struct {
        char const* what;
        char const* node;
        Vector3 farthest; // corner with the largest x + y
    } const rows[] = {
        {"moved", R"(, "translation": [1, 2, 3])", {2, 2, -3}},
        {"scaled", R"(, "scale": [3, 1, 1])", {3, 0, 0}},
        {"mirrored", R"(, "scale": [1, 1, -1])", {1, 0, 0}},
    };
    for (auto const& row : rows) {
        ASSERT_EQ(Load("node.gltf", GltfTriangle(row.node, positions, {0, 1, 2})), 1u) << row.what;
        auto const corners = Corners(0);
        ASSERT_EQ(corners.size(), 3u);
        Vector3 farthest = corners[0].position;
        for (Corner const& corner : corners)
            if (corner.position.x + corner.position.y > farthest.x + farthest.y + 1e-5f ||
                (corner.position.x > farthest.x &&
                 corner.position.x + corner.position.y > farthest.x + farthest.y - 1e-5f))
                farthest = corner.position;
        EXPECT_NEAR(farthest.x, row.farthest.x, 1e-5f) << row.what;
        EXPECT_NEAR(farthest.z, row.farthest.z, 1e-5f) << row.what;
        Vector3 const face =
            VecCross(corners[1].position - corners[0].position, corners[2].position - corners[0].position);
        // Seen from where the file has its front: from +z there, which is -z here, and the other way when mirrored.
        EXPECT_EQ(face.z < 0, string(row.what) != "mirrored") << row.what;
        EXPECT_GT(VecDot(face, corners[0].normal), 0) << row.what << ": the normal looks out of the front";
    }
}

TEST_F(Models, ManyVerticesTakeIndicesOf32Bits) {
    std::ostringstream file;
    constexpr int kSide = 260; // 67,600 vertices
    for (int y = 0; y < kSide; ++y)
        for (int x = 0; x < kSide; ++x) file << "v " << x << ' ' << y << " 0\n";
    for (int y = 0; y + 1 < kSide; ++y)
        for (int x = 0; x + 1 < kSide; ++x)
            file << "f " << y * kSide + x + 1 << ' ' << y * kSide + x + 2 << ' ' << (y + 1) * kSide + x + 1 << '\n';
    ASSERT_EQ(Load("grid.obj", file.str()), 1u);
    EXPECT_EQ(m_mesh->GetSubMesh(0)->GetIndexData()->GetIndexBuffer()->GetUnitSizeInBytes(), 4u);
    EXPECT_EQ(Corners(0).size(), 3u * (kSide - 1) * (kSide - 1));
}

TEST_F(Models, WhatCannotBeRightLeavesAnEmptyMeshAndOneWarning) {
    std::vector<float> const good = {0, 0, 0, 1, 0, 0, 0, 1, 0};
    std::vector<float> infinite = good, nan = good;
    infinite[4] = std::numeric_limits<float>::infinity();
    nan[0] = std::numeric_limits<float>::quiet_NaN();
    std::string const whole = GltfTriangle("", good, {0, 1, 2});
    struct {
        char const* what;
        char const* name;
        std::string bytes;
    } const rows[] = {
        {"no content", "empty.obj", " "},
        {"no known kind", "text.unknown", "hello"},
        {"cut in the middle", "cut.gltf", whole.substr(0, whole.size() / 2)},
        {"an index that names no vertex", "index.gltf", GltfTriangle("", good, {0, 1, 7})},
        {"the same in another format", "index.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n"},
        {"an infinite position", "infinite.gltf", GltfTriangle("", infinite, {0, 1, 2})},
        {"a position that is no number", "nan.gltf", GltfTriangle("", nan, {0, 1, 2})},
        {"a transform that is none", "matrix.gltf",
         GltfTriangle(R"(, "scale": [1e38, 1e38, 1e38], "translation": [1e39, 0, 0])", good, {0, 1, 2})},
        {"a buffer that is not there", "missing.gltf",
         R"({"asset": {"version": "2.0"}, "buffers": [{"byteLength": 9, "uri": "no.bin"}]})"},
        {"points only", "points.obj", "v 0 0 0\nv 1 0 0\np 1 2\n"},
        {"what breaks the importer", "break.ply",
         TempFolder::Read(QK3D_SOURCE_DIR "/tests/fuzz/corpus/Model/ply-doubled-property").substr(1)},
        {"what would take all memory", "memory.ply",
         "ply\nformat ascii 1.0\nelement vertex 2000000000\nproperty float x\nend_header\n0\n"},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(Load(row.name, row.bytes), 0u) << row.what;
        std::vector<std::string> const warnings = TakeWarnings();
        ASSERT_EQ(warnings.size(), 1u) << row.what;
        EXPECT_NE(warnings[0].find(row.name), std::string::npos) << row.what << ": " << warnings[0];
    }
    EXPECT_EQ(Load("good.gltf", whole), 1u) << "life goes on";
}

TEST_F(Models, ADeviceWithoutRoomLeavesNoHalfMesh) {
    m_device.Refuse("MakeIndexBuffer");
    EXPECT_EQ(Load("triangle.obj", Triangle()), 0u);
    EXPECT_EQ(TakeWarnings().size(), 1u);
}

TEST_F(Models, TexturesComeOutOfTheStoreOfTheModel) {
    std::uint32_t const pixels[4] = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0x80FFFFFF};
    std::vector<std::uint8_t> png;
    ASSERT_TRUE(image::EncodePng(pixels, 2, 2, 8, PF_A8R8G8B8, png));
    // The author used the other separator.
    Write("yard\\skin.png", std::string(png.begin(), png.end()));
    Write("yard\\model.mtl", "newmtl skin\nmap_Kd .\\skin.png\n");
    ASSERT_EQ(Load("yard\\model.obj", Triangle("mtllib model.mtl\nusemtl skin\n")), 1u);

    _ResourceSharePtr<CMaterial> material = Resources().GetResource("CMaterial", "skin");
    ASSERT_TRUE(material);
    CPass& pass = *material->GetTechnique(0)->GetPass(0);
    ASSERT_EQ(pass.GetMaxTextureLevel(), 1u);
    CTexture& texture = *pass.GetTexture(0);
    EXPECT_EQ(texture.GetWidth(), 2u);
    CPixelBox const& box = texture.GetPixelBuffer()->Lock(CBox(0, 0, 2, 2), CHardwareBuffer::LM_READONLY);
    ASSERT_NE(box.m_data, nullptr);
    EXPECT_EQ(std::memcmp(box.m_data, pixels, sizeof pixels), 0);
    texture.GetPixelBuffer()->Unlock();

    TakeWarnings();
    Write("bare.mtl", "newmtl bare\nmap_Kd nothing.png\n");
    EXPECT_EQ(Load("bare.obj", Triangle("mtllib bare.mtl\nusemtl bare\n")), 1u) << "the geometry is good all the same";
    std::vector<std::string> const warnings = TakeWarnings();
    ASSERT_EQ(warnings.size(), 1u);
    EXPECT_NE(warnings[0].find("nothing.png"), std::string::npos);
}

TEST_F(Models, MaterialsThatAreThereWinAndTheLoaderHoldsTheOthers) {
    _ResourceSharePtr<CMaterial> mine = Resources().CreateResourceManual("CMaterial", "paint");
    mine->CreateTechnique("mine");
    Write("paint.mtl", "newmtl paint\nKd 1 0 0\nnewmtl varnish\nKd 1 1 0\n");
    ASSERT_EQ(Load("paint.obj",
                   "mtllib paint.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nusemtl paint\nf 1 2 3\nusemtl varnish\nf 3 2 1\n"),
              2u);
    EXPECT_EQ(mine->GetTechniqueNum(), 1u) << "a material that was there stays as it is";

    m_mesh.Release();
    EXPECT_TRUE(Resources().IsResourceExist("CMaterial", "varnish")) << "held by the loader";
    m_loader.Release();
    EXPECT_FALSE(Resources().IsResourceExist("CMaterial", "varnish"));
    EXPECT_TRUE(Resources().IsResourceExist("CMaterial", "paint")) << "held by us";
}

// A shell reads its orders from the line, and answers there.
TEST(ProcessLine, CarriesBytesBothWaysAndEndsWhatItStarted) {
    qklib::platform::CProcessLine line, none;
    EXPECT_FALSE(none.Start("/bin/no such program"));
    ASSERT_TRUE(line.Start("\\BIN\\sh"));
    EXPECT_FALSE(line.Start("/bin/sh")) << "it is in use";
    std::string const order = "echo one >&0; echo $# >&0\n";
    std::string answer(6, ' ');
    ASSERT_TRUE(line.Send(order.data(), order.size()));
    ASSERT_TRUE(line.Receive(answer.data(), answer.size()));
    EXPECT_EQ(answer, "one\n0\n");

    std::string const last = "while :; do :; done\n"; // for the destructor to end
    EXPECT_TRUE(line.Send(last.data(), last.size()));
}

TEST(ProcessLine, TellsThatTheOtherSideIsGone) {
    qklib::platform::CProcessLine line;
    ASSERT_TRUE(line.Start("/bin/true"));
    char byte = 0;
    EXPECT_FALSE(line.Receive(&byte, 1));
    EXPECT_FALSE(line.Send(&byte, 1)) << "and no signal ends us";
}

TEST_F(Models, InstalledModelsLoadWholeWithTheirTextures) {
    struct {
        char const* path;
        unsigned int leastSubMeshes, leastTriangles;
        char const* texture;
    } const rows[] = {
        {"/usr/share/assimp/models/MS3D/jeep1.ms3d", 1, 2000, "jeep1.jpg"},
        {"/usr/share/assimp/models/OBJ/spider.obj", 3, 1300, "spidertex.jpg"},
    };
    for (auto const& row : rows) {
        if (!std::filesystem::exists(row.path)) GTEST_SKIP() << row.path << " is not installed";
        EXPECT_GE(Load(row.path), row.leastSubMeshes) << row.path;
        unsigned int triangles = 0, textures = 0;
        for (unsigned int i = 0; i < m_mesh->GetSubMeshNum(); ++i) {
            CSubMesh& subMesh = *m_mesh->GetSubMesh(i);
            triangles += subMesh.GetIndexData()->GetIndexNum() / 3;
            _ResourceSharePtr<CMaterial> material = Resources().GetResource("CMaterial", subMesh.GetMaterialName());
            ASSERT_TRUE(material) << subMesh.GetMaterialName();
            CPass& pass = *material->GetTechnique(0)->GetPass(0);
            if (pass.GetMaxTextureLevel() && pass.GetTexture(0)->GetPath().ends_with(row.texture)) ++textures;
        }
        EXPECT_GE(triangles, row.leastTriangles) << row.path;
        EXPECT_GE(textures, 1u) << row.path;
    }
    EXPECT_EQ(TakeWarnings(), std::vector<std::string>());
}
