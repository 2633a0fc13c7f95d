// PlatformLibrary.h: loading of shared libraries at run time.
#pragma once

#include "QKExport.h"
#include <string>

namespace qklib::platform {
/// A loaded library. Opaque; null is none.
using LibraryHandle = void*;

/// Any function of a library, to be cast to what it is.
using LibraryFunction = void (*)();

/// Loads the library in this file, a narrow path by the rules of PlatformFile.h, and searches the library's own folder
/// for what it depends on. Each call gives an instance of its own, with its own statics, of the file as it lies there
/// now, even while an earlier version is in use; the file may be replaced or deleted afterwards. Null for anything
/// that is not a whole library of this machine with all its symbols. Pair it with CloseLibrary.
QKLIB_API LibraryHandle OpenLibrary(std::string const& path);

/// Null if `library` is null or has no such symbol.
QKLIB_API LibraryFunction FindFunction(LibraryHandle library, char const* name);

/// Unloads the library; null is ignored. True if its code has left the process, so nothing of it may be used any more.
/// False if the system keeps it (it asked for that itself, or another library needs it).
QKLIB_API bool CloseLibrary(LibraryHandle library);
} // namespace qklib::platform
