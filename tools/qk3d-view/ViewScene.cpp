// ViewScene.cpp: builds a scene out of the engine's objects and moves it.
#include "ViewScene.h"

#include "QK3DCamera.h"
#include "QK3DEmitter.h"
#include "QK3DEntity.h"
#include "QK3DFactory.h"
#include "QK3DGPUProgram.h"
#include "QK3DGenName.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DMeshManager.h"
#include "QK3DPass.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderTexture.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "QK3DTextureManager.h"
#include "QK3DViewport.h"
#include <algorithm>
#include <cmath>
#include <cstring>

namespace view {
using namespace qk3d;

namespace {
constexpr float kDegree = 3.14159265f / 180;
constexpr short kOpaqueLayer = 1, kTransparentLayer = 2, kParticleLayer = 3;

CResourceSystem& Resources() { return CQK3DMain::GetResourceSystem(); }

std::filesystem::file_time_type TimeOf(std::string const& utf8) {
    std::error_code error;
    auto const time =
        std::filesystem::last_write_time(std::filesystem::path(std::u8string(utf8.begin(), utf8.end())), error);
    return error ? std::filesystem::file_time_type::min() : time;
}

// Grows a box by all positions of a mesh, read back from its buffers.
void GrowByMesh(CMesh& mesh, std::optional<Vector3>& low, std::optional<Vector3>& high) {
    for (unsigned int i = 0; i < mesh.GetSubMeshNum(); ++i) {
        CVertexData& data = *mesh.GetSubMesh(i)->GetVertexData();
        auto const* position = data.GetVertexDeclaration()->FindElementBySemantic(VES_POSITION, 0);
        auto const& source =
            std::as_const(*data.GetVertexBufferBinding().GetPointer()).GetSource(position ? position->GetSource() : 0);
        if (!position || source.IsNull()) continue;
        auto& buffer = *source.GetPointer();
        std::vector<unsigned char> bytes(buffer.GetRequestMemSizeInBytes());
        buffer.ReadData(0, bytes.size(), bytes.data());
        for (std::size_t at = position->GetOffset(); at + sizeof(Vector3) <= bytes.size();
             at += buffer.GetUnitSizeInBytes()) {
            Vector3 place;
            std::memcpy(&place, &bytes[at], sizeof place);
            if (!low) low = high = place;
            *low = Vector3(std::min(low->x, place.x), std::min(low->y, place.y), std::min(low->z, place.z));
            *high = Vector3(std::max(high->x, place.x), std::max(high->y, place.y), std::max(high->z, place.z));
        }
    }
}

Matrix44 TurnedBy(Vector3 const& degrees) {
    return MatBuildRotationX(degrees.x * kDegree) * MatBuildRotationY(degrees.y * kDegree) *
           MatBuildRotationZ(degrees.z * kDegree);
}

void Aim(CCamera& camera, Orbit const& orbit, float aspect, double seconds) {
    float const yaw = (orbit.yaw + orbit.turn * static_cast<float>(seconds)) * kDegree, pitch = orbit.pitch * kDegree;
    Vector3 const ahead(std::sin(yaw) * std::cos(pitch), -std::sin(pitch), std::cos(yaw) * std::cos(pitch));
    camera.SetViewParams(orbit.target - ahead * orbit.distance, orbit.target, Vector3::UNIT_Y);
    camera.SetProjParams(orbit.fov * kDegree, aspect, orbit.nearest, orbit.farthest);
}

template <class Visit>
void ForEachPass(CMaterial& material, Visit&& visit) {
    for (unsigned int t = 0; t < material.GetTechniqueNum(); ++t)
        for (unsigned int p = 0; p < material.GetTechnique(t)->GetPassNum(); ++p)
            visit(*material.GetTechnique(t)->GetPass(p));
}
} // namespace

CViewScene::CViewScene(CViewEngine& engine) : m_engine(engine) {}

// Entities point at meshes, and viewports at entities, so the targets forget first.
CViewScene::~CViewScene() {
    m_engine.Target().RemoveAllViewport();
    for (Screen& screen : m_screens)
        if (CRenderTexture* const target = screen.texture->GetRenderTexture()) target->RemoveAllViewport();
    m_emitters.clear();
    m_engine.Scene().DestroyAllMovableObject();
}

void CViewScene::AddMaterial(std::string const& file) {
    qklib::CSharePtr<CResourceLoader> noLoader;
    string const path = m_engine.Files().Find(file), name = ToNarrow(StemOf(file));
    _ResourceSharePtr<CMaterial> material = Resources().GetResource("CMaterial", name);
    if (material) return; // named twice
    material = Resources().CreateResource("CMaterial", path, name, false, noLoader);
    if (!material || !material->Load()) throw Failure("the material cannot be loaded: " + file);
    m_scripts.push_back({file, material, TimeOf(file)});
}

void CViewScene::AddScreen(ScreenPlan const& plan) {
    auto* const manager = static_cast<CTextureManager*>(Resources().GetResourceManager("CTexture"));
    qklib::CSharePtr<CResourceLoader> noLoader;
    auto texture = manager->CreateTexture("", ToNarrow(plan.texture), plan.width, plan.height, PF_A8R8G8B8,
                                          &m_engine.Device(), CTexture::TU_RENDERTARGET, false, false, noLoader);
    CRenderTexture* const target = texture ? texture->GetRenderTexture() : nullptr;
    if (!target) throw Failure("the device cannot draw into a texture: " + plan.texture);
    m_screens.push_back({texture, m_engine.Scene().CreateCamera(ToNarrow(plan.texture)), plan.camera});
}

_ResourceSharePtr<CMesh> CViewScene::LoadModel(ObjectPlan const& plan) {
    string const path = m_engine.Files().Find(plan.model);
    _ResourceSharePtr<CMesh> mesh = Resources().GetResource("CMesh", path);
    if (!mesh) {
        mesh = Resources().CreateResource("CMesh", path, "", false, m_engine.ModelLoader());
        if (mesh) mesh->SetRenderSystem(&m_engine.Device());
    }
    if (!mesh || !mesh->MakeSureLoaded() || mesh->GetSubMeshNum() == 0)
        throw Failure("the model cannot be loaded: " + plan.model);
    return mesh;
}

_ResourceSharePtr<CMesh> CViewScene::MakeShape(ObjectPlan const& plan) {
    _ResourceSharePtr<CMesh> mesh = Resources().CreateResourceManual("CMesh", "");
    if (mesh) mesh->SetRenderSystem(&m_engine.Device());
    if (!mesh || !mesh->MakeSureLoaded() || !BuildShape(*mesh, plan.shape, ToNarrow(plan.material)))
        throw Failure("the shape cannot be made: " + plan.shape.kind);
    return mesh;
}

void CViewScene::CheckMaterialName(std::string const& material) const {
    if (!material.empty() && !Resources().IsResourceExist("CMaterial", ToNarrow(material)))
        throw Failure("there is no material of this name: " + material);
}

void CViewScene::AddObject(ObjectPlan const& plan) {
    string const material = ToNarrow(plan.material);
    CheckMaterialName(plan.material);
    _ResourceSharePtr<CMesh> mesh = plan.model.empty() ? MakeShape(plan) : LoadModel(plan);
    m_held.push_back(mesh);
    CSceneManager& scene = m_engine.Scene();
    CEntity* const entity = scene.CreateEntity("CEntity");
    CSceneNode* const node = scene.GetRootSceneNode()->CreateChildSceneNode(Vector3::ZERO, Quaternion::IDENTITY);
    entity->SetMesh(mesh);
    // By entity and not by mesh: two objects may show one model with different materials.
    if (!material.empty()) entity->SetSubEntityMaterialName(material);
    node->AttachMovableObject(entity);
    m_counter.Watch(*entity);

    Object object{node, entity, Matrix44::IDENTITY, plan};
    std::optional<Vector3> low, high;
    GrowByMesh(*mesh, low, high);
    Matrix44 const turn = TurnedBy(plan.rotation);
    if (low && plan.scale < 0) {
        // Its largest side gets the length asked for, and its foot comes to stand on the position.
        Vector3 const size = *high - *low;
        float const largest = std::max({size.x, size.y, size.z, 1e-6f});
        Vector3 const foot((low->x + high->x) / 2, low->y, (low->z + high->z) / 2);
        float const scale = -plan.scale / largest;
        object.transform = MatBuildTranslation(-foot.x, -foot.y, -foot.z) * MatBuildScale(scale, scale, scale) * turn;
    } else {
        object.transform = MatBuildScale(plan.scale, plan.scale, plan.scale) * turn;
    }
    object.transform = object.transform * MatBuildTranslation(plan.position.x, plan.position.y, plan.position.z);
    m_objects.push_back(object);

    if (!low || plan.shape.kind == "DOME") return;
    for (int corner = 0; corner < 8; ++corner) {
        Vector4 const place(corner & 1 ? high->x : low->x, corner & 2 ? high->y : low->y, corner & 4 ? high->z : low->z,
                            1);
        Vector3 const world(place * object.transform);
        if (!m_low) m_low = m_high = world;
        *m_low = Vector3(std::min(m_low->x, world.x), std::min(m_low->y, world.y), std::min(m_low->z, world.z));
        *m_high = Vector3(std::max(m_high->x, world.x), std::max(m_high->y, world.y), std::max(m_high->z, world.z));
    }
}

void CViewScene::AddEmitter(EmitterPlan const& plan) {
    CheckMaterialName(plan.material);
    std::unique_ptr<CEmitter> emitter(
        CQK3DMain::GetFactory().CreateEmitter(ToNarrow(plan.type), CGenName::GenNameByTime_ansi("emitter", "")));
    if (!emitter) throw Failure("there are no emitters of this type: " + plan.type);
    ObjectPlan looks;
    looks.shape = plan.shape;
    looks.material = plan.material;
    _ResourceSharePtr<CMesh> mesh = MakeShape(looks);
    emitter->SetMesh(mesh); // which holds it
    _ResourceSharePtr<CMaterial> material = Resources().GetResource("CMaterial", ToNarrow(plan.material));
    emitter->SetMaterial(material);
    if (auto* const settings = dynamic_cast<qklib::ISerial*>(emitter.get())) settings->SetFromParameter(plan.settings);
    emitter->SetBornTime(-static_cast<long long>(plan.runningFor * 1e7));

    CSceneNode* const node =
        m_engine.Scene().GetRootSceneNode()->CreateChildSceneNode(Vector3::ZERO, Quaternion::IDENTITY);
    node->SetTransform(TurnedBy(plan.rotation) *
                       MatBuildTranslation(plan.position.x, plan.position.y, plan.position.z));
    node->AttachMovableObject(emitter.get());
    m_counter.Watch(*emitter);
    m_emitters.push_back(std::move(emitter));
}

void CViewScene::GetBounds(Vector3& centre, float& radius) const {
    if (!m_low) return;
    centre = (*m_low + *m_high) * 0.5f;
    radius = std::max((*m_high - *m_low).Length() / 2, 1e-6f);
}

void CViewScene::SetLight(Json::Value const& light) {
    if (!m_engine.Call("SetLight", light))
        throw Failure("the device does not take this light: " + light.toStyledString());
}

void CViewScene::SetSurface(Json::Value const& surface) {
    if (!m_engine.Call("SetMaterial", surface))
        throw Failure("the device does not take this surface: " + surface.toStyledString());
}

void CViewScene::SetView(Orbit const& orbit) {
    m_view = orbit;
    m_camera = m_engine.Scene().CreateCamera("view");
    AddViewports(m_engine.Target(), *m_camera, false);
    for (Screen& screen : m_screens) AddViewports(*screen.texture->GetRenderTexture(), *screen.camera, true);
}

// Layers over the same range: what is transparent goes over everything opaque, and particles over that.
void CViewScene::AddViewports(CRenderTarget& target, CCamera& camera, bool isScreen) {
    for (short const layer : {kOpaqueLayer, kTransparentLayer}) {
        CViewport* const viewport = target.AddViewport(&camera, layer, 0.0f, 0.0f, 1.0f, 1.0f);
        for (Object& object : m_objects)
            if (object.plan.isTransparent == (layer == kTransparentLayer) &&
                !(isScreen && object.plan.isHiddenFromScreens))
                viewport->AddMovableObject(object.entity);
    }
    if (!m_emitters.empty()) {
        CViewport* const viewport = target.AddViewport(&camera, kParticleLayer, 0.0f, 0.0f, 1.0f, 1.0f);
        for (auto const& emitter : m_emitters) viewport->AddMovableObject(emitter.get());
    }
    if (isScreen) target.SetBackgroundColor(m_engine.Target().GetBackgroundColor());
}

void CViewScene::Advance(double seconds) {
    m_engine.Scene().GetTimer().GotoTime(static_cast<long long>(std::llround(seconds * 1e7)));
    for (Object& object : m_objects) {
        Vector3 const& position = object.plan.position;
        Matrix44 transform = object.transform;
        if (object.plan.spin != 0)
            transform = transform * MatBuildTranslation(-position.x, -position.y, -position.z) *
                        MatBuildRotationY(object.plan.spin * kDegree * static_cast<float>(seconds)) *
                        MatBuildTranslation(position.x, position.y, position.z);
        object.node->SetTransform(transform);
    }
    CRenderWindow& window = m_engine.Target();
    if (m_camera)
        Aim(*m_camera, m_view,
            static_cast<float>(window.GetWidth()) / static_cast<float>(std::max(window.GetHeight(), 1u)), seconds);
    for (Screen& screen : m_screens)
        Aim(*screen.camera, screen.orbit,
            static_cast<float>(screen.texture->GetWidth()) /
                static_cast<float>(std::max(screen.texture->GetHeight(), 1u)),
            seconds);
    m_engine.Scene().UpdateScene();
    FeedPrograms(seconds);
}

// Programs that have a parameter "time" get the seconds since the start. They have parameters once they are compiled, so
// the first frame shows them at 0.
void CViewScene::FeedPrograms(double seconds) {
    float time = static_cast<float>(seconds);
    for (Script& script : m_scripts)
        ForEachPass(*script.material, [&](CPass& pass) {
            for (CGPUProgramParamTable* const table :
                 {pass.GetVertexShaderParamTable(), pass.GetPixelShaderParamTable()})
                if (table) table->SetParamValue("time", &time, sizeof time);
        });
}

void CViewScene::SetWireframe(bool on) {
    m_isWireframe = on;
    for (Object& object : m_objects)
        for (unsigned int i = 0; i < object.entity->GetSubEntityNum(); ++i) {
            _ResourceSharePtr<CMaterial>& material = object.entity->GetSubEntity(i)->GetMaterial();
            if (!material) continue;
            ForEachPass(*material, [&](CPass& pass) {
                if (!pass.GetRenderState()) pass.SetRenderState(Resources().CreateResourceManual("CRenderState", ""));
                if (on)
                    pass.GetRenderState()->SetState(CRenderState::FILLMODE, 2);
                else
                    pass.GetRenderState()->RemoveState(CRenderState::FILLMODE);
            });
        }
}

void CViewScene::ReloadMaterials(bool onlyChanged) {
    bool any = false;
    for (Script& script : m_scripts) {
        auto const time = TimeOf(script.file);
        if (onlyChanged && time == script.time) continue;
        script.time = time;
        script.material->Unload();
        // A script that is half written right now is tried again when its time changes the next time.
        script.material->Load();
        any = true;
    }
    if (any && m_isWireframe) SetWireframe(true);
}

// What was never drawn has no device, and nothing to tell.
void CViewScene::CheckMaterials() {
    auto const isBroken = [](auto const& resource) {
        return resource && resource->GetRenderSystem() && resource->GetLoadingState() != LOADSTATE_LOADED;
    };
    for (Script& script : m_scripts)
        ForEachPass(*script.material, [&](CPass& pass) {
            for (auto texture = pass.EnumTextureBegin(); texture != pass.EnumTextureEnd(); ++texture)
                if (isBroken(*texture))
                    throw Failure("a texture of " + script.file +
                                  " cannot be loaded: " + ToUtf8((*texture)->GetPath()));
            for (auto const& program : {pass.GetVertexShader(), pass.GetPixelShader()})
                if (isBroken(program))
                    throw Failure("a program of " + script.file + " does not compile: " + ToUtf8(program->GetPath()));
        });
}
} // namespace view
