// QK3DFreeNameInternal.h: a generated name that is not in use.
#pragma once

#include "QK3DGenName.h"

namespace qk3d {
/// A name of the present time for which `isTaken(name)` is false. A busy second runs out of the counter in such names, so a
/// number follows when that happens.
template <class IsTaken>
string FreeName(char const* prefix, IsTaken const& isTaken) {
    string name = CGenName::GenNameByTime_ansi(prefix, "");
    for (unsigned int i = 1; isTaken(name); ++i) {
        string suffix("_");
        suffix += std::to_string(i);
        name = CGenName::GenNameByTime_ansi(prefix, suffix);
    }
    return name;
}
} // namespace qk3d
