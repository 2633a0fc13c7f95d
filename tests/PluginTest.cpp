// PluginTest.cpp: loading, refusing, reloading and unloading of plug-ins.
#include "QK3D.h"
#include "TempFolder.h"
#include "TestPlugin.h"

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

    static int Call(CPlugin* plugin, char const* name) {
        auto const function = plugin ? reinterpret_cast<int (*)()>(plugin->GetProcAddress(name)) : nullptr;
        return function ? function() : -1;
    }

    PluginJournal m_journal;
    PluginJournal* m_journalAddress = &m_journal;
    TempFolder m_folder;
    CPluginManager m_manager;
};
} // namespace

TEST_F(PluginTest, AFaultyPluginIsRefusedReleasedAndGoneFromTheProcess) {
    // Needy lacks the library that it needs.
    for (std::string const kind :
         {"NoInit", "NoRelease", "NoObjects", "NoInfo", "InitTwo", "InitThrows", "Unresolved", "Needy"}) {
        Install(kind);
        EXPECT_EQ(Load(), nullptr) << kind;
        EXPECT_EQ(TakeWords(), kind.starts_with("Init") ? "init1 release1 gone1 " : "") << kind;
        EXPECT_FALSE(m_manager.IsPluginLoad("p.so")) << kind;
    }
    fs::copy_file(std::string(QK3D_TEST_PLUGINS) + "/TestPluginNeed.so", m_folder.Path("TestPluginNeed.so"));
    EXPECT_NE(Load(), nullptr) << "what it needs lies beside it";
    EXPECT_NE(Load("p.so", true), nullptr) << "a second instance of an unchanged file";
    Install("ReleaseThrows", "out.so");
    EXPECT_NE(Load("out.so"), nullptr);
    TakeWords();
    m_manager.UnloadPlugin("out.so");
    EXPECT_EQ(TakeWords(), "release1 gone1 ");
}

TEST_F(PluginTest, AListThatFailsIsEmptyAndTheNextQuestionIsAskedAnew) {
    for (char const* kind : {"ObjectsThrow", "ObjectsLie"}) {
        Install(kind, kind);
        CPlugin* const plugin = Load(kind);
        EXPECT_TRUE(plugin->GetPluginObjectNum() == 0 && !plugin->GetPluginObjectInfos()) << kind;
    }
    Install("Good");
    CPlugin* const plugin = Load();
    EXPECT_EQ(plugin->GetPluginObjectNum(), 1);
    EXPECT_EQ(plugin->GetPluginObjectNum(), 2) << "the plug-in counts the questions";
    EXPECT_STREQ(plugin->GetPluginObjectInfos()->name, "CTestLoader");
    plugin->Close();
    EXPECT_EQ(plugin->GetPluginObjectNum(), 0);
}

TEST_F(PluginTest, OneFileIsOnePluginUnderAllItsNames) {
    Install("Good");
    CPlugin* const plugin = Load();
    for (std::string const& name : {std::string("p.so"), std::string(" p.so\n"), m_folder.Path("p.so")})
        EXPECT_TRUE(Load(name) == plugin && m_manager.GetPlugin(name) == plugin) << name;
    for (char const* name : {"", "q.so"}) {
        EXPECT_EQ(m_manager.GetPlugin(name), nullptr) << name;
        m_manager.UnloadPlugin(name);
    }
    EXPECT_EQ(TakeWords(), "init1 ");
}

TEST_F(PluginTest, ReloadRunsWhatLiesInTheFileNow) {
    Install("Good");
    Call(Load(), "CountCalls");
    Install("Newer");
    CPlugin* seen = nullptr;
    m_journal.onRelease = [&] { seen = m_manager.GetPlugin("p.so"); };
    CPlugin* const newer = Load("p.so", true);
    EXPECT_EQ(seen, newer) << "one that goes is no longer in the table";
    m_journal.onRelease = nullptr;
    EXPECT_EQ(Call(newer, "GetVersion"), 2);
    EXPECT_EQ(TakeWords(), "init1 init2 release1 gone1 ") << "the new one starts before the old one goes";
    for (int i = 0; i < 9; ++i) { // more versions in a row than there are ways to spell one path
        Install(i % 2 == 0 ? "Good" : "Newer");
        EXPECT_EQ(Call(Load("p.so", true), "GetVersion"), i % 2 == 0 ? 1 : 2);
    }
    EXPECT_EQ(Call(m_manager.GetPlugin("p.so"), "CountCalls"), 1);
    EXPECT_EQ(Call(Load("p.so", true), "CountCalls"), 1) << "the same file again is a new instance as well";
    EXPECT_EQ(m_folder.Count(), 1u) << "copies are left in the folder";
}

TEST_F(PluginTest, AFileAmongOthersThatCannotBeWrittenStillReloads) {
    std::FILE* const file = std::fopen(Built("Good").c_str(), "rb");
    std::string const path = "/proc/self/fd/" + std::to_string(fileno(file)); // not even root makes files there
    ASSERT_NE(Load(path), nullptr);
    EXPECT_EQ(Call(Load(path, true), "GetVersion"), 1);
    EXPECT_EQ(TakeWords(), "init1 init1 release1 gone1 ");
    std::fclose(file);
}

TEST_F(PluginTest, AReloadThatFailsKeepsThePluginThatRuns) {
    Install("Good");
    CPlugin* const plugin = Load();
    TakeWords();
    std::string const whole = TempFolder::Read(Built("Good"));
    for (std::size_t const size : {std::size_t(0), whole.size() * 2 / 3}) {
        fs::rename(m_folder.Write("installing", whole.substr(0, size)), m_folder.Path("p.so"));
        EXPECT_EQ(Load("p.so", true), nullptr) << size << " bytes";
        EXPECT_EQ(m_manager.GetPlugin("p.so"), plugin) << size << " bytes";
    }
    fs::remove(m_folder.Path("p.so"));
    EXPECT_EQ(Load("p.so", true), nullptr) << "deleted";
    Install("InitTwo");
    EXPECT_EQ(Load("p.so", true), nullptr) << "refuses";
    EXPECT_EQ(TakeWords(), "init1 release1 gone1 ") << "only the refusing one came and went";
    EXPECT_EQ(Call(m_manager.GetPlugin("p.so"), "CountCalls"), 1) << "the old one runs";
}

TEST_F(PluginTest, NoFileCanHarmTheProcess) {
    std::string const whole = TempFolder::Read(Built("Good"));
    for (std::size_t length = 0; length < whole.size();) {
        m_folder.Write("cut.so", whole.substr(0, length));
        ASSERT_EQ(Load("cut.so"), nullptr) << "cut off at " << length;
        length += length + 70 < whole.size() ? std::min(whole.size() / 150 + 1, whole.size() - 70 - length) : 1;
    }
    m_folder.Write("foreign.so", std::string(whole).replace(18, 1, "\xF3")); // another machine's
    m_folder.Write("program.so", TempFolder::Read("/proc/self/exe"));
    fs::create_directory(m_folder.Path("folder.so"));
    for (char const* name : {"foreign.so", "program.so", "folder.so", "missing.so", "bad\xFFname.so"})
        EXPECT_EQ(Load(name), nullptr) << name;
}
