// EnduranceTest.cpp: a scene in which things come and go at random for many frames, and nothing stays behind.
// QK3D_ENDURANCE_FRAMES and QK3D_ENDURANCE_SEED change how long and which.
#include "AllocationCount.h"
#include "QK3DCamera.h"
#include "QK3DEmitter.h"
#include "QK3DEntity.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include "QK3DParticle.h"
#include "QK3DPass.h"
#include "QK3DRenderTexture.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceSystem.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "QK3DTexture.h"
#include "QK3DViewport.h"
#include "TestLog.h"
#include "TraceRenderSystem.h"
#include <array>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iostream>
#include <random>

using namespace qk3d;

namespace {
constexpr long long kTick = 166'667;

unsigned int FromEnvironment(char const* name, unsigned int otherwise) {
    char const* const text = std::getenv(name);
    return text ? static_cast<unsigned int>(std::strtoul(text, nullptr, 10)) : otherwise;
}

class CEndureEmitter : public CEmitter {
public:
    explicit CEndureEmitter(string const& name) : CEmitter(nullptr, name) {
        SetEmitSpeed(100);
        SetTotalEmitNum(1'000'000);
        SetMaxParticleNum(20);
        SetRange(Vector3(-1, -1, -1), Vector3(1, 1, 1));
        SetEmitableObjectCreateFun(&Make, true);
    }
    ~CEndureEmitter() override { DestroyAllEmitableObject(); }
    string GetTypeName() override { return "CEndureEmitter"; }

private:
    static void Make(CEmitter* emitter, CEmitableObject** out) {
        CreateCParticle(emitter, out);
        if (*out) (*out)->SetLifeTime(5 * kTick);
    }
};

class World {
public:
    explicit World(unsigned int seed) : m_random(seed) {
        m_window = m_device.CreateRenderWindow("window", 64, 48, PF_A8R8G8B8, false);
        CCamera* const camera = m_scene.CreateCamera("camera");
        camera->SetViewParams(Vector3(0, 0, -10), Vector3::ZERO, Vector3::UNIT_Y);
        camera->SetProjParams(1, 4.0f / 3, 1, 100);
        m_viewport = m_window->AddViewport(camera, 1, 0.0f, 0.0f, 1.0f, 1.0f);
        m_mesh = Resources().CreateResourceManual("CMesh", "mesh");
        m_mesh->SetRenderSystem(&m_device);
        m_mesh->CreateSubMesh(false)->GetVertexData();
        m_mesh->Load();
    }
    ~World() {
        Clear();
        m_device.DestroyAllRenderTarget();
        m_mesh.Release();
        Resources().NotifyRenderSystemDestroy(&m_device);
    }

    void Frame() {
        for (int i = 0; i < 4; ++i) Act();
        m_scene.GetTimer().TimeStepIn(kTick);
        m_scene.UpdateScene();
        m_overlay.Update();
        EXPECT_TRUE(m_device.UpdateAllRenderTarget(++m_time));
    }

    // Everything that came goes again.
    void Clear() {
        while (!m_events.empty()) RemoveEvent();
        while (!m_items.empty()) RemoveItem();
        while (!m_emitters.empty()) RemoveEmitter();
        while (!m_entities.empty()) RemoveEntity();
        while (!m_nodes.empty()) RemoveNode();
        while (!m_materials.empty()) RemoveMaterial();
        while (!m_textures.empty()) RemoveTexture();
        m_scene.UpdateScene();
        m_overlay.Update();
        m_device.UpdateAllRenderTarget(++m_time);
    }

    /// What is alive: blocks of memory, then resources by type.
    static std::array<long long, 7> Count() {
        std::array<long long, 7> counts{AllocationCount::GetLive()};
        std::size_t at = 0;
        for (char const* type : {"CMesh", "CTexture", "CMaterial", "CRenderState", "CTextureState", "CSamplerState"}) {
            CResourceManager& manager = *Resources().GetResourceManager(type);
            counts[++at] = std::distance(manager.EnumResourceBegin(), manager.EnumResourceEnd());
        }
        return counts;
    }
    unsigned long long CountOfDraws() { return m_device.GetJournal().GetCount("Render"); }

private:
    static CResourceSystem& Resources() { return CQK3DMain::GetResourceSystem(); }

    std::size_t Below(std::size_t bound) { return std::uniform_int_distribution<std::size_t>(0, bound - 1)(m_random); }
    string Name() { return "n" + std::to_string(++m_names); }

    template <class Thing>
    Thing TakeOne(std::vector<Thing>& things) {
        std::swap(things[Below(things.size())], things.back());
        Thing const thing = things.back();
        things.pop_back();
        return thing;
    }

    // Adds to one kind of thing, or takes from it: as likely at half of the most there can be.
    void Act() {
        struct Kind {
            std::size_t number;
            void (World::*add)();
            void (World::*remove)();
        } const kinds[] = {
            {m_nodes.size(), &World::AddNode, &World::RemoveNode},
            {m_entities.size(), &World::AddEntity, &World::RemoveEntity},
            {m_emitters.size(), &World::AddEmitter, &World::RemoveEmitter},
            {m_textures.size(), &World::AddTexture, &World::RemoveTexture},
            {m_materials.size(), &World::AddMaterial, &World::RemoveMaterial},
            {m_items.size(), &World::AddItem, &World::RemoveItem},
            {m_events.size(), &World::AddEvent, &World::RemoveEvent},
        };
        Kind const& kind = kinds[Below(std::size(kinds))];
        (this->*(Below(kMost) >= kind.number ? kind.add : kind.remove))();
    }

    CSceneNode* SomeNode() {
        bool const isRoot = m_nodes.empty() || Below(4) == 0;
        return isRoot ? m_scene.GetRootSceneNode() : m_nodes[Below(m_nodes.size())];
    }

    void AddNode() {
        m_nodes.push_back(SomeNode()->CreateChildSceneNode(Name(), Vector3(1, 0, static_cast<float>(Below(5)))));
    }
    void RemoveNode() { m_scene.DestroySceneNode(TakeOne(m_nodes)->GetName()); }

    void AddEntity() {
        CEntity* const entity = m_scene.CreateEntity("CEntity", Name());
        entity->SetMesh(m_mesh);
        if (!m_materials.empty()) entity->SetSubEntityMaterial(m_materials[Below(m_materials.size())]);
        SomeNode()->AttachMovableObject(entity);
        m_viewport->AddMovableObject(entity);
        m_entities.push_back(entity);
    }
    void RemoveEntity() {
        CEntity* const entity = TakeOne(m_entities);
        m_viewport->RemoveMovableObject(entity);
        m_scene.DestroyEntity("CEntity", entity->GetName());
    }

    void AddEmitter() {
        auto* const emitter = new CEndureEmitter(Name());
        m_emitters.push_back(emitter);
        emitter->SetMesh(m_mesh);
        if (!m_materials.empty()) emitter->SetMaterial(m_materials[Below(m_materials.size())]);
        SomeNode()->AttachMovableObject(emitter);
        m_viewport->AddMovableObject(emitter);
    }
    void RemoveEmitter() {
        CEndureEmitter* const emitter = TakeOne(m_emitters);
        m_viewport->RemoveMovableObject(emitter);
        delete emitter;
    }

    void AddTexture() {
        _ResourceSharePtr<CTexture> texture(Resources().CreateResourceManual("CTexture", Name()));
        texture->SetWidth(4);
        texture->SetHeight(4);
        texture->SetPixelFormat(PF_A8R8G8B8);
        m_textures.push_back(texture);
    }
    void RemoveTexture() { TakeOne(m_textures); }

    void AddMaterial() {
        _ResourceSharePtr<CMaterial> material(Resources().CreateResourceManual("CMaterial", Name()));
        CPass* const pass = material->CreateTechnique()->CreatePass();
        pass->SetFromScript(R"({"RenderState": {"ZENABLE": "TRUE"}, "SamplerState": [{"ADDRESSU": "CLAMP"}]})");
        if (!m_textures.empty()) pass->SetTexture(0, m_textures[Below(m_textures.size())]);
        m_materials.push_back(material);
    }
    void RemoveMaterial() { TakeOne(m_materials); }

    void AddItem() {
        COverlayItem* const item = m_overlay.CreateOverlayItem(Name(), 1, 1, 8, 8, 0);
        if (Below(2)) item->SetTexture(string("Blank"));
        if (Below(2) && !m_textures.empty())
            item->CreateSubItem("sub")->SetTexture(m_textures[Below(m_textures.size())]);
        m_window->AddOverlayItem(item);
        m_items.push_back(item);
    }
    void RemoveItem() { m_overlay.DestroyOverlayItem(TakeOne(m_items)->GetName()); }

    void AddEvent() {
        m_events.push_back(m_scene.GetTimer().SetTimerEvent(
            static_cast<long long>(Below(3)) * kTick, [](CTimerEvent*, long long) {}, nullptr, m_scene.GetTime(),
            m_scene.GetTime() + static_cast<long long>(Below(50)) * kTick, CTimerEvent::TSM_CATCHUP));
    }
    void RemoveEvent() { m_scene.GetTimer().RemoveTimerEvent(TakeOne(m_events)); }

    static constexpr std::size_t kMost = 24;

    std::mt19937 m_random;
    CTraceRenderSystem m_device{"device"};
    CSceneManager m_scene{"scene"};
    COverlayManager m_overlay;
    CRenderWindow* m_window;
    CViewport* m_viewport;
    _ResourceSharePtr<CMesh> m_mesh;
    std::vector<CSceneNode*> m_nodes;
    std::vector<CEntity*> m_entities;
    std::vector<CEndureEmitter*> m_emitters; // owned
    std::vector<_ResourceSharePtr<CTexture>> m_textures;
    std::vector<_ResourceSharePtr<CMaterial>> m_materials;
    std::vector<COverlayItem*> m_items;
    std::vector<CTimerEvent*> m_events;
    long long m_time = 0;
    unsigned int m_names = 0;
};
} // namespace

TEST(Endurance, NothingStaysBehindOfWhatComesAndGoes) {
    unsigned int const frames = FromEnvironment("QK3D_ENDURANCE_FRAMES", 10'000);
    unsigned int const seed = FromEnvironment("QK3D_ENDURANCE_SEED", 1);
    std::cout << frames << " frames, seed " << seed << std::endl;
    CTestLog log;
    CQK3DMain::GetQK3DMain();
    World world(seed);
    auto const run = [&](unsigned int number) {
        for (unsigned int i = 0; i < number && !testing::Test::HasFailure(); ++i) world.Frame();
        world.Clear();
        EXPECT_TRUE(log.TakeLines().empty());
        return world.Count();
    };
    unsigned int const warm = std::min(frames / 2, 1'000u);
    auto const early = run(warm);
    EXPECT_EQ(run(frames - warm), early);
    EXPECT_GT(world.CountOfDraws(), 10 * frames) << "there was something to see";
}
