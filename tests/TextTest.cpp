// TextTest.cpp: the encodings of texts, and the joining of paths.
#include "PlatformCodePage.h"
#include "QK3DText.h"

#include <clocale>
#include <gtest/gtest.h>
#include <random>

using namespace qk3d;
using namespace std::string_literals;
namespace platform = qklib::platform;

namespace {
// UTF-16 in the wide text of this platform, for "中文" and the like.
wstring U16(char16_t const* text) { return {text, text + std::char_traits<char16_t>::length(text)}; }

unsigned char const* Bytes(string const& text) { return reinterpret_cast<unsigned char const*>(text.data()); }
} // namespace

TEST(CodePage, EveryPairOfTheCodePageComesBack) {
    int count = 0;
    for (unsigned code = 0x8140; code <= 0xFEFF; ++code) {
        string const pair = {static_cast<char>(code >> 8), static_cast<char>(code)};
        wstring wide;
        if (!platform::CodePageToUtf16(pair, wide)) continue;
        string back;
        ASSERT_TRUE(wide.size() == 1 && platform::Utf16ToCodePage(wide, back) && back == pair) << std::hex << code;
        ++count;
    }
    EXPECT_EQ(count, 21791) << "the number of two-byte characters in the code page";
}

// Long texts are decoded eight bytes at a time; the twin takes one character after the other.
TEST(CodePage, LongTextsDecodeAsTheirCharactersDo) {
    unsigned const seed = 11;
    std::mt19937 random(seed);
    string const kinds[] = {"a", "\x80", "\xD6\xD0", "\x81\x40", "\xFE\x4F", "\x8F\xFF", "\xFF"};
    for (int round = 0; round < 4000; ++round) {
        string text;
        wstring wanted;
        bool isGood = true;
        for (int count = static_cast<int>(random() % (round % 100 == 0 ? 900 : 40)); count > 0; --count) {
            string const& character = kinds[random() % (round % 4 == 0 ? 7 : 5)];
            wstring unit;
            isGood = platform::CodePageToUtf16(character, unit) && isGood;
            text += character;
            wanted += unit;
        }
        wstring wide;
        ASSERT_EQ(platform::CodePageToUtf16(text, wide), isGood) << "seed " << seed << ", round " << round;
        ASSERT_TRUE(wide == (isGood ? wanted : L"")) << "seed " << seed << ", round " << round;
    }
}

TEST(CodePage, RefusesWhatHasNoOtherForm) {
    wstring wide;
    string narrow;
    // A lead byte alone, 0xFF, a bad trail byte, and a pair that is no character.
    for (string const& bad : {"ab\x81"s, "\xFF\x41"s, "\xD6\x20"s, "\xFE\x50"s}) {
        wide = L"old";
        EXPECT_TRUE(!platform::CodePageToUtf16(bad, wide) && wide.empty()) << testing::PrintToString(bad);
    }
    for (wchar_t const bad : {wchar_t(0xD83D), wchar_t(0x0E01), wchar_t(0xFFFF), wchar_t(0x1F600)}) {
        narrow = "old";
        EXPECT_TRUE(!platform::Utf16ToCodePage({bad}, narrow) && narrow.empty()) << std::hex << unsigned(bad);
    }
    ASSERT_TRUE(platform::CodePageToUtf16("\x80\xD6\xD0\0.\x90\x5C"s, wide));
    EXPECT_EQ(wide, U16(u"\u20AC\u4E2D") + L'\0' + U16(u".\u603D")) << "Euro, a zero, and a backslash as trail";
}

TEST(CodePage, Utf8IsStrictAndHasAllPlanes) {
    wstring text;
    for (unsigned point = 1; point < 0x110000; ++point) {
        if (point >= 0x10000) text += static_cast<wchar_t>(0xD7C0 + (point >> 10));
        if (point >> 11 != 0xD800 >> 11)
            text += static_cast<wchar_t>(point < 0x10000 ? point : 0xDC00 + (point & 0x3FF));
    }
    string bytes;
    wstring back;
    ASSERT_TRUE(platform::Utf16ToUtf8(text, bytes) && platform::Utf8ToUtf16(bytes, back));
    EXPECT_TRUE(back == text);
    for (string const& bad : {"\xC0\x80"s, "\xE0\x9F\xBF"s, "\xF0\x8F\xBF\xBF"s, "\xED\xA0\x80"s, "\xF4\x90\x80\x80"s,
                              "\xE4\xB8"s, "a\x80"s, "\xFF"s, "\xE4\x41\x80"s})
        EXPECT_FALSE(platform::Utf8ToUtf16(bad, back)) << testing::PrintToString(bad);
    for (wstring const& bad :
         {wstring(1, wchar_t(0xD800)), wstring(1, wchar_t(0xDC00)), U16(u"a\xD800z"), wstring(1, wchar_t(0x10000))})
        EXPECT_FALSE(platform::Utf16ToUtf8(bad, bytes));
}

TEST(Text, NarrowAndWideEndAtTheFirstZeroAndLeaveTheLocaleAlone) {
    string const before = setlocale(LC_ALL, nullptr);
    EXPECT_EQ(AnsiToWide("\xD6\xD0\0cd"s, "chs"), U16(u"中"));
    EXPECT_EQ(WideToAnsi(U16(u"中a") + L'\0' + U16(u"b"), "chs"), "\xD6\xD0\x61");
    EXPECT_EQ(WideToAnsi(U16(u"a\xD83D\xDE00"), "chs"), "") << "no form in GBK, so nothing at all";
    EXPECT_EQ(AnsiToWide("a\xFF", "chs"), L"");
    EXPECT_EQ(before, setlocale(LC_ALL, nullptr));
    wstring text = U16(u"ABCÄÉЖΩＡ中[\u0178");
    ToLowerWide(text);
    EXPECT_EQ(text, U16(u"abcäéжωａ中[\u00FF")) << "as Unicode says, whatever the locale";
}

TEST(Text, Utf8StopsAsItAlwaysDidAndIsGuessedFromItsFirstCharacters) {
    string const good = "\xE4\xB8\xAD";
    struct {
        char const* what;
        string bytes;
        wstring wide;
        bool isUtf8;
    } const rows[] = {
        {"nothing", "", L"", false},
        {"a mark is skipped", "\xEF\xBB\xBFx", L"x", true},
        {"two and three bytes", "a\xC3\xA9\xE4\xB8\xAD", U16(u"aé中"), true},
        {"four bytes empty it", "abc\xF0\x9F\x98\x80", L"", false},
        {"a stray following byte empties it", "abc\x80", L"", false},
        {"two bytes cut off keep the rest", "abc\xC3", L"abc", false},
        {"two bytes gone wrong empty it", "abc\xC3(", L"", false},
        {"three bytes cut off empty it", "abc\xE4\xB8", L"", false},
        {"three bytes gone wrong keep the rest", "abc\xE4\xB8(d", L"abc", false},
        {"an overlong zero is a zero", "ab\xC0\x80\x63", L"ab", true},
        {"a good one, then a cut off one", "\xC3\xA9 \xE4\xB8", L"", true},
        {"four good ones, then a bad byte", good + good + good + good + "\xFF", L"", false},
        {"five good ones, then a bad byte", good + good + good + good + good + "\xFF", L"", true},
        {"a good one, then one gone wrong", "\xC3\xA9\xC3(", L"", false},
    };
    for (auto const& [what, bytes, wide, isUtf8] : rows) {
        EXPECT_EQ(Utf8ToWide(Bytes(bytes), bytes.size()), wide) << what;
        EXPECT_EQ(IsUtf8Text(Bytes(bytes), bytes.size()), isUtf8) << what;
    }
}

TEST(Text, AFilesEncodingIsFoundFromItsBytes) {
    string const gbk = "\xD6\xD0\xCE\xC4";
    struct {
        char const* what;
        string bytes, ansi;
        wstring wide;
    } const rows[] = {
        {"UTF-16 little", "\xFF\xFE\x2D\x4E\x87\x65", gbk, U16(u"中文")},
        {"UTF-16 big", "\xFE\xFF\x4E\x2D\x65\x87", gbk, U16(u"中文")},
        {"ends at a zero unit", "\xFF\xFE\x61\0\0\0\x62\0"s, "a", L"a"},
        {"half a unit at the end", "\xFF\xFE\x61\0\x62"s, "ab", L"ab"},
        {"UTF-8", "\xE4\xB8\xAD\xE6\x96\x87", gbk, U16(u"中文")},
        {"GBK", gbk, gbk, U16(u"中文")},
        {"no mark, even", "a\0\xFF\0"s, "a", U16(u"a\u00FF")},
        {"neither, odd", "a\xFF\x62", "a\xFF\x62", L""},
        {"a mark with zeros behind it", "\xFF\xFE\0\0"s, "\xFF\xFE", U16(u"\uFEFF")},
        {"only a mark", "\xFF\xFE", "\xFF\xFE", U16(u"\uFEFF")},
        {"only a big mark", "\xFE\xFF", "", L""},
        {"nothing", "", "", L""},
    };
    for (auto const& row : rows) {
        string bytes = row.bytes;
        EXPECT_EQ(DecodeTextToAnsi(bytes.data(), bytes.size()), row.ansi) << row.what;
        EXPECT_EQ(DecodeTextToWide(bytes.data(), bytes.size()), row.wide) << row.what;
    }
}

TEST(Text, StringsOfScriptsBecomeNarrow) {
    EXPECT_EQ(JsonToAnsi("\xE4\xB8\xAD"), "\xD6\xD0");
    EXPECT_EQ(JsonToAnsi("\xD6\xD0"), "\xD6\xD0") << "narrow already";
    EXPECT_EQ(JsonToAnsi("\xF0\x9F\x98\x80"), "") << "UTF-8 for certain, but not in GBK";
    EXPECT_FALSE(IsSureUtf8("\xC1\xAA\xCD\xA8")) << "GBK that a lenient reader takes for UTF-8";
    EXPECT_TRUE(JsonToAnsi(Json::Value(5)).empty() && !IsSureUtf8(Json::Value(5)));
}

TEST(Path, JoinsAPathToItsBaseFolder) {
    struct {
        char const *base, *path, *joined; // null: refused
    } const rows[] = {
        {"C:\\a", " \t\r\nx\n ", "C:\\a\\x"},
        {"C:\\a\\b", "..\\x", "C:\\a\\x"},
        {"C:\\a\\b", "..\\..\\x", "C:\\a\\..\\x"}, // the system follows the second one
        {"C:\\a\\b", "D:/x", "D:\\x"},
        {"C:\\a\\b", "\\\\server/x", "\\\\server\\x"},
        {"C:\\a\\b", "\\\\", "C:\\a\\b\\\\"},
        {"a", "..\\x", "a\\x"}, // nothing above it to climb to
        {"/a/b", "x\\y", "/a/b/x/y"},
        {"/a", "..", "/"},
        {"C:\\a", "/x\\y", "/x/y"},
        {"/a", "\xFF/x", "/a/\xFF/x"},
        {"C:\\\x90\x5C", "\x90\x5C/x", "C:\\\x90\x5C\\\x90\x5C\\x"}, // the trail byte of the character is a backslash
        {"", "x", nullptr},
        {"C:\\a", " \t\r\n", nullptr},
    };
    for (auto const& row : rows) {
        string narrow = row.path;
        EXPECT_EQ(ResolvePath(row.base, narrow, false), row.joined != nullptr) << row.base << " + " << row.path;
        EXPECT_EQ(narrow, row.joined ? row.joined : row.path);
        wstring wide = AnsiToWide(row.path, "chs");
        if (wide.empty()) continue;
        EXPECT_EQ(ResolvePath(AnsiToWide(row.base, "chs"), wide, false), row.joined != nullptr);
        EXPECT_EQ(WideToAnsi(wide, "chs"), narrow) << "both forms are one algorithm";
    }
    EXPECT_EQ(GetFileExtension(L"a.b.Tga", true), L".Tga");
    EXPECT_EQ(GetFileExtension(L"a.b\\c", false), L"b\\c");
    string missing = " no such file";
    EXPECT_FALSE(ResolvePath("/", missing, true));
    EXPECT_EQ(missing, " no such file");
}
