// EnduranceTest.cpp: a scene in which things come and go at random for many frames, and nothing stays behind.
// QK3D_ENDURANCE_FRAMES and QK3D_ENDURANCE_SEED change how long and which.
#include "AllocationCount.h"
#include "TestLog.h"
#include "TestScene.h"
#include <gtest/gtest.h>
#include <iostream>
#include <random>

using namespace qk3d;

namespace {
unsigned int FromEnvironment(char const* name, unsigned int otherwise) {
    char const* const text = std::getenv(name);
    return text ? static_cast<unsigned int>(std::strtoul(text, nullptr, 10)) : otherwise;
}

CResourceSystem& Resources() { return CQK3DMain::GetResourceSystem(); }

// A scene, and what came to it.
struct World {
    explicit World(unsigned int seed) : random(seed) {}

    std::mt19937 random;
    TestScene scene;
    std::vector<CSceneNode*> nodes;
    std::vector<CEntity*> entities;
    std::vector<CTestEmitter*> emitters; // owned
    std::vector<_ResourceSharePtr<CTexture>> textures;
    std::vector<_ResourceSharePtr<CMaterial>> materials;
    std::vector<COverlayItem*> items;
    std::vector<CTimerEvent*> events;
    int frame = 0;
    unsigned int names = 0;

    std::size_t Below(std::size_t bound) { return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random); }
    string Name() { return "n" + std::to_string(++names); }

    template <class Thing>
    Thing TakeOne(std::vector<Thing>& things) {
        std::swap(things[Below(things.size())], things.back());
        Thing const thing = things.back();
        things.pop_back();
        return thing;
    }

    // One of those that there are; null if there is none.
    template <class Thing>
    Thing* Some(std::vector<Thing>& things) {
        return things.empty() ? nullptr : &things[Below(things.size())];
    }
    CSceneNode* SomeNode() {
        CSceneNode** const node = Below(4) == 0 ? nullptr : Some(nodes);
        return node ? *node : scene.GetScene().GetRootSceneNode();
    }
    void Place(CMovableObject* thing) {
        SomeNode()->AttachMovableObject(thing);
        scene.GetViewport().AddMovableObject(thing);
    }
};

// Those who use others come after them.
struct Kind {
    std::size_t (*count)(World& w);
    void (*add)(World& w);
    void (*remove)(World& w);
} const kKinds[] = {
    {[](World& w) { return w.textures.size(); },
     [](World& w) {
         _ResourceSharePtr<CTexture> texture(Resources().CreateResourceManual("CTexture", w.Name()));
         texture->SetWidth(4);
         texture->SetHeight(4);
         texture->SetPixelFormat(PF_A8R8G8B8);
         w.textures.push_back(texture);
     },
     [](World& w) { w.TakeOne(w.textures); }},
    {[](World& w) { return w.materials.size(); },
     [](World& w) {
         _ResourceSharePtr<CMaterial> material(Resources().CreateResourceManual("CMaterial", w.Name()));
         CPass* const pass = material->CreateTechnique()->CreatePass();
         pass->SetFromScript(R"({"RenderState": {"ZENABLE": "TRUE"}, "SamplerState": [{"ADDRESSU": "CLAMP"}]})");
         if (auto const* texture = w.Some(w.textures)) pass->SetTexture(0, *texture);
         w.materials.push_back(material);
     },
     [](World& w) { w.TakeOne(w.materials); }},
    {[](World& w) { return w.nodes.size(); },
     [](World& w) { w.nodes.push_back(w.SomeNode()->CreateChildSceneNode(w.Name(), Vector3(1, 0, 1))); },
     [](World& w) { w.scene.GetScene().DestroySceneNode(w.TakeOne(w.nodes)->GetName()); }},
    {[](World& w) { return w.entities.size(); },
     [](World& w) {
         CEntity* const entity = w.entities.emplace_back(w.scene.GetScene().CreateEntity("CEntity", w.Name()));
         entity->SetMesh(w.scene.GetMesh());
         if (auto* const material = w.Some(w.materials)) entity->SetSubEntityMaterial(*material);
         w.Place(entity);
     },
     [](World& w) {
         CEntity* const entity = w.TakeOne(w.entities);
         w.scene.GetViewport().RemoveMovableObject(entity);
         w.scene.GetScene().DestroyEntity("CEntity", entity->GetName());
     }},
    {[](World& w) { return w.emitters.size(); },
     [](World& w) {
         CTestEmitter* const emitter = w.emitters.emplace_back(new CTestEmitter(w.Name()));
         emitter->SetMesh(w.scene.GetMesh());
         if (auto* const material = w.Some(w.materials)) emitter->SetMaterial(*material);
         w.Place(emitter);
     },
     [](World& w) {
         CTestEmitter* const emitter = w.TakeOne(w.emitters);
         w.scene.GetViewport().RemoveMovableObject(emitter);
         delete emitter;
     }},
    {[](World& w) { return w.items.size(); },
     [](World& w) {
         COverlayItem* const item = w.scene.GetOverlay().CreateOverlayItem(w.Name(), 1, 1, 8, 8, 0);
         if (w.Below(2)) item->SetTexture(string("Blank"));
         if (auto const* texture = w.Some(w.textures)) item->CreateSubItem("sub")->SetTexture(*texture);
         w.scene.GetWindow().AddOverlayItem(item);
         w.items.push_back(item);
     },
     [](World& w) { w.scene.GetOverlay().DestroyOverlayItem(w.TakeOne(w.items)->GetName()); }},
    {[](World& w) { return w.events.size(); },
     [](World& w) {
         CTimer& timer = w.scene.GetScene().GetTimer();
         auto const interval = static_cast<long long>(w.Below(3)), life = static_cast<long long>(w.Below(50));
         w.events.push_back(timer.SetTimerEvent(
             interval * TestScene::kTick, [](CTimerEvent*, long long) {}, nullptr, timer.GetTime(),
             timer.GetTime() + life * TestScene::kTick, CTimerEvent::TSM_CATCHUP));
     },
     [](World& w) { w.scene.GetScene().GetTimer().RemoveTimerEvent(w.TakeOne(w.events)); }},
};

/// What is alive: blocks of memory, then resources by type.
string Count() {
    string counts = std::to_string(AllocationCount::GetLive());
    for (char const* type : {"CMesh", "CTexture", "CMaterial", "CRenderState", "CTextureState", "CSamplerState"}) {
        CResourceManager& manager = *Resources().GetResourceManager(type);
        counts += ' ' + std::to_string(std::distance(manager.EnumResourceBegin(), manager.EnumResourceEnd()));
    }
    return counts;
}
} // namespace

TEST(Endurance, NothingStaysBehindOfWhatComesAndGoes) {
    unsigned int const frames = FromEnvironment("QK3D_ENDURANCE_FRAMES", 10'000);
    unsigned int const seed = FromEnvironment("QK3D_ENDURANCE_SEED", 1);
    std::cout << frames << " frames, seed " << seed << std::endl;
    CTestLog log;
    World world(seed);
    ASSERT_TRUE(world.scene.Build());
    auto const run = [&](unsigned int number) {
        for (unsigned int i = 0; i < number && !testing::Test::HasFailure(); ++i) {
            // Adds to a kind of thing, or takes from it: as likely at half of the most there can be.
            for (int act = 0; act < 4; ++act) {
                Kind const& kind = kKinds[world.Below(std::size(kKinds))];
                (world.Below(24) >= kind.count(world) ? kind.add : kind.remove)(world);
            }
            EXPECT_TRUE(world.scene.Frame(++world.frame));
        }
        for (std::size_t at = std::size(kKinds); at-- > 0;) // everything that came goes again
            while (kKinds[at].count(world) > 0) kKinds[at].remove(world);
        for (int i = 0; i < 3; ++i) world.scene.Frame(++world.frame);
        EXPECT_EQ(log.TakeLines(), LogLines({}));
        return Count();
    };
    unsigned int const warm = std::min(frames / 2, 1'000u);
    auto const early = run(warm);
    EXPECT_EQ(run(frames - warm), early);
    EXPECT_GT(world.scene.GetDevice().GetJournal().GetCount("Render"), 10 * frames) << "there was something to see";
}
