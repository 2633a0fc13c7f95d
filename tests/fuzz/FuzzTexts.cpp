// FuzzTexts.cpp: texts in unknown encodings, and paths as they come from anywhere.
#include "FuzzTargets.h"
#include "PlatformCodePage.h"
#include "PlatformFile.h"
#include "QK3DText.h"
#include "QKJson.h"
#include "TempFolder.h"
#include <cstdio>

namespace qk3d::fuzz {
void FuzzText(Bytes input) {
    std::string bytes(input.begin(), input.end());
    std::string const before = bytes;
    wstring const fromNarrow = AnsiToWide(bytes, "chs");
    Require(fromNarrow.empty() || AnsiToWide(WideToAnsi(fromNarrow, "chs"), "chs") == fromNarrow,
            "what came out of narrow text goes back");
    Utf8ToWide(input.data(), input.size());
    bool const isUtf8 = IsUtf8Text(input.data(), input.size());
    Require(!isUtf8 || input.size() > 1, "a lone byte is no text in UTF-8");
    DecodeTextToAnsi(bytes.data(), bytes.size());
    wstring wide = DecodeTextToWide(bytes.data(), bytes.size());
    Require(bytes == before, "decoding reads alone");

    ToLowerWide(wide);
    wstring again = wide;
    ToLowerWide(again);
    Require(WideToAnsi(again, "chs") == WideToAnsi(wide, "chs"), "lower case has no lower case");
    std::string utf8;
    if (qklib::platform::Utf16ToUtf8(fromNarrow, utf8)) {
        wstring back;
        Require(qklib::platform::Utf8ToUtf16(utf8, back) && back == fromNarrow, "UTF-8 and back");
    }

    Json::Value value;
    if (qklib::ParseJson(bytes, value))
        for (Json::Value const& element : value) JsonToAnsi(element);
    JsonToAnsi(Json::Value(bytes));
}

// The base folder up to the first line end, the path after it.
void FuzzPath(Bytes input) {
    static TempFolder const folder;
    static bool const isFilled = !folder.Write("Abc/File.txt", "x").empty() && !folder.Write("abc/file", "y").empty();
    Require(isFilled, "the folder has files");

    string const text(input.begin(), input.end());
    std::size_t const cut = text.find('\n');
    string const base = text.substr(0, cut);
    string const path = cut == text.npos ? "" : text.substr(cut + 1);
    for (bool const mustExist : {false, true}) {
        string joined = path;
        if (!ResolvePath(base, joined, mustExist)) Require(joined == path, "a refused path stays");
        wstring const widePath = AnsiToWide(path, "chs");
        wstring wideJoined = widePath;
        if (!ResolvePath(AnsiToWide(base, "chs"), wideJoined, mustExist))
            Require(wideJoined == widePath, "a refused wide path stays");
        wstring const extension = GetFileExtension(wideJoined, true);
        Require(wideJoined.ends_with(extension), "an extension is the end of its path");
    }

    // Below the folder, and as it stands.
    for (string const& name : {folder.Path() + "/" + path, path}) {
        namespace platform = qklib::platform;
        bool const isFile = platform::FileExists(name);
        Require(!isFile || platform::PathExists(name), "a file is there");
        wstring absolute;
        wstring const wide = AnsiToWide(name, "chs");
        if (platform::MakeAbsolute(wide, absolute))
            Require(platform::PathExists(absolute), "the absolute form of a path is there");
        if (std::FILE* const file = platform::OpenFileForReading(name)) {
            Require(isFile, "what opens is a file");
            std::fclose(file);
        }
    }
}
} // namespace qk3d::fuzz
