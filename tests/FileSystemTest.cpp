// FileSystemTest.cpp: files of the operating system, found in any letter case, and processors on the way to a reader.
#include "PlatformFile.h"
#include "QK3DFileDataProcessor.h"
#include "QK3DOSFileSystem.h"
#include "QK3DText.h"
#include "TempFolder.h"
#include "TestProcessor.h"

#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <thread>

using namespace qk3d;
using namespace std::string_literals;
namespace platform = qklib::platform;
namespace fs = std::filesystem;

namespace {
wstring Wide(string const& utf8) {
    wstring wide;
    platform::Utf8ToUtf16(utf8, wide);
    return wide;
}

class OSFileSystemTest : public testing::Test {
protected:
    // A path that the read operations take.
    wstring Find(string const& utf8) {
        wstring path = Wide(utf8);
        EXPECT_TRUE(m_store.MakeResourceAbsolutePath(path)) << utf8;
        return path;
    }

    TempFolder m_folder;
    COSFileSystem m_store;
};
} // namespace

TEST(PlatformFile, APathFindsItsFileInAnyLetterCase) {
    TempFolder folder;
    folder.Write("Data/Models/Tank.Mesh", "1");
    folder.Write("data/other", "2");
    folder.Write("Übung/文件.TXT", "3");
    folder.Write("both/A", "exact");
    folder.Write("both/a", "other");
    folder.Write("bad\xFFname/x", "4"); // no UTF-8: nothing finds it, and nothing stumbles over it
    fs::create_directory(folder.Path("bad\xFFother"));
    struct {
        char const* path;
        char const* bytes; // null: there is none
    } const rows[] = {
        {"Data/Models/Tank.Mesh", "1"},
        {"data\\models\\tank.mesh", "1"}, // though "data" exists and has no "models"
        {"DATA/OTHER", "2"},
        {"data//models///TANK.mesh", "1"},
        {"data/../data/models/./tank.mesh", "1"},
        {"übung\\文件.txt", "3"},
        {"both/A", "exact"},
        {"both/a", "other"},
        {"BOTH/A", "exact"},
        {"data/models/tank", nullptr},
        {"data/models/tank.mesh/x", nullptr},
        {"data/models", nullptr}, // a folder
        {"data/models/", nullptr},
        {"\\", nullptr},
        {"bad\xEF\xBF\xBDname/x", nullptr},
    };
    for (auto const& row : rows) {
        wstring const path = folder.WidePath() + L'/' + Wide(row.path);
        EXPECT_EQ(platform::FileExists(path), row.bytes != nullptr) << row.path;
        std::FILE* const file = platform::OpenFileForReading(path);
        ASSERT_EQ(file != nullptr, row.bytes != nullptr) << row.path;
        if (!file) continue;
        char bytes[16] = {};
        EXPECT_GT(std::fread(bytes, 1, sizeof bytes, file), 0u);
        EXPECT_STREQ(bytes, row.bytes) << row.path;
        std::fclose(file);
    }
    for (char const* name : {"qrsT", "qrSt", "Qrst", "qRst", "QRst", "qRSt"})
        folder.Write(string("many/") + name, name);
    std::FILE* const first = platform::OpenFileForReading(folder.WidePath("many/qrst"));
    ASSERT_NE(first, nullptr);
    char bytes[8] = {};
    EXPECT_EQ(std::fread(bytes, 1, sizeof bytes, first), 4u);
    EXPECT_STREQ(bytes, "QRst") << "of several, the first in byte order";
    std::fclose(first);
    bool const hasPipe = std::system(("mkfifo '" + folder.Path("pipe") + "'").c_str()) == 0;
    EXPECT_TRUE(hasPipe);
    EXPECT_EQ(platform::OpenFileForReading(folder.WidePath("pipe")), nullptr) << "and it must not wait for a writer";

    EXPECT_TRUE(platform::PathExists(folder.WidePath() + L"\\DATA\\models\\"));
    EXPECT_FALSE(platform::FileExists(L""));
    EXPECT_FALSE(platform::FileExists(L"/dev/zero")) << "endless";
    EXPECT_FALSE(platform::FileExists(folder.WidePath() + L"/data/other\0x"s)) << "a zero inside";
    EXPECT_TRUE(platform::FileExists(folder.Path() + "/bad\xFFname/x")) << "narrow bytes as they lie on the disk";
    fs::remove(folder.Path("data/other"));
    EXPECT_FALSE(platform::FileExists(folder.WidePath() + L"/data/other")) << "nothing is remembered";
}

TEST(PlatformFile, NoChangeOfAFolderThatWasReadBeforeIsMissed) {
    TempFolder folder;
    folder.Write("Deep/Old.txt", "1");
    auto const isThere = [&](char const* name) { return platform::FileExists(folder.WidePath(name)); };
    for (bool const settled : {false, true}) { // just changed, and unchanged for long enough that its names are kept
        auto const pause = [&] {
            if (settled) std::this_thread::sleep_for(std::chrono::milliseconds(250));
            EXPECT_TRUE(isThere("deep/old.txt"));
            EXPECT_FALSE(isThere("deep/new.txt"));
        };
        pause();
        folder.Write("Deep/NEW.txt", "2");
        EXPECT_TRUE(isThere("deep/new.txt")) << "added";
        fs::remove(folder.Path("Deep/NEW.txt"));
        pause();
        auto const before = fs::last_write_time(folder.Path("Deep"));
        folder.Write("Deep/NEW.txt", "2");
        fs::last_write_time(folder.Path("Deep"), before);
        EXPECT_TRUE(isThere("deep/new.txt")) << "added by a program that puts the folder's time back";
        fs::rename(folder.Path("Deep/NEW.txt"), folder.Path("Deep/Newer.txt"));
        pause();
        fs::rename(folder.Path("Deep/Newer.txt"), folder.Path("Deep/nEw.txt"));
        EXPECT_TRUE(isThere("deep/new.txt")) << "renamed";
        fs::remove(folder.Path("Deep/nEw.txt"));
        pause();
        fs::rename(folder.Path("Deep"), folder.Path("Away"));
        folder.Write("DEEP/new.TXT", "3");
        EXPECT_TRUE(isThere("deep/new.txt")) << "another folder in its place";
        fs::remove_all(folder.Path("DEEP"));
        fs::rename(folder.Path("Away"), folder.Path("Deep"));
    }
}

TEST(PlatformFile, KnowsTheFolderOfTheProgram) {
    string const folder = platform::GetExecutableFolder();
    EXPECT_EQ(folder, fs::canonical("/proc/self/exe").parent_path().string());
}

TEST_F(OSFileSystemTest, TheFirstFolderInOrderOfNamesThatHasTheFileServes) {
    m_folder.Write("B/Only.txt", "b");
    m_folder.Write("A/both.txt", "a");
    m_folder.Write("B/both.txt", "bb");
    m_store.AddResourceDirPath(m_folder.WidePath("B"));
    m_store.AddResourceDirPath(m_folder.Path("A"));
    string lower = m_folder.Path();
    EXPECT_EQ(Find(" \r\nonly.txt\t"), Wide(lower + "/b/only.txt"));
    EXPECT_EQ(Find("Both.TXT"), Wide(lower + "/a/both.txt"));
    EXPECT_EQ(m_store.GetFileSize("both.txt"), 1u);
    EXPECT_EQ(Find(m_folder.Path("B/Only.txt")), Wide(lower + "/b/only.txt"));

    string narrow = "..\\B\\ONLY.txt";
    EXPECT_TRUE(m_store.MakeResourceAbsolutePath(narrow));
    EXPECT_EQ(narrow, lower + "/b/only.txt");

    m_store.RemoveResourceDirPath(m_folder.WidePath("A"));
    EXPECT_EQ(m_store.GetFileSize("both.txt"), 2u);
}

TEST_F(OSFileSystemTest, WhatIsNotThereIsRefusedAndThePathKeepsItsText) {
    m_folder.Write("x.txt", "x");
    string const absolute = m_folder.Path("x.txt");
    EXPECT_TRUE(m_store.IsFileExist(absolute));
    EXPECT_EQ(m_store.GetFileSize(absolute), 0u) << "no folders, no sizes";
    m_store.AddResourceDirPath(m_folder.Path());
    EXPECT_EQ(m_store.GetFileSize(absolute), 1u);

    for (char const* name : {"y.txt", "", " ", "\\", "/", ".", "x.txt/", "C:\\x.txt", "\\\\x", "\xFF", "/y.txt"}) {
        EXPECT_FALSE(m_store.IsFileExist(name)) << name;
        EXPECT_EQ(m_store.GetFileSize(name), 0u) << name;
        string path = name;
        EXPECT_FALSE(m_store.MakeResourceAbsolutePath(path)) << name;
        EXPECT_EQ(path, name);
        string text = "old";
        EXPECT_FALSE(m_store.ReadFileAsString(name, text)) << name;
        EXPECT_EQ(text, "");
        unsigned char* block = reinterpret_cast<unsigned char*>(1);
        EXPECT_EQ(m_store.ReadFileAsBinary(name, &block), 0u) << name;
        EXPECT_EQ(block, nullptr) << name;
        EXPECT_FALSE(m_store.DeleteFileA(name)) << name;
    }
    EXPECT_TRUE(m_store.DeleteFileA("X.TXT"));
    EXPECT_EQ(m_folder.Count(), 0u);
}

TEST_F(OSFileSystemTest, NothingIsEverWritten) {
    m_folder.Write("x.txt", "x");
    m_store.AddResourceDirPath(m_folder.Path());
    string const path = m_folder.Path("x.txt");
    unsigned char const data[] = {1, 2};
    EXPECT_FALSE(m_store.WriteStringToNewFile(path, "text"s));
    EXPECT_FALSE(m_store.WriteStringToNewFile(path, L"text"s));
    EXPECT_FALSE(m_store.WriteDataToNewFile(path, data, 2));
    EXPECT_FALSE(m_store.AppendStringToFile(path, "text"s));
    EXPECT_FALSE(m_store.AppendStringToFile(path, L"text"s));
    EXPECT_FALSE(m_store.AppendDataToFile(path, data, 2));
    EXPECT_EQ(TempFolder::Read(path), "x");
}

TEST_F(OSFileSystemTest, TextsComeOutInTheEncodingThatIsAskedFor) {
    m_store.AddResourceDirPath(m_folder.Path());
    m_folder.Write("utf8", "\xEF\xBB\xBF\xE4\xB8\xAD");
    m_folder.Write("gbk", "\xD6\xD0");
    m_folder.Write("utf16", "\xFE\xFF\x4E\x2D");
    m_folder.Write("empty", "");
    for (char const* name : {"utf8", "gbk", "utf16"}) {
        string narrow;
        wstring wide;
        EXPECT_TRUE(m_store.ReadFileAsString(Find(name), narrow)) << name;
        EXPECT_TRUE(m_store.ReadFileAsString(WideToAnsi(Find(name), "chs"), wide)) << name;
        EXPECT_EQ(narrow, "\xD6\xD0") << name;
        EXPECT_EQ(wide, Wide("中")) << name;
    }
    string text = "old";
    EXPECT_FALSE(m_store.ReadFileAsString(Find("empty"), text));
    EXPECT_EQ(text, "");
}

TEST_F(OSFileSystemTest, BytesWithoutAProcessorAreCopiedAndCounted) {
    m_store.AddResourceDirPath(m_folder.Path());
    m_folder.Write("f", "abcd");
    unsigned char buffer[8] = {};
    EXPECT_EQ(m_store.ReadFileAsBinary(Find("f"), buffer, 2), 2u);
    EXPECT_EQ(m_store.ReadFileAsBinary(Find("f"), buffer, 8), 4u);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "abcd");
    EXPECT_EQ(m_store.ReadFileAsBinary(Find("f"), static_cast<unsigned char*>(nullptr), 8), 0u);
    EXPECT_EQ(m_store.ReadFileAsBinary(Find("f"), static_cast<unsigned char**>(nullptr)), 0u);
    unsigned char* block = nullptr;
    EXPECT_EQ(m_store.ReadFileAsBinary(Find("f"), &block), 4u);
    EXPECT_EQ(std::memcmp(block, "abcd", 4), 0);
    std::free(block);
}

// The decoded form of "abcd" is "aabbccdd"; what a processor of each kind is asked and gives.
TEST_F(OSFileSystemTest, AProcessorDecodesEveryKindOfRead) {
    m_store.AddResourceDirPath(m_folder.Path());
    m_folder.Write("f.dbl", "abcd");
    for (bool const fromData : {false, true}) {
        auto* const processor = new DoublingProcessor(fromData);
        m_store.AddFileDataProcessor("DBL", {processor, qklib::PRM_DELETE});
        wstring const path = Find("F.Dbl");
        unsigned char buffer[16] = {};
        EXPECT_EQ(m_store.GetFileSize(path), 8u) << fromData;
        EXPECT_EQ(m_store.ReadFileAsBinary(path, static_cast<unsigned char*>(nullptr), 0), 8u);
        EXPECT_EQ(processor->m_decodes, 0) << "a question of size decodes nothing";
        EXPECT_EQ(m_store.ReadFileAsBinary(path, buffer, 3), 8u) << "cut off, with the size that it needs";
        EXPECT_STREQ(reinterpret_cast<char*>(buffer), "aab");
        EXPECT_EQ(m_store.ReadFileAsBinary(path, buffer, 16), 8u);
        EXPECT_STREQ(reinterpret_cast<char*>(buffer), "aabbccdd");
        unsigned char* block = nullptr;
        EXPECT_EQ(m_store.ReadFileAsBinary(path, &block), 8u);
        EXPECT_EQ(std::memcmp(block, "aabbccdd", 8), 0);
        std::free(block);
        string narrow;
        EXPECT_TRUE(m_store.ReadFileAsString(path, narrow));
        EXPECT_EQ(narrow, "aabbccdd");
        wstring wide;
        EXPECT_TRUE(m_store.ReadFileAsString(path, wide));
        EXPECT_EQ(wide, L"aabbccdd");
    }
    m_store.RemoveFileDataProcessor(L"Dbl");
    EXPECT_EQ(m_store.GetFileSize("f.dbl"), 4u);
}

TEST_F(OSFileSystemTest, AProcessorThatLiesOrThrowsHarmsNothing) {
    m_store.AddResourceDirPath(m_folder.Path());
    m_folder.Write("f", "abcd"); // no extension: only a processor for the empty one matches
    struct {
        char const* what;
        BadProcessor::Fault fault;
        bool isText;
    } const rows[] = {
        {"throws when asked for the size", BadProcessor::ThrowsInSize, false},
        {"throws while it decodes", BadProcessor::ThrowsInDecode, true},
        {"says it wrote more than there was room for", BadProcessor::WroteTooMuch, true},
        {"wants all the memory there is", BadProcessor::Huge, false},
        {"has nothing", BadProcessor::Nothing, false},
        {"takes itself out of the store", BadProcessor::RemovesItself, true},
    };
    for (auto const& row : rows) {
        for (bool const fromData : {false, true}) {
            auto* const processor = new BadProcessor(row.fault, fromData);
            processor->m_remove = [this] { m_store.RemoveAllFileDataProcessor(); };
            m_store.AddFileDataProcessor("", {processor, qklib::PRM_DELETE});
            string text;
            EXPECT_EQ(m_store.ReadFileAsString(Find("f"), text), row.isText) << row.what;
            EXPECT_LE(text.size(), 4u) << row.what;
            unsigned char* block = nullptr;
            EXPECT_LE(m_store.ReadFileAsBinary(Find("f"), &block), 4u) << row.what;
            std::free(block);
            unsigned char buffer[4];
            m_store.ReadFileAsBinary(Find("f"), buffer, sizeof buffer);
        }
    }
}

TEST_F(OSFileSystemTest, ALaterProcessorTakesThePlaceOfTheEarlier) {
    qklib::CSharePtr<CFileDataProcessor> const first(new DoublingProcessor(false), qklib::PRM_DELETE);
    qklib::CSharePtr<CFileDataProcessor> const second(new DoublingProcessor(false), qklib::PRM_DELETE);
    m_store.AddFileDataProcessor("a", first);
    m_store.AddFileDataProcessor(L"A", first);
    EXPECT_EQ(first.GetRef(), 2u);
    m_store.AddFileDataProcessor("a", second);
    EXPECT_EQ(first.GetRef(), 1u);
    EXPECT_EQ(second.GetRef(), 2u);
}
