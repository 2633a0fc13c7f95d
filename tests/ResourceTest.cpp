// ResourceTest.cpp: the states of a resource, its handles, the manager that owns the table, and the system of managers.
#include "QK3D.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestResource.h"
#include <map>
#include <random>

namespace qk3d {
namespace {
struct CTestLoader : CResourceLoader {
    explicit CTestLoader(HookBook& bookOf) : book(bookOf) {}
    bool IsSupportResourceType(string const& typeName) override {
        if (book.onHook) book.onHook("loader.support");
        return typeName == type;
    }
    bool PrepareResource(CResource*) override { return book.Run("loader", "prepare") && answers; }
    bool LoadResource(CResource*) override { return book.Run("loader", "load") && answers; }

    HookBook& book;
    string type = "Test";
    bool answers = true;
};

struct Resource : testing::Test {
    CTestLog log; // first: managers log as they go
    HookBook book;
    CTestManager manager{book};
};

// p Prepare, l Load, u Unload, U UnPrepare; a result is 1, 0, or x for an exception.
string RunSteps(CResource& resource, string const& steps) {
    string results;
    for (char const step : steps) {
        try {
            bool const done = step == 'p'   ? resource.Prepare()
                              : step == 'l' ? resource.Load()
                              : step == 'u' ? resource.Unload()
                                            : resource.UnPrepare();
            results += done ? '1' : '0';
        } catch (std::runtime_error const&) { results += 'x'; }
    }
    return results;
}

TEST_F(Resource, EachStepRunsTheHooksThatAreMissingAndKeepsTheStateOfAFailure) {
    struct {
        string failing, throwing, steps, results, hooks;
        ELoadingState state;
    } const rows[] = {
        {"", "", "llul", "1111", "r.prepare r.load r.unload r.load ", LOADSTATE_LOADED},
        {"", "", "ulU", "111", "r.prepare r.load r.unload r.unprepare ", LOADSTATE_UNPREPARED},
        {"load", "", "ll", "00", "r.prepare r.load r.load ", LOADSTATE_PREPARED},
        {"unload", "", "pu", "10", "r.prepare r.unload ", LOADSTATE_LOADED}, // loaded, whatever it was
        {"", "load", "ll", "xx", "r.prepare r.load r.load ", LOADSTATE_PREPARED},
    };
    for (auto const& row : rows) {
        SCOPED_TRACE(row.steps + " failing " + row.failing + ", throwing " + row.throwing);
        ResourceSharePtr resource = manager.Make("r");
        book.failing = {row.failing};
        book.throwing = {row.throwing};
        book.Take();
        EXPECT_EQ(RunSteps(*resource, row.steps), row.results);
        EXPECT_EQ(resource->GetLoadingState(), row.state);
        EXPECT_EQ(book.Take(), row.hooks);
        book.throwing.clear();
    }
}

TEST_F(Resource, AHookThatAsksItsOwnResourceForAStepIsRefusedAndTheStepGoesOn) {
    ResourceSharePtr resource = manager.Make("r");
    string inner;
    book.onHook = [&](string const& event) { inner += event + "=" + RunSteps(*resource, "luU") + " "; };
    EXPECT_EQ(RunSteps(*resource, "lU"), "11");
    EXPECT_EQ(inner, "r.prepare=011 r.load=000 r.unload=000 r.unprepare=000 ");
    book.onHook = nullptr;
}

TEST_F(Resource, ALoaderTakesPartInPreparingManualAndInLoadingAutomaticResources) {
    auto* const loader = new CTestLoader(book);
    CSharePtr<CResourceLoader> shared(loader, qklib::PRM_DELETE);
    for (auto const& [isManual, answers, journal] : {std::tuple(false, true, "r.prepare loader.load "), // not the hook
                                                     {false, false, "r.prepare loader.load r.load "},
                                                     {true, true, "loader.prepare "},
                                                     {true, false, "loader.prepare r.prepare "}}) {
        loader->answers = answers;
        ResourceSharePtr resource = manager.CreateResource("", "r", isManual, shared);
        book.Take();
        EXPECT_TRUE(resource->Load()) << journal;
        EXPECT_EQ(book.Take(), journal);
    }
    loader->type = "Other";
    EXPECT_FALSE(manager.CreateResource("p", "n", false, shared));
    EXPECT_EQ(log.TakeText(), "8 CResourceManager::CreateResource : Create resource with a wrong loader -> n p\n");
}

TEST_F(Resource, StaysWholeWhateverItsLoaderDoes) {
    std::unique_ptr<CTestManager> owner;
    ResourceSharePtr resource;
    struct {
        char const* what;
        std::function<void()> act;
    } const rows[] = {
        {"throws", [] { throw std::runtime_error("loader"); }},
        {"asks for every step", [&] { RunSteps(*resource, "pluU"); }},
        {"takes itself away", [&] { resource->SetLoader(NoLoader()); }},
        {"copies the resource", [&] { resource->Copy("copy")->Load(); }},
        {"drops the resource", [&] { resource.Release(); }},
        {"unloads all", [&] { owner->UnloadAllResources(); }},
        {"destroys all", [&] { owner->DestroyAllResources(), resource.Release(); }},
        {"takes the files away", [&] { owner->RemoveAllFileSystem(); }},
        {"destroys the manager", [&] { owner.reset(), resource.Release(); }},
    };
    for (auto const& row : rows) {
        for (string const call : {"loader.support", "loader.prepare", "loader.load"}) {
            SCOPED_TRACE(row.what + (" in " + call));
            owner = std::make_unique<CTestManager>(book);
            resource = owner->Make("r", call == "loader.prepare");
            CSharePtr<CResourceLoader> loader(new CTestLoader(book), qklib::PRM_DELETE);
            bool isCalled = false;
            book.onHook = [&](string const& event) {
                if (event == call && !std::exchange(isCalled, true)) row.act();
            };
            CResource* const plain = resource; // whose last handle may go while it is at work
            try {
                if (plain->SetLoader(loader) && resource) plain->Load();
            } catch (std::runtime_error const&) {}
            book.onHook = nullptr;
            EXPECT_TRUE(isCalled);
            if (owner) { EXPECT_EQ(owner->IsResourceExist("r"), static_cast<bool>(resource)); }
            if (resource) { EXPECT_TRUE(resource->Load()) << "asked again"; }
        }
    }
}

TEST_F(Resource, CreationTellsWhyItRefuses) {
    CSharePtr<CFileSystem> files(new CMemFileSystem, qklib::PRM_DELETE);
    WriteFile(*files, "x.txt", "x");
    manager.AddFileSystem("A", files);
    string const site = "8 CResourceManager::CreateResource : ";
    ResourceSharePtr const held = manager.Make("taken");
    ResourceSharePtr file = manager.CreateResource(" x.txt\t", "", false, NoLoader());
    struct {
        char const *path, *name;
        string log;
    } const rows[] = {
        {"", "taken", site + "Create resource failed, the resource is valid : taken\n"},
        {"missing", "m", site + "Create auto load resource with a unexist file -> m, missing\n"},
        {"x.txt", "y", ""}, // the path of a file that another one has
    };
    for (auto const& row : rows) {
        EXPECT_EQ(!manager.CreateResource(row.path, row.name, false, NoLoader()), !row.log.empty()) << row.path;
        EXPECT_EQ(log.TakeText(), row.log) << row.path;
    }
    EXPECT_TRUE(file && manager.GetResource(" x.txt ") == file); // by the road of the path
    manager.refusesToCreate = true;
    EXPECT_FALSE(manager.Make("none"));
    EXPECT_EQ(manager.Names(), "taken x.txt ");
    manager.RemoveAllFileSystem();
    EXPECT_EQ(static_cast<CTestResource&>(*file).GetFileSystem(), nullptr) << "it does not keep what has gone";
}

TEST_F(Resource, CreationThatMakesTheSameNameOnItsWayKeepsTheFirst) {
    ResourceSharePtr inner;
    manager.onCreate = [&] { inner = manager.Make("r"); };
    EXPECT_FALSE(manager.Make("r"));
    EXPECT_TRUE(inner && manager.GetResource("r") == inner);
    EXPECT_EQ(book.journal, "~r "); // the second one, half made
}

TEST_F(Resource, AResourceMayDoAnythingToItsManagerWhileItGoes) {
    ResourceSharePtr rescued;
    struct {
        char const* what;
        std::function<void()> inUnload;
        char const *journal, *left;
    } const rows[] = {
        {"takes a handle and keeps it", [&] { rescued = manager.GetResource("r"); }, "r.unload ", "other r "},
        {"destroys itself", [&] { manager.DestroyResource("r"); }, "r.unload ~r ", "other "},
        {"unloads everything", [&] { manager.UnloadAllResources(); }, "r.unload other.unload ~r ", "other "},
        {"destroys everything", [&] { manager.DestroyAllResources(); }, "r.unload ~r ", ""},
        {"makes another one of its name", [&] { EXPECT_FALSE(manager.Make("r")); }, "r.unload ~r ", "other "},
        {"throws", [] { throw std::runtime_error("unload"); }, "r.unload ~r ", "other "},
    };
    for (auto const& row : rows) {
        ResourceSharePtr other = manager.Make("other");
        other->Load();
        ResourceSharePtr resource = manager.Make("r");
        resource->Load();
        book.Take();
        book.onHook = [&](string const& event) {
            if (event == "r.unload") row.inUnload();
        };
        resource.Release();
        EXPECT_EQ(book.Take(), row.journal) << row.what;
        EXPECT_EQ(manager.Names(), row.left) << row.what;
        book.onHook = nullptr;
        rescued.Release();
        other.Release();
        EXPECT_EQ(manager.Names(), "") << row.what;
    }
}

TEST_F(Resource, ResourcesOutliveTheTableAndTheManager) {
    auto dying = std::make_unique<CTestManager>(book);
    ResourceSharePtr a = dying->Make("a");
    static_cast<CTestResource&>(*a).m_holds.push_back(dying->Make("b"));
    a->Load();
    dying->DestroyAllResources();
    EXPECT_EQ(dying->Names(), "");
    dying.reset();
    EXPECT_EQ(a->GetTypeName(), "");
    EXPECT_FALSE(a->Copy("x"));
    EXPECT_TRUE(a->Unload());
    book.Take();
    a.Release();
    EXPECT_EQ(book.Take(), "~a ~b ");
}

// The same random life in a manager and in a plain model of it: a name is in the table as long as it has holders.
TEST_F(Resource, RandomHoldersAgreeWithAModel) {
    unsigned const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    auto const name = [&] { return string(1, static_cast<char>('a' + random() % 6)); };
    std::vector<ResourceSharePtr> handles(12);
    for (int step = 0; step < 20000; ++step) {
        ResourceSharePtr& handle = handles[random() % 12];
        switch (random() % 6) {
        case 0: handle = manager.GetResource(name()); break;
        case 1:
            if (ResourceSharePtr const made = manager.Make(name(), random() % 2)) handle = made;
            break;
        case 2: handle.Release(); break;
        case 3: handle = handles[random() % 12]; break;
        case 4:
            if (handle) handle->Load();
            break;
        case 5: manager.DestroyUnusedResources(); break;
        }
        std::map<string, unsigned> holders;
        for (ResourceSharePtr const& each : handles)
            if (each) ++holders[each->GetName()];
        string names;
        for (auto const& [each, count] : holders) {
            names += each + " ";
            ASSERT_EQ(manager.GetResource(each).GetRef(), count + 2); // the table's, and the one asked with
        }
        ASSERT_EQ(manager.Names(), names) << "step " << step;
    }
}

HookBook* g_book = nullptr;

struct ResourceSystem : testing::Test {
    ResourceSystem() { g_book = &book; }
    CTestLog log;
    HookBook book;
    struct CSystem : CResourceSystem {
        CSystem() : CResourceSystem("test") {}
        using CResourceSystem::_DestroyAllResourceManager;
    } system;
};

TEST_F(ResourceSystem, ACreatorThatFailsCountsAsUnknown) {
    system.AddCreateResourceManagerFun("Null", nullptr);
    system.AddCreateResourceManagerFun("Throws", [](CResourceManager**) { throw std::runtime_error("creator"); });
    system.RemoveCreateResourceManagerFun("CMesh");
    for (char const* type : {"Unknown", "Null", "CMesh"}) {
        EXPECT_EQ(system.GetResourceManager(type), nullptr) << type;
        EXPECT_FALSE(system.CreateResource(type, "", "a", false, NoLoader())) << type;
    }
    for (int i = 0; i < 2; ++i) // asked anew, not taken for being made
        EXPECT_THROW(system.GetResourceManager("Throws"), std::runtime_error);
}

TEST_F(ResourceSystem, NothingComesBackWhileItIsTornDown) {
    system.AddCreateResourceManagerFun("Keeping", [](CResourceManager** out) { *out = new CKeepingManager(*g_book); });
    system.CreateResource("Keeping", "", "kept", false, NoLoader());
    book.onHook = [&](string const& event) {
        if (event != "~kept") return;
        book.journal += system.GetResourceManager("CTexture") ? "manager " : "none ";
        book.journal += system.CreateResource("Keeping", "", "late", false, NoLoader()) ? "made " : "refused ";
    };
    system._DestroyAllResourceManager();
    book.onHook = nullptr;
    EXPECT_EQ(book.Take(), "~kept none made ~late ");         // what is made late goes with its manager
    EXPECT_NE(system.GetResourceManager("Keeping"), nullptr); // and afterwards it is usable again
}
} // namespace
} // namespace qk3d
