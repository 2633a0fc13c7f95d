// StoreTest.cpp: files in memory and in packages.
#include "PlatformCodePage.h"
#include "QK3DMemFileSystem.h"
#include "QK3DPackageFileSystem.h"
#include "QK3DText.h"
#include "TempFolder.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestProcessor.h"
#include "TestZip.h"

#include <cstring>
#include <gtest/gtest.h>
#include <random>

using namespace qk3d;
using namespace std::string_literals;

namespace {
// All that a store gives for a path, or "none".
string ReadAll(CFileSystem const& store, wstring const& path) {
    unsigned char* block = nullptr;
    unsigned long long const size = store.ReadFileAsBinary(path, &block);
    string const bytes = block ? string(block, block + size) : "none";
    std::free(block);
    return bytes;
}

// Shows what is meant for derived classes.
class OpenStore : public CPackageFileSystem {
public:
    using CPackageFileSystem::GetFileData;
    using CPackageFileSystem::m_files;
    using CPackageFileSystem::m_rootPath;
};

class PackageTest : public testing::Test {
protected:
    bool Open(string const& bytes) { return m_store.OpenPackage(Wide(m_folder.Write("Pak.zip", bytes))); }

    static wstring Wide(string const& utf8) {
        wstring wide;
        qklib::platform::Utf8ToUtf16(utf8, wide);
        return wide;
    }

    CTestLog m_log;
    TempFolder m_folder;
    OpenStore m_store;
};
} // namespace

TEST(MemFileSystem, KeepsTextsWithTheirTerminator) {
    CTestLog log;
    {
        CMemFileSystem store;
        EXPECT_TRUE(store.WriteStringToNewFile("a", "xyz"));
        EXPECT_EQ(store.GetFileSize("a"), 4u);
        string text;
        EXPECT_TRUE(store.ReadFileAsString("a", text));
        EXPECT_EQ(text, "xyz");
        EXPECT_TRUE(store.WriteStringToNewFile(L"a", L"xyz"));
        EXPECT_EQ(ReadAll(store, L"a"), "x\0y\0z\0\0\0"s);
        EXPECT_TRUE(store.ReadFileAsString("a", text));
        EXPECT_EQ(text, "xyz");
        EXPECT_TRUE(store.WriteStringToNewFile("a", L"\x4E2D\x6587")); // its bytes look like GBK
        wstring wide;
        EXPECT_TRUE(store.ReadFileAsString("a", wide));
        EXPECT_EQ(wide, L"\x4E2D\x6587");
        EXPECT_TRUE(store.WriteStringToNewFile("a", "fives"s)) << "of the same size, but narrow";
        EXPECT_TRUE(store.ReadFileAsString("a", wide));
        EXPECT_EQ(wide, L"fives");

        EXPECT_FALSE(store.WriteStringToNewFile("a", ""s));
        EXPECT_FALSE(store.WriteStringToNewFile(L"a", wstring(1, wchar_t(0x1F600))));
        EXPECT_FALSE(store.WriteDataToNewFile("a", nullptr, 3));
        EXPECT_FALSE(store.AppendStringToFile("a", "more"s));
        EXPECT_FALSE(store.AppendDataToFile("a", reinterpret_cast<unsigned char const*>("more"), 4));
        EXPECT_EQ(store.GetFileSize("a"), 6u) << "what was refused has changed nothing";
        EXPECT_FALSE(store.WriteStringToNewFile("", "x"s)) << "nobody could find it";
    }
    EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_INFO, "CMemFileSystem Destroy"}}));
}

TEST(MemFileSystem, TakesBlocksOverAndGivesCopies) {
    CMemFileSystem store;
    unsigned char* const block = NewBlock("abcd");
    EXPECT_TRUE(store.WriteDataToNewFile("f", block, 4));
    EXPECT_TRUE(store.WriteDataToNewFile("f", block, 3)) << "the block that it holds already";
    EXPECT_EQ(ReadAll(store, L"f"), "abc");
    EXPECT_TRUE(store.WriteStringToNewFile("f", "xy"s)) << "fits: the block is used again";
    EXPECT_EQ(std::memcmp(block, "xy", 3), 0);
    WriteFile(store, "f", "abcd");

    unsigned char buffer[8] = {};
    EXPECT_EQ(store.ReadFileAsBinary("f", buffer, 2), 4u) << "what there is, not what was copied";
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "ab");
    EXPECT_EQ(store.ReadFileAsBinary("f", static_cast<unsigned char*>(nullptr), 2), 4u);
    EXPECT_EQ(store.ReadFileAsBinary("f", static_cast<unsigned char**>(nullptr)), 4u);
    EXPECT_EQ(store.ReadFileAsBinary("g", buffer, 8), 0u);
    EXPECT_TRUE(store.DeleteFileA("f"));
    EXPECT_FALSE(store.DeleteFileA("f"));
}

TEST(MemFileSystem, NamesAreExact) {
    CMemFileSystem store;
    store.WriteStringToNewFile("A", "x"s);
    string path = "A";
    EXPECT_TRUE(store.MakeResourceAbsolutePath(path));
    for (string name : {"a", " A", "A ", "/A", "\\A", ""}) {
        EXPECT_FALSE(store.IsFileExist(name)) << name;
        EXPECT_FALSE(store.MakeResourceAbsolutePath(name)) << name;
    }
    EXPECT_EQ(path, "A");
}

TEST(MemFileSystem, ReadingChangesNothingAndProcessorsDecode) {
    CMemFileSystem store;
    WriteFile(store, "big", "\xFE\xFF\x4E\x2D"); // has no terminator
    for (int i = 0; i < 2; ++i) {
        wstring text;
        EXPECT_TRUE(store.ReadFileAsString("big", text));
        EXPECT_EQ(text, L"\x4E2D");
    }
    WriteFile(store, "f.d", "abcd");
    for (bool const fromData : {false, true}) {
        store.AddFileDataProcessor("D", {new DoublingProcessor(fromData), qklib::PRM_DELETE});
        unsigned char buffer[16] = {};
        EXPECT_EQ(store.GetFileSize("f.d"), 4u) << "as it is stored";
        EXPECT_EQ(store.ReadFileAsBinary("f.d", buffer, 3), 8u);
        EXPECT_STREQ(reinterpret_cast<char*>(buffer), "aab");
        EXPECT_EQ(store.ReadFileAsBinary("f.d", buffer, 16), 8u);
        EXPECT_EQ(store.ReadFileAsBinary("f.d", static_cast<unsigned char**>(nullptr)), 8u);
        EXPECT_EQ(ReadAll(store, L"f.d"), "aabbccdd");
        string text;
        EXPECT_TRUE(store.ReadFileAsString("f.d", text));
        EXPECT_EQ(text, "aabbccdd");
    }
    store.RemoveAllFileDataProcessor();
    EXPECT_EQ(ReadAll(store, L"f.d"), "abcd");
}

TEST_F(PackageTest, AFileIsFoundByItsKeyAndByItsAbsolutePath) {
    ASSERT_TRUE(Open(MakeZip({{"a/B.txt", "hello"}, Deflated("a/deep.txt", "inflated"), {"a/", ""}})));
    wstring const root = m_folder.WidePath("Pak.zip");
    for (wstring const& path : {L"a\\b.txt"s, L"A/B.TXT"s, L" a\\b.txt\n"s, root + L"/a/b.txt", root + L"\\A\\b.txt"}) {
        EXPECT_TRUE(m_store.IsFileExist(path));
        EXPECT_EQ(m_store.GetFileSize(path), 5u);
        EXPECT_EQ(ReadAll(m_store, path), "hello");
    }
    for (wstring const& path : {L"\\a\\b.txt"s, L"/a/b.txt"s, L"a\\b"s, L"a\\"s, L"a"s, L"c:\\a\\b.txt"s, root,
                                root + L"/", root + L"xa/b.txt", L""s, L" "s, m_folder.WidePath("a/b.txt")}) {
        wstring copy = path;
        EXPECT_FALSE(m_store.MakeResourceAbsolutePath(copy));
        EXPECT_FALSE(m_store.IsFileExist(path));
        EXPECT_EQ(ReadAll(m_store, path), "none");
    }
    wstring path = L"\tA/B.txt ";
    EXPECT_TRUE(m_store.MakeResourceAbsolutePath(path));
    EXPECT_EQ(path, root + L"/A/B.txt") << "letters stay as given";
    EXPECT_TRUE(m_store.MakeResourceAbsolutePath(path));
    EXPECT_EQ(path, root + L"/A/B.txt");

    // With a root of the other kind the separator is the backslash.
    m_store.m_rootPath = L"c:\\Pak";
    string narrow = "a\\b.txt";
    EXPECT_TRUE(m_store.MakeResourceAbsolutePath(narrow));
    EXPECT_EQ(narrow, "c:\\Pak\\a\\b.txt");
    EXPECT_TRUE(m_store.IsFileExist("c:\\PAK\\a\\b.txt"));
    EXPECT_FALSE(m_store.IsFileExist("d:\\a\\b.txt"));
}

TEST_F(PackageTest, StoredAndDeflatedFilesAreReadAndTheOthersAreNot) {
    TestZipEntry secret{"secret", "xxxxxxxxxxxxxxxx"};
    secret.flags |= 1;
    TestZipEntry spoilt{"spoilt", "hello"};
    spoilt.crc = 1;
    TestZipEntry other{"other", "hello", 14};
    ASSERT_TRUE(
        Open(MakeZip({{"stored", "hello"}, Deflated("deflated", "hello"), secret, spoilt, other, {"empty", ""}})));
    struct {
        wchar_t const* name;
        bool isThere;
        unsigned long long size;
        unsigned long long fetched; // by GetFileData
        char const* bytes;
    } const rows[] = {
        {L"stored", true, 5, 5, "hello"}, {L"deflated", true, 5, 0, "hello"}, {L"secret", false, 0, 0, "none"},
        {L"spoilt", true, 5, 0, "none"},  {L"other", true, 5, 0, "none"},     {L"empty", true, 0, 0, "none"},
    };
    for (auto const& row : rows) {
        EXPECT_EQ(m_store.IsFileExist(row.name), row.isThere) << row.name;
        EXPECT_EQ(m_store.GetFileSize(row.name), row.size) << row.name;
        EXPECT_EQ(m_store.GetFileData(row.name, nullptr), row.size) << row.name;
        EXPECT_EQ(ReadAll(m_store, row.name), row.bytes) << row.name;
        unsigned char* block = nullptr;
        EXPECT_EQ(m_store.GetFileData(row.name, &block), row.fetched) << row.name;
        EXPECT_EQ(block != nullptr, row.fetched > 0) << row.name;
        std::free(block);
    }
    unsigned char buffer[8] = {};
    EXPECT_EQ(m_store.ReadFileAsBinary(L"deflated", buffer, 2), 5u);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "he");
    EXPECT_FALSE(m_store.DeleteFileA(L"stored"));
    EXPECT_FALSE(m_store.WriteStringToNewFile(L"stored", "x"s));

    m_store.AddFileDataProcessor("", {new DoublingProcessor(false), qklib::PRM_DELETE});
    string text;
    EXPECT_TRUE(m_store.ReadFileAsString("deflated", text));
    EXPECT_EQ(text, "hheelllloo");
    m_store.ClosePackage();
    m_store.ClosePackage();
    EXPECT_FALSE(m_store.IsFileExist(L"stored"));
    EXPECT_EQ(m_store.GetFileData(L"stored", nullptr), 0u);
    EXPECT_EQ(m_log.TakeLines(), LogLines({}));
}

TEST_F(PackageTest, NamesAreInTheEncodingThatTheirFlagTells) {
    TestZipEntry gbk{"\xD6\xD0.txt", "gbk"};
    gbk.flags = 0;
    ASSERT_TRUE(Open(MakeZip({gbk, {"é文.txt", "utf8"}, {"win\\dows.txt", "backslash"}})));
    EXPECT_EQ(ReadAll(m_store, Wide("中.txt")), "gbk");
    EXPECT_EQ(ReadAll(m_store, Wide("É文.TXT")), "utf8");
    EXPECT_EQ(ReadAll(m_store, L"win/dows.txt"), "backslash");
    EXPECT_TRUE(m_store.IsFileExist("\xD6\xD0.txt"));
}

TEST_F(PackageTest, APackageThatIsWrongAnywhereIsRefusedAndToldInTheLog) {
    auto const changed = [](auto member, std::int64_t value, TestZipEntry entry = {"x", "hello"}) {
        entry.*member = value;
        return MakeZip({{"first", "1"}, entry});
    };
    string const good = MakeZip({{"x", "hello"}});
    TestZipEntry noText{"\xFF", ""};
    TestZipEntry entry{"x", "hello"};
    entry.size = entry.packedSize = 5000;
    string const tooLong = MakeZip({entry});
    struct {
        char const* what;
        string bytes;
    } const rows[] = {
        {"text", "this is no archive"},
        {"nothing", ""},
        {"its start is gone", good.substr(30)},
        {"its end is gone", good.substr(0, good.size() - 3)},
        {"more packed bytes than there are", changed(&TestZipEntry::packedSize, 5000)},
        {"a file longer than the archive", tooLong},
        {"stored, in two sizes", changed(&TestZipEntry::size, 6)},
        {"deflated, to far too much", changed(&TestZipEntry::size, 1 << 30, Deflated("x", "hello"))},
        {"a header that is elsewhere", changed(&TestZipEntry::offset, 7)},
        {"a header behind the end", changed(&TestZipEntry::offset, 1 << 29)},
        {"climbs out", MakeZip({{"../x", ""}})},
        {"climbs out in between", MakeZip({{"a/../../x", ""}})},
        {"climbs out by backslashes", MakeZip({{"a\\..\\..\\x", ""}})},
        {"climbs at its end", MakeZip({{"a/..", ""}})},
        {"a folder that climbs", MakeZip({{"../", ""}})},
        {"from the root", MakeZip({{"/etc/x", ""}})},
        {"has a drive", MakeZip({{"c:x", ""}})},
        {"has an empty part", MakeZip({{"a//x", ""}})},
        {"has no name", MakeZip({{"", "x"}})},
        {"has a zero in its name", MakeZip({{"a\0b"s, "x"}})},
        {"is no UTF-8", MakeZip({noText})},
        {"the same name twice", MakeZip({{"x", "1"}, {"x", "2"}})},
        {"names that differ in case only", MakeZip({{"x", "1"}, {"X", "2"}})},
    };
    for (auto const& row : rows) {
        ASSERT_TRUE(Open(good));
        EXPECT_FALSE(Open(row.bytes)) << row.what;
        EXPECT_TRUE(m_store.m_files.empty() && m_store.m_rootPath.empty()) << row.what;
        auto const lines = m_log.TakeLines();
        ASSERT_EQ(lines.size(), 1u) << row.what;
        EXPECT_TRUE(lines[0].starts_with("8 The Package File Error : " + m_folder.Path("Pak.zip") + ", ")) << row.what;
    }
    EXPECT_FALSE(m_store.OpenPackage(m_folder.WidePath("missing.zip")));
    EXPECT_FALSE(m_store.OpenPackage(m_folder.WidePath()));
    EXPECT_EQ(m_log.TakeLines(), LogLines({})) << "a file that is not there is no news";
    EXPECT_TRUE(Open(MakeZip({}))) << "no files are no fault";
}

TEST_F(PackageTest, ADeflatedFileNeverGivesMoreThanItsRecordedSize) {
    string const text(600, 'x');
    for (std::int64_t const size : {0, 1, 599, 601, 700}) {
        TestZipEntry entry = Deflated("x", text);
        entry.size = size;
        if (size > 600) entry.crc = TestCrc(text + string(static_cast<std::size_t>(size) - 600, '\0'));
        ASSERT_TRUE(Open(MakeZip({entry})));
        EXPECT_EQ(ReadAll(m_store, L"x"), "none") << size;
    }
    TestZipEntry cut = Deflated("x", text);
    cut.data.resize(300);
    ASSERT_TRUE(Open(MakeZip({cut, {"y", string(9000, 'y')}})));
    EXPECT_EQ(ReadAll(m_store, L"x"), "none") << "the stream runs into what comes next";
    TestZipEntry noStream = cut;
    noStream.data = "\x07not deflate";
    ASSERT_TRUE(Open(MakeZip({noStream})));
    EXPECT_EQ(ReadAll(m_store, L"x"), "none");
}

TEST_F(PackageTest, AFileThatCannotBeReadIsSeenAndNoMemoryIsAskedForIt) {
    TestZipEntry entry{"l", "packed in a way of its own", 14};
    entry.size = 0x2FFFFFFF; // not more than packing could do, for all that is known
    ASSERT_TRUE(Open(MakeZip({entry})));
    unsigned char some[4];
    EXPECT_TRUE(m_store.IsFileExist("l"));
    EXPECT_EQ(m_store.GetFileSize("l"), 0x2FFFFFFFu);
    EXPECT_EQ(m_store.ReadFileAsBinary("l", nullptr, 0), 0u) << "what a full read gives";
    EXPECT_EQ(m_store.ReadFileAsBinary("l", some, sizeof some), 0u);
    EXPECT_EQ(ReadAll(m_store, L"l"), "none");
}

TEST_F(PackageTest, CutAndSpoiltArchivesGiveARightAnswerOrNone) {
    string const good = MakeZip({{"a.txt", "hello"}, Deflated("b.txt", "inflated")});
    for (std::size_t length = 0; length < good.size(); ++length) EXPECT_FALSE(Open(good.substr(0, length))) << length;

    unsigned const seed = 20260;
    std::mt19937 random(seed);
    int opened = 0;
    for (int i = 0; i < 600; ++i) {
        string bytes = good;
        for (int flips = 1 + i % 3; flips > 0; --flips) bytes[random() % bytes.size()] = static_cast<char>(random());
        if (!Open(bytes)) continue;
        ++opened;
        for (auto const& [key, file] : m_store.m_files) {
            string const read = ReadAll(m_store, key);
            EXPECT_TRUE(read == "none" || read == "hello" || read == "inflated") << "seed " << seed << ", round " << i;
        }
        m_log.TakeLines();
    }
    EXPECT_GT(opened, 20) << "some damage does not show in the directory";
}

TEST_F(PackageTest, AHundredThousandFilesAreNoTrouble) {
    std::vector<TestZipEntry> entries;
    for (int i = 0; i < 100'000; ++i) entries.push_back({"f" + std::to_string(i), std::to_string(i)});
    ASSERT_TRUE(Open(MakeZip(entries)));
    EXPECT_EQ(m_store.m_files.size(), 100'000u);
    EXPECT_EQ(ReadAll(m_store, L"f99999"), "99999");
}
