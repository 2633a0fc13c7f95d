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
    CTestLoader(string type, bool answers, string& journal) : m_type(type), m_answers(answers), m_journal(journal) {}
    bool IsSupportResourceType(string const& typeName) override { return typeName == m_type; }
    bool PrepareResource(CResource*) override {
        m_journal += "loader.prepare ";
        return m_answers;
    }
    bool LoadResource(CResource*) override {
        m_journal += "loader.load ";
        return m_answers;
    }

private:
    string m_type;
    bool m_answers;
    string& m_journal;
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
        {"prepared once", false, "", "", "pp", "11", "r.prepare ", LOADSTATE_PREPARED},
        {"loaded once", false, "", "", "ll", "11", "r.prepare r.load ", LOADSTATE_LOADED},
        {"a manual resource is loaded by being prepared", true, "", "", "l", "1", "r.prepare ", LOADSTATE_LOADED},
        {"nothing to unload", false, "", "", "u", "1", "", LOADSTATE_UNPREPARED},
        {"nothing to unprepare", false, "", "", "U", "1", "", LOADSTATE_UNPREPARED},
        {"unloading keeps it prepared", false, "", "", "lul", "111", "r.prepare r.load r.unload r.load ",
         LOADSTATE_LOADED},
        {"unpreparing unloads first", false, "", "", "lU", "11", "r.prepare r.load r.unload r.unprepare ",
         LOADSTATE_UNPREPARED},
        {"what is only prepared is unloaded too", false, "", "", "pu", "11", "r.prepare r.unload ", LOADSTATE_PREPARED},
        {"cannot be prepared", false, "prepare", "", "l", "0", "r.prepare ", LOADSTATE_UNPREPARED},
        {"cannot be loaded, and is tried again", false, "load", "", "ll", "00", "r.prepare r.load r.load ",
         LOADSTATE_PREPARED},
        {"cannot be unloaded: loaded, whatever it was", false, "unload", "", "pu", "10", "r.prepare r.unload ",
         LOADSTATE_LOADED},
        {"not unprepared, since it cannot be unloaded", false, "unload", "", "lU", "10", "r.prepare r.load r.unload ",
         LOADSTATE_LOADED},
        {"cannot be unprepared", false, "unprepare", "", "pU", "10", "r.prepare r.unprepare ", LOADSTATE_PREPARED},
        {"throws while it is loaded", false, "", "load", "ll", "xx", "r.prepare r.load r.load ", LOADSTATE_PREPARED},
        {"throws while it is prepared", false, "", "prepare", "l", "x", "r.prepare ", LOADSTATE_UNPREPARED},
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

TEST_F(Resource, MakeSureAnswersWithTheStateItLeft) {
    ResourceSharePtr resource = manager.Make("r");
    book.failing = {"load"};
    EXPECT_TRUE(resource->MakeSurePrepared());
    EXPECT_FALSE(resource->MakeSureLoaded());
    EXPECT_TRUE(resource->WaitForPrepared());
    book.failing = {};
    EXPECT_TRUE(resource->WaitForLoaded());
    EXPECT_TRUE(resource->WaitForPrepared());
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
        CSharePtr<CResourceLoader> loader(new CTestLoader("Test", row.answers, book.journal), qklib::PRM_DELETE);
        ResourceSharePtr resource = manager.CreateResource("", "r", row.isManual, loader);
        book.Take();
        EXPECT_TRUE(resource->Load()) << row.what;
        EXPECT_EQ(book.Take(), row.journal) << row.what;
    }

    // A loader for another type is left out by the constructor, and refused by the manager and by SetLoader.
    CSharePtr<CResourceLoader> wrong(new CTestLoader("Other", true, book.journal), qklib::PRM_DELETE);
    CTestResource lonely(book, &manager, "", "lonely", false, wrong);
    EXPECT_TRUE(lonely.GetLoader().IsNull());
    EXPECT_FALSE(lonely.SetLoader(wrong));
    EXPECT_FALSE(manager.CreateResource("p", "n", false, wrong));
    EXPECT_EQ(log.TakeText(), "8 CResourceManager::CreateResource : Create resource with a wrong loader -> n p\n");
}

TEST_F(Resource, SettersEndWithTheUnpreparedState) {
    ResourceSharePtr resource = manager.Make("r");
    EXPECT_TRUE(resource->SetIsManual(true));
    EXPECT_TRUE(resource->SetPath("nowhere"));
    EXPECT_EQ(resource->GetPath(), "nowhere"); // as given, since it is manual
    EXPECT_TRUE(resource->SetIsManual(false));
    EXPECT_TRUE(resource->SetPath("elsewhere"));
    EXPECT_EQ(resource->GetPath(), "nowhere"); // an automatic one keeps what it had
    resource->Prepare();
    EXPECT_FALSE(resource->SetIsManual(true));
    EXPECT_FALSE(resource->SetPath(""));
    EXPECT_FALSE(resource->SetLoader(NoLoader()));
    EXPECT_EQ(resource->GetPath(), "nowhere");
    EXPECT_FALSE(resource->IsManual());
}

TEST_F(Resource, SourceBytesAreCopied) {
    class Bytes : public CTestResource {
    public:
        using CTestResource::CTestResource;
        string Get() const { return m_data ? string(reinterpret_cast<char*>(m_data), m_dataSize) : "none"; }
    };
    string source = "bytes";
    Bytes bytes(book, &manager, source.data(), source.size(), "b", false, NoLoader());
    source = "spoilt";
    EXPECT_EQ(bytes.Get(), "bytes");
    EXPECT_EQ(bytes.GetPath(), "");
    EXPECT_EQ(Bytes(bytes).Get(), "bytes");
    EXPECT_EQ(Bytes(book, &manager, nullptr, 5, "n", false, NoLoader()).Get(), "none");
}

TEST_F(Resource, HandlesCountAndTheLastOneDestroys) {
    auto* const raw = new CTestResource(book, nullptr, "", "r", false, NoLoader());
    ResourceSharePtr a(raw), none;
    ResourceSharePtr b = a;
    EXPECT_EQ(a.GetRef(), 2u);
    a = b;
    EXPECT_EQ(a.GetRef(), 2u);
    EXPECT_TRUE(a == b && a == raw && a != none && none == nullptr);
    none.Swap(b);
    EXPECT_TRUE(b == nullptr && none == raw);
    EXPECT_EQ(none.Release(), 1u);
    EXPECT_EQ(none.GetRef(), 0u);
    EXPECT_EQ(none.Release(), 0u);
    EXPECT_EQ(none.operator->(), nullptr);
    EXPECT_EQ(book.journal, "");
    a = ResourceSharePtr();
    EXPECT_EQ(book.journal, "~r ");
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
        {"a path in use as a name", "x.txt", "", false, "-", "",
         "Create resource failed, the resource is valid : x.txt"},
        {"a path of a file under another name", "x.txt", "y", false, "y", "x.txt", ""},
        {"no such file", "missing", "m", false, "-", "", "Create auto load resource with a unexist file -> m, missing"},
        {"no such file, but manual", "missing", "m", true, "m", "missing", ""},
        {"no such file, manual, no name", "missing", "", true, "missing", "missing", ""},
    };
    for (auto const& row : rows) {
        ResourceSharePtr const made = manager.CreateResource(row.path, row.name, row.isManual, NoLoader());
        EXPECT_EQ(made ? made->GetName() : "-", row.newName) << row.what;
        EXPECT_EQ(made ? made->GetPath() : "", row.newPath) << row.what;
        EXPECT_EQ(made.GetRef(), made ? 2u : 0u) << row.what;
        EXPECT_EQ(log.TakeText(), row.log.empty() ? "" : site + row.log + "\n") << row.what;
    }
    EXPECT_EQ(manager.CreateResource()->GetName().substr(0, 3), "res");
    EXPECT_EQ(manager.Make("")->GetName().size(), 16u);
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
    string path = " \t\r\n";
    EXPECT_EQ(manager.LocateResource(path), nullptr);
    EXPECT_EQ(path, "");
    EXPECT_FALSE(manager.GetFileSystem("OSFileSystem").IsNull());
    EXPECT_TRUE(manager.GetFileSystem("x").IsNull());

    CSharePtr<CFileSystem> both[2];
    for (auto& fileSystem : both) {
        fileSystem = CSharePtr<CFileSystem>(new CMemFileSystem, qklib::PRM_DELETE);
        fileSystem->WriteStringToNewFile(string("f"), string("f"));
    }
    manager.AddFileSystem("b", both[0]);
    manager.AddFileSystem("a", both[1]);
    path = "f";
    EXPECT_EQ(manager.LocateResource(path), both[1].GetPointer());
    manager.AddFileSystem("a", both[0]);
    EXPECT_EQ(manager.LocateResource(path), both[0].GetPointer());
    manager.RemoveFileSystem("unknown");

    // A resource does not keep a file system that has gone.
    ResourceSharePtr resource = manager.CreateResource("f", "r", false, NoLoader());
    ASSERT_TRUE(resource->SetPath("f"));
    EXPECT_EQ(Of(resource).GetFileSystem(), both[0].GetPointer());
    manager.RemoveAllFileSystem();
    EXPECT_EQ(Of(resource).GetFileSystem(), nullptr);
    EXPECT_EQ(manager.LocateResource(path), nullptr);
}

TEST_F(Resource, CopyMakesAManualResourceOfTheSameManager) {
    ResourceSharePtr resource = manager.Make("r");
    ResourceSharePtr copy = resource->Copy("");
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->GetName().substr(0, 3), "res");
    EXPECT_TRUE(copy->IsManual());
    EXPECT_EQ(book.Take(), "r.copy to " + copy->GetName() + " ");
    EXPECT_FALSE(resource->Copy("r"));
}

TEST_F(Resource, OnlyWhatNobodyHoldsIsDestroyedOnDemand) {
    ResourceSharePtr held = manager.Make("held");
    EXPECT_FALSE(manager.DestroyResource("held"));
    EXPECT_FALSE(manager.DestroyResource("unknown"));
    held->Load();
    book.Take();
    manager.DestroyUnusedResources();
    EXPECT_EQ(book.Take(), "");
    manager.UnloadAllResources();
    EXPECT_EQ(book.Take(), "held.unload ");
    EXPECT_EQ(manager.Names(), "held ");
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
        {"takes a handle and drops it", [&] { manager.GetResource("r"); }, "r.unload ~r ", "other "},
        {"takes a handle and keeps it", [&] { rescued = manager.GetResource("r"); }, "r.unload ", "other r "},
        {"destroys itself", [&] { manager.DestroyResource("r"); }, "r.unload ~r ", "other "},
        {"destroys everything", [&] { manager.DestroyAllResources(); }, "r.unload ~r ", ""},
        {"destroys what is unused", [&] { manager.DestroyUnusedResources(); }, "r.unload ~r ", "other "},
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

    ResourceSharePtr a = manager.Make("a"), b = manager.Make("b"), c = manager.Make("c");
    Of(a).m_holds.push_back(b);
    b.Release();
    auto it = manager.EnumResourceBegin();
    a.Release(); // takes b along
    it = manager.EnumResourceBegin();
    EXPECT_EQ(it->first, "c");
}

TEST_F(Resource, ResourcesOutliveTheTableAndTheManager) {
    auto dying = std::make_unique<CTestManager>(book);
    ResourceSharePtr a = dying->Make("a"), b = dying->Make("b");
    ResourceSharePtr second = a;
    Of(a).m_holds.push_back(b);
    a->Load();
    book.Take();
    dying->DestroyAllResources();
    EXPECT_EQ(dying->Names(), "");
    second.Release(); // one holder outside is left, and it may go on with its resource
    EXPECT_EQ(book.Take(), "");
    EXPECT_EQ(a->GetLoadingState(), LOADSTATE_LOADED);
    EXPECT_EQ(a->GetTypeName(), "Test");

    ResourceSharePtr c = dying->Make("c");
    dying.reset();
    EXPECT_EQ(c->GetResourceManager(), nullptr);
    EXPECT_EQ(a->GetResourceManager(), nullptr);
    EXPECT_EQ(a->GetTypeName(), "");
    EXPECT_FALSE(a->Copy("x"));
    EXPECT_TRUE(a->Unload());
    book.Take();
    c.Release();
    b.Release();
    a.Release();
    EXPECT_EQ(book.Take(), "~c ~a ~b ");
}

TEST_F(Resource, AManagerThatGoesTakesNoRequests) {
    auto keeping = std::make_unique<CKeepingManager>(book);
    CResourceManager* const manager = keeping.get();
    keeping->Make("a");
    EXPECT_EQ(keeping->Names(), "a ");
    bool isRefused = false;
    book.onHook = [&](string const&) { isRefused = !manager->CreateResource("", "late", false, NoLoader()); };
    keeping.reset();
    book.onHook = nullptr;
    EXPECT_EQ(book.Take(), "~a ");
    EXPECT_TRUE(isRefused);
}

TEST_F(Resource, AWrongCountIsLoggedAndTheResourceGoes) {
    ResourceSharePtr resource = manager.Make("r");
    manager._NotifyResourceRelease(resource, 2);
    EXPECT_EQ(manager.Names(), "r ");
    manager._NotifyResourceRelease(resource, 0);
    EXPECT_EQ(log.TakeText(), "16 CResourceManager::_NotifyResourceRelease : "
                              "Auto Destroy Resource [Something Wrong] -> r, 0\n");
    EXPECT_EQ(book.Take(), "~r ");
    EXPECT_EQ(manager.Names(), "");
    EXPECT_TRUE(resource == nullptr);
    manager._NotifyResourceRelease(resource, 0);
    EXPECT_EQ(log.TakeText(), "");
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
