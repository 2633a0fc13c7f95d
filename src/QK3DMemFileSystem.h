// QK3DMemFileSystem.h: a file store in memory that the host fills.
#pragma once

#include "QK3DFileStore.h"

namespace qk3d {
/// One file of a CMemFileSystem.
struct MemFileInfo {
    unsigned char* m_data = nullptr; // owned by the store, released with free
    unsigned long long m_size = 0;
    bool m_isWide = false; // it was written as wide text, which nothing in the bytes would tell
};

/// Named blocks of memory. Names are compared exactly: no letter case, no blanks, no separators.
class QK3D_API CMemFileSystem : public CFileStore {
public:
    CMemFileSystem();
    ~CMemFileSystem() override;

    string GetFileSystemTypeName() const override;

    using CFileStore::IsFileExist;
    bool IsFileExist(wstring const& path) const override;

    /// The stored size, whatever a processor makes of it.
    using CFileStore::GetFileSize;
    unsigned long long GetFileSize(wstring const& path) const override;

    /// True for a name that there is; never changes it.
    bool MakeResourceAbsolutePath(string& path) const override;
    bool MakeResourceAbsolutePath(wstring& path) const override;

    using CFileStore::DeleteFileA;
    bool DeleteFileA(wstring const& path) override;

    /// Text that was written as wide text is known to be that; all other bytes are looked at.
    using CFileStore::ReadFileAsString;
    bool ReadFileAsString(wstring const& path, wstring& out) const override;
    bool ReadFileAsString(wstring const& path, string& out) const override;

    /// Stores a copy of the text, with a zero at its end that counts in the size; wide text in 16 bits a unit. Empty
    /// text is refused, and so is wide text with an element that is no UTF-16 unit.
    using CFileStore::WriteStringToNewFile;
    bool WriteStringToNewFile(wstring const& path, wstring const& text) override;
    bool WriteStringToNewFile(wstring const& path, string const& text) override;

    /// Takes the block over, which must be one that free releases; on false it is still the caller's.
    using CFileStore::WriteDataToNewFile;
    bool WriteDataToNewFile(wstring const& path, unsigned char const* data, unsigned long long size) override;

protected:
    unsigned long long _GetStoredSize(wstring const& path) const override;
    unsigned long long _CopyStored(wstring const& path, unsigned char* buffer, unsigned long long size) const override;

    std::map<wstring, MemFileInfo*> m_files; // owned

private:
    MemFileInfo const* _FindFile(wstring const& path) const;
    bool _ReadWideText(wstring const& path, wstring& out) const;
    unsigned char* _PrepareBlock(wstring const& path, unsigned long long size);
    void _Destroy(MemFileInfo* file);
};
} // namespace qk3d
