// PlatformFilePosix.cpp: files of POSIX under paths of ours; names on disk are UTF-8.
#include "PlatformCodePage.h"
#include "PlatformFile.h"
#include "PlatformFolderPosix.h"
#include "PlatformPathPosix.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace qklib::platform {
namespace {
bool IsThere(std::string const& disk) { return access(disk.c_str(), F_OK) == 0; }

bool IsPlainFile(std::string const& disk) {
    struct stat status;
    return stat(disk.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Looks below `folder` (empty, or with its separator) for `rest`, whose parts may be spelled otherwise on disk. The path
// as written is not asked for again: nothing is there.
std::string FindBelow(std::string const& folder, std::string const& rest, bool asWritten) {
    std::size_t const start = rest.find_first_not_of('/');
    if (start == std::string::npos) return !asWritten && IsThere(folder) ? folder : std::string();
    std::size_t const end = std::min(rest.find('/', start), rest.size());
    std::string const part = rest.substr(start, end - start);
    std::string const below = rest.substr(end);

    auto const tryPart = [&](std::string const& spelling, bool written) {
        std::string path = folder + spelling;
        if (!below.empty()) return FindBelow(path + '/', below, written);
        return !written && IsThere(path) ? path : std::string();
    };
    if (std::string found = tryPart(part, asWritten); !found.empty()) return found;
    for (std::string const& spelling : FindOtherSpellings(folder, part))
        if (std::string found = tryPart(spelling, false); !found.empty()) return found;
    return {};
}

std::string FindDiskName(std::string disk) {
    if (disk.empty() || disk.find('\0') != std::string::npos) return {};
    std::replace(disk.begin(), disk.end(), '\\', '/');
    if (IsThere(disk)) return disk; // by far the most common case, in one call
    return FindBelow(disk.front() == '/' ? "/" : "", disk, true);
}

bool ExistsAsFile(std::string const& disk) { return !disk.empty() && IsPlainFile(disk); }

std::FILE* Open(std::string const& disk) {
    if (disk.empty()) return nullptr;
    int const descriptor = open(disk.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK); // a pipe must not make us wait
    if (descriptor < 0) return nullptr;
    struct stat status;
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        if (std::FILE* const file = fdopen(descriptor, "rb")) return file;
    close(descriptor);
    return nullptr;
}

bool Remove(std::string const& disk) {
    struct stat status;
    return !disk.empty() && lstat(disk.c_str(), &status) == 0 && !S_ISDIR(status.st_mode) && unlink(disk.c_str()) == 0;
}
} // namespace

std::string FindOnDisk(std::wstring const& path) {
    std::string disk;
    return Utf16ToUtf8(path, disk) ? FindDiskName(disk) : std::string();
}

std::string FindOnDisk(std::string const& path) {
    std::wstring wide;
    std::string disk;
    if (CodePageToUtf16(path, wide) && Utf16ToUtf8(wide, disk)) {
        if (std::string found = FindDiskName(disk); !found.empty() || disk == path) return found;
    }
    return FindDiskName(path);
}

std::string NarrowFolderOf(std::string const& disk) {
    std::string const folder = disk.substr(0, disk.rfind('/'));
    std::wstring wide;
    std::string narrow;
    return Utf8ToUtf16(folder, wide) && Utf16ToCodePage(wide, narrow) ? narrow : folder;
}

bool FileExists(std::wstring const& path) { return ExistsAsFile(FindOnDisk(path)); }
bool FileExists(std::string const& path) { return ExistsAsFile(FindOnDisk(path)); }

bool PathExists(std::wstring const& path) { return !FindOnDisk(path).empty(); }
bool PathExists(std::string const& path) { return !FindOnDisk(path).empty(); }

std::FILE* OpenFileForReading(std::wstring const& path) { return Open(FindOnDisk(path)); }
std::FILE* OpenFileForReading(std::string const& path) { return Open(FindOnDisk(path)); }

bool GetOpenFileSize(std::FILE* file, unsigned long long& size) {
    struct stat status;
    if (fstat(fileno(file), &status) != 0 || status.st_size < 0) return false;
    size = static_cast<unsigned long long>(status.st_size);
    return true;
}

bool SeekOpenFile(std::FILE* file, unsigned long long position) {
    auto const offset = static_cast<off_t>(position);
    return offset >= 0 && fseeko(file, offset, SEEK_SET) == 0;
}

bool RemoveFile(std::wstring const& path) { return Remove(FindOnDisk(path)); }
bool RemoveFile(std::string const& path) { return Remove(FindOnDisk(path)); }

bool MakeAbsolute(std::wstring const& path, std::wstring& out) {
    out.clear();
    std::string const disk = FindOnDisk(path);
    if (disk.empty()) return false;
    std::unique_ptr<char, void (*)(void*)> const absolute(realpath(disk.c_str(), nullptr), std::free);
    return absolute && Utf8ToUtf16(absolute.get(), out);
}

std::string GetExecutableFolder() {
    std::vector<char> bytes(256);
    for (;;) {
        ssize_t const length = readlink("/proc/self/exe", bytes.data(), bytes.size());
        if (length < 0) return {};
        if (static_cast<std::size_t>(length) < bytes.size()) {
            bytes.resize(static_cast<std::size_t>(length));
            break;
        }
        bytes.resize(bytes.size() * 2); // cut off, or just full: only a longer buffer can tell
    }
    return NarrowFolderOf({bytes.begin(), bytes.end()});
}
} // namespace qklib::platform
