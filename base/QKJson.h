// QKJson.h: reads JSON scripts and takes typed values out of them, without exceptions.
#pragma once

#include "QKExport.h"
#include "QKTypes.h"
#include <json/value.h>

namespace qklib {
/// How deep objects and lists of a script may be nested. A reader that recurses needs stack in proportion, and a real
/// script has some ten levels.
inline constexpr int kMaxJsonDepth = 256;

/// Parses one JSON document given in narrow text; the strings of the result are UTF-8. Comments are allowed. Refused
/// are: text that is not GBK, anything behind the document, a root that is a bare value, a key given twice, a comma
/// with nothing behind it, a number that is not in JSON form or too large for a double, nesting over kMaxJsonDepth,
/// and a zero byte. False leaves `root` null. Never throws but for want of memory, and the C++ locale of the host
/// makes no difference.
QKLIB_API bool ParseJson(string const& text, Json::Value& root);

/// The member or element, or a null value if there is none or `value` is no object (no list).
QKLIB_API Json::Value const& JsonMember(Json::Value const& value, char const* key);
QKLIB_API Json::Value const& JsonElement(Json::Value const& value, unsigned int index);

/// Take one value over and say true, or leave `out` alone and say false: for null, which includes what is missing, for
/// a text, list or object where a number is wanted, and for a number that `out` cannot hold. Booleans count as 0 and
/// 1, numbers as true unless they are 0, and a fraction is cut off where an integer is wanted.
QKLIB_API bool ReadInt(Json::Value const& value, int& out);
QKLIB_API bool ReadUInt(Json::Value const& value, unsigned int& out);
QKLIB_API bool ReadFloat(Json::Value const& value, float& out);
QKLIB_API bool ReadBool(Json::Value const& value, bool& out);

/// Only a string is a string: its bytes as they stand in the value.
QKLIB_API bool ReadString(Json::Value const& value, string& out);

/// The same for the member `key` of an object.
inline bool ReadInt(Json::Value const& object, char const* key, int& out) {
    return ReadInt(JsonMember(object, key), out);
}
inline bool ReadUInt(Json::Value const& object, char const* key, unsigned int& out) {
    return ReadUInt(JsonMember(object, key), out);
}
inline bool ReadFloat(Json::Value const& object, char const* key, float& out) {
    return ReadFloat(JsonMember(object, key), out);
}
inline bool ReadBool(Json::Value const& object, char const* key, bool& out) {
    return ReadBool(JsonMember(object, key), out);
}
inline bool ReadString(Json::Value const& object, char const* key, string& out) {
    return ReadString(JsonMember(object, key), out);
}
} // namespace qklib
