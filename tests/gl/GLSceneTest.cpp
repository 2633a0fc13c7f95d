// GLSceneTest.cpp: whole frames of the engine on the device: meshes, materials from scripts, render textures, overlays.
#include "GLTestDevice.h"

#include "QK3DCamera.h"
#include "QK3DEntity.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "QK3DViewport.h"
#include "TestFiles.h"

using namespace qk3d;

namespace {
/// Lit and textured, with fog; the second pass adds a rim of the texture's alpha.
char const kBoxMaterial[] = R"({"Technique": [{"Pass": [
    {"RenderState": {"AMBIENT": [255, 60, 60, 70], "SPECULARENABLE": true, "NORMALIZENORMALS": true,
                     "FOGENABLE": true, "FOGCOLOR": [255, 40, 50, 90], "FOGTABLEMODE": "LINEAR",
                     "FOGSTART": 3.0, "FOGEND": 9.0},
     "Texture": [{"Type": "CTexture", "Name": "checks", "UseExist": true,
                  "SamplerState": {"MINFILTER": "LINEAR", "MAGFILTER": "LINEAR", "MIPFILTER": "LINEAR"}}]},
    {"RenderState": {"LIGHTING": false, "ALPHABLENDENABLE": true, "SRCBLEND": "SRCALPHA", "DESTBLEND": "ONE",
                     "ZFUNC": "EQUAL", "ZWRITEENABLE": false, "TEXTUREFACTOR": [255, 90, 60, 0]},
     "Texture": [{"Type": "CTexture", "Name": "checks", "UseExist": true,
                  "TextureState": {"COLOROP": "SELECTARG1", "COLORARG1": "TFACTOR", "ALPHAOP": "SELECTARG1",
                                   "ALPHAARG1": "TEXTURE"}}]}]}]})";

class GLScene : public GLTest {
protected:
    void SetUp() override {
        GLTest::SetUp();
        // The state of a device that nobody has touched.
        System().SetLighting(1);
        System().SetCullMode(3);
        System().SetZEnable(1);
    }

    void TearDown() override {
        auto& engine = CQK3DMain::GetQK3DMain();
        m_held.clear();
        m_box.reset();
        engine.DestoryAllSceneManager();
        CQK3DMain::GetOverlayManager().DestroyAllOverlayItem();
        GLTest::TearDown();
    }

    template <class T>
    _ResourceSharePtr<T> Create(char const* type, string const& name) {
        _ResourceSharePtr<T> resource =
            CQK3DMain::GetResourceSystem().CreateResource(type, "", name, false, NoLoader());
        m_held.push_back(resource);
        return resource;
    }

    void MakeMaterial() {
        auto texture = MakeTargetTexture("checks", 32, 32, PF_A8R8G8B8, CTexture::TU_DEFAULT);
        m_held.push_back(texture);
        texture->SetMipLevels(0);
        ASSERT_TRUE(texture->Load());
        Picture checks(32, 32);
        for (unsigned y = 0; y < 32; ++y)
            for (unsigned x = 0; x < 32; ++x)
                checks.At(x, y) = (x / 4 + y / 4) % 2 ? 0xFFF0E0C0 : (x < 16 ? 0x008040C0u : 0x0040A060u);
        CPixelBox const box(0, 0, 32, 32, PF_A8R8G8B8, checks.pixels.data(), 128, 0);
        ASSERT_TRUE(texture->GetPixelBuffer()->BlitFromMemory(box));
        auto material = Create<CMaterial>("CMaterial", "box material");
        ASSERT_TRUE(material->SetFromScript(kBoxMaterial));
        material->Load();
    }

    void MakeBox() {
        auto mesh = Create<CMesh>("CMesh", "box");
        mesh->SetRenderSystem(m_system);
        mesh->MakeSureLoaded();
        CSubMesh* const part = mesh->CreateSubMesh(false);
        std::vector<float> vertices; // of a cube, with position, normal and texture coordinates
        for (int i = 0; i < 8; ++i) {
            float const x = i & 1 ? 1.0f : -1.0f, y = i & 2 ? 1.0f : -1.0f, z = i & 4 ? 1.0f : -1.0f;
            vertices.insert(vertices.end(), {x, y, z, x, y, z, (x + z) / 4 + 0.5f, (z - y) / 4 + 0.5f});
        }
        m_box = std::make_unique<Shape>(
            System(), ST_TRIANGLELIST,
            Shape::Fields{{VET_FLOAT3, VES_POSITION}, {VET_FLOAT3, VES_NORMAL}, {VET_FLOAT2, VES_TEXCOORD}},
            vertices.data(), vertices.size() * sizeof(float));
        m_box->SetIndices(std::vector<std::uint16_t>{0, 2, 3, 0, 3, 1, 5, 7, 6, 5, 6, 4, 1, 3, 7, 1, 7, 5,
                                                     4, 6, 2, 4, 2, 0, 2, 6, 7, 2, 7, 3, 4, 0, 1, 4, 1, 5});
        *part->GetVertexData() = m_box->vertices;
        part->CreateIndexData();
        *part->GetIndexData() = m_box->indices;
        part->SetMaterialName("box material");
    }

    CEntity* AddBox(CSceneManager& scene, string const& name, Vector3 const& place, float angle) {
        CEntity* const entity = scene.CreateEntity("CEntity", name);
        _ResourceSharePtr<CMesh> mesh = CQK3DMain::GetResourceSystem().GetResource("CMesh", "box");
        entity->SetMesh(mesh);
        CSceneNode* const node = scene.CreateSceneNode(name);
        scene.GetRootSceneNode()->AddChild(node);
        node->RotateY(angle);
        node->Translation(place);
        node->AttachMovableObject(entity);
        return entity;
    }

    static void AddCamera(CSceneManager& scene, CRenderTarget& target, Vector3 const& eye,
                          std::vector<CEntity*> const& seen) {
        CCamera* const camera = scene.CreateCamera("of " + target.GetName());
        camera->SetViewParams(eye, Vector3(0, 0.3f, 1), Vector3(0, 1, 0));
        camera->SetProjParams(0.9f, 4.0f / 3, 0.5f, 50);
        CViewport* const viewport = target.AddViewport(camera, 0, 0.0f, 0.0f, 1.0f, 1.0f);
        for (CEntity* const entity : seen) viewport->AddMovableObject(entity);
    }

    std::vector<ResourceSharePtr> m_held;
    std::unique_ptr<Shape> m_box;
};
} // namespace

TEST_F(GLScene, DrawsAFrameAsItDidBefore) {
    CRenderWindow* const window = System().CreateRenderWindow("scene", 160, 120, PF_X8R8G8B8, false);
    ASSERT_TRUE(window);
    window->SetBackgroundColor(color(0xFF28325A));
    MakeMaterial();
    MakeBox();

    CSceneManager* const scene = CQK3DMain::GetQK3DMain().CreateSceneManager("CSceneManager", "scene");
    ASSERT_TRUE(scene);
    std::vector<CEntity*> const boxes = {AddBox(*scene, "near", {-1.2f, -0.4f, 0.5f}, 0.6f),
                                         AddBox(*scene, "far", {1.4f, 0.2f, 2}, -0.5f)};
    AddCamera(*scene, *window, {0, 1.5f, -4}, boxes);
    ASSERT_TRUE(Call("SetLight", R"({"Index": 0, "Enable": true, "Type": "DIRECTIONAL", "Direction": [0.5, -1, 0.7],
                                     "Diffuse": [0.9, 0.85, 0.8], "Specular": [0.6, 0.6, 0.6]})"));
    ASSERT_TRUE(Call("SetMaterial", R"({"Specular": [1, 1, 1], "Power": 12})"));

    // The same scene from the right, in a texture that an overlay shows in the corner.
    auto mirror = MakeTargetTexture("mirror", 48, 36, PF_X8R8G8B8);
    m_held.push_back(mirror);
    CRenderTexture* const target = mirror->GetRenderTexture();
    ASSERT_TRUE(target);
    target->SetBackgroundColor(color(0xFF604020));
    AddCamera(*scene, *target, {5, 3, -2}, boxes);
    COverlayItem* const panel = CQK3DMain::GetOverlayManager().CreateOverlayItem("panel", 108, 4, 48, 36, 0);
    panel->SetTexture(mirror);
    panel->SetColor(color(0xE0FFFFFF));
    window->AddOverlayItem(panel);

    scene->UpdateScene();
    CQK3DMain::GetOverlayManager().Update();
    ASSERT_TRUE(System().UpdateAllRenderTarget(1));
    Picture const first = ReadTarget(*window);
    // Devices differ where an edge cuts a pixel and in the last bits of lighting and filtering.
    EXPECT_TRUE(MatchesReference(first, "scene", {6, 0.01}));

    auto const compilations = Statistic("Compilations");
    for (long long time = 2; time < 5; ++time) ASSERT_TRUE(System().UpdateAllRenderTarget(time));
    EXPECT_TRUE(Matches(ReadTarget(*window), first)) << "a later frame of a still scene";
    EXPECT_EQ(Statistic("Compilations"), compilations);

    // The pixels of "checks" were written once, and the overlay's quad is not written again: all of it comes back.
    ASSERT_TRUE(Call("LoseDevice"));
    ASSERT_TRUE(System().UpdateAllRenderTarget(5));
    EXPECT_TRUE(Matches(ReadTarget(*window), first)) << "after a device loss";
    window->RemoveAllOverlayItem();
    window->RemoveAllViewport();
    target->RemoveAllViewport();
}
