// GLSceneTest.cpp: whole frames of the engine on the device: meshes, materials from scripts, render textures, overlays.
#include "GLTestDevice.h"
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

using GLScene = GLTest;
} // namespace

TEST_F(GLScene, DrawsAFrameAsItDidBefore) {
    // The state of a device that nobody has touched.
    System().SetLighting(1);
    System().SetCullMode(3);
    System().SetZEnable(1);
    ASSERT_TRUE(Call("SetLight", R"({"Index": 0, "Enable": true, "Type": "DIRECTIONAL", "Direction": [0.5, -1, 0.7],
                                     "Diffuse": [0.9, 0.85, 0.8], "Specular": [0.6, 0.6, 0.6]})"));
    ASSERT_TRUE(Call("SetMaterial", R"({"Specular": [1, 1, 1], "Power": 12})"));

    auto texture = MakeTargetTexture("checks", 32, 32, PF_A8R8G8B8, CTexture::TU_DEFAULT);
    texture->SetMipLevels(0);
    ASSERT_TRUE(texture->Load());
    Picture checks(32, 32);
    for (unsigned y = 0; y < 32; ++y)
        for (unsigned x = 0; x < 32; ++x)
            checks.At(x, y) = (x / 4 + y / 4) % 2 ? 0xFFF0E0C0 : (x < 16 ? 0x008040C0u : 0x0040A060u);
    WriteBytes(*texture, checks.pixels.data());
    auto& resources = CQK3DMain::GetResourceSystem();
    _ResourceSharePtr<CMaterial> material =
        resources.CreateResource("CMaterial", "", "box material", false, NoLoader());
    ASSERT_TRUE(material->SetFromScript(kBoxMaterial));
    material->Load();

    std::vector<float> vertices; // of a cube, with position, normal and texture coordinates
    for (int i = 0; i < 8; ++i) {
        float const x = i & 1 ? 1.0f : -1.0f, y = i & 2 ? 1.0f : -1.0f, z = i & 4 ? 1.0f : -1.0f;
        vertices.insert(vertices.end(), {x, y, z, x, y, z, (x + z) / 4 + 0.5f, (z - y) / 4 + 0.5f});
    }
    Shape box(System(), ST_TRIANGLELIST,
              Shape::Fields{{VET_FLOAT3, VES_POSITION}, {VET_FLOAT3, VES_NORMAL}, {VET_FLOAT2, VES_TEXCOORD}},
              vertices.data(), vertices.size() * sizeof(float));
    box.SetIndices(std::vector<std::uint16_t>{0, 2, 3, 0, 3, 1, 5, 7, 6, 5, 6, 4, 1, 3, 7, 1, 7, 5,
                                              4, 6, 2, 4, 2, 0, 2, 6, 7, 2, 7, 3, 4, 0, 1, 4, 1, 5});
    _ResourceSharePtr<CMesh> mesh = resources.CreateResource("CMesh", "", "box", false, NoLoader());
    mesh->SetRenderSystem(&System());
    mesh->MakeSureLoaded();
    CSubMesh* const part = mesh->CreateSubMesh(false);
    *part->GetVertexData() = box.vertices;
    part->CreateIndexData();
    *part->GetIndexData() = box.indices;
    part->SetMaterialName("box material");

    CRenderWindow* const window = System().CreateRenderWindow("scene", 160, 120, PF_X8R8G8B8, false);
    ASSERT_TRUE(window);
    window->SetBackgroundColor(color(0xFF28325A));
    // The same scene from the right, in a texture that an overlay shows in the corner.
    auto mirror = MakeTargetTexture("mirror", 48, 36, PF_X8R8G8B8);
    ASSERT_TRUE(mirror->GetRenderTexture());
    mirror->GetRenderTexture()->SetBackgroundColor(color(0xFF604020));
    COverlayItem* const panel = CQK3DMain::GetOverlayManager().CreateOverlayItem("panel", 108, 4, 48, 36, 0);
    panel->SetTexture(mirror);
    panel->SetColor(color(0xE0FFFFFF));
    window->AddOverlayItem(panel);

    CRenderTarget* const targets[] = {window, mirror->GetRenderTexture()};
    CSceneManager* const scene = CQK3DMain::GetQK3DMain().CreateSceneManager("CSceneManager", "scene");
    for (CRenderTarget* const target : targets) {
        CCamera* const camera = scene->CreateCamera(target->GetName());
        camera->SetViewParams(target == window ? Vector3(0, 1.5f, -4) : Vector3(5, 3, -2), {0, 0.3f, 1}, {0, 1, 0});
        camera->SetProjParams(0.9f, 4.0f / 3, 0.5f, 50);
        target->AddViewport(camera, 0, 0.0f, 0.0f, 1.0f, 1.0f);
    }
    for (bool const isNear : {true, false}) {
        CEntity* const entity = scene->CreateEntity("CEntity", isNear ? "near" : "far");
        entity->SetMesh(mesh);
        CSceneNode* const node = scene->CreateSceneNode(entity->GetName());
        scene->GetRootSceneNode()->AddChild(node);
        node->RotateY(isNear ? 0.6f : -0.5f);
        node->Translation(isNear ? Vector3(-1.2f, -0.4f, 0.5f) : Vector3(1.4f, 0.2f, 2));
        node->AttachMovableObject(entity);
        for (CRenderTarget* const target : targets) target->GetViewport(0)->AddMovableObject(entity);
    }

    scene->UpdateScene();
    CQK3DMain::GetOverlayManager().Update();
    ASSERT_TRUE(System().UpdateAllRenderTarget(1));
    Picture const first = ReadTarget(*window);
    // Devices differ where an edge cuts a pixel and in the last bits of lighting and filtering.
    Picture reference;
    ASSERT_TRUE(gltest::LoadPicture(QK3D_REFERENCE_FOLDER "/scene.png", reference));
    EXPECT_TRUE(Matches(first, reference, {6, 0.01}));

    auto const compilations = Statistic("Compilations");
    ASSERT_TRUE(System().UpdateAllRenderTarget(2));
    EXPECT_TRUE(Matches(ReadTarget(*window), first)) << "a later frame of a still scene";
    EXPECT_EQ(Statistic("Compilations"), compilations);

    // The pixels of "checks" were written once, and the overlay's quad is not written again: all of it comes back.
    ASSERT_TRUE(Call("LoseDevice"));
    ASSERT_TRUE(System().UpdateAllRenderTarget(3));
    EXPECT_TRUE(Matches(ReadTarget(*window), first)) << "after a device loss";
    for (CRenderTarget* const target : targets) target->RemoveAllViewport();
    CQK3DMain::GetQK3DMain().DestoryAllSceneManager();
    CQK3DMain::GetOverlayManager().DestroyAllOverlayItem();
}
