// QKText.h: trimming and letter case of short texts, such as the words of a script.
#pragma once

#include <string>
#include <string_view>

namespace qklib {
/// The text without the characters " \t\r\n" at its ends; empty if it has no others. A view into `text`. Narrow text
/// is safe here: no second byte of a GBK character looks like a blank.
constexpr std::string_view TrimBlanks(std::string_view text) {
    auto const first = text.find_first_not_of(" \t\r\n");
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}
constexpr std::wstring_view TrimBlanks(std::wstring_view text) {
    auto const first = text.find_first_not_of(L" \t\r\n");
    return first == text.npos ? std::wstring_view() : text.substr(first, text.find_last_not_of(L" \t\r\n") - first + 1);
}

/// Letter case of ASCII alone, whatever the locale.
constexpr char ToUpperAscii(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
constexpr char ToLowerAscii(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

/// Every byte from a to z in upper case. A second byte of a GBK character can be among them, so this serves to compare
/// with words of ASCII, not to show the text to anyone.
inline std::string ToUpperAscii(std::string_view text) {
    std::string upper(text);
    for (char& c : upper) c = ToUpperAscii(c);
    return upper;
}

/// As ToUpperAscii, but it leaves both bytes of a GBK character alone, so the text stays good narrow text.
inline std::string ToLowerNarrow(std::string_view text) {
    std::string lower(text);
    for (std::size_t i = 0; i < lower.size(); ++i) {
        if (static_cast<unsigned char>(lower[i]) >= 0x81)
            ++i;
        else
            lower[i] = ToLowerAscii(lower[i]);
    }
    return lower;
}
} // namespace qklib
