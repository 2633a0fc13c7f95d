// QKJson.cpp: values out of a script, without exceptions.
#include "QKJson.h"
#include <limits>

namespace qklib {
namespace {
// Also false for values that are no numbers. An integer value is looked at as such: a double has not all of them.
bool IsBetween(Json::Value const& value, double low, double high) {
    switch (value.type()) {
    case Json::intValue: return value.asLargestInt() >= low && value.asLargestInt() <= high;
    case Json::uintValue: return value.asLargestUInt() <= high;
    case Json::realValue: return value.asDouble() >= low && value.asDouble() <= high;
    case Json::booleanValue: return true;
    default: return false;
    }
}
} // namespace

Json::Value const& JsonMember(Json::Value const& value, char const* key) {
    return value.isObject() ? value[key] : Json::Value::nullSingleton();
}

Json::Value const& JsonElement(Json::Value const& value, unsigned int index) {
    return value.isArray() && index < value.size() ? value[index] : Json::Value::nullSingleton();
}

bool ReadInt(Json::Value const& value, int& out) {
    if (!IsBetween(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max())) return false;
    out = value.asInt();
    return true;
}

bool ReadUInt(Json::Value const& value, unsigned int& out) {
    if (!IsBetween(value, 0, std::numeric_limits<unsigned int>::max())) return false;
    out = value.asUInt();
    return true;
}

bool ReadFloat(Json::Value const& value, float& out) {
    constexpr double kLargest = std::numeric_limits<float>::max();
    if (!IsBetween(value, -kLargest, kLargest)) return false;
    out = value.asFloat();
    return true;
}

bool ReadBool(Json::Value const& value, bool& out) {
    if (!value.isBool() && !value.isNumeric()) return false;
    out = value.asBool();
    return true;
}

bool ReadString(Json::Value const& value, string& out) {
    if (!value.isString()) return false;
    char const* begin = nullptr;
    char const* end = nullptr;
    value.getString(&begin, &end);
    out.assign(begin, end);
    return true;
}
} // namespace qklib
