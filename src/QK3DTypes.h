// QK3DTypes.h: names that every header of the engine uses.
#pragma once

#include "QKTypes.h"

namespace qk3d {
using qklib::string;
using qklib::wstring;
} // namespace qk3d
