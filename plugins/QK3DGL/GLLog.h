// GLLog.h: the log of this plug-in.
#pragma once

#include "QKLog.h"

namespace qk3d::gl {
/// The category "QK3DGL"; null until the plug-in is started.
extern qklib::CLogCategory* g_log;
} // namespace qk3d::gl

#define GL_LOG(level, ...) QK_LOG_TO(::qk3d::gl::g_log, level, __VA_ARGS__)
