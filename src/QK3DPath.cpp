// QK3DPath.cpp: file extensions, and the joining of a path to a base folder.
#include "QK3DText.h"

#include "PlatformCodePage.h"
#include "PlatformFile.h"
#include "QKText.h"
#include <algorithm>

namespace qk3d {
namespace {
namespace platform = qklib::platform;

// The same steps for narrow and wide text. Narrow text that is good GBK never comes here: in it "\" may be the second
// byte of a character.
template <class Text>
struct PathJoiner {
    using Char = typename Text::value_type;
    static constexpr Char kBackslash = '\\';
    static constexpr Char kSlash = '/';
    static constexpr Char kDots[] = {'.', '.', 0};
    static constexpr Char kColon = ':';

    static bool IsSeparator(Char c) { return c == kBackslash || c == kSlash; }

    static bool IsAbsolute(Text const& path) {
        bool const isShare = path.size() > 2 && path[0] == kBackslash && IsSeparator(path[1]);
        return isShare || path.find(kColon) != Text::npos || (!path.empty() && path[0] == kSlash);
    }

    static Text Join(Text const& baseDir, Text const& path) {
        Text joined = path;
        if (!IsAbsolute(path)) {
            std::replace(joined.begin(), joined.end(), kSlash, kBackslash);
            Text base = baseDir;
            if (IsSeparator(base.back())) base.pop_back();
            FoldDots(base, joined);
            if (!joined.empty() && joined.front() != kBackslash) joined.insert(joined.begin(), kBackslash);
            joined.insert(0, base);
            // The separator of a root is also the last of the base folder, and was taken off with it.
            if (joined.empty())
                joined = baseDir.front();
            else if (baseDir.front() == kSlash)
                joined.front() = kSlash;
        }
        bool const hasSlashRoot = joined.front() == kSlash;
        std::replace(joined.begin(), joined.end(), hasSlashRoot ? kBackslash : kSlash,
                     hasSlashRoot ? kSlash : kBackslash);
        return joined;
    }

private:
    // Takes each ".." that is a whole part of `path` out, together with what stands before it, and a part off the end
    // of `base`. The search goes on at the place in the longer text, so a ".." that has moved below it stays.
    static void FoldDots(Text& base, Text& path) {
        std::size_t offset = 0;
        while ((offset = path.find(kDots, offset)) != Text::npos) {
            std::size_t const behind = offset + 2;
            bool const isPart = (offset == 0 || path[offset - 1] == kBackslash) &&
                                (behind == path.size() || path[behind] == kBackslash);
            offset = behind;
            if (!isPart) continue;

            std::size_t cut = base.size();
            while (cut > 0 && !IsSeparator(base[cut - 1])) --cut;
            if (cut > 0) base.resize(cut - 1);
            offset = std::min(behind + 1, path.size());
            path.erase(0, offset);
        }
    }
};

template <class Text>
bool Resolve(Text const& baseDir, Text& path, bool mustExist) {
    Text const trimmed(qklib::TrimBlanks(path));
    if (trimmed.empty() || baseDir.empty()) return false;
    Text joined = PathJoiner<Text>::Join(baseDir, trimmed);
    if (mustExist && !platform::PathExists(joined)) return false;
    path = std::move(joined);
    return true;
}
} // namespace

wstring GetFileExtension(wstring const& path, bool withDot) {
    std::size_t const dot = path.rfind(L'.');
    if (dot == wstring::npos) return {};
    return path.substr(withDot ? dot : dot + 1);
}

bool IsAbsolutePath(wstring const& path) { return PathJoiner<wstring>::IsAbsolute(path); }

bool ResolvePath(wstring const& baseDir, wstring& path, bool mustExist) { return Resolve(baseDir, path, mustExist); }

bool ResolvePath(string const& baseDir, string& path, bool mustExist) {
    wstring wideBase;
    wstring widePath;
    // A name that is no GBK can still be one of a file, as it comes from a command line: its bytes are joined.
    if (!platform::CodePageToUtf16(baseDir, wideBase) || !platform::CodePageToUtf16(path, widePath))
        return Resolve(baseDir, path, mustExist);
    string narrow;
    if (!Resolve(wideBase, widePath, mustExist) || !platform::Utf16ToCodePage(widePath, narrow)) return false;
    path = std::move(narrow);
    return true;
}
} // namespace qk3d
