// QK3DFileStoreNarrow.cpp: the narrow forms of all file operations; each converts its path and calls the wide form.
#include "QK3DFileStore.h"

#include "QK3DText.h"

namespace qk3d {
namespace {
wstring Wide(string const& path) { return AnsiToWide(path, "chs"); }
} // namespace

void CFileStore::AddFileDataProcessor(string const& extension, qklib::CSharePtr<CFileDataProcessor> const& processor) {
    AddFileDataProcessor(Wide(extension), processor);
}

void CFileStore::RemoveFileDataProcessor(string const& extension) { RemoveFileDataProcessor(Wide(extension)); }

bool CFileStore::IsFileExist(string const& path) const { return IsFileExist(Wide(path)); }

unsigned long long CFileStore::GetFileSize(string const& path) const { return GetFileSize(Wide(path)); }

bool CFileStore::MakeResourceAbsolutePath(string& path) const {
    wstring wide = Wide(path);
    if (!MakeResourceAbsolutePath(wide)) return false;
    path = WideToAnsi(wide, "chs");
    return true;
}

bool CFileStore::DeleteFileA(string const& path) { return DeleteFileA(Wide(path)); }

bool CFileStore::ReadFileAsString(string const& path, wstring& out) const { return ReadFileAsString(Wide(path), out); }

bool CFileStore::ReadFileAsString(string const& path, string& out) const { return ReadFileAsString(Wide(path), out); }

unsigned long long CFileStore::ReadFileAsBinary(string const& path, unsigned char* buffer,
                                                unsigned long long size) const {
    return ReadFileAsBinary(Wide(path), buffer, size);
}

unsigned long long CFileStore::ReadFileAsBinary(string const& path, unsigned char** out) const {
    return ReadFileAsBinary(Wide(path), out);
}

bool CFileStore::WriteStringToNewFile(string const& path, wstring const& text) {
    return WriteStringToNewFile(Wide(path), text);
}

bool CFileStore::WriteStringToNewFile(string const& path, string const& text) {
    return WriteStringToNewFile(Wide(path), text);
}

bool CFileStore::WriteDataToNewFile(string const& path, unsigned char const* data, unsigned long long size) {
    return WriteDataToNewFile(Wide(path), data, size);
}

bool CFileStore::AppendStringToFile(string const& path, wstring const& text) {
    return AppendStringToFile(Wide(path), text);
}

bool CFileStore::AppendStringToFile(string const& path, string const& text) {
    return AppendStringToFile(Wide(path), text);
}

bool CFileStore::AppendDataToFile(string const& path, unsigned char const* data, unsigned long long size) {
    return AppendDataToFile(Wide(path), data, size);
}
} // namespace qk3d
