// FileSystemTest.cpp: files of the operating system, found in any letter case, and processors on the way to a reader.
#include "PlatformFile.h"
#include "QK3D.h"
#include "TempFolder.h"
#include "TestProcessor.h"

#include <thread>

using namespace qk3d;
using namespace std::string_literals;
namespace platform = qklib::platform;
namespace fs = std::filesystem;

namespace {
// What is in a file, through the platform; "none" if there is none.
string Content(wstring const& path) {
    std::FILE* const file = platform::OpenFileForReading(path);
    EXPECT_EQ(platform::FileExists(path), file != nullptr);
    if (!file) return "none";
    char bytes[32];
    string const content(bytes, std::fread(bytes, 1, sizeof bytes, file));
    std::fclose(file);
    return content;
}

class OSFileSystemTest : public testing::Test {
protected:
    OSFileSystemTest() { m_store.AddResourceDirPath(m_folder.Path()); }

    // A path that the read operations take.
    wstring Find(string const& utf8) {
        wstring path = TempFolder::Wide(utf8);
        EXPECT_TRUE(m_store.MakeResourceAbsolutePath(path)) << utf8;
        return path;
    }

    TempFolder m_folder;
    COSFileSystem m_store;
};
} // namespace

TEST(PlatformFile, APathFindsItsFileInAnyLetterCase) {
    TempFolder folder;
    for (string const name : {"Data/Models/Tank.Mesh", "data/other", "Übung/文件.TXT", "both/A", "both/a", "many/qrsT",
                              "many/qRst", "many/QRst", "many/qRSt"})
        folder.Write(name, name);
    folder.Write("bad\xFFname/x", "4"); // no UTF-8: nothing finds it, and nothing stumbles over it
    EXPECT_EQ(std::system(("mkfifo '" + folder.Path("pipe") + "'").c_str()), 0);
    std::pair<char const*, char const*> const rows[] = {
        {"data//../DATA\\models/.///TANK.mesh", "Data/Models/Tank.Mesh"}, // though "data" exists and has no "models"
        {"übung\\文件.txt", "Übung/文件.TXT"},
        {"both/a", "both/a"},
        {"many/qrst", "many/QRst"}, // of several, the first in byte order
        {"data/models/tank.mesh/x", "none"},
        {"data/models", "none"}, // a folder
        {"bad\xEF\xBF\xBDname/x", "none"},
        {"pipe", "none"}, // and it must not wait for a writer
    };
    for (auto const& [path, content] : rows)
        EXPECT_EQ(Content(folder.WidePath() + L'/' + TempFolder::Wide(path)), content) << path;
    EXPECT_TRUE(platform::PathExists(folder.WidePath() + L"\\DATA\\models\\"));
    EXPECT_FALSE(platform::FileExists(L"") || platform::FileExists(L"/dev/zero")) << "endless";
    EXPECT_FALSE(platform::FileExists(folder.WidePath() + L"/data/other\0x"s)) << "a zero inside";
    EXPECT_TRUE(platform::FileExists(folder.Path() + "/bad\xFFname/x")) << "narrow bytes as they lie on the disk";
}

TEST(PlatformFile, NoChangeOfAFolderThatWasReadBeforeIsMissed) {
    TempFolder folder;
    folder.Write("Deep/Old.txt", "1");
    std::pair<char const*, std::function<void()>> const changes[] = {
        {"added by a program that puts the folder's time back",
         [&] {
             auto const before = fs::last_write_time(folder.Path("Deep"));
             folder.Write("Deep/NEW.txt", "2");
             fs::last_write_time(folder.Path("Deep"), before);
         }},
        {"another folder in its place",
         [&] {
             fs::rename(folder.Path("Deep"), folder.Path("Away"));
             folder.Write("Deep/NEW.txt", "3");
         }},
    };
    auto const isThere = [&](char const* name) { return platform::FileExists(folder.WidePath(name)); };
    for (int const pause : {0, 250}) { // just changed, and unchanged for long enough that its names are kept
        for (auto const& [what, change] : changes) {
            folder.Write("Deep/Old.txt", "1");
            std::this_thread::sleep_for(std::chrono::milliseconds(pause));
            EXPECT_TRUE(isThere("deep/old.txt")) << what;
            EXPECT_FALSE(isThere("deep/new.txt")) << what;
            change();
            EXPECT_TRUE(isThere("deep/new.txt")) << what;
            fs::remove(folder.Path("Deep/NEW.txt"));
        }
        fs::remove_all(folder.Path("Away"));
    }
}

TEST_F(OSFileSystemTest, TheFirstFolderInOrderOfNamesThatHasTheFileServes) {
    m_folder.Write("B/Only.txt", "b");
    m_folder.Write("A/both.txt", "a");
    m_folder.Write("B/both.txt", "bb");
    m_store.AddResourceDirPath(m_folder.WidePath("B"));
    m_store.AddResourceDirPath(m_folder.Path("A"));
    for (string const& path : {" \r\nonly.txt\t"s, "..\\B\\ONLY.txt"s, m_folder.Path("B/Only.txt")})
        EXPECT_EQ(Find(path), m_folder.WidePath() + L"/b/only.txt");
    EXPECT_EQ(Find("Both.TXT"), m_folder.WidePath() + L"/a/both.txt");
    m_store.RemoveResourceDirPath(m_folder.WidePath("A"));
    EXPECT_EQ(m_store.GetFileSize("both.txt"), 2u);
}

TEST_F(OSFileSystemTest, WhatIsNotThereIsRefusedAndNothingIsEverWritten) {
    string const absolute = m_folder.Write("x.txt", "x");
    EXPECT_EQ(COSFileSystem().GetFileSize(absolute), 0u) << "no folders, no sizes";
    EXPECT_EQ(m_store.GetFileSize(absolute), 1u);
    for (string const name : {"y.txt", " ", "\\", ".", "x.txt/", "C:\\x.txt", "\\\\x", "\xFF", "/y.txt"}) {
        EXPECT_FALSE(m_store.IsFileExist(name) || m_store.DeleteFileA(name)) << name;
        EXPECT_EQ(m_store.GetFileSize(name), 0u) << name;
        string path = name, text = "old";
        EXPECT_FALSE(m_store.MakeResourceAbsolutePath(path) || m_store.ReadFileAsString(name, text)) << name;
        EXPECT_EQ(path + '|' + text, name + '|');
        unsigned char* block = reinterpret_cast<unsigned char*>(1);
        EXPECT_EQ(m_store.ReadFileAsBinary(name, &block), 0u) << name;
        EXPECT_EQ(block, nullptr) << name;
    }
    unsigned char const data[] = {1, 2};
    EXPECT_FALSE(m_store.WriteStringToNewFile(absolute, "text"s) || m_store.WriteDataToNewFile(absolute, data, 2));
    EXPECT_FALSE(m_store.AppendStringToFile(absolute, "text"s) || m_store.AppendDataToFile(absolute, data, 2));
    EXPECT_EQ(TempFolder::Read(absolute), "x");
    EXPECT_TRUE(m_store.DeleteFileA("X.TXT"));
    EXPECT_EQ(m_folder.Count(), 0u);
}

TEST_F(OSFileSystemTest, TextsComeOutInTheEncodingThatIsAskedFor) {
    m_folder.Write("f", "\xEF\xBB\xBF\xE4\xB8\xAD");
    string narrow;
    wstring wide;
    EXPECT_TRUE(m_store.ReadFileAsString(Find("f"), narrow));
    EXPECT_TRUE(m_store.ReadFileAsString(WideToAnsi(Find("f"), "chs"), wide));
    EXPECT_TRUE(narrow == "\xD6\xD0" && wide == L"\x4E2D");
}

TEST_F(OSFileSystemTest, BytesAreCopiedAndCountedAndAProcessorDecodesThem) {
    m_folder.Write("f.dbl", "abcd");
    wstring const path = Find("F.Dbl");
    unsigned char buffer[8] = {};
    EXPECT_EQ(m_store.ReadFileAsBinary(path, buffer, 2), 2u);
    EXPECT_STREQ(reinterpret_cast<char*>(buffer), "ab");
    EXPECT_EQ(m_store.ReadFileAsBinary(path, static_cast<unsigned char*>(nullptr), 8), 0u);
    EXPECT_EQ(ReadAll(m_store, path), "abcd");
    for (bool const fromData : {false, true}) {
        auto* const processor = new DoublingProcessor(fromData);
        m_store.AddFileDataProcessor("DBL", {processor, qklib::PRM_DELETE});
        EXPECT_EQ(m_store.GetFileSize(path), 8u) << fromData;
        EXPECT_EQ(m_store.ReadFileAsBinary(path, static_cast<unsigned char*>(nullptr), 0), 8u);
        EXPECT_EQ(processor->m_decodes, 0) << "a question of size decodes nothing";
        ExpectDoubled(m_store, path);
    }
    m_store.RemoveFileDataProcessor(L"Dbl");
    EXPECT_EQ(m_store.GetFileSize(path), 4u);
}

TEST_F(OSFileSystemTest, AProcessorThatLiesOrThrowsHarmsNothing) {
    m_folder.Write("f", "abcd"); // no extension: only a processor for the empty one matches
    using enum DoublingProcessor::Fault;
    std::pair<DoublingProcessor::Fault, bool> const rows[] = {
        {ThrowsInSize, false}, {ThrowsInDecode, true}, {WroteTooMuch, true},
        {Huge, false},         {Nothing, false},       {Sound, true}}; // that takes itself out of the store
    for (auto const& [fault, isText] : rows) {
        for (bool const fromData : {false, true}) {
            auto* const processor = new DoublingProcessor(fromData, fault);
            if (fault == Sound) processor->m_onDecode = [this] { m_store.RemoveAllFileDataProcessor(); };
            m_store.AddFileDataProcessor("", {processor, qklib::PRM_DELETE});
            string text;
            EXPECT_EQ(m_store.ReadFileAsString(Find("f"), text), isText) << fault;
            EXPECT_LE(text.size(), 8u) << fault;
            EXPECT_LE(ReadAll(m_store, Find("f")).size(), 8u) << fault;
            unsigned char buffer[8];
            m_store.ReadFileAsBinary(Find("f"), buffer, sizeof buffer);
        }
    }
}
