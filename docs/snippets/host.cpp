#include "QK3D.h"
using namespace qk3d;

// Draws a turning triangle for 60 frames. What it holds goes with it: only then may Clear unload the back-end.
bool Draw(CQK3DMain& engine) {
    CRenderSystem* device = engine.CreateRenderSystem("QK3DGL", "device");
    CRenderWindow* window = device ? device->CreateRenderWindow("window", 320, 240, PF_A8R8G8B8, false) : nullptr;
    if (!window) return false;

    CResourceSystem& resources = CQK3DMain::GetResourceSystem(); // a material by script: unlit, with both sides
    _ResourceSharePtr<CMaterial> material(resources.CreateResourceManual("CMaterial", "plain"));
    material->SetFromScript(R"({"Technique": [{"Pass": [{"RenderState": {"LIGHTING": false, "CULLMODE": "NONE"}}]}]})");

    struct Vertex { float x, y, z; unsigned int argb; }; // a mesh by code
    Vertex const corners[] = {{-1, -1, 0, 0xFFE05030}, {0, 1, 0, 0xFF40C060}, {1, -1, 0, 0xFF4070F0}};
    auto buffer = device->GetHardwareBufferManager()->CreateVertexBuffer(
        sizeof(Vertex), 3, CHardwareBuffer::HBU_STATIC_WRITEONLY, false, false);
    buffer->Create();
    buffer->WriteData(0, sizeof corners, corners, true);
    _ResourceSharePtr<CMesh> mesh(resources.CreateResourceManual("CMesh", "triangle"));
    CVertexData* vertices = mesh->CreateSubMesh(false)->GetVertexData();
    vertices->GetVertexDeclaration()->AddElement(0, VET_FLOAT3, VES_POSITION);
    vertices->GetVertexDeclaration()->AddElement(0, VET_COLOR, VES_DIFFUSE);
    vertices->GetVertexBufferBinding()->SetSource(0, buffer);
    vertices->SetVertexNum(3);
    mesh->SetRenderSystem(device);
    mesh->Load(false);

    CSceneManager* scene = engine.CreateSceneManager("CSceneManager", "scene"); // an entity, a camera, a viewport
    CEntity* entity = scene->CreateEntity("CEntity", "triangle");
    entity->SetMesh(mesh);
    entity->SetSubEntityMaterial(material);
    scene->GetRootSceneNode()->CreateChildSceneNode("turn")->AttachMovableObject(entity);
    CCamera* camera = scene->CreateCamera("camera");
    camera->SetViewParams(Vector3(0, 0, -4), Vector3::ZERO, Vector3::UNIT_Y);
    camera->SetProjParams(0.8f, 4.0f / 3, 0.1f, 100);
    window->AddViewport(camera, 0, 0.0f, 0.0f, 1.0f, 1.0f)->AddMovableObject(entity);

    for (long long frame = 1; frame <= 60; ++frame) {
        scene->GetSceneNode("turn")->RotateY(0.02f);
        if (!scene->UpdateScene() || !device->UpdateAllRenderTarget(frame)) return false;
    }
    return true;
}

int main() {
    CQK3DMain& engine = CQK3DMain::GetQK3DMain();
    CQK3DMain::GetPluginManager().SetDirPath(QK3D_PLUGIN_DIR);
    bool const drawn = engine.LoadPlugin("QK3DGL.so", nullptr, 0) && Draw(engine);
    engine.Clear();
    return drawn ? 0 : 1;
}
