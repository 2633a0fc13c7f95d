// QKTypes.h: the text types of the base layer.
#pragma once

#include <string>

namespace qklib {
/// Narrow text: bytes in code page 936 (GBK).
using std::string;

/// Wide text: one UTF-16 unit in each element, whatever the width of wchar_t.
using std::wstring;
} // namespace qklib
