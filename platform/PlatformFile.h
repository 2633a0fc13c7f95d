// PlatformFile.h: what we ask of the system's files: is it there, open it for reading, how long is it, delete it.
#pragma once

#include "QKExport.h"
#include <cstdio>
#include <string>

namespace qklib::platform {
// A path is text of ours: narrow in code page 936 or wide in UTF-16, with "\" or "/" between its parts, in any letter
// case. It names the file with exactly this spelling; if there is none, the one whose spelling differs in case only,
// found part by part (with several such, an exact part goes first, then byte order). What was
// read of a folder serves again only while its times prove that nothing in it changed: no answer is older than its call.
// A narrow path that does not name a file as code page 936 is tried as the bytes that lie on the disk.

/// Whether there is a file that has an end: folders, pipes and devices do not count.
QKLIB_API bool FileExists(std::wstring const& path);
QKLIB_API bool FileExists(std::string const& path);

/// Whether there is anything under this path, folders included.
QKLIB_API bool PathExists(std::wstring const& path);
QKLIB_API bool PathExists(std::string const& path);

/// Opens a file for binary reading; null if `FileExists` is false for it or it may not be read. The caller closes it
/// with fclose. Programs started meanwhile do not inherit it.
QKLIB_API std::FILE* OpenFileForReading(std::wstring const& path);
QKLIB_API std::FILE* OpenFileForReading(std::string const& path);

/// Length of an open file in bytes, also above 4 GiB; false if it cannot be told. Leaves the position alone.
QKLIB_API bool GetOpenFileSize(std::FILE* file, unsigned long long& size);

/// Moves to a byte position counted from the start, also above 4 GiB.
QKLIB_API bool SeekOpenFile(std::FILE* file, unsigned long long position);

/// Deletes a file, never a folder. True if it is gone now and was there before.
QKLIB_API bool RemoveFile(std::wstring const& path);
QKLIB_API bool RemoveFile(std::string const& path);

/// The absolute form of a path that exists, in the spelling it has on disk; false (and `out` empty) if it does not
/// exist or its name is no text.
QKLIB_API bool MakeAbsolute(std::wstring const& path, std::wstring& out);

/// The folder of the running program, in code page 936 and without a separator at its end, of any length. A folder
/// whose name has no form in code page 936 comes as its bytes on disk, which the narrow forms here understand.
QKLIB_API std::string GetExecutableFolder();
} // namespace qklib::platform
