// PlatformCodePage.h: conversion between code page 936, UTF-16 and UTF-8, and the letter case of UTF-16 units.
#pragma once

#include "QKExport.h"
#include <string>

namespace qklib::platform {
// Wide text has one UTF-16 unit in each element, whatever the width of wchar_t. All of these convert the whole text,
// zeros inside it too, work on any thread, and neither read nor change the locale of the process. False means that the
// text cannot be converted; the result is then empty.

/// Code page 936 (GBK; 0x80 is the Euro sign) to UTF-16.
QKLIB_API bool CodePageToUtf16(std::string const& text, std::wstring& out);

/// UTF-16 to code page 936. False for any character that the code page has not: nothing is replaced by "?".
QKLIB_API bool Utf16ToCodePage(std::wstring const& text, std::string& out);

/// UTF-8 to UTF-16, with surrogate pairs. Strict: overlong forms, surrogates in UTF-8 and cut sequences are refused.
QKLIB_API bool Utf8ToUtf16(std::string const& text, std::wstring& out);

/// UTF-16 to UTF-8. A surrogate without its other half is refused, and so is an element above 0xFFFF.
QKLIB_API bool Utf16ToUtf8(std::wstring const& text, std::string& out);

/// The lower-case form of a UTF-16 unit by Unicode's one-to-one mapping; the unit itself if it has none.
QKLIB_API wchar_t ToLowerUtf16(wchar_t unit);
} // namespace qklib::platform
