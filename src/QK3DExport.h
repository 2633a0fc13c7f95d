// QK3DExport.h: marks what the engine library shows to the outside.
#pragma once

#if defined(_WIN32)
#if defined(QK3D_BUILD)
#define QK3D_API __declspec(dllexport)
#else
#define QK3D_API __declspec(dllimport)
#endif
#else
#define QK3D_API __attribute__((visibility("default")))
#endif
