// QK3DOSFileSystem.cpp: the search through folders, and reading of what it finds.
#include "QK3DOSFileSystem.h"

#include "PlatformFile.h"
#include "QK3DFileDataProcessor.h"
#include "QK3DText.h"
#include "QKFileStream.h"
#include "QKText.h"

namespace qk3d {
namespace {
namespace platform = qklib::platform;
using FileStream = qklib::_qkfstream<char>;
} // namespace

COSFileSystem::COSFileSystem() = default;
COSFileSystem::~COSFileSystem() = default;

void COSFileSystem::AddResourceDirPath(string const& dir) { AddResourceDirPath(AnsiToWide(dir, "chs")); }

void COSFileSystem::AddResourceDirPath(wstring const& dir) { m_resourceDirs.insert(dir); }

void COSFileSystem::RemoveResourceDirPath(wstring const& dir) { m_resourceDirs.erase(dir); }

string COSFileSystem::GetFileSystemTypeName() const { return "OSFileSystem"; }

bool COSFileSystem::IsFileExist(wstring const& path) const {
    if (IsAbsolutePath(path)) return platform::FileExists(path);
    wstring found;
    return _FindInFolders(path, found);
}

unsigned long long COSFileSystem::GetFileSize(wstring const& path) const {
    wstring found;
    return _FindInFolders(path, found) ? _GetReadableSize(found) : 0;
}

bool COSFileSystem::MakeResourceAbsolutePath(wstring& path) const {
    path = wstring(qklib::TrimBlanks(path));
    wstring found = path;
    if (IsAbsolutePath(path) ? !platform::FileExists(path) : !_FindInFolders(path, found)) return false;
    ToLowerWide(found);
    path = std::move(found);
    return true;
}

bool COSFileSystem::DeleteFileA(wstring const& path) {
    wstring found = path;
    return MakeResourceAbsolutePath(found) && platform::RemoveFile(found);
}

unsigned long long COSFileSystem::ReadFileAsBinary(wstring const& path, unsigned char* buffer,
                                                   unsigned long long size) const {
    if (auto const processor = _FindProcessor(path); !processor.IsNull())
        return _DecodeIntoBuffer(path, *processor.GetPointer(), buffer, size);
    return buffer ? _CopyStored(path, buffer, size) : 0;
}

unsigned long long COSFileSystem::ReadFileAsBinary(wstring const& path, unsigned char** out) const {
    return out ? CFileStore::ReadFileAsBinary(path, out) : 0;
}

unsigned long long COSFileSystem::_GetStoredSize(wstring const& path) const {
    FileStream const file(platform::OpenFileForReading(path));
    unsigned long long size = 0;
    return file.m_file && platform::GetOpenFileSize(file.m_file, size) ? size : 0;
}

unsigned long long COSFileSystem::_CopyStored(wstring const& path, unsigned char* buffer,
                                              unsigned long long size) const {
    FileStream const file(platform::OpenFileForReading(path));
    return file.m_file ? std::fread(buffer, 1, static_cast<std::size_t>(size), file.m_file) : 0;
}

// Opens the file once, where the shared form would look for it twice.
CFileStore::Block COSFileSystem::_ReadStored(wstring const& path, unsigned long long& size,
                                             unsigned long long spare) const {
    size = 0;
    FileStream const file(platform::OpenFileForReading(path));
    unsigned long long whole = 0;
    if (!file.m_file || !platform::GetOpenFileSize(file.m_file, whole) || whole == 0) return nullptr;
    Block block = _AllocateBlock(whole, spare);
    if (!block || std::fread(block.get(), 1, static_cast<std::size_t>(whole), file.m_file) != whole) return nullptr;
    size = whole;
    return block;
}

// The first folder that has the file decides. A folder that cannot be joined to (an empty one) tests the bare path.
bool COSFileSystem::_FindInFolders(wstring const& path, wstring& found) const {
    if (path.empty()) return false;
    for (wstring const& folder : m_resourceDirs) {
        wstring candidate = path;
        ResolvePath(folder, candidate, false);
        if (!platform::FileExists(candidate)) continue;
        found = std::move(candidate);
        return true;
    }
    return false;
}
} // namespace qk3d
