// QK3DFileSystem.cpp: the home of the file system's class tables.
#include "QK3DFileSystem.h"

namespace qk3d {
CFileSystem::~CFileSystem() = default;
} // namespace qk3d
