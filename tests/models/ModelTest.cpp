// ModelTest.cpp: model files become meshes: the geometry, the materials, who holds them, and what is refused.
#include "ImageDecoder.h"
#include "PlatformProcess.h"
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TempFolder.h"
#include "TestFiles.h"
#include "TestLog.h"
#include <array>
#include <cmath>
#include <cstring>
#include <map>

using namespace qk3d;

namespace {
CResourceSystem& Resources() { return CQK3DMain::GetResourceSystem(); }

// A device, the plug-in, and a store of memory that both meshes and textures search.
class Models : public testing::Test {
protected:
    Models() {
        EXPECT_TRUE(CQK3DMain::GetQK3DMain().LoadPlugin("QK3DModels.so", nullptr, 0));
        Resources().GetResourceManager("CMesh")->AddFileSystem("memory", m_files);
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
    unsigned int Load(string const& name, std::string const& bytes = {}) {
        if (!bytes.empty()) Write(name, bytes);
        m_mesh.Release();
        m_mesh = Resources().CreateResource("CMesh", name, "", false, m_loader);
        m_mesh->SetRenderSystem(&m_device);
        EXPECT_TRUE(m_mesh->Load());
        return m_mesh->GetSubMeshNum();
    }

    struct Corner {
        Vector3 position, normal;
        Vector2 uv;
    };

    // The corners of the first sub-mesh in the order in which they are drawn.
    std::vector<Corner> Corners() {
        CSubMesh& subMesh = *m_mesh->GetSubMesh(0);
        CVertexData& data = *subMesh.GetVertexData();
        auto buffer = std::as_const(*data.GetVertexBufferBinding().GetPointer()).GetSource(0);
        auto indexBuffer = subMesh.GetIndexData()->GetIndexBuffer();
        auto const* const vertices = static_cast<char const*>(buffer->Lock(0, 0, CHardwareBuffer::LM_READONLY));
        auto const* const indices = static_cast<char const*>(indexBuffer->Lock(0, 0, CHardwareBuffer::LM_READONLY));
        std::vector<Corner> corners(subMesh.GetIndexData()->GetIndexNum());
        std::size_t const unit = indexBuffer->GetUnitSizeInBytes();
        for (std::size_t i = 0; i < corners.size(); ++i) {
            std::uint32_t vertex = 0;
            std::memcpy(&vertex, indices + i * unit, unit);
            auto const read = [&](EVertexElementSemantic semantic, auto& out) {
                auto const* element = data.GetVertexDeclaration()->FindElementBySemantic(semantic, 0);
                if (element)
                    std::memcpy(&out, vertices + vertex * buffer->GetUnitSizeInBytes() + element->GetOffset(),
                                sizeof out);
            };
            read(VES_POSITION, corners[i].position);
            read(VES_NORMAL, corners[i].normal);
            read(VES_TEXCOORD, corners[i].uv);
        }
        buffer->Unlock();
        indexBuffer->Unlock();
        return corners;
    }

    // Of the three corners of a triangle, and where its front looks: fronts are clockwise in a left-handed space.
    static Vector3 SumOf(Corner const* c) { return c[0].position + c[1].position + c[2].position; }
    static Vector3 FrontOf(std::vector<Corner> const& c) {
        return VecCross(c[1].position - c[0].position, c[2].position - c[0].position);
    }

    CPass* Pass(string const& materialName) {
        _ResourceSharePtr<CMaterial> material = Resources().GetResource("CMaterial", materialName);
        EXPECT_TRUE(material) << materialName;
        return material->GetTechnique(0)->GetPass(0);
    }

    std::vector<std::string> TakeWarnings() { return m_log.TakeLines(qklib::LOG_WARNING); }

    CTestLog m_log;
    CRecordingRenderSystem m_device;
    qklib::CSharePtr<CFileSystem> m_files{new CMemFileSystem, qklib::PRM_DELETE};
    qklib::CSharePtr<CResourceLoader> m_loader;
    _ResourceSharePtr<CMesh> m_mesh;
};

// A triangle in the plane z = 2, seen from +z with its corners counter-clockwise, as these files have their fronts.
std::string Triangle(std::string const& material = {}) {
    return material + "v 0 0 2\nv 1 0 2\nv 0 1 2\nvt 0 0\nvt 1 0\nvt 0 1\nvn 0 0 1\nf 1/1/1 2/2/1 3/3/1\n";
}

// glTF with a triangle under one node of the given transform.
std::string GltfTriangle(std::string const& node = {}, std::array<float, 9> positions = {0, 0, 0, 1, 0, 0, 0, 1, 0},
                         std::uint16_t lastIndex = 2) {
    static char const* const kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::uint16_t const indices[] = {0, 1, lastIndex};
    unsigned char bytes[42];
    std::memcpy(bytes, positions.data(), 36);
    std::memcpy(bytes + 36, indices, 6);
    std::string base64;
    for (int i = 0; i < 42; i += 3)
        for (int const shift : {18, 12, 6, 0})
            base64 += kDigits[(bytes[i] << 16 | bytes[i + 1] << 8 | bytes[i + 2]) >> shift & 63];
    return R"({"asset": {"version": "2.0"}, "scene": 0, "scenes": [{"nodes": [0]}], "nodes": [{"mesh": 0)" + node +
           R"(}], "meshes": [{"primitives": [{"attributes": {"POSITION": 0}, "indices": 1}]}],
              "buffers": [{"byteLength": 42, "uri": "data:application/octet-stream;base64,)" +
           base64 +
           R"("}], "bufferViews": [{"buffer": 0, "byteLength": 36}, {"buffer": 0, "byteOffset": 36, "byteLength": 6}],
              "accessors": [{"bufferView": 0, "componentType": 5126, "count": 3, "type": "VEC3"},
                            {"bufferView": 1, "componentType": 5123, "count": 3, "type": "SCALAR"}]})";
}

} // namespace

TEST_F(Models, GeometryIsTurnedIntoTheEnginesSpace) {
    ASSERT_EQ(Load("triangle.obj", Triangle()), 1u);
    auto const corners = Corners();
    ASSERT_EQ(corners.size(), 3u);
    for (Corner const& corner : corners) {
        EXPECT_EQ(corner.position.z, -2) << "z grows away from the viewer";
        EXPECT_EQ(corner.normal, Vector3(0, 0, -1));
        EXPECT_EQ(corner.uv, Vector2(corner.position.x, 1 - corner.position.y)) << "row 0 of a texture is its top";
    }
    EXPECT_LT(FrontOf(corners).z, 0);
}

TEST_F(Models, NodeTransformsAreAppliedAndMirroredOnesKeepTheirFronts) {
    struct {
        char const *what, *node;
        Vector3 sum; // of the corners
        bool isFrontNear;
    } const rows[] = {
        {"moved", R"(, "translation": [1, 2, 3])", {4, 7, -9}, true},
        {"mirrored", R"(, "scale": [1, 1, -1])", {1, 1, 0}, false},
    };
    for (auto const& row : rows) {
        ASSERT_EQ(Load("node.gltf", GltfTriangle(row.node)), 1u) << row.what;
        auto const corners = Corners();
        EXPECT_EQ(SumOf(corners.data()), row.sum) << row.what;
        EXPECT_EQ(FrontOf(corners).z < 0, row.isFrontNear) << row.what;
        EXPECT_GT(VecDot(FrontOf(corners), corners[0].normal), 0) << row.what << ": the normal looks out of the front";
    }
}

TEST_F(Models, ManyVerticesTakeIndicesOf32Bits) {
    std::string vertices, faces;
    for (int i = 0; i < 65538; ++i) {
        vertices += "v " + std::to_string(i) + (i % 2 ? " 1 0\n" : " 0 0\n");
        if (i > 1) faces += "f " + std::to_string(i - 1) + ' ' + std::to_string(i) + ' ' + std::to_string(i + 1) + '\n';
    }
    ASSERT_EQ(Load("strip.obj", vertices + faces), 1u);
    EXPECT_EQ(m_mesh->GetSubMesh(0)->GetIndexData()->GetIndexBuffer()->GetUnitSizeInBytes(), 4u);
    auto const corners = Corners();
    ASSERT_EQ(corners.size(), 3u * 65536);
    EXPECT_EQ(SumOf(&corners[3 * 65535]), Vector3(65535 + 65536 + 65537, 2, 0)) << "the last triangle";
}

TEST_F(Models, EachMaterialHasOneSubMeshAndOneThatIsThereWins) {
    _ResourceSharePtr<CMaterial> mine = Resources().CreateResourceManual("CMaterial", "red");
    mine->CreateTechnique("mine");
    Write("two.mtl", "newmtl red\nKd 1 0 0\nnewmtl blue\nKd 0 0 1\nd 0.5\n");
    ASSERT_EQ(Load("two.obj", "mtllib two.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\n"
                              "usemtl red\nf 1 2 3\nusemtl blue\nf 2 4 3\nusemtl red\no other\nf 1 3 4\n"),
              2u);
    std::map<string, unsigned int> indexNums;
    for (unsigned int i = 0; i < 2; ++i)
        indexNums[m_mesh->GetSubMesh(i)->GetMaterialName()] = m_mesh->GetSubMesh(i)->GetIndexData()->GetIndexNum();
    EXPECT_EQ(indexNums, (std::map<string, unsigned int>{{"red", 6}, {"blue", 3}}));
    EXPECT_EQ(mine->GetTechniqueNum(), 1u) << "it stays as it is";

    m_mesh.Release();
    ASSERT_TRUE(Resources().IsResourceExist("CMaterial", "blue")) << "held by the loader";
    CRenderState const& state = *Pass("blue")->GetRenderState();
    EXPECT_EQ(state.GetState(CRenderState::TEXTUREFACTOR), 0x800000FFu);
    EXPECT_EQ(state.GetState(CRenderState::ALPHABLENDENABLE), 1u) << "half of it lets through";
    m_loader.Release();
    EXPECT_FALSE(Resources().IsResourceExist("CMaterial", "blue"));
}

TEST_F(Models, WhatCannotBeRightLeavesAnEmptyMeshAndOneWarning) {
    std::string const whole = GltfTriangle();
    struct {
        char const *what, *name;
        std::string bytes;
    } const rows[] = {
        {"no content", "empty.obj", " "},
        {"no known kind", "text.unknown", "hello"},
        {"cut in the middle", "cut.gltf", whole.substr(0, whole.size() / 2)},
        {"an index that names no vertex", "index.gltf", GltfTriangle("", {0, 0, 0, 1, 0, 0, 0, 1, 0}, 7)},
        {"the same in another format", "index.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 9\n"},
        {"an infinite position", "infinite.gltf", GltfTriangle("", {0, 0, 0, 1, HUGE_VALF, 0, 0, 1, 0})},
        {"a position that is no number", "nan.gltf", GltfTriangle("", {NAN, 0, 0, 1, 0, 0, 0, 1, 0})},
        {"a transform that is none", "matrix.gltf",
         GltfTriangle(R"(, "scale": [1e38, 1e38, 1e38], "translation": [1e39, 0, 0])")},
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
    m_device.Refuse("MakeIndexBuffer");
    EXPECT_EQ(Load("good.gltf", whole), 0u) << "a device without room leaves no half mesh";
    EXPECT_EQ(TakeWarnings().size(), 1u);
    m_device.RefuseNothing();
    EXPECT_EQ(Load("good.gltf"), 1u) << "life goes on";
}

TEST_F(Models, TexturesComeOutOfTheStoreOfTheModel) {
    std::uint32_t const pixels[4] = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0x80FFFFFF};
    std::vector<std::uint8_t> png;
    ASSERT_TRUE(image::EncodePng(pixels, 2, 2, 8, PF_A8R8G8B8, png));
    // The author used the other separator.
    Write("yard\\skin.png", std::string(png.begin(), png.end()));
    Write("yard\\model.mtl", "newmtl skin\nmap_Kd .\\skin.png\n");
    ASSERT_EQ(Load("yard\\model.obj", Triangle("mtllib model.mtl\nusemtl skin\n")), 1u);

    CTexture& texture = *Pass("skin")->GetTexture(0);
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

// A shell reads its orders from the line, and answers there.
TEST(ProcessLine, CarriesBytesBothWaysEndsWhatItStartedAndTellsThatItIsGone) {
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

    qklib::platform::CProcessLine gone;
    ASSERT_TRUE(gone.Start("/bin/true"));
    char byte = 0;
    EXPECT_FALSE(gone.Receive(&byte, 1));
    EXPECT_FALSE(gone.Send(&byte, 1)) << "and no signal ends us";
}

TEST_F(Models, InstalledModelsLoadWholeWithTheirTextures) {
    struct {
        char const* path;
        unsigned int leastTriangles;
        char const* texture;
    } const rows[] = {
        {"/usr/share/assimp/models/MS3D/jeep1.ms3d", 2000, "jeep1.jpg"},
        {"/usr/share/assimp/models/OBJ/spider.obj", 1300, "spidertex.jpg"},
    };
    for (auto const& row : rows) {
        ASSERT_TRUE(std::filesystem::exists(row.path)) << row.path << " is missing";
        unsigned int triangles = 0, textures = 0;
        for (unsigned int i = Load(row.path); i-- > 0;) {
            triangles += m_mesh->GetSubMesh(i)->GetIndexData()->GetIndexNum() / 3;
            CPass& pass = *Pass(m_mesh->GetSubMesh(i)->GetMaterialName());
            textures += pass.GetMaxTextureLevel() && pass.GetTexture(0)->GetPath().ends_with(row.texture);
        }
        EXPECT_GE(triangles, row.leastTriangles) << row.path;
        EXPECT_GE(textures, 1u) << row.path;
    }
    EXPECT_EQ(TakeWarnings(), std::vector<std::string>());
}
