// ModelFiles.cpp: names as models spell them, and what lies under them in a store.
#include "ModelFiles.h"

#include "PlatformCodePage.h"
#include "QK3DText.h"
#include <algorithm>
#include <cstdlib>
#include <memory>

namespace qk3d::models {
namespace {
constexpr unsigned long long kMaxFileSize = 1ULL << 30;

// The spellings under which a store may know a file: as it is, and with either separator throughout. Stores of memory
// compare their names letter for letter, and a model names its side files as its author liked.
std::vector<wstring> Spellings(wstring const& path) {
    std::vector<wstring> spellings(3, WithoutDot(path));
    std::replace(spellings[1].begin(), spellings[1].end(), L'/', L'\\');
    std::replace(spellings[2].begin(), spellings[2].end(), L'\\', L'/');
    return spellings;
}

bool Locate(CFileSystem const& store, wstring const& path, wstring& located) {
    for (wstring const& spelling : Spellings(path)) {
        located = spelling;
        if (store.MakeResourceAbsolutePath(located)) return true;
    }
    return false;
}
} // namespace

std::string WideToUtf8(wstring const& text) {
    std::string out;
    return qklib::platform::Utf16ToUtf8(text, out) ? out : std::string();
}

wstring Utf8ToWide(std::string const& text) {
    return qk3d::Utf8ToWide(reinterpret_cast<unsigned char const*>(text.data()), text.size());
}

string Utf8ToNarrow(std::string const& text) { return WideToAnsi(Utf8ToWide(text), "chs"); }

wstring WithoutDot(wstring path) {
    while (path.size() > 2 && path[0] == L'.' && (path[1] == L'/' || path[1] == L'\\')) path.erase(0, 2);
    return path;
}

bool HasFile(CFileSystem const& store, wstring const& path) {
    wstring located;
    return Locate(store, path, located);
}

std::optional<Bytes> ReadFile(CFileSystem const& store, wstring const& path) {
    wstring located;
    if (!Locate(store, path, located)) return {};
    unsigned char* block = nullptr;
    unsigned long long const size = store.ReadFileAsBinary(located, &block);
    std::unique_ptr<unsigned char, decltype(&std::free)> const owner(block, std::free);
    if (!block || size == 0 || size > kMaxFileSize) return {};
    return Bytes(block, block + size);
}

wstring FolderOf(wstring const& path) {
    auto const separator = path.find_last_of(L"/\\");
    return separator == wstring::npos ? wstring() : path.substr(0, separator + 1);
}
} // namespace qk3d::models
