#include "QK3D.h"
#include "QK3DEmitters.h"
#include <cstdio>
#include <memory>
using namespace qk3d;

// A small upright square: what each particle is drawn as.
_ResourceSharePtr<CMesh> MakeSquare(CRenderSystem* device) {
    float const corners[][3] = {{-0.1f, -0.1f, 0}, {-0.1f, 0.1f, 0}, {0.1f, -0.1f, 0}, {0.1f, 0.1f, 0}};
    auto buffer = device->GetHardwareBufferManager()->CreateVertexBuffer(
        sizeof corners[0], 4, CHardwareBuffer::HBU_STATIC_WRITEONLY, false, false);
    buffer->Create();
    buffer->WriteData(0, sizeof corners, corners, true);
    _ResourceSharePtr<CMesh> mesh(CQK3DMain::GetResourceSystem().CreateResourceManual("CMesh", "spark"));
    CSubMesh* part = mesh->CreateSubMesh(false);
    part->SetShapeType(ST_TRIANGLESTRIP);
    part->GetVertexData()->GetVertexDeclaration()->AddElement(0, VET_FLOAT3, VES_POSITION);
    part->GetVertexData()->GetVertexBufferBinding()->SetSource(0, buffer);
    part->GetVertexData()->SetVertexNum(4);
    return mesh;
}

bool Burn(CQK3DMain& engine) {
    CRenderSystem* device = engine.CreateRenderSystem("QK3DGL", "device");
    CRenderWindow* window = device ? device->CreateRenderWindow("window", 320, 240, PF_A8R8G8B8, false) : nullptr;
    if (!window) return false;

    // A particle's colour is the texture factor. What is behind shines through, and no particle hides another.
    _ResourceSharePtr<CMesh> square = MakeSquare(device);
    _ResourceSharePtr<CMaterial> glow(CQK3DMain::GetResourceSystem().CreateResourceManual("CMaterial", "glow"));
    glow->SetFromScript(R"({"Technique": [{"Pass": [{
        "RenderState": {"ALPHABLENDENABLE": true, "SRCBLEND": "SRCALPHA", "DESTBLEND": "ONE", "ZWRITEENABLE": false,
                        "CULLMODE": "NONE", "LIGHTING": false},
        "Texture": [{"TextureState": {"COLOROP": "SELECTARG1", "COLORARG1": "TFACTOR",
                                      "ALPHAOP": "SELECTARG1", "ALPHAARG1": "TFACTOR"}}]}]}]})");

    std::unique_ptr<CEmitter> emitter(CQK3DMain::GetFactory().CreateEmitter("ParticleEmitter", "fire"));
    auto* fire = dynamic_cast<CParticleEmitter*>(emitter.get());
    if (!fire) return false;
    fire->SetFromScript(R"({"Rate": 60, "Max": 100, "Life": [0.8, 1.4], "Direction": [0, 1, 0], "Spread": 0.3,
        "Speed": [1, 2], "Gravity": [0, 0.5, 0], "Size": [1, 0.2],
        "Colors": [[0, [255, 255, 220, 120]], [0.6, [200, 230, 90, 20]], [1, [0, 60, 20, 20]]]})");
    fire->SetMesh(square);
    fire->SetMaterial(glow);

    CSceneManager* scene = engine.CreateSceneManager("CSceneManager", "scene");
    scene->GetRootSceneNode()->AttachMovableObject(fire);
    CCamera* camera = scene->CreateCamera("camera");
    camera->SetViewParams(Vector3(0, 1, -5), Vector3(0, 1, 0), Vector3::UNIT_Y);
    camera->SetProjParams(0.8f, 4.0f / 3, 0.1f, 100);
    CViewport* viewport = window->AddViewport(camera, 0, 0.0f, 0.0f, 1.0f, 1.0f);
    viewport->AddMovableObject(fire);

    for (long long frame = 1; frame <= 120; ++frame) { // two seconds
        scene->GetTimer().GotoTime(frame * 10'000'000 / 60);
        if (!scene->UpdateScene() || !device->UpdateAllRenderTarget(frame)) return false;
    }
    std::printf("%u sparks of %u are alive\n", fire->GetAliveNum(), fire->GetEmittedNum());
    bool const isSteady = fire->GetAliveNum() > 40 && fire->GetAliveNum() < 100;
    viewport->Clear(); // it points at the emitter, which goes now
    return isSteady;
}

int main() {
    CQK3DMain& engine = CQK3DMain::GetQK3DMain();
    CQK3DMain::GetPluginManager().SetDirPath(QK3D_PLUGIN_DIR);
    bool const burnt =
        engine.LoadPlugin("QK3DGL.so", nullptr, 0) && engine.LoadPlugin("QK3DEmitters.so", nullptr, 0) && Burn(engine);
    engine.Clear(); // unloads the plug-ins: nothing that they made is left by now
    return burnt ? 0 : 1;
}
