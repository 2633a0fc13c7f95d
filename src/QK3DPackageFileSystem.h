// QK3DPackageFileSystem.h: a file store inside one package file, a ZIP archive.
#pragma once

#include "QK3DFileStore.h"
#include "QKFileStream.h"

namespace qk3d {
/// Reads the files of one ZIP archive. A file is known by its key, its path in the archive in lower case with
/// backslashes, or by the path of the package, a separator and the key. Names in the archive are UTF-8 or GBK, as their
/// flag says. The store keeps the archive open and never changes it.
class QK3D_API CPackageFileSystem : public CFileStore {
public:
    /// What a file of the package is. Anything above 0 is there; only STORED and DEFLATED can be read.
    enum EFileType {
        FT_NONE = 0,     // no file: a folder, or an encrypted one
        FT_STORED = 1,   // bytes as they are
        FT_DEFLATED = 2, // packed by deflate
        FT_OTHER = 3,    // packed in a way that we do not know
    };

    struct FileInfo {
        unsigned long long m_offset = 0; // of its first byte in the package
        unsigned long long m_size = 0;   // of the file itself
        int m_type = FT_NONE;
        unsigned int m_crc = 0;              // checksum of the file itself
        unsigned long long m_packedSize = 0; // bytes it takes in the package
        wstring m_name;                      // as the package spells it
    };

    CPackageFileSystem();
    ~CPackageFileSystem() override;

    /// Opens a package and reads its directory; an open one is closed first. False, with the store closed, if it cannot
    /// be opened or is refused: it is no archive or not whole, sizes or positions in it cannot be right, a name is no
    /// text or leads out of the package, or two names make one key. A refusal is logged.
    bool OpenPackage(string const& path);
    bool OpenPackage(wstring const& path);
    void ClosePackage();

    string GetFileSystemTypeName() const override;

    using CFileStore::IsFileExist;
    bool IsFileExist(wstring const& path) const override;

    /// The size of the file itself, not the space it takes in the package, and whatever a processor makes of it.
    using CFileStore::GetFileSize;
    unsigned long long GetFileSize(wstring const& path) const override;

    /// Puts the path of the package before a key, whose letters stay as given.
    using CFileStore::MakeResourceAbsolutePath;
    bool MakeResourceAbsolutePath(wstring& path) const override;

protected:
    /// The entry that a path leads to, or null.
    FileInfo* GetFileInfo(wstring const& path);
    FileInfo const* GetFileInfo(wstring const& path) const;

    /// A STORED file as a new block, which the caller releases with free, and its size; 0 for any other. With a null
    /// `out` the size of whatever is there.
    unsigned long long GetFileData(wstring const& path, unsigned char** out) const;

    unsigned long long _GetStoredSize(wstring const& path) const override;
    unsigned long long _CopyStored(wstring const& path, unsigned char* buffer, unsigned long long size) const override;

    wstring m_rootPath;                               // absolute path of the package
    qklib::_qkfstream<char>* m_packageFile = nullptr; // owned
    std::map<wstring, FileInfo*> m_files;             // by key; owned

private:
    bool _MakeKey(wstring const& path, wstring& key) const;
    FileInfo const* _FindFile(wstring const& path) const;
};
} // namespace qk3d
