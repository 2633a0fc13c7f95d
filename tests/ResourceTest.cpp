// ResourceTest.cpp: the states of a resource, its handles, and the manager that owns the table.
#include "QK3DMemFileSystem.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestResource.h"
#include <gtest/gtest.h>
#include <map>
#include <random>

namespace qk3d {
namespace {
CTestResource& Of(ResourceSharePtr& handle) { return *static_cast<CTestResource*>(static_cast<CResource*>(handle)); }

class CTestLoader : public CResourceLoader {
public:
    CTestLoader(string type, bool answers, HookBook& book) : m_type(type), m_answers(answers), m_book(book) {}
    bool IsSupportResourceType(string const& typeName) override { return typeName == m_type; }
    bool PrepareResource(CResource*) override { return m_book.Run("loader", "prepare") && m_answers; }
    bool LoadResource(CResource*) override { return m_book.Run("loader", "load") && m_answers; }

private:
    string m_type;
    bool m_answers;
    HookBook& m_book;
};

class Resource : public testing::Test {
protected:
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
        char const* what;
        bool isManual;
        char const* failing;
        char const* throwing;
        char const* steps;
        char const* results;
        char const* hooks;
        ELoadingState state;
    } const rows[] = {
        {"loaded once", false, "", "", "ll", "11", "r.prepare r.load ", LOADSTATE_LOADED},
        {"a manual resource is loaded by being prepared", true, "", "", "l", "1", "r.prepare ", LOADSTATE_LOADED},
        {"nothing to unload", false, "", "", "u", "1", "", LOADSTATE_UNPREPARED},
        {"unloading keeps it prepared", false, "", "", "lul", "111", "r.prepare r.load r.unload r.load ",
         LOADSTATE_LOADED},
        {"unpreparing unloads first", false, "", "", "lU", "11", "r.prepare r.load r.unload r.unprepare ",
         LOADSTATE_UNPREPARED},
        {"cannot be loaded, and is tried again", false, "load", "", "ll", "00", "r.prepare r.load r.load ",
         LOADSTATE_PREPARED},
        {"cannot be unloaded: loaded, whatever it was", false, "unload", "", "pu", "10", "r.prepare r.unload ",
         LOADSTATE_LOADED},
        {"not unprepared, since it cannot be unloaded", false, "unload", "", "lU", "10", "r.prepare r.load r.unload ",
         LOADSTATE_LOADED},
        {"throws while it is loaded", false, "", "load", "ll", "xx", "r.prepare r.load r.load ", LOADSTATE_PREPARED},
        {"throws while it is unloaded", false, "", "unload", "lu", "1x", "r.prepare r.load r.unload ",
         LOADSTATE_LOADED},
    };
    for (auto const& row : rows) {
        ResourceSharePtr resource = manager.Make("r", row.isManual);
        book.failing = {row.failing};
        book.throwing = {row.throwing};
        book.Take();
        EXPECT_EQ(RunSteps(*resource, row.steps), row.results) << row.what;
        EXPECT_EQ(resource->GetLoadingState(), row.state) << row.what;
        EXPECT_EQ(book.Take(), row.hooks) << row.what;
        book.throwing.clear();
    }
}

TEST_F(Resource, AHookThatAsksItsOwnResourceForAStepIsRefusedAndTheStepGoesOn) {
    ResourceSharePtr resource = manager.Make("r");
    string inner;
    book.onHook = [&](string const& event) { inner += event + "=" + RunSteps(*resource, "luU") + " "; };
    EXPECT_EQ(RunSteps(*resource, "lU"), "11");
    EXPECT_EQ(inner, "r.prepare=011 r.load=000 r.unload=000 r.unprepare=000 ");
    EXPECT_EQ(resource->GetLoadingState(), LOADSTATE_UNPREPARED);
    book.onHook = nullptr;
}

TEST_F(Resource, ALoaderTakesPartInPreparingManualAndInLoadingAutomaticResources) {
    struct {
        char const* what;
        bool isManual, answers;
        char const* journal;
    } const rows[] = {
        {"its load replaces the hook", false, true, "r.prepare loader.load "},
        {"it passes on to the hook", false, false, "r.prepare loader.load r.load "},
        {"its prepare replaces the hook", true, true, "loader.prepare "},
        {"its refusal does not stop the hook", true, false, "loader.prepare r.prepare "},
    };
    for (auto const& row : rows) {
        CSharePtr<CResourceLoader> loader(new CTestLoader("Test", row.answers, book), qklib::PRM_DELETE);
        ResourceSharePtr resource = manager.CreateResource("", "r", row.isManual, loader);
        book.Take();
        EXPECT_TRUE(resource->Load()) << row.what;
        EXPECT_EQ(book.Take(), row.journal) << row.what;
    }

    CSharePtr<CResourceLoader> wrong(new CTestLoader("Other", true, book), qklib::PRM_DELETE);
    EXPECT_FALSE(manager.CreateResource("p", "n", false, wrong));
    EXPECT_EQ(log.TakeText(), "8 CResourceManager::CreateResource : Create resource with a wrong loader -> n p\n");
}

TEST_F(Resource, LosingTheLastOutsideHandleUnloadsAnAutomaticResourceAndDestroysEither) {
    for (bool const isManual : {false, true}) {
        ResourceSharePtr a = manager.Make("r", isManual);
        ResourceSharePtr b = a;
        a->Load();
        book.Take();
        a.Release();
        EXPECT_TRUE(manager.IsResourceExist("r"));
        b.Release();
        EXPECT_FALSE(manager.IsResourceExist("r"));
        EXPECT_EQ(book.Take(), isManual ? "~r " : "r.unload ~r ");
    }
}

TEST_F(Resource, CreationTellsWhyItRefuses) {
    CMemFileSystem* const files = new CMemFileSystem;
    files->WriteStringToNewFile(string("x.txt"), string("x"));
    CSharePtr<CFileSystem> fileSystem(files, qklib::PRM_DELETE);
    manager.AddFileSystem("A", fileSystem);
    string const site = "8 CResourceManager::CreateResource : ";
    ResourceSharePtr const held = manager.Make("taken");
    ResourceSharePtr const file = manager.CreateResource(" x.txt\t", "", false, NoLoader());
    ASSERT_TRUE(file);
    struct {
        char const *what, *path, *name;
        bool isManual;
        string newName, newPath, log;
    } const rows[] = {
        {"a name in use", "", "taken", false, "-", "", "Create resource failed, the resource is valid : taken"},
        {"a path of a file under another name", "x.txt", "y", false, "y", "x.txt", ""},
        {"no such file", "missing", "m", false, "-", "", "Create auto load resource with a unexist file -> m, missing"},
        {"no such file, manual, no name", "missing", "", true, "missing", "missing", ""},
    };
    for (auto const& row : rows) {
        ResourceSharePtr const made = manager.CreateResource(row.path, row.name, row.isManual, NoLoader());
        EXPECT_EQ(made ? made->GetName() : "-", row.newName) << row.what;
        EXPECT_EQ(made ? made->GetPath() : "", row.newPath) << row.what;
        EXPECT_EQ(made.GetRef(), made ? 2u : 0u) << row.what;
        EXPECT_EQ(log.TakeText(), row.log.empty() ? "" : site + row.log + "\n") << row.what;
    }
    EXPECT_TRUE(manager.GetResource(" x.txt ") == file); // by the road of the path
    manager.refusesToCreate = true;
    EXPECT_FALSE(manager.Make("none"));
    EXPECT_EQ(manager.Names(), "taken x.txt ");
}

TEST_F(Resource, CreationThatMakesTheSameNameOnItsWayKeepsTheFirst) {
    ResourceSharePtr inner;
    manager.onCreate = [&] { inner = manager.Make("r"); };
    EXPECT_FALSE(manager.Make("r"));
    EXPECT_TRUE(inner && manager.GetResource("r") == inner);
    EXPECT_EQ(book.journal, "~r "); // the second one, half made
    EXPECT_EQ(log.TakeText(),
              "8 CResourceManager::CreateResource : Create resource failed, the resource is valid : r\n");

    manager.onCreate = [] { throw std::runtime_error("creator"); };
    EXPECT_THROW(manager.Make("s"), std::runtime_error);
    EXPECT_EQ(manager.Names(), "r ");
}

TEST_F(Resource, FileSystemsAreAskedInTheOrderOfTheirNames) {
    string path = "f";
    CSharePtr<CFileSystem> both[2];
    for (auto& fileSystem : both) {
        fileSystem = CSharePtr<CFileSystem>(new CMemFileSystem, qklib::PRM_DELETE);
        fileSystem->WriteStringToNewFile(string("f"), string("f"));
    }
    manager.AddFileSystem("b", both[0]);
    manager.AddFileSystem("a", both[1]);
    EXPECT_EQ(manager.LocateResource(path), both[1].GetPointer());
    manager.AddFileSystem("a", both[0]);
    EXPECT_EQ(manager.LocateResource(path), both[0].GetPointer());

    // A resource does not keep a file system that has gone.
    ResourceSharePtr resource = manager.CreateResource("f", "r", false, NoLoader());
    ASSERT_TRUE(resource->SetPath("f"));
    EXPECT_EQ(Of(resource).GetFileSystem(), both[0].GetPointer());
    manager.RemoveAllFileSystem();
    EXPECT_EQ(Of(resource).GetFileSystem(), nullptr);
}

// What a resource may do to its manager while it is unloaded for good.
TEST_F(Resource, AResourceMayDoAnythingToItsManagerWhileItGoes) {
    ResourceSharePtr rescued;
    struct {
        char const* what;
        std::function<void()> inUnload;
        char const* journal;
        char const* left;
    } const rows[] = {
        {"takes a handle and keeps it", [&] { rescued = manager.GetResource("r"); }, "r.unload ", "other r "},
        {"destroys itself", [&] { manager.DestroyResource("r"); }, "r.unload ~r ", "other "},
        {"destroys everything", [&] { manager.DestroyAllResources(); }, "r.unload ~r ", ""},
        {"unloads everything", [&] { manager.UnloadAllResources(); }, "r.unload other.unload ~r ", "other "},
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

TEST_F(Resource, AWalkSurvivesHooksThatEmptyTheTable) {
    std::vector<ResourceSharePtr> held;
    for (char const* name : {"a", "b", "c", "d"}) {
        held.push_back(manager.Make(name));
        held.back()->Load();
    }
    book.Take();
    // The first one to be unloaded drops all, itself too.
    book.onHook = [&](string const& event) {
        if (event == "a.unload") held.clear();
    };
    manager.UnloadAllResources();
    book.onHook = nullptr;
    EXPECT_EQ(book.Take(), "a.unload b.unload ~b c.unload ~c d.unload ~d a.unload ~a ");
    EXPECT_EQ(manager.Names(), "");
}

TEST_F(Resource, ResourcesOutliveTheTableAndTheManager) {
    auto dying = std::make_unique<CTestManager>(book);
    ResourceSharePtr a = dying->Make("a"), b = dying->Make("b");
    Of(a).m_holds.push_back(b);
    a->Load();
    dying->DestroyAllResources();
    EXPECT_EQ(dying->Names(), "");
    EXPECT_EQ(a->GetLoadingState(), LOADSTATE_LOADED);

    ResourceSharePtr c = dying->Make("c");
    dying.reset();
    EXPECT_TRUE(c->GetResourceManager() == nullptr && a->GetResourceManager() == nullptr);
    EXPECT_EQ(a->GetTypeName(), "");
    EXPECT_FALSE(a->Copy("x"));
    EXPECT_TRUE(a->Unload());
    book.Take();
    c.Release();
    b.Release();
    a.Release();
    EXPECT_EQ(book.Take(), "~c ~a ~b ");
}

TEST_F(Resource, AWrongCountIsLoggedAndTheResourceGoes) {
    ResourceSharePtr resource = manager.Make("r");
    manager._NotifyResourceRelease(resource, 0);
    EXPECT_EQ(log.TakeText(), "16 CResourceManager::_NotifyResourceRelease : "
                              "Auto Destroy Resource [Something Wrong] -> r, 0\n");
    EXPECT_EQ(book.Take(), "~r ");
    EXPECT_EQ(manager.Names(), "");
}

// The same random life in a manager and in a plain model of it: a name is in the table as long as it has holders.
TEST_F(Resource, RandomHoldersAgreeWithAModel) {
    unsigned const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    auto const pick = [&](unsigned n) { return random() % n; };
    std::vector<ResourceSharePtr> handles(12);
    for (int step = 0; step < 20000; ++step) {
        ResourceSharePtr& handle = handles[pick(12)];
        switch (pick(6)) {
        case 0: handle = manager.GetResource(string(1, static_cast<char>('a' + pick(6)))); break;
        case 1: {
            string const name(1, static_cast<char>('a' + pick(6)));
            if (!manager.IsResourceExist(name)) handle = manager.Make(name, pick(2));
            break;
        }
        case 2: handle.Release(); break;
        case 3: handle = handles[pick(12)]; break;
        case 4:
            if (handle) handle->Load();
            break;
        case 5: manager.DestroyUnusedResources(); break;
        }
        std::map<string, unsigned> holders;
        for (ResourceSharePtr const& each : handles)
            if (each) ++holders[each->GetName()];
        string names;
        for (auto const& [name, count] : holders) {
            names += name + " ";
            ASSERT_EQ(manager.GetResource(name).GetRef(), count + 2); // the table's, and the one asked with
        }
        ASSERT_EQ(manager.Names(), names) << "step " << step;
    }
}
} // namespace
} // namespace qk3d
