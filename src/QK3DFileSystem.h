// QK3DFileSystem.h: what the resource managers ask of a store of named files.
#pragma once

#include "QK3DExport.h"
#include "QK3DTypes.h"

namespace qk3d {
/// A store of named files. Each operation on a path has a narrow and a wide form that do the same. One thread at a
/// time.
class QK3D_API CFileSystem {
public:
    virtual ~CFileSystem();

    virtual string GetFileSystemTypeName() const = 0;

    virtual bool IsFileExist(string const& path) const = 0;
    virtual bool IsFileExist(wstring const& path) const = 0;

    /// Size in bytes; 0 if there is no such file.
    virtual unsigned long long GetFileSize(string const& path) const = 0;
    virtual unsigned long long GetFileSize(wstring const& path) const = 0;

    /// Rewrites `path` into the form that the read operations of this store take, if the store has the file. On false
    /// `path` may have lost blanks at its ends and is the same otherwise.
    virtual bool MakeResourceAbsolutePath(string& path) const = 0;
    virtual bool MakeResourceAbsolutePath(wstring& path) const = 0;

    /// True if the file was there and is gone.
    virtual bool DeleteFileA(string const& path) = 0;
    virtual bool DeleteFileA(wstring const& path) = 0;

    /// Reads a whole text file through the processor of its extension and converts it from the encoding it is in.
    /// `out` is emptied first. An empty file gives false.
    virtual bool ReadFileAsString(string const& path, wstring& out) const = 0;
    virtual bool ReadFileAsString(wstring const& path, wstring& out) const = 0;
    virtual bool ReadFileAsString(string const& path, string& out) const = 0;
    virtual bool ReadFileAsString(wstring const& path, string& out) const = 0;

    /// Copies at most `size` bytes into `buffer`. What the count says of a file that is longer, or of a null buffer, is
    /// the store's affair.
    virtual unsigned long long ReadFileAsBinary(string const& path, unsigned char* buffer,
                                                unsigned long long size) const = 0;
    virtual unsigned long long ReadFileAsBinary(wstring const& path, unsigned char* buffer,
                                                unsigned long long size) const = 0;

    /// Puts the bytes into a new block, which the caller releases with free, and returns their number. With 0 `*out` is
    /// null.
    virtual unsigned long long ReadFileAsBinary(string const& path, unsigned char** out) const = 0;
    virtual unsigned long long ReadFileAsBinary(wstring const& path, unsigned char** out) const = 0;

    /// Create the file or replace what it has. True on success.
    virtual bool WriteStringToNewFile(string const& path, wstring const& text) = 0;
    virtual bool WriteStringToNewFile(wstring const& path, wstring const& text) = 0;
    virtual bool WriteStringToNewFile(string const& path, string const& text) = 0;
    virtual bool WriteStringToNewFile(wstring const& path, string const& text) = 0;
    virtual bool WriteDataToNewFile(string const& path, unsigned char const* data, unsigned long long size) = 0;
    virtual bool WriteDataToNewFile(wstring const& path, unsigned char const* data, unsigned long long size) = 0;

    /// Add to the end of a file. True on success.
    virtual bool AppendStringToFile(string const& path, wstring const& text) = 0;
    virtual bool AppendStringToFile(wstring const& path, wstring const& text) = 0;
    virtual bool AppendStringToFile(string const& path, string const& text) = 0;
    virtual bool AppendStringToFile(wstring const& path, string const& text) = 0;
    virtual bool AppendDataToFile(string const& path, unsigned char const* data, unsigned long long size) = 0;
    virtual bool AppendDataToFile(wstring const& path, unsigned char const* data, unsigned long long size) = 0;
};
} // namespace qk3d
