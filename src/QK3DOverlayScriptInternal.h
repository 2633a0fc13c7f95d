// QK3DOverlayScriptInternal.h: what top-level items and sub-items share when they are filled from a file.
#pragma once

#include "QK3DTypes.h"

namespace qk3d {
class COverlayItem;

/// Fills `item` from a script file. `logPrefix` stands before the two log lines, for a file that cannot be parsed and
/// for one that is empty or cannot be read.
void ReadOverlayScriptFile(COverlayItem& item, string const& path, char const* logPrefix);
} // namespace qk3d
