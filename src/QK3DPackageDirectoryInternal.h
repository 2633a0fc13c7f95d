// QK3DPackageDirectoryInternal.h: reads the directory of a ZIP archive.
#pragma once

#include "QK3DPackageFileSystem.h"

namespace qk3d {
using PackageFiles = std::map<wstring, std::unique_ptr<CPackageFileSystem::FileInfo>>;

/// Fills `files` with the directory of the archive in `file`, which is read and stays open. Null if all is right, else
/// a few words on what is wrong. Memory grows with the entries that are there, not with numbers that the archive tells.
char const* ReadPackageDirectory(std::FILE* file, PackageFiles& files);

/// The name of a file in a package as a key: lower case, with backslashes. Empty if it must not be one: it leads out of
/// the package, has an empty part, or could not be told from an absolute path.
wstring MakePackageKey(wstring const& name);
} // namespace qk3d
