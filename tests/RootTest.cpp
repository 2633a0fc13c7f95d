// RootTest.cpp: the factory, the registries of the engine root, plug-in types, and the way down.
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"
#include "TestLog.h"

using namespace qk3d;

namespace {
CQK3DMain& Root() { return CQK3DMain::GetQK3DMain(); }

std::string g_steps; // what the objects below did

struct CTestScene : CSceneManager {
    explicit CTestScene(string const& name) : CSceneManager(name) { g_steps += "make " + name + ", "; }
    ~CTestScene() override {
        g_steps += "delete scene, ";
        if (destroysItself) Root().DestroySceneManager("again");
    }
    string GetTypeName() override { return "CTestScene"; }
    void Init() override {
        g_steps += "init, ";
        if (asksForItself-- > 0) other = Root().CreateSceneManager("CTestScene", "nested");
    }
    bool destroysItself = false;
    static inline int asksForItself = 0;
    static inline CSceneManager* other = nullptr;
};

// Lies where the one before it lay.
struct CTestDevice : CRecordingRenderSystem {
    using CRecordingRenderSystem::CRecordingRenderSystem;
    ~CTestDevice() override { g_steps += "delete device, "; }
    string GetTypeName() override { return "CTestDevice"; }
    void _ReleaseImpl() override {
        g_steps += "release device, ";
        CRecordingRenderSystem::_ReleaseImpl();
    }
    alignas(CRecordingRenderSystem) static inline std::byte place[sizeof(CRecordingRenderSystem)];
    static void* operator new(std::size_t) { return place; }
    static void operator delete(void*) {}
};

template <class Object, class Base>
void Make(char const* name, Base** out) {
    *out = new Object(name);
}

void Register() {
    CQK3DMain::GetFactory().AddCreateMovableObjectFun("CEntity", Make<CEntity, CMovableObject>); // gone with Clear
    CQK3DMain::GetFactory().AddCreateSceneManagerFun("CTestScene", Make<CTestScene, CSceneManager>);
    CQK3DMain::GetFactory().AddCreateRenderSystemFun("CTestDevice", Make<CTestDevice, CRenderSystem>);
    g_steps.clear();
}

TEST(Factory, CreatesByExactTypeInOneTableOnly) {
    static int things[2];
    CFactory factory = CQK3DMain::GetFactory(); // its tables are its own
    factory.AddCreateUserObjectFun("thing", [](void** out) { *out = &things[0]; });
    factory.AddCreateUserObjectFun("thing", [](void** out) { *out = &things[1]; });
    factory.AddCreateUserObjectFun("lazy", [](void**) {});
    factory.AddCreateUserObjectFun("none", nullptr);
    EXPECT_EQ(factory.CreateUserObject("thing"), &things[1]) << "the later creator replaces the earlier";
    for (char const* type : {"Thing", "lazy", "none"}) EXPECT_EQ(factory.CreateUserObject(type), nullptr) << type;
    EXPECT_EQ(factory.CreateEmitter("thing", ""), nullptr);
    EXPECT_EQ(CQK3DMain::GetFactory().CreateUserObject("thing"), nullptr);
}

TEST(Root, GivesOneObjectForANameAndNullForAnotherType) {
    Register();
    CSceneManager* const scene = Root().CreateSceneManager("CTestScene", "");
    EXPECT_EQ(Root().CreateSceneManager("CTestScene", ""), scene);
    EXPECT_EQ(g_steps, "make , init, ") << "the empty name is a name, and Init runs once";
    EXPECT_EQ(Root().CreateSceneManager("CSceneManager", ""), nullptr);
    CRenderSystem* const device = Root().CreateRenderSystem("CTestDevice", "d");
    EXPECT_EQ(Root().CreateRenderSystem("CTestDevice", "d"), device);
    g_steps.clear();
    for (int i = 0; i < 2; ++i) Root().DestroyRenderSystem("d");
    Root().DestoryAllSceneManager();
    EXPECT_EQ(g_steps, "release device, delete device, delete scene, ");
}

TEST(Root, SurvivesObjectsThatCallItWhileTheyComeAndGo) {
    Register();
    static_cast<CTestScene*>(Root().CreateSceneManager("CTestScene", "again"))->destroysItself = true;
    Root().DestroySceneManager("again");
    EXPECT_EQ(g_steps, "make again, init, delete scene, ");
    // Init of the first scene makes another one under the same name; that one is registered first, and stays.
    CTestScene::asksForItself = 1;
    CSceneManager* const scene = Root().CreateSceneManager("CTestScene", "nested");
    EXPECT_EQ(scene, CTestScene::other);
    EXPECT_EQ(Root().GetSceneManager("nested"), scene);
    Root().DestoryAllSceneManager();
}

TEST(Root, TakesADeviceFromAllWhoUseItBeforeItGoes) {
    Register();
    CRenderSystem* const device = Root().CreateRenderSystem("CTestDevice", "d");
    std::vector<_ResourceSharePtr<CTexture>> textures;
    for (auto* const system : {&CQK3DMain::GetResourceSystem(), Root().CreateResourceSystem("named")}) {
        auto* const manager = static_cast<CTextureManager*>(system->GetResourceManager("CTexture"));
        textures.push_back(
            manager->CreateTexture("", "t", 4, 4, PF_A8R8G8B8, device, CTexture::TU_DEFAULT, false, false, NoLoader()));
        ASSERT_TRUE(textures.back()->Load());
    }
    COverlayItem* const item = CQK3DMain::GetOverlayManager().CreateOverlayItem("i", 0, 0, 4, 4, 0);
    item->SetTexture(textures[0]);
    item->Render(device, 1);

    Root().DestroyRenderSystem("d");
    for (auto const& texture : textures)
        EXPECT_TRUE(!texture->GetRenderSystem() && texture->GetLoadingState() != LOADSTATE_LOADED);
    // The item makes itself at home on the next device, though that lies where the old one was.
    auto* const next = static_cast<CTestDevice*>(Root().CreateRenderSystem("CTestDevice", "next"));
    ASSERT_EQ(next, device);
    item->Render(next, 1);
    EXPECT_NE(next->TakeJournal().find("CreateBuffer vertex"), std::string::npos);
    EXPECT_EQ(next->CountOf("Render"), 1u);
    Root().DestroyRenderSystem("next");
    CQK3DMain::GetOverlayManager().DestroyAllOverlayItem();
}

TEST(Root, RegistersWhatAPluginBringsAndTakesItBack) {
    int calls[10] = {};
    int* const address = calls;
    string const path = string(QK3D_TEST_PLUGINS) + "/RootPlugin.so";
    auto const createAll = [] {
        CFactory& factory = CQK3DMain::GetFactory();
        factory.CreateRenderSystem("1", "n");
        factory.CreateSceneManager("2", "n");
        CQK3DMain::GetResourceSystem().GetResourceManager("3");
        CQK3DMain::GetResourceSystem().CreateResourceLoader("4");
        for (char const* const type : {"5", "0", "", "9"}) factory.CreateMovableObject(type, "n");
        factory.CreateParticleSystem("6", "n");
        factory.CreateEmitter("7", "n");
        return factory.CreateUserObject("8");
    };
    for (int i = 0; i < 2; ++i)
        EXPECT_TRUE(Root().LoadPlugin(path, reinterpret_cast<unsigned char const*>(&address), sizeof address));
    EXPECT_EQ(createAll(), calls);
    for (int kind = 0; kind <= 8; ++kind) EXPECT_EQ(calls[kind], 1) << "kind " << kind << ", and 0 is the start";
    for (int i = 0; i < 2; ++i) Root().UnloadPlugin(path);
    EXPECT_EQ(createAll(), nullptr);
    for (int kind = 0; kind <= 8; ++kind) EXPECT_EQ(calls[kind], 1) << "kind " << kind;
}

// Makes one of everything, tied together as in a real scene.
void Populate() {
    Register();
    CRenderSystem* const device = Root().CreateRenderSystem("CTestDevice", "device");
    CSceneManager* const scene = Root().CreateSceneManager("CTestScene", "scene");
    scene->CreateSceneNode("node")->AttachMovableObject(scene->CreateMovableObject("CEntity", "entity"));
    CRenderWindow* const window = device->CreateRenderWindow("window", 64, 64, PF_A8R8G8B8, false);
    window->AddViewport(scene->CreateCamera("camera"), 0, 0.0f, 0.0f, 1.0f, 1.0f);
    COverlayItem* const item = Root().CreateOverlayManager("more")->CreateOverlayItem("item", 0, 0, 8, 8, 0);
    item->SetTexture("Blank");
    window->AddOverlayItem(item);
    Root().CreateResourceSystem("more")->CreateResourceManual("CMaterial", "material");
    device->UpdateAllRenderTarget(1);
}

// Before the test that clears the root.
TEST(RootEndDeathTest, GoesBeforeTheStaticObjectsWhenTheProcessEnds) {
    EXPECT_EXIT((Populate(), std::exit(0)), testing::ExitedWithCode(0),
                "CQK3DMain Destroy.*COverlayManager Destroy.*CResourceSystem Destroy.*CFactory Destroy.*CPluginManager "
                "Destroy");
}

TEST(RootEnd, ClearsInOrderAndCanBeUsedAndClearedAgain) {
    CTestLog log;
    for (int round = 0; round < 2; ++round) {
        Populate();
        g_steps.clear();
        log.TakeLines();
        Root().Clear();
        EXPECT_EQ(g_steps, "delete scene, release device, delete device, ");
        EXPECT_FALSE(Root().GetSceneManager("scene") || Root().GetRenderSystem("device") ||
                     Root().GetOverlayManager("more") || Root().GetResourceSystem("more"));
        EXPECT_EQ(Root().CreateSceneManager("CSceneManager", "a"), nullptr) << "the factory is empty too";

        string ends; // the first of each kind
        for (string const& line : log.TakeLines())
            for (string const name :
                 {"COverlayManager", "CSceneManager", "CRenderSystem", "CTextureManager", "CResourceSystem"})
                if (line == "4 " + name + " Destroy" && ends.find(name) == string::npos) ends += name + ' ';
        EXPECT_EQ(ends, "COverlayManager CSceneManager CRenderSystem CTextureManager CResourceSystem ");
    }
    Root().Clear();
    EXPECT_TRUE(log.TakeLines().empty()) << "nothing is left to clear";
}
} // namespace
