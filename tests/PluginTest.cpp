// PluginTest.cpp: loading, refusing, reloading and unloading of plug-ins.
#include "PlatformLibrary.h"
#include "QK3DPlugin.h"
#include "QK3DPluginManager.h"
#include "TempFolder.h"
#include "TestPlugin.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace qk3d;
namespace fs = std::filesystem;

namespace {
std::string Built(std::string const& kind) { return std::string(QK3D_TEST_PLUGINS) + "/TestPlugin" + kind + ".so"; }

class PluginTest : public testing::Test {
protected:
    PluginTest() { m_manager.SetDirPath(m_folder.Path()); }

    // Puts a kind of plug-in under `name` as an installer does: written beside, then renamed into place.
    void Install(std::string const& kind, std::string const& name = "p.so") {
        fs::copy_file(Built(kind), m_folder.Path("installing"), fs::copy_options::overwrite_existing);
        fs::rename(m_folder.Path("installing"), m_folder.Path(name));
    }

    CPlugin* Load(std::string const& name = "p.so", bool reload = false) {
        return m_manager.LoadPlugin(name, reinterpret_cast<unsigned char const*>(&m_journalAddress),
                                    sizeof m_journalAddress, reload);
    }

    std::string TakeWords() { return std::exchange(m_journal.words, ""); }

    static int Call(CPlugin& plugin, char const* name) {
        auto const function = reinterpret_cast<int (*)()>(plugin.GetProcAddress(name));
        return function ? function() : -1;
    }

    PluginJournal m_journal;
    PluginJournal* m_journalAddress = &m_journal;
    TempFolder m_folder;
    CPluginManager m_manager;
};
} // namespace

TEST_F(PluginTest, AFaultyPluginIsRefusedReleasedAndGoneFromTheProcess) {
    struct {
        char const* kind;
        char const* words;
    } const rows[] = {
        {"NoInit", ""}, // it never got the journal
        {"NoRelease", ""},
        {"NoObjects", ""},
        {"NoInfo", ""},
        {"InitZero", "init1 release1 gone1 "},
        {"InitTwo", "init1 release1 gone1 "},
        {"InitThrows", "init1 release1 gone1 "},
        {"Unresolved", ""},
    };
    for (auto const& row : rows) {
        Install(row.kind);
        EXPECT_EQ(Load(), nullptr) << row.kind;
        EXPECT_EQ(TakeWords(), row.words) << row.kind;
        EXPECT_FALSE(m_manager.IsPluginLoad("p.so")) << row.kind;
    }
    Install("Good"); // what came before has left nothing behind
    EXPECT_NE(Load(), nullptr);
}

TEST_F(PluginTest, AnExceptionOnTheWayOutStillUnloads) {
    Install("ReleaseThrows");
    ASSERT_NE(Load(), nullptr);
    m_manager.UnloadPlugin("p.so");
    EXPECT_EQ(TakeWords(), "init1 release1 gone1 ");
}

TEST_F(PluginTest, AListThatFailsIsEmptyAndTheNextQuestionIsAskedAnew) {
    for (char const* kind : {"ObjectsThrow", "ObjectsLie"}) {
        Install(kind, kind);
        CPlugin* const plugin = Load(kind);
        ASSERT_NE(plugin, nullptr) << kind;
        EXPECT_EQ(plugin->GetPluginObjectNum(), 0) << kind;
        EXPECT_EQ(plugin->GetPluginObjectInfos(), nullptr) << kind;
    }
    Install("Good");
    CPlugin* const plugin = Load();
    EXPECT_EQ(plugin->GetPluginObjectNum(), 1);
    EXPECT_EQ(plugin->GetPluginObjectNum(), 2) << "the plug-in counts the questions";
    EXPECT_STREQ(plugin->GetPluginObjectInfos()->name, "CTestLoader");
    plugin->Close();
    EXPECT_EQ(plugin->GetPluginObjectNum(), 0);
    EXPECT_EQ(plugin->GetProcAddress("GetVersion"), nullptr);
    EXPECT_EQ(CPlugin(nullptr, nullptr, 0).GetPluginObjectNum(), 0);
}

TEST_F(PluginTest, OneFileIsOnePluginUnderAllItsNames) {
    Install("Good");
    CPlugin* const plugin = Load();
    for (std::string const& name : {std::string("p.so"), std::string(" p.so\n"), m_folder.Path("p.so")})
        EXPECT_EQ(Load(name), plugin) << name;
    EXPECT_EQ(m_manager.GetPlugin(m_folder.Path("p.so")), plugin);
    EXPECT_EQ(TakeWords(), "init1 ") << "started once";

    for (char const* name : {"", " ", "q.so"}) {
        EXPECT_EQ(m_manager.GetPlugin(name), nullptr) << name;
        m_manager.UnloadPlugin(name);
    }
    EXPECT_TRUE(m_manager.IsPluginLoad("p.so"));
    m_manager.UnloadPlugin("p.so");
    EXPECT_EQ(TakeWords(), "release1 gone1 ");
}

TEST_F(PluginTest, ReloadRunsWhatLiesInTheFileNow) {
    Install("Good");
    Call(*Load(), "CountCalls");
    Install("Newer");
    EXPECT_EQ(Call(*Load("p.so", true), "GetVersion"), 2);
    EXPECT_EQ(TakeWords(), "init1 init2 release1 gone1 ") << "the new one starts before the old one goes";
    for (int i = 0; i < 9; ++i) { // more versions in a row than there are ways to spell one path
        Install(i % 2 == 0 ? "Good" : "Newer");
        EXPECT_EQ(Call(*Load("p.so", true), "GetVersion"), i % 2 == 0 ? 1 : 2);
    }
    TakeWords();

    EXPECT_EQ(Call(*m_manager.GetPlugin("p.so"), "CountCalls"), 1);
    EXPECT_EQ(Call(*Load("p.so", true), "CountCalls"), 1) << "the same file again is a new instance as well";
    EXPECT_EQ(TakeWords(), "init1 release1 gone1 ");
    EXPECT_EQ(m_folder.Count(), 1u) << "copies are left in the folder";
}

TEST_F(PluginTest, APluginThatGoesIsNoLongerInTheTable) {
    Install("Good");
    CPlugin* const old = Load();
    CPlugin* seen = old;
    m_journal.onRelease = [&] { seen = m_manager.GetPlugin("p.so"); };
    CPlugin* const now = Load("p.so", true);
    EXPECT_EQ(seen, now);
    m_manager.UnloadPlugin("p.so");
    EXPECT_EQ(seen, nullptr);
    m_journal.onRelease = nullptr;
}

TEST_F(PluginTest, AReloadThatFailsKeepsThePluginThatRuns) {
    Install("Good");
    CPlugin* const plugin = Load();
    TakeWords();
    std::string const whole = TempFolder::Read(Built("Good"));

    struct {
        char const* what;
        std::string bytes;
    } const rows[] = {{"text", "#!/bin/sh\n"}, {"empty", ""}, {"cut off", whole.substr(0, whole.size() * 2 / 3)}};
    for (auto const& row : rows) {
        fs::rename(m_folder.Write("installing", row.bytes), m_folder.Path("p.so"));
        EXPECT_EQ(Load("p.so", true), nullptr) << row.what;
        EXPECT_EQ(m_manager.GetPlugin("p.so"), plugin) << row.what;
    }
    fs::remove(m_folder.Path("p.so"));
    EXPECT_EQ(Load("p.so", true), nullptr) << "deleted";
    Install("InitZero");
    EXPECT_EQ(Load("p.so", true), nullptr) << "refuses";
    EXPECT_EQ(TakeWords(), "init1 release1 gone1 ") << "only the refusing one came and went";
    EXPECT_EQ(Call(*plugin, "CountCalls"), 1) << "the old one runs";
    EXPECT_EQ(m_folder.Count(), 1u);
}

TEST_F(PluginTest, NoFileCanHarmTheProcess) {
    std::string const whole = TempFolder::Read(Built("Good"));
    std::vector<std::size_t> lengths;
    for (std::size_t at = 0; at < whole.size(); at += whole.size() / 150 + 1) lengths.push_back(at);
    for (std::size_t less = 1; less < 70; ++less) lengths.push_back(whole.size() - less);
    for (std::size_t const length : lengths) {
        m_folder.Write("cut.so", whole.substr(0, length));
        ASSERT_EQ(Load("cut.so"), nullptr) << "cut off at " << length;
    }

    std::string foreign = whole;
    foreign[18] = static_cast<char>(0xF3); // another machine's
    m_folder.Write("foreign.so", foreign);
    EXPECT_EQ(Load("foreign.so"), nullptr);
    m_folder.Write("program.so", TempFolder::Read("/proc/self/exe"));
    EXPECT_EQ(Load("program.so"), nullptr);
    fs::create_directory(m_folder.Path("folder.so"));
    EXPECT_EQ(Load("folder.so"), nullptr);
    EXPECT_EQ(Load("missing.so"), nullptr);
    EXPECT_EQ(Load("bad\xFFname.so"), nullptr);
}

TEST_F(PluginTest, DependenciesAreFoundBesideThePlugin) {
    Install("Needy");
    EXPECT_EQ(Load(), nullptr) << "the library it needs is not there";
    fs::copy_file(std::string(QK3D_TEST_PLUGINS) + "/TestPluginNeed.so", m_folder.Path("TestPluginNeed.so"));
    EXPECT_NE(Load(), nullptr);
    EXPECT_NE(Load("p.so", true), nullptr) << "a second instance of an unchanged file";
}

TEST_F(PluginTest, AFolderThatCannotBeWrittenStillReloads) {
    Install("Good");
    ASSERT_NE(Load(), nullptr);
    fs::permissions(m_folder.Path(), fs::perms::owner_read | fs::perms::owner_exec);
    bool const isWritable = std::ofstream(m_folder.Path("probe")).good();
    CPlugin* const plugin = isWritable ? nullptr : Load("p.so", true);
    fs::permissions(m_folder.Path(), fs::perms::owner_all);
    if (isWritable) GTEST_SKIP() << "this user may write anywhere";
    ASSERT_NE(plugin, nullptr);
    EXPECT_EQ(TakeWords(), "init1 init1 release1 gone1 ");
}

TEST(Library, TellsWhetherItsCodeHasLeft) {
    using namespace qklib::platform;
    TempFolder folder;
    std::string const path = folder.Path("lib.so");
    fs::copy_file(Built("Good"), path);
    LibraryHandle const first = OpenLibrary(path);
    LibraryHandle const second = OpenLibrary(path);
    ASSERT_NE(second, nullptr);
    EXPECT_NE(first, second);
    fs::copy_file(Built("Newer"), folder.Path("new"));
    fs::rename(folder.Path("new"), path);
    LibraryHandle const third = OpenLibrary(path);
    for (LibraryHandle const library : {first, third, second, LibraryHandle(nullptr)})
        EXPECT_TRUE(CloseLibrary(library));
    EXPECT_EQ(FindFunction(nullptr, "GetVersion"), nullptr);
}
