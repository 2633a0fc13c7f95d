// ModelLog.h: the log category of this plug-in.
#pragma once

#include "QKLog.h"

namespace qk3d::models {
inline qklib::CLogCategory* LogCategory() { return qklib::CLoger::GetLoger().GetCategory("QK3DModels"); }
} // namespace qk3d::models
