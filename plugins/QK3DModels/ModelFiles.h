// ModelFiles.h: lets the importer read a model, and the files beside it, out of any file store of the engine.
#pragma once

#include "QK3DFileSystem.h"
#include <assimp/IOSystem.hpp>
#include <memory>
#include <vector>

namespace qk3d::models {
/// A whole file in memory.
using FileBytes = std::unique_ptr<std::vector<unsigned char>>;

/// Between texts of the engine (narrow GBK, wide UTF-16) and the UTF-8 of the importer. Empty if there is no such form.
std::string WideToUtf8(wstring const& text);
wstring Utf8ToWide(std::string const& text);
string Utf8ToNarrow(std::string const& text);

/// A path without "." as its first part, which stores of memory do not see through.
wstring WithoutDot(wstring path);

/// Reads a file out of a store. The name may have either separator, and "." as its first part. Null if the store has no
/// such file, it is empty, or larger than any model we would like to read (1 GiB).
FileBytes ReadFile(CFileSystem const& store, wstring const& path);

/// The folder of a path, with its last separator; empty if it has none.
wstring FolderOf(wstring const& path);

/// What the importer sees of a store: files to read, nothing to write. It counts in UTF-8.
class CModelFiles : public Assimp::IOSystem {
public:
    explicit CModelFiles(CFileSystem const& store) : m_store(store) {}

    bool Exists(char const* file) const override;
    char getOsSeparator() const override { return '/'; }
    Assimp::IOStream* Open(char const* file, char const* mode) override;
    void Close(Assimp::IOStream* file) override;

private:
    CFileSystem const& m_store;
};
} // namespace qk3d::models
