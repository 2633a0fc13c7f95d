// PlatformPathPosix.h: from a path of ours to the bytes that name the file on disk. For the POSIX sources only.
#pragma once

#include <string>

namespace qklib::platform {
/// The name on disk of what is there under `path` by the rules of PlatformFile.h; empty if there is nothing.
std::string FindOnDisk(std::wstring const& path);
std::string FindOnDisk(std::string const& path);

/// The folder of a file on disk as a narrow path: in code page 936, or as its bytes if it has no form there.
std::string NarrowFolderOf(std::string const& disk);
} // namespace qklib::platform
