// QK3DOSFileSystem.h: the files of the operating system as a file store.
#pragma once

#include "QK3DFileStore.h"
#include <set>

namespace qk3d {
/// Reads files of the operating system, found through a list of folders. It never writes. Folders, pipes and devices
/// are no files.
class QK3D_API COSFileSystem : public CFileStore {
public:
    COSFileSystem();
    ~COSFileSystem() override;

    /// Adds a folder to search. The order of search is that of the folders' names, not of the calls.
    void AddResourceDirPath(string const& dir);
    void AddResourceDirPath(wstring const& dir);
    void RemoveResourceDirPath(wstring const& dir);

    string GetFileSystemTypeName() const override;

    using CFileStore::IsFileExist;
    bool IsFileExist(wstring const& path) const override;

    /// Size as a reader sees it. 0 while there are no folders, even for an absolute path.
    using CFileStore::GetFileSize;
    unsigned long long GetFileSize(wstring const& path) const override;

    /// Makes `path` absolute and puts it into lower case. The read operations take this form and do not search.
    using CFileStore::MakeResourceAbsolutePath;
    bool MakeResourceAbsolutePath(wstring& path) const override;

    using CFileStore::DeleteFileA;
    bool DeleteFileA(wstring const& path) override;

    /// Without a processor: the number of bytes that were copied, so 0 for a null buffer. With one: as in the other
    /// stores, the decoded size if the buffer is null or too small.
    using CFileStore::ReadFileAsBinary;
    unsigned long long ReadFileAsBinary(wstring const& path, unsigned char* buffer,
                                        unsigned long long size) const override;

    /// 0 for a null `out`.
    unsigned long long ReadFileAsBinary(wstring const& path, unsigned char** out) const override;

protected:
    unsigned long long _GetStoredSize(wstring const& path) const override;
    unsigned long long _CopyStored(wstring const& path, unsigned char* buffer, unsigned long long size) const override;
    Block _ReadStored(wstring const& path, unsigned long long& size, unsigned long long spare) const override;

    std::set<wstring> m_resourceDirs;

private:
    bool _FindInFolders(wstring const& path, wstring& found) const;
};
} // namespace qk3d
