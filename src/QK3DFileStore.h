// QK3DFileStore.h: what the file stores of the engine have in common.
#pragma once

#include "QK3DFileSystem.h"
#include "QK3DSharePtr.h"
#include <cstdlib>
#include <map>
#include <memory>

namespace qk3d {
/// A file system in which all narrow forms call the wide ones, and every read passes the processor of the file's
/// extension. A store says where its bytes are; it refuses to write unless it overrides that.
class QK3D_API CFileStore : public CFileSystem {
public:
    CFileStore();
    CFileStore(CFileStore const&) = delete;
    CFileStore& operator=(CFileStore const&) = delete;
    ~CFileStore() override;

    /// Sends reads of files with this extension (no dot, any letter case) through `processor`. One processor an
    /// extension: the later one replaces the earlier.
    void AddFileDataProcessor(string const& extension, qklib::CSharePtr<CFileDataProcessor> const& processor);
    void AddFileDataProcessor(wstring const& extension, qklib::CSharePtr<CFileDataProcessor> const& processor);
    void RemoveFileDataProcessor(string const& extension);
    void RemoveFileDataProcessor(wstring const& extension);
    void RemoveAllFileDataProcessor();

    using CFileSystem::GetFileSize;
    using CFileSystem::IsFileExist;
    bool IsFileExist(string const& path) const override;
    unsigned long long GetFileSize(string const& path) const override;
    using CFileSystem::MakeResourceAbsolutePath;
    bool MakeResourceAbsolutePath(string& path) const override;
    bool DeleteFileA(string const& path) override;
    bool DeleteFileA(wstring const& path) override;
    bool ReadFileAsString(string const& path, wstring& out) const override;
    bool ReadFileAsString(wstring const& path, wstring& out) const override;
    bool ReadFileAsString(string const& path, string& out) const override;
    bool ReadFileAsString(wstring const& path, string& out) const override;

    /// With a null buffer or no room: the size that a full read gives. Otherwise the return value is that size too,
    /// also if it is more than was copied.
    unsigned long long ReadFileAsBinary(string const& path, unsigned char* buffer,
                                        unsigned long long size) const override;
    unsigned long long ReadFileAsBinary(wstring const& path, unsigned char* buffer,
                                        unsigned long long size) const override;

    /// With a null `out`: the size that a full read gives.
    unsigned long long ReadFileAsBinary(string const& path, unsigned char** out) const override;
    unsigned long long ReadFileAsBinary(wstring const& path, unsigned char** out) const override;

    bool WriteStringToNewFile(string const& path, wstring const& text) override;
    bool WriteStringToNewFile(wstring const& path, wstring const& text) override;
    bool WriteStringToNewFile(string const& path, string const& text) override;
    bool WriteStringToNewFile(wstring const& path, string const& text) override;
    bool WriteDataToNewFile(string const& path, unsigned char const* data, unsigned long long size) override;
    bool WriteDataToNewFile(wstring const& path, unsigned char const* data, unsigned long long size) override;
    bool AppendStringToFile(string const& path, wstring const& text) override;
    bool AppendStringToFile(wstring const& path, wstring const& text) override;
    bool AppendStringToFile(string const& path, string const& text) override;
    bool AppendStringToFile(wstring const& path, string const& text) override;
    bool AppendDataToFile(string const& path, unsigned char const* data, unsigned long long size) override;
    bool AppendDataToFile(wstring const& path, unsigned char const* data, unsigned long long size) override;

protected:
    struct FreeBlock {
        void operator()(unsigned char* block) const { std::free(block); }
    };
    using Block = std::unique_ptr<unsigned char, FreeBlock>;

    /// The size of the file as it is stored; 0 if there is no such file.
    virtual unsigned long long _GetStoredSize(wstring const& path) const = 0;

    /// Copies the file as it is stored into `buffer`, up to `size` bytes from its start. Returns how many it copied.
    virtual unsigned long long _CopyStored(wstring const& path, unsigned char* buffer,
                                           unsigned long long size) const = 0;

    /// The file as it is stored, in a block of its own with room for `spare` more bytes. Null, and 0 for `size`, if
    /// there is no such file, it is empty, or it cannot be read whole.
    virtual Block _ReadStored(wstring const& path, unsigned long long& size, unsigned long long spare) const;

    /// A block of `size` + `spare` bytes, all zero; null if there is no such memory.
    static Block _AllocateBlock(unsigned long long size, unsigned long long spare);

    /// The processor for the extension of `path`, or null.
    qklib::CSharePtr<CFileDataProcessor> _FindProcessor(wstring const& path) const;

    /// The size of the file as a reader sees it. Reads the file only if the processor has to see it.
    unsigned long long _GetReadableSize(wstring const& path) const;

    /// The whole file as a reader sees it. Null if there is no such file, it is empty, or it cannot be read; a processor
    /// that writes nothing gives a block with `size` 0.
    Block _ReadReadable(wstring const& path, unsigned long long& size) const;

    /// ReadFileAsBinary into a buffer for a file with a processor, the same in all stores.
    unsigned long long _DecodeIntoBuffer(wstring const& path, CFileDataProcessor& processor, unsigned char* buffer,
                                         unsigned long long size) const;

    std::map<wstring, qklib::CSharePtr<CFileDataProcessor>> m_processors; // by extension in lower case
};
} // namespace qk3d
