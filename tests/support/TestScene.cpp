// TestScene.cpp: the steps of the scene.
#include "TestScene.h"

#include "TestFiles.h"
#include <regex>
#include <sstream>

namespace qk3d {
namespace {
constexpr char kMaterial[] = R"({"Technique": [{"Pass": [{
    "RenderState": {"ZENABLE": "TRUE", "FOGCOLOR": [255, 1, 2, 3]},
    "Texture": [
        {"Type": "CTexture", "Path": "a.tga", "UseExist": true, "MipLevels": 2,
         "TextureState": {"COLOROP": "ADD"}, "SamplerState": {"ADDRESSU": "CLAMP"}},
        {"Type": "CTexture", "Name": "mirror", "UseExist": true, "Width": 16, "Height": 8,
         "PixelFormat": "A8R8G8B8", "Usage": "RENDERTARGET"}],
    "VertexShader": {"Path": "a.glsl", "CodeType": "glsl"}}]}]})";
constexpr char kOverlay[] = R"({"Range": [8, 8, 20, 10], "Texture": "a.tga", "RenderState": {"ALPHABLENDENABLE": true},
    "SubItems": [{"Name": "sub", "Range": [1, 1, 4, 4], "Texture": "Blank"}]})";
constexpr char kImage[] = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2, 0, 32, 0x20, 1, 2, 3, 4, 5, 6, 7, 8};
} // namespace

CTestEmitter::CTestEmitter(string const& name) : CEmitter(nullptr, name) {
    SetEmitSpeed(20);
    SetTotalEmitNum(1'000'000);
    SetMaxParticleNum(5);
    auto const make = [](CEmitter* emitter, CEmitableObject** out) {
        if (auto const& call = static_cast<CTestEmitter*>(emitter)->onEmit) call();
        CreateCParticle(emitter, out);
        if (*out) (*out)->SetLifeTime(2 * TestScene::kTick);
    };
    SetEmitableObjectCreateFun(make, true);
}

bool TestScene::MakeMesh() {
    _ResourceSharePtr<CMesh> mesh(CQK3DMain::GetResourceSystem().CreateResourceManual("CMesh", "mesh"));
    CHardwareBufferManager* const buffers = m_device ? m_device->GetHardwareBufferManager() : nullptr;
    if (!mesh || !buffers) return false;
    constexpr auto usage = CHardwareBuffer::HBU_STATIC;
    auto vertices = buffers->CreateVertexBuffer(12, 3, usage, false, false);
    auto indices = buffers->CreateIndexBuffer(CHardwareIndexBuffer::IT_16BIT, 3, usage, false, false);
    if (vertices.IsNull() || indices.IsNull() || !vertices->Create() || !indices->Create()) return false;
    mesh->SetRenderSystem(m_device.get());
    CSubMesh& part = *mesh->CreateSubMesh(false);
    CVertexData& data = *part.GetVertexData();
    data.GetVertexDeclaration()->AddElement(0, VET_FLOAT3, VES_POSITION);
    data.GetVertexBufferBinding()->SetSource(0, vertices);
    data.SetVertexNum(3);
    part.CreateIndexData();
    part.GetIndexData()->SetIndexBuffer(indices);
    part.GetIndexData()->SetIndexNum(3);
    if (!mesh->Load()) return false;
    m_mesh = mesh;
    return true;
}

// The expression asks, if what it builds on was let through, and says whether it got what it asked for.
#define ASK(...) [](TestScene& s) { return !!(__VA_ARGS__); }

std::vector<TestScene::Step> const& TestScene::GetSteps() {
    static std::vector<Step> const steps = {
        {"a device", ASK(s.m_device = std::make_unique<CTraceRenderSystem>("device"))},
        {"a window",
         ASK(s.m_device && (s.m_window = s.m_device->CreateRenderWindow("window", 64, 48, PF_A8R8G8B8, false)))},
        {"a scene", ASK(s.m_scene = CQK3DMain::GetQK3DMain().CreateSceneManager("CSceneManager", "test"))},
        {"a camera", ASK(s.m_scene && (s.m_camera = s.m_scene->CreateCamera("camera")))},
        {"its place", ASK(s.m_camera && (s.m_camera->SetViewParams(Vector3(0, 0, -10), Vector3::ZERO, Vector3::UNIT_Y),
                                         s.m_camera->SetProjParams(1, 1.5f, 1, 100), true))},
        {"a viewport", ASK(s.m_window && s.m_camera &&
                           (s.m_viewport = s.m_window->AddViewport(s.m_camera, 1, 0.0f, 0.0f, 1.0f, 1.0f)))},
        {"a material", ASK(s.m_material = CQK3DMain::GetResourceSystem().CreateResource("CMaterial", "m.json", "",
                                                                                        false, NoLoader()))},
        {"its script", ASK(s.m_material && s.m_material->Load())},
        {"a mesh", ASK(s.MakeMesh())},
        {"an entity", ASK(s.m_scene && (s.m_entity = s.m_scene->CreateEntity("CEntity", "e")))},
        {"its mesh",
         ASK(s.m_entity && s.m_mesh && (s.m_entity->SetMesh(s.m_mesh), s.m_entity->GetSubEntityNum() == 1))},
        {"its material", ASK(s.m_material && s.m_entity && s.m_entity->GetSubEntityNum() == 1 &&
                             (s.m_entity->SetSubEntityMaterial(s.m_material), true))},
        {"a node",
         ASK(s.m_scene && (s.m_node = s.m_scene->GetRootSceneNode()->CreateChildSceneNode("n", Vector3(1, 2, 3))))},
        {"the entity on it",
         ASK(s.m_node && s.m_entity &&
             (s.m_node->AttachMovableObject(s.m_entity),
              s.m_entity->GetAttachedSceneNode() == s.m_node && s.m_node->GetAttachMovableObjectNum() == 1))},
        {"an emitter", ASK(s.MakeEmitter())},
        {"the emitter on the root",
         ASK(s.m_scene && s.m_emitter &&
             (s.m_scene->GetRootSceneNode()->AttachMovableObject(s.m_emitter.get()), s.m_emitter->IsAttached()))},
        {"the entity in view",
         ASK(s.m_viewport && s.m_entity &&
             (s.m_viewport->AddMovableObject(s.m_entity), s.m_viewport->IsMovableObjectInViewport(s.m_entity)))},
        {"the emitter in view", ASK(s.m_viewport && s.m_emitter &&
                                    (s.m_viewport->AddMovableObject(s.m_emitter.get()),
                                     s.m_viewport->IsMovableObjectInViewport(s.m_emitter.get())))},
        {"an overlay", ASK(s.m_overlay = std::make_unique<COverlayManager>())},
        {"an item", ASK(s.m_overlay && (s.m_item = s.m_overlay->CreateOverlayItem("i", 0, 0, 0, 0, 0)))},
        {"its script", ASK(s.m_item && s.m_item->SetFromScript(kOverlay))},
        {"the item on the window", ASK(s.m_window && s.m_item && (s.m_window->AddOverlayItem(s.m_item), true))},
        {"an event", ASK(s.m_scene &&
                         s.m_scene->GetTimer().SetTimerEvent(kTick, &CountEvent, &s, 0u, 1, CTimerEvent::TSM_CATCHUP))},
    };
    return steps;
}

bool TestScene::MakeEmitter() {
    if (!m_mesh || !m_material) return false;
    auto emitter = std::make_unique<CTestEmitter>("emitter");
    emitter->SetMesh(m_mesh);
    emitter->SetMaterial(m_material);
    emitter->onEmit = [this] { onCall(); };
    m_emitter = std::move(emitter);
    return true;
}

void TestScene::CountEvent(CTimerEvent* event, long long) {
    auto& scene = *static_cast<TestScene*>(event->GetParam());
    ++scene.m_events;
    scene.onCall();
}

TestScene::TestScene() : m_store(new CMemFileSystem) {
    WriteFile(*m_store, "m.json", kMaterial);
    WriteFile(*m_store, "a.tga", string(kImage, sizeof kImage));
    WriteFile(*m_store, "a.glsl", "uniform float x;\n");
}

TestScene::~TestScene() {
    m_overlay.reset();
    if (m_device) m_device->DestroyAllRenderTarget();
    m_emitter.reset();
    CQK3DMain::GetQK3DMain().DestroySceneManager("test");
    m_material.Release();
    m_mesh.Release();
    if (m_device) CQK3DMain::GetResourceSystem().NotifyRenderSystemDestroy(m_device.get());
}

bool TestScene::Build() {
    for (Step const& step : GetSteps())
        if (!step.run(*this)) return false;
    return true;
}

bool TestScene::Frame(int number) {
    if (m_scene) m_scene->GetTimer().GotoTime(number * kTick);
    if (m_scene) m_scene->UpdateScene();
    if (m_overlay) m_overlay->Update();
    return m_device && m_device->UpdateAllRenderTarget(number);
}

std::string TestScene::Draw(int number) {
    std::string lines;
    m_device->GetJournal().SetListener([&](CTraceCall const& call) { lines += call.GetBrief() + '\n'; });
    if (!Frame(number)) lines += "nothing was drawn\n";
    m_device->GetJournal().SetListener(nullptr);
    static std::regex const serial("(vertex|index|pixel|res)[0-9A-F]+");
    return std::regex_replace(lines, serial, "$1") + "events " + std::to_string(m_events) + '\n';
}

std::string FirstDifference(std::string const& drawn, std::string const& sound) {
    std::istringstream a(drawn), b(sound);
    for (std::string x, y; std::getline(a, x), std::getline(b, y), a || b;)
        if (x != y || !a || !b) return x + " in place of " + y;
    return "";
}
} // namespace qk3d
