// PackTest.cpp: the program qk3d-pack, alone and against other programs that know archives.
#include "QK3DPackageFileSystem.h"
#include "TestFiles.h"
#include "TestShell.h"
#include "TestZip.h"

#include <random>

namespace fs = std::filesystem;

namespace {
class PackTest : public testing::Test {
protected:
    PackTest() {
        std::mt19937 random(5);
        std::string noise(70'000, '\0');
        for (char& byte : noise) byte = static_cast<char>(random());
        m_folder.Write("in/Readme.txt", "hello\n");
        m_folder.Write("in/Textures/Stone.bin", noise);
        m_folder.Write("in/Textures/zeros", std::string(100'000, '\0'));
        m_folder.Write("in/图片/é.txt", "é");
        m_folder.Write("in/empty", "");
    }

    // The exit status of a command line; what it says is kept for SaidThat.
    int Run(std::string const& command) {
        auto result = Shell(m_folder, command);
        m_said = std::move(result.output);
        return result.code;
    }
    int Pack(std::string const& arguments) { return Run("'" QK3D_PACK "' " + arguments); }
    bool Said(std::string const& words) const { return m_said.find(words) != std::string::npos; }
    std::string File(std::string const& name) const { return TempFolder::Read(m_folder.Path(name)); }

    TempFolder m_folder;
    std::string m_said;
};
} // namespace

TEST_F(PackTest, WhatIsPackedComesOutAgainFromTheToolAndTheStore) {
    for (std::string const option : {"", "--deflate "}) {
        ASSERT_EQ(Pack("create " + option + "p.pak in"), 0);
        EXPECT_EQ(Pack("verify p.pak"), 0);
        EXPECT_TRUE(Said("5 files are good"));
        EXPECT_FALSE(Said("QK3D")) << "the engine's own affairs: " << m_said;
        EXPECT_EQ(Pack("extract p.pak 'out " + option + "'"), 0);
        EXPECT_EQ(Run("diff -r in 'out " + option + "'"), 0);
        EXPECT_EQ(Pack("list p.pak"), 0);
        EXPECT_TRUE(Said(option.empty() ? "stored     Textures/zeros" : "deflated   Textures/zeros"));
        EXPECT_EQ(fs::file_size(m_folder.Path("p.pak")) < 80'000, !option.empty());
        qk3d::CPackageFileSystem store;
        ASSERT_TRUE(store.OpenPackage(m_folder.WidePath("p.pak")));
        EXPECT_TRUE(ReadAll(store, L"textures\\stone.BIN") == File("in/Textures/Stone.bin"));
        EXPECT_EQ(ReadAll(store, L"\x56FE\x7247/\u00C9.txt"), "é");
    }
}

TEST_F(PackTest, TheSameFilesGiveTheSameBytes) {
    ASSERT_EQ(Pack("create a.pak in"), 0);
    EXPECT_EQ(File("a.pak").substr(10, 4), std::string("\0\0\x21\0", 4)) << "the date is the first that there is";
    ASSERT_EQ(Run("cp -r in later && chmod 700 later/empty && touch -d tomorrow later/empty"), 0);
    for (int i = 0; i < 2; ++i) { // at last over itself, without packing itself
        ASSERT_EQ(Pack("create later/b.pak later"), 0);
        EXPECT_TRUE(File("a.pak") == File("later/b.pak"));
    }
}

TEST_F(PackTest, FailuresAreToldAndLeaveWhatWasThere) {
    ASSERT_EQ(Pack("create p.pak in"), 0);
    std::string const good = File("p.pak");
    m_folder.Write("case/A", "1");
    m_folder.Write("case/a", "2");
    m_folder.Write("bytes/\xFF", "1");
    m_folder.Write("text", "no package");
    m_folder.Write("climbs.pak", MakeZip({{"../escaped", "x"}}));
    std::string spoilt = good;
    spoilt[spoilt.find("hello")] = 'j';
    m_folder.Write("spoilt.pak", spoilt);
    struct {
        char const* arguments;
        int status;
        char const* words;
    } const rows[] = {
        {"create p.pak case", 1, "differ in case only"},
        {"create p.pak bytes", 1, "not UTF-8"},
        {"create nowhere/p.pak in", 1, "cannot write nowhere/p.pak"},
        {"create case in", 1, "cannot write case"},
        {"verify text", 1, "it is no archive, or not whole"},
        {"verify spoilt.pak", 1, "cannot read Readme.txt"},
        {"extract climbs.pak out", 1, "leads out of it"},
        {"extract spoilt.pak out", 1, "cannot read Readme.txt"},
        {"extract p.pak text", 1, "cannot write text/"},
        {"", 2, "usage: qk3d-pack create"},
        {"create --fast p.pak in", 2, "unknown option --fast"},
        {"--help", 0, "usage: qk3d-pack create"},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(Pack(row.arguments), row.status) << row.arguments;
        EXPECT_TRUE(Said(row.words)) << row.arguments << " said: " << m_said;
        EXPECT_TRUE(File("p.pak") == good) << row.arguments;
        EXPECT_FALSE(fs::exists(m_folder.Path("p.pak.part"))) << row.arguments;
    }
    EXPECT_FALSE(fs::exists(m_folder.Path("escaped")));
    EXPECT_FALSE(fs::exists(m_folder.Path("out/Readme.txt"))) << "what cannot be read is not made";
    EXPECT_EQ(File("out/图片/é.txt"), "é") << "the rest is";
}

TEST_F(PackTest, OtherProgramsReadOurPackagesAndWeReadTheirs) {
    ASSERT_EQ(Run("command -v zip && command -v unzip && command -v python3"), 0) << "not all are installed";
    ASSERT_EQ(Pack("create --deflate ours.pak in"), 0);
    EXPECT_EQ(
        Run("unzip -q ours.pak -d unzipped && diff -r in unzipped && [ $(stat -c %A unzipped/empty | cut -c2) = r ]"),
        0)
        << m_said;
    EXPECT_EQ(Run("python3 -c \"import zipfile; assert zipfile.ZipFile('ours.pak').testzip() is None\""), 0);
    EXPECT_EQ(Run("python3 -m zipfile -c py.zip in/ && '" QK3D_PACK "' verify py.zip"), 0) << m_said;
    fs::remove_all(m_folder.Path("in/图片"));
    ASSERT_EQ(Run("cd in && zip -q -r ../theirs.zip ."), 0) << m_said;
    EXPECT_EQ(Pack("extract theirs.zip zipped"), 0);
    EXPECT_EQ(Run("diff -r in zipped"), 0) << m_said;
}
