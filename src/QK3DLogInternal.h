// QK3DLogInternal.h: how the engine logs.
#pragma once

#include "QKLog.h"

namespace qk3d {
/// The category "QK3D", fetched when the library is loaded, before any other static object of it is built. Null
/// switches the engine's log off.
extern qklib::CLogCategory* g_logCategory;
} // namespace qk3d

/// QK_LOG(LOG_WARNING, "Texture cannot be decoded : %s", path.c_str());
#define QK_LOG(level, ...) QK_LOG_TO(::qk3d::g_logCategory, level, __VA_ARGS__)
