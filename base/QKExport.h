// QKExport.h: marks what the base library shows to the outside.
#pragma once

#if defined(_WIN32)
#if defined(QKLIB_BUILD)
#define QKLIB_API __declspec(dllexport)
#else
#define QKLIB_API __declspec(dllimport)
#endif
#else
#define QKLIB_API __attribute__((visibility("default")))
#endif
