// QK3DStateBlockInternal.h: what the three state blocks do alike: reading the values of a script by their kind.
#pragma once

#include "QK3DStateNames.h"
#include "QK3DStateWords.h"
#include "QKJson.h"
#include "QKText.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace qk3d {
// State names and words are ASCII, so they are compared with the UTF-8 of the parser as it is: nothing is converted or
// copied, and a "|" is never the second byte of anything.

/// Trimmed and turned to upper case into `buffer`; empty if it does not fit, which no name or word does then.
inline std::string_view FoldWord(std::string_view text, std::array<char, 64>& buffer) {
    text = qklib::TrimBlanks(text);
    if (text.size() > buffer.size()) return {};
    std::transform(text.begin(), text.end(), buffer.begin(), [](char c) { return qklib::ToUpperAscii(c); });
    return {buffer.data(), text.size()};
}

inline bool ReadStateText(Json::Value const& value, std::string_view& out) {
    char const* begin = nullptr;
    char const* end = nullptr;
    if (!value.isString() || !value.getString(&begin, &end)) return false;
    out = {begin, static_cast<std::size_t>(end - begin)};
    return true;
}

/// The row of a word, null if there is none.
template <std::size_t N>
StateWord const* FindStateWord(StateWord const (&words)[N], std::string_view text) {
    std::array<char, 64> buffer;
    std::string_view const word = FoldWord(text, buffer);
    auto const found = std::find_if(std::begin(words), std::end(words),
                                    [word](StateWord const& candidate) { return candidate.word == word; });
    return found == std::end(words) ? nullptr : found;
}

// The readers that the state tables name in their last column: false, with `out` as it was, for a value that is none of
// its kind.

inline bool ReadBool(Json::Value const& value, std::uint32_t& out) {
    bool read = false;
    if (!qklib::ReadBool(value, read)) return false;
    out = read;
    return true;
}

inline bool ReadUnsigned(Json::Value const& value, std::uint32_t& out) { return qklib::ReadUInt(value, out); }

inline bool ReadFloat(Json::Value const& value, std::uint32_t& out) {
    float read = 0;
    if (!qklib::ReadFloat(value, read)) return false;
    out = std::bit_cast<std::uint32_t>(read);
    return true;
}

inline bool ReadColour(Json::Value const& value, std::uint32_t& out) {
    if (!value.isArray()) return false;
    std::uint32_t packed = 0;
    for (unsigned int i = 0; i < 4; ++i) {
        int channel = 0;
        if (!qklib::ReadInt(qklib::JsonElement(value, i), channel)) return false;
        packed = packed << 8 | (static_cast<std::uint32_t>(channel) & 0xFF);
    }
    out = packed;
    return true;
}

template <auto const& kWords>
bool ReadWord(Json::Value const& value, std::uint32_t& out) {
    std::string_view text;
    if (!ReadStateText(value, text)) return false;
    StateWord const* const word = FindStateWord(kWords, text);
    if (word) out = word->value;
    return word != nullptr;
}

/// Words joined by "|". The first empty field ends the list; fields that are no words add nothing.
template <auto const& kWords>
bool ReadFlags(Json::Value const& value, std::uint32_t& out) {
    std::string_view text;
    if (!ReadStateText(value, text)) return false;
    text = qklib::TrimBlanks(text);
    std::uint32_t flags = 0;
    while (!text.empty() && text.front() != '|') {
        std::string_view const field = text.substr(0, text.find('|'));
        if (StateWord const* const word = FindStateWord(kWords, field)) flags |= word->value;
        text.remove_prefix(std::min(text.size(), field.size() + 1));
    }
    out = flags;
    return true;
}

/// A word, where an unknown one gives 0, or a number, of which 0 to 3 stand for coordinates 1 to 4.
inline bool ReadWrap(Json::Value const& value, std::uint32_t& out) {
    std::string_view text;
    if (ReadStateText(value, text)) {
        StateWord const* const word = FindStateWord(kWrapWords, text);
        out = word ? word->value : 0;
        return true;
    }
    constexpr std::uint32_t kCoordinates[] = {1, 16, 17, 256};
    std::uint32_t number = 0;
    if (!qklib::ReadUInt(value, number)) return false;
    out = number < std::size(kCoordinates) ? kCoordinates[number] : number;
    return true;
}

/// Calls `set(number, value)` for each member of an object that is the name of a state. False if `value` is no object.
template <std::size_t N, class TSet>
bool VisitStateMembers(Json::Value const& value, StateNameMap<N> const& names, TSet&& set) {
    if (!value.isObject()) return false;
    for (auto it = value.begin(); it != value.end(); ++it) {
        char const* end = nullptr;
        char const* const begin = it.memberName(&end);
        std::array<char, 64> buffer;
        if (int const state = names.Find(FoldWord({begin, static_cast<std::size_t>(end - begin)}, buffer)))
            set(state, *it);
    }
    return true;
}

/// Trims `name` and turns it to upper case in place; the number of that state, 0 if there is none.
template <std::size_t N>
int FoldStateName(std::string& name, StateNameMap<N> const& names) {
    name = qklib::ToUpperAscii(qklib::TrimBlanks(name));
    return names.Find(name);
}
} // namespace qk3d
