// ModelFiles.h: models, and the files beside them, out of any file store of the engine.
#pragma once

#include "ModelScene.h"
#include "QK3DFileSystem.h"
#include <optional>

namespace qk3d::models {
/// Between texts of the engine (narrow GBK, wide UTF-16) and the UTF-8 of models. Empty if there is no such form.
std::string WideToUtf8(wstring const& text);
wstring Utf8ToWide(std::string const& text);
string Utf8ToNarrow(std::string const& text);

/// A path without "." as its first part, which stores of memory do not see through.
wstring WithoutDot(wstring path);

/// Whether a store has a file. The name may have either separator, and "." as its first part.
bool HasFile(CFileSystem const& store, wstring const& path);

/// Reads a file out of a store, under a name as `HasFile` takes it. Nothing if the store has no such file, it is empty, or
/// larger than any model we would like to read (1 GiB).
std::optional<Bytes> ReadFile(CFileSystem const& store, wstring const& path);

/// The folder of a path, with its last separator; empty if it has none.
wstring FolderOf(wstring const& path);
} // namespace qk3d::models
