// StoreTest.cpp: files in memory and in packages.
#include "QK3D.h"
#include "TempFolder.h"
#include "TestLog.h"
#include "TestProcessor.h"
#include "TestStore.h"
#include "TestZip.h"

using namespace qk3d;
using namespace std::string_literals;

namespace {
// Shows what is meant for derived classes.
class OpenStore : public CPackageFileSystem {
public:
    using CPackageFileSystem::GetFileData;
    using CPackageFileSystem::m_files;
    using CPackageFileSystem::m_rootPath;
};

class PackageTest : public testing::Test {
protected:
    bool Open(string const& bytes) {
        m_folder.Write("Pak.zip", bytes);
        return m_store.OpenPackage(m_folder.WidePath("Pak.zip"));
    }

    CTestLog m_log;
    TempFolder m_folder;
    OpenStore m_store;
};
} // namespace

TEST(MemFileSystem, KeepsTextsWithTheirTerminatorAndRefusesWhatItCannotKeep) {
    CMemFileSystem store;
    wstring wide;
    for (wstring const& text : {L"\x4E2D\x6587"s, L"fives"s}) { // the bytes of one look like GBK
        EXPECT_TRUE(store.WriteStringToNewFile("a", text) && store.ReadFileAsString("a", wide));
        EXPECT_EQ(wide, text);
    }
    EXPECT_EQ(ReadAll(store, L"a"), "f\0i\0v\0e\0s\0\0\0"s);
    EXPECT_TRUE(store.WriteStringToNewFile("a", "eleven bytes"s.substr(1)) && store.ReadFileAsString("a", wide));
    EXPECT_EQ(wide, L"leven bytes") << "of the same size, but narrow";
    EXPECT_FALSE(store.WriteStringToNewFile("a", ""s) || store.WriteDataToNewFile("a", nullptr, 3));
    EXPECT_FALSE(store.WriteStringToNewFile(L"a", wstring(1, wchar_t(0x1F600))) || store.AppendStringToFile("a", "x"s));
    EXPECT_EQ(store.GetFileSize("a"), 12u) << "what was refused has changed nothing";
    EXPECT_FALSE(store.WriteStringToNewFile("", "x"s)) << "nobody could find it";
    for (string name : {"A", " a", "a ", "/a", "\\a", ""}) {
        EXPECT_FALSE(store.IsFileExist(name) || store.MakeResourceAbsolutePath(name)) << name << ": names are exact";
    }
}

TEST(MemFileSystem, TakesBlocksOverAndGivesCopies) {
    CMemFileSystem store;
    unsigned char* const block = NewBlock("abcd");
    EXPECT_TRUE(store.WriteDataToNewFile("f", block, 4));
    EXPECT_TRUE(store.WriteDataToNewFile("f", block, 3)) << "the block that it holds already";
    EXPECT_EQ(ReadAll(store, L"f"), "abc");
    EXPECT_TRUE(store.WriteStringToNewFile("f", "xy"s)) << "fits: the block is used again";
    EXPECT_STREQ(reinterpret_cast<char*>(block), "xy");
    WriteFile(store, "f", "abcd");

    unsigned char buffer[8] = {};
    EXPECT_EQ(store.ReadFileAsBinary("f", buffer, 2), 4u) << "what there is, not what was copied";
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "ab");
    for (bool const fromData : {false, true}) {
        store.AddFileDataProcessor("", {new DoublingProcessor(fromData), qklib::PRM_DELETE});
        EXPECT_EQ(store.GetFileSize("f"), 4u) << "as it is stored";
        EXPECT_EQ(store.ReadFileAsBinary("f", static_cast<unsigned char**>(nullptr)), 8u);
        ExpectDoubled(store, L"f");
    }
    store.RemoveAllFileDataProcessor();
    EXPECT_EQ(ReadAll(store, L"f"), "abcd");
    EXPECT_TRUE(store.DeleteFileA("f"));
    EXPECT_FALSE(store.DeleteFileA("f"));
}

TEST(MemFileSystem, FeedsTheViewersScriptsToTheirResources) {
    auto store = std::make_unique<CMemFileSystem>();
    std::vector<string> scripts;
    for (char const* const folder : {"materials", "programs"})
        for (auto const& file : std::filesystem::directory_iterator(QK3D_SOURCE_DIR "/demo/"s + folder)) {
            string const name = file.path().filename().string();
            WriteFile(*store, name, TempFolder::Read(file.path()));
            if (name.ends_with(".json")) scripts.push_back(name);
        }
    CTestLog const log;
    CTestStore const searched(store.release());
    for (string const& name : scripts) {
        _ResourceSharePtr<CMaterial> material =
            CQK3DMain::GetResourceSystem().CreateResource("CMaterial", name, "", false, NoLoader());
        EXPECT_TRUE(material && material->Load() && material->GetTechnique(0)->GetPassNum() > 0) << name;
    }
    EXPECT_GE(scripts.size(), 10u);
}

TEST_F(PackageTest, AFileIsFoundByItsKeyAndByItsAbsolutePath) {
    TestZipEntry gbk{"\xD6\xD0.txt", "gbk"};
    gbk.flags = 0;
    ASSERT_TRUE(Open(MakeZip({{"a/B.txt", "hello"}, {"a/", ""}, gbk, {"é文.txt", "utf8"}, {"win\\dows.txt", "win"}})));
    EXPECT_EQ(ReadAll(m_store, L"\x4E2D.txt"), "gbk") << "the flag tells the encoding of a name";
    EXPECT_EQ(ReadAll(m_store, TempFolder::Wide("É文.TXT")), "utf8");
    EXPECT_EQ(ReadAll(m_store, L"win/dows.txt"), "win");
    wstring const root = m_folder.WidePath("Pak.zip");
    for (wstring const& path : {L"A/B.TXT"s, L" a\\b.txt\n"s, root + L"/a/b.txt", root + L"\\A\\b.txt"}) {
        EXPECT_TRUE(m_store.IsFileExist(path));
        EXPECT_EQ(ReadAll(m_store, path), "hello");
    }
    for (wstring path : {L"\\a\\b.txt"s, L"/a/b.txt"s, L"a\\"s, L"a"s, L"c:\\a\\b.txt"s, root, root + L"/",
                         root + L"xa/b.txt", L""s, m_folder.WidePath("a/b.txt")}) {
        EXPECT_FALSE(m_store.MakeResourceAbsolutePath(path) || m_store.IsFileExist(path));
        EXPECT_EQ(ReadAll(m_store, path), "none");
    }
    wstring path = L"\tA/B.txt ";
    EXPECT_TRUE(m_store.MakeResourceAbsolutePath(path) && m_store.MakeResourceAbsolutePath(path));
    EXPECT_EQ(path, root + L"/A/B.txt") << "letters stay as given";
}

TEST_F(PackageTest, StoredAndDeflatedFilesAreReadAndTheOthersAreNot) {
    TestZipEntry secret{"secret", "xxxxxxxxxxxxxxxx"};
    secret.flags |= 1;
    TestZipEntry spoilt{"spoilt", "hello"};
    spoilt.crc = 1;
    TestZipEntry other{"other", "packed in a way of its own", 14};
    other.size = 0x2FFFFFFF; // not more than packing could do, for all that is known: no memory is asked for it
    ASSERT_TRUE(
        Open(MakeZip({{"stored", "hello"}, Deflated("deflated", "hello"), secret, spoilt, other, {"empty", ""}})));
    struct {
        wchar_t const* name;
        unsigned long long size;
        unsigned long long fetched; // by GetFileData
        char const* bytes;
    } const rows[] = {
        {L"stored", 5, 5, "hello"}, {L"deflated", 5, 0, "hello"},      {L"secret", 0, 0, "none"},
        {L"spoilt", 5, 0, "none"},  {L"other", 0x2FFFFFFF, 0, "none"}, {L"empty", 0, 0, "none"},
    };
    unsigned char buffer[8] = {};
    for (auto const& row : rows) {
        EXPECT_EQ(m_store.IsFileExist(row.name), row.name != L"secret"s) << row.name;
        EXPECT_EQ(m_store.GetFileSize(row.name), row.size) << row.name;
        EXPECT_EQ(ReadAll(m_store, row.name), row.bytes) << row.name;
        EXPECT_EQ(m_store.ReadFileAsBinary(row.name, buffer, 2), row.bytes == "none"s ? 0u : 5u) << row.name;
        EXPECT_STREQ(reinterpret_cast<char*>(buffer), "he");
        unsigned char* block = nullptr;
        EXPECT_EQ(m_store.GetFileData(row.name, &block), row.fetched) << row.name;
        std::free(block);
    }
    EXPECT_FALSE(m_store.DeleteFileA(L"stored") || m_store.WriteStringToNewFile(L"stored", "x"s));
    m_store.AddFileDataProcessor("", {new DoublingProcessor(false), qklib::PRM_DELETE});
    EXPECT_EQ(ReadAll(m_store, L"deflated"), "hheelllloo");
    m_store.ClosePackage();
    EXPECT_FALSE(m_store.IsFileExist(L"stored"));
    EXPECT_EQ(m_log.TakeLines(), LogLines({}));
}

TEST_F(PackageTest, APackageThatIsWrongAnywhereIsRefusedAndToldInTheLog) {
    auto const changed = [](auto member, int value, TestZipEntry entry = {"x", "hello"}) {
        entry.*member = value;
        return MakeZip({{"first", "1"}, entry});
    };
    auto const named = [](string const& name) { return MakeZip({{name, "x"}}); };
    string const good = named("x");
    std::pair<char const*, string> const rows[] = {
        {"its start is gone", good.substr(30)},
        {"stored, in two sizes", changed(&TestZipEntry::size, 6)},
        {"deflated, far too much", changed(&TestZipEntry::size, 1 << 30, Deflated("x", "hello"))},
        {"a header behind the end", changed(&TestZipEntry::offset, 1 << 29)},
        {"climbs out in between, by backslashes", named("a\\..\\..\\x")},
        {"has a drive", named("c:x")},
        {"has no name", named("")},
        {"has a zero in its name", named("a\0b"s)},
        {"is no UTF-8", named("\xFF")},
        {"names that differ in case only", MakeZip({{"x", "1"}, {"X", "2"}})},
    };
    for (std::size_t length = 0; length < good.size(); ++length) EXPECT_FALSE(Open(good.substr(0, length))) << length;
    EXPECT_EQ(m_log.TakeLines().size(), good.size());
    for (auto const& [what, bytes] : rows) {
        ASSERT_TRUE(Open(good));
        EXPECT_FALSE(Open(bytes)) << what;
        EXPECT_TRUE(m_store.m_files.empty() && m_store.m_rootPath.empty()) << what;
        auto const lines = m_log.TakeLines();
        ASSERT_EQ(lines.size(), 1u) << what;
        EXPECT_TRUE(lines[0].starts_with("8 The Package File Error : " + m_folder.Path("Pak.zip") + ", ")) << what;
    }
    EXPECT_FALSE(m_store.OpenPackage(m_folder.WidePath("missing.zip")));
    EXPECT_EQ(m_log.TakeLines(), LogLines({})) << "a file that is not there is no news";
}

TEST_F(PackageTest, ADeflatedFileNeverGivesMoreThanItsRecordedSize) {
    string const text(600, 'x');
    for (std::size_t const size : {0, 1, 599, 601, 700}) {
        TestZipEntry entry = Deflated("x", text);
        entry.size = static_cast<std::int64_t>(size);
        if (size > 600) entry.crc = TestCrc(text + string(size - 600, '\0'));
        ASSERT_TRUE(Open(MakeZip({entry})));
        EXPECT_EQ(ReadAll(m_store, L"x"), "none") << size;
    }
    TestZipEntry cut = Deflated("x", text), noStream = cut;
    cut.data.resize(300); // its stream runs into what comes next
    noStream.data.replace(0, 1, "\x07");
    for (TestZipEntry const& entry : {cut, noStream}) {
        ASSERT_TRUE(Open(MakeZip({entry, {"y", string(9000, 'y')}})));
        EXPECT_EQ(ReadAll(m_store, L"x"), "none");
    }
}

TEST_F(PackageTest, AHundredThousandFilesAreNoTrouble) {
    std::vector<TestZipEntry> entries;
    for (int i = 0; i < 100'000; ++i) entries.push_back({"f" + std::to_string(i), std::to_string(i)});
    ASSERT_TRUE(Open(MakeZip(entries)));
    EXPECT_EQ(m_store.m_files.size(), 100'000u);
    EXPECT_EQ(ReadAll(m_store, L"f99999"), "99999");
}
