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

// A class template cannot be exported as such; where symbols are hidden by default, its instances still have to be
// the same for every library of the process.
#if defined(_WIN32)
#define QKLIB_TEMPLATE_API
#else
#define QKLIB_TEMPLATE_API __attribute__((visibility("default")))
#endif

// Lets the compiler check the arguments of a printf-like operation. Numbers count from 1, `this` included.
#if defined(__GNUC__)
#define QKLIB_PRINTF(text, firstArgument) __attribute__((format(printf, text, firstArgument)))
#else
#define QKLIB_PRINTF(text, firstArgument)
#endif
