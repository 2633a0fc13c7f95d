// PlatformFolderPosix.h: the names in a folder that a name may stand for, without regard to case. For POSIX sources only.
#pragma once

#include <string>
#include <vector>

namespace qklib::platform {
/// The names in `folder` (empty is the working folder) that differ from `part` in letter case only, in byte order.
/// Asking about many parts of one folder reads it once: names read earlier serve for as long as the folder's own record
/// proves that nothing was added, renamed or removed since. Safe to call from any thread.
std::vector<std::string> FindOtherSpellings(std::string const& folder, std::string const& part);
} // namespace qklib::platform
