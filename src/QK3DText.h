// QK3DText.h: conversion between the engine's text encodings, and the joining of paths.
#pragma once

#include "QK3DExport.h"
#include "QK3DTypes.h"
#include <cstddef>
#include <json/value.h>

namespace qk3d {
// Narrow text is GBK (code page 936), wide text UTF-16. A text that cannot be converted gives an empty result. Nothing
// here has a state, and the locale of the process is neither used nor changed.

/// Narrow to wide, up to the first zero. `locale` says "chs" at every call; there is no other narrow encoding.
QK3D_API wstring AnsiToWide(string const& text, char const* locale);

/// Wide to narrow, up to the first zero.
QK3D_API string WideToAnsi(wstring const& text, char const* locale);

/// UTF-8 to wide, up to the first zero, without a byte order mark. It has only characters of up to three bytes: one of
/// four makes the whole result empty, as a stray following byte does. A text that ends within a two-byte character, or
/// has a three-byte one with a wrong byte in it, is kept as far as it was good.
QK3D_API wstring Utf8ToWide(unsigned char const* text, std::size_t length);

/// Guesses from its beginning whether a text of unknown encoding is UTF-8: it has a byte order mark, or five
/// characters of two or three bytes before anything wrong, or fewer and nothing wrong to its end. Plain ASCII is not.
QK3D_API bool IsUtf8Text(unsigned char const* bytes, std::size_t length);

/// The text of a file, in whichever encoding it is: UTF-16 by its byte order mark, UTF-8, or else narrow text. Ends at
/// the first zero. `bytes` is only read.
QK3D_API string DecodeTextToAnsi(void* bytes, std::size_t length);

/// The same as wide text; bytes that are neither UTF-8 nor GBK count as UTF-16 without a mark if their number is even.
QK3D_API wstring DecodeTextToWide(void* bytes, std::size_t length);

/// Whether `value` is a string that is UTF-8 for certain: strictly right, and with more than ASCII in it.
QK3D_API bool IsSureUtf8(Json::Value const& value);

/// A string of a script as narrow text. Empty for a value that is no string, or has characters that GBK lacks.
QK3D_API string JsonToAnsi(Json::Value const& value);

/// Lower case by Unicode's one-to-one mapping.
QK3D_API void ToLowerWide(wstring& text);

/// What stands behind the last "." of the whole path, or from it on. The path is not split first: "a.b\c" has the
/// extension "b\c".
QK3D_API wstring GetFileExtension(wstring const& path, bool withDot);

/// Whether `path` leaves no room for a base folder: it has a ":", starts with "\\" and goes on, or starts with "/".
QK3D_API bool IsAbsolutePath(wstring const& path);

/// Trims `path`, brings its separators into one form, and joins it to `baseDir` unless it is absolute. The separator is
/// the backslash; a result that starts with "/" has "/" throughout. A ".." that is a whole part climbs in `baseDir`,
/// and it takes what stands before it in `path` along; after one of them, others in the text that is left can stay, for
/// the system to follow. False, with `path` as it was, if either is empty, or with `mustExist` if nothing is there.
QK3D_API bool ResolvePath(string const& baseDir, string& path, bool mustExist);
QK3D_API bool ResolvePath(wstring const& baseDir, wstring& path, bool mustExist);
} // namespace qk3d
