// TestScene.cpp: the steps of the scene.
#include "TestScene.h"

#include "QK3DCamera.h"
#include "QK3DEmitter.h"
#include "QK3DEntity.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DMain.h"
#include "QK3DMemFileSystem.h"
#include "QK3DOverlayItem.h"
#include "QK3DParticle.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "QK3DVertexData.h"
#include "QK3DViewport.h"
#include <cstdlib>
#include <regex>
#include <sstream>

namespace qk3d {
namespace {
constexpr long long kTick = 1'000'000; // ten frames a second
constexpr char const* kTypes[] = {"CMaterial",     "CTexture",      "CRenderState",
                                  "CTextureState", "CSamplerState", "CGPUProgram"};

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
constexpr char kProgram[] = "uniform float x;\n";
constexpr unsigned char kImage[] = {0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 2, 0, 32, 0x20, 1, 2, 3, 4, 5, 6, 7, 8};

class CTestEmitter : public CEmitter {
public:
    explicit CTestEmitter(TestScene& scene) : CEmitter(nullptr, "emitter"), m_scene(scene) {
        SetEmitSpeed(20);
        SetTotalEmitNum(1'000);
        SetMaxParticleNum(5);
        SetEmitableObjectCreateFun(&Make, true);
    }
    ~CTestEmitter() override { DestroyAllEmitableObject(); }
    string GetTypeName() override { return "CTestEmitter"; }

private:
    static void Make(CEmitter* emitter, CEmitableObject** out) {
        if (auto const& call = static_cast<CTestEmitter*>(emitter)->m_scene.onCall) call();
        CreateCParticle(emitter, out);
        if (*out) (*out)->SetLifeTime(2 * kTick);
    }

    TestScene& m_scene;
};

void Fill(CMemFileSystem& files, string const& path, void const* bytes, std::size_t size) {
    std::unique_ptr<unsigned char, decltype(&std::free)> block(static_cast<unsigned char*>(std::malloc(size)),
                                                               &std::free);
    std::copy_n(static_cast<unsigned char const*>(bytes), size, block.get());
    if (files.WriteDataToNewFile(path, block.get(), size)) block.release();
}

CSharePtr<CResourceLoader>& NoLoader() { return CSharePtr<CResourceLoader>::GetNullSharePtr(); }
} // namespace

struct TestScene::Steps {
    static void Count(CTimerEvent* event, long long) {
        auto& scene = *static_cast<TestScene*>(event->GetParam());
        ++scene.m_events;
        if (scene.onCall) scene.onCall();
    }

    static bool Mesh(TestScene& s) {
        _ResourceSharePtr<CMesh> mesh(CQK3DMain::GetResourceSystem().CreateResourceManual("CMesh", "mesh"));
        CHardwareBufferManager* const buffers = s.m_device ? s.m_device->GetHardwareBufferManager() : nullptr;
        if (!mesh || !buffers) return false;
        auto vertices = buffers->CreateVertexBuffer(12, 3, CHardwareBuffer::HBU_STATIC, false, false);
        auto indices =
            buffers->CreateIndexBuffer(CHardwareIndexBuffer::IT_16BIT, 3, CHardwareBuffer::HBU_STATIC, false, false);
        if (vertices.IsNull() || indices.IsNull() || !vertices->Create() || !indices->Create()) return false;
        mesh->SetRenderSystem(s.m_device.get());
        CSubMesh& part = *mesh->CreateSubMesh(false);
        CVertexData& data = *part.GetVertexData();
        data.GetVertexDeclaration()->AddElement(0, VET_FLOAT3, VES_POSITION);
        data.GetVertexBufferBinding()->SetSource(0, vertices);
        data.SetVertexNum(3);
        part.CreateIndexData();
        part.GetIndexData()->SetIndexBuffer(indices);
        part.GetIndexData()->SetIndexNum(3);
        if (!mesh->Load()) return false;
        s.m_mesh = mesh;
        return true;
    }

    static bool Emitter(TestScene& s) {
        if (!s.m_mesh || !s.m_material) return false;
        auto emitter = std::make_unique<CTestEmitter>(s);
        emitter->SetMesh(s.m_mesh);
        emitter->SetMaterial(s.m_material);
        s.m_emitter = std::move(emitter);
        return true;
    }
};

std::vector<TestScene::Step> const& TestScene::GetSteps() {
    // Each looks first whether the steps that it builds on were let through.
    static std::vector<Step> const steps = {
        {"a device", [](TestScene& s) { return !!(s.m_device = std::make_unique<CTraceRenderSystem>("device")); }},
        {"a window",
         [](TestScene& s) {
             return s.m_device && (s.m_window = s.m_device->CreateRenderWindow("window", 64, 48, PF_A8R8G8B8, false));
         }},
        {"a scene",
         [](TestScene& s) {
             return !!(s.m_scene = CQK3DMain::GetQK3DMain().CreateSceneManager("CSceneManager", "test"));
         }},
        {"a camera",
         [](TestScene& s) {
             if (!s.m_scene || !(s.m_camera = s.m_scene->CreateCamera("camera"))) return false;
             s.m_camera->SetViewParams(Vector3(0, 0, -10), Vector3::ZERO, Vector3::UNIT_Y);
             s.m_camera->SetProjParams(1, 1.5f, 1, 100);
             return true;
         }},
        {"a viewport",
         [](TestScene& s) {
             return s.m_window && s.m_camera &&
                    (s.m_viewport = s.m_window->AddViewport(s.m_camera, 1, 0.0f, 0.0f, 1.0f, 1.0f));
         }},
        {"a material",
         [](TestScene& s) {
             s.m_material = CQK3DMain::GetResourceSystem().CreateResource("CMaterial", "m.json", "", false, NoLoader());
             return !!s.m_material;
         }},
        {"its script", [](TestScene& s) { return s.m_material && s.m_material->Load(); }},
        {"a mesh", &Steps::Mesh},
        {"an entity", [](TestScene& s) { return s.m_scene && (s.m_entity = s.m_scene->CreateEntity("CEntity", "e")); }},
        {"its mesh",
         [](TestScene& s) {
             if (!s.m_entity || !s.m_mesh) return false;
             s.m_entity->SetMesh(s.m_mesh);
             return s.m_entity->GetSubEntityNum() == 1;
         }},
        {"its material",
         [](TestScene& s) {
             if (!s.m_entity || !s.m_material || s.m_entity->GetSubEntityNum() == 0) return false;
             s.m_entity->SetSubEntityMaterial(s.m_material);
             return true;
         }},
        {"a node",
         [](TestScene& s) {
             return s.m_scene &&
                    (s.m_node = s.m_scene->GetRootSceneNode()->CreateChildSceneNode("n", Vector3(1, 2, 3)));
         }},
        {"the entity on it",
         [](TestScene& s) {
             if (!s.m_node || !s.m_entity) return false;
             s.m_node->AttachMovableObject(s.m_entity);
             return s.m_entity->GetAttachedSceneNode() == s.m_node && s.m_node->GetAttachMovableObjectNum() == 1;
         }},
        {"an emitter", &Steps::Emitter},
        {"the emitter on the root",
         [](TestScene& s) {
             if (!s.m_scene || !s.m_emitter) return false;
             s.m_scene->GetRootSceneNode()->AttachMovableObject(s.m_emitter.get());
             return s.m_emitter->IsAttached();
         }},
        {"the entity in view",
         [](TestScene& s) {
             if (!s.m_viewport || !s.m_entity) return false;
             s.m_viewport->AddMovableObject(s.m_entity);
             return s.m_viewport->IsMovableObjectInViewport(s.m_entity);
         }},
        {"the emitter in view",
         [](TestScene& s) {
             if (!s.m_viewport || !s.m_emitter) return false;
             s.m_viewport->AddMovableObject(s.m_emitter.get());
             return s.m_viewport->IsMovableObjectInViewport(s.m_emitter.get());
         }},
        {"an overlay", [](TestScene& s) { return !!(s.m_overlay = std::make_unique<COverlayManager>()); }},
        {"an item",
         [](TestScene& s) { return s.m_overlay && (s.m_item = s.m_overlay->CreateOverlayItem("i", 0, 0, 0, 0, 0)); }},
        {"its script", [](TestScene& s) { return s.m_item && s.m_item->SetFromScript(kOverlay); }},
        {"the item on the window",
         [](TestScene& s) {
             if (!s.m_window || !s.m_item) return false;
             s.m_window->AddOverlayItem(s.m_item);
             return true;
         }},
        {"an event",
         [](TestScene& s) {
             return s.m_scene && s.m_scene->GetTimer().SetTimerEvent(kTick, &Steps::Count, &s, 0u, 1,
                                                                     CTimerEvent::TSM_CATCHUP) != nullptr;
         }},
    };
    return steps;
}

TestScene::TestScene() {
    CQK3DMain::GetQK3DMain();
    auto* const files = new CMemFileSystem;
    CSharePtr<CFileSystem> store(files, qklib::PRM_DELETE);
    for (char const* type : kTypes) CQK3DMain::GetResourceSystem().GetResourceManager(type)->AddFileSystem("A", store);
    Fill(*files, "m.json", kMaterial, sizeof kMaterial - 1);
    Fill(*files, "a.tga", kImage, sizeof kImage);
    Fill(*files, "a.glsl", kProgram, sizeof kProgram - 1);
}

TestScene::~TestScene() {
    // What has no memory for its work may say so, and does it the next time.
    auto const surely = [](auto action) {
        try {
            action();
        } catch (std::bad_alloc const&) { action(); }
    };
    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    m_overlay.reset();
    if (m_device) surely([&] { m_device->DestroyAllRenderTarget(); });
    m_emitter.reset();
    surely([] { CQK3DMain::GetQK3DMain().DestroySceneManager("test"); });
    m_material.Release();
    m_mesh.Release();
    surely([&] { resources.DestroyUnusedResources(); }); // programs are kept
    if (m_device) surely([&] { resources.NotifyRenderSystemDestroy(m_device.get()); });
    m_device.reset();
    for (char const* type : kTypes) surely([&] { resources.GetResourceManager(type)->RemoveFileSystem("A"); });
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
