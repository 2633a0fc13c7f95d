// QK3DText.cpp: conversion between text encodings, and what a file's bytes say about theirs.
#include "QK3DText.h"

#include "PlatformCodePage.h"
#include <algorithm>
#include <string_view>

namespace qk3d {
namespace {
namespace platform = qklib::platform;

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr unsigned kEnoughEvidence = 5; // characters after which a text is taken for UTF-8

std::string_view AsText(void const* bytes, std::size_t length) {
    return bytes ? std::string_view(static_cast<char const*>(bytes), length) : std::string_view();
}

bool IsFollower(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// The bytes up to the first zero.
string UpToZero(std::string_view text) { return string(text.substr(0, text.find('\0'))); }

enum class ByteOrder { Little, Big };

// The wide text in `bytes` up to the first zero unit. A missing last byte counts as zero.
wstring ReadUtf16(std::string_view bytes, ByteOrder order) {
    wstring wide;
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        auto const first = static_cast<unsigned char>(bytes[i]);
        auto const second = i + 1 < bytes.size() ? static_cast<unsigned char>(bytes[i + 1]) : 0;
        auto const unit = order == ByteOrder::Little ? first | second << 8 : first << 8 | second;
        if (unit == 0) break;
        wide += static_cast<wchar_t>(unit);
    }
    return wide;
}

// Takes the text if a byte order mark says UTF-16. Two zeros behind the little-endian mark make it that of UTF-32.
bool DecodeMarkedUtf16(std::string_view bytes, wstring& wide) {
    bool const isLittle = bytes.starts_with("\xFF\xFE");
    if (!isLittle && !bytes.starts_with("\xFE\xFF")) return false;
    bytes.remove_prefix(2);
    if (isLittle && bytes.substr(0, 2).find_first_not_of('\0') == std::string_view::npos) return false;
    wide = ReadUtf16(bytes, isLittle ? ByteOrder::Little : ByteOrder::Big);
    return true;
}

// Whether the bytes have the shape of GBK: whole pairs of a lead and a trail byte among plain ASCII.
bool HasShapeOfGbk(std::string_view bytes) {
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        auto const lead = static_cast<unsigned char>(bytes[i]);
        if (lead <= 0x7F) continue;
        if (lead == 0x80 || lead == 0xFF || ++i == bytes.size()) return false;
        auto const trail = static_cast<unsigned char>(bytes[i]);
        if (trail < 0x40 || trail == 0xFF) return false;
    }
    return true;
}

std::size_t SequenceLength(unsigned char lead) { return lead < 0xE0 ? 2 : 3; }
} // namespace

wstring AnsiToWide(string const& text, char const*) {
    wstring wide;
    if (text.find('\0') == string::npos)
        platform::CodePageToUtf16(text, wide);
    else
        platform::CodePageToUtf16(UpToZero(text), wide);
    return wide;
}

string WideToAnsi(wstring const& text, char const*) {
    string narrow;
    if (std::size_t const end = text.find(L'\0'); end == wstring::npos)
        platform::Utf16ToCodePage(text, narrow);
    else
        platform::Utf16ToCodePage(text.substr(0, end), narrow);
    return narrow;
}

wstring Utf8ToWide(unsigned char const* text, std::size_t length) {
    wstring wide;
    std::string_view bytes = AsText(text, length);
    if (bytes.starts_with(kUtf8Mark)) bytes.remove_prefix(kUtf8Mark.size());
    wide.reserve(bytes.size());

    for (std::size_t i = 0; i < bytes.size();) {
        auto const at = [&](std::size_t offset) { return static_cast<unsigned char>(bytes[i + offset]); };
        unsigned char const lead = at(0);
        if (lead < 0x80) {
            wide += static_cast<wchar_t>(lead);
            ++i;
            continue;
        }
        if (lead < 0xC0 || lead >= 0xF0) return {};

        std::size_t const needed = SequenceLength(lead);
        bool const isTwo = needed == 2;
        if (bytes.size() - i < needed) {
            if (isTwo) break;
            return {};
        }
        if (!IsFollower(at(1)) || !IsFollower(at(needed - 1))) {
            if (isTwo) return {};
            break;
        }
        unsigned const unit = isTwo ? (lead & 0x1Fu) << 6 | (at(1) & 0x3Fu)
                                    : (lead << 12 | (at(1) & 0x3Fu) << 6 | (at(2) & 0x3Fu)) & 0xFFFFu;
        wide += static_cast<wchar_t>(unit);
        i += needed;
    }
    wide.resize(std::min(wide.find(L'\0'), wide.size()));
    return wide;
}

bool IsUtf8Text(unsigned char const* bytes, std::size_t length) {
    std::string_view const text = AsText(bytes, length);
    if (text.starts_with(kUtf8Mark)) return true;

    unsigned evidence = 0;
    for (std::size_t i = 0; i < text.size();) {
        auto const lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            ++i;
            continue;
        }
        if (lead < 0xC0 || lead >= 0xF0) return false;
        std::size_t const needed = SequenceLength(lead);
        if (text.size() - i < needed) break; // cut off: what came before decides
        for (std::size_t k = 1; k < needed; ++k)
            if (!IsFollower(static_cast<unsigned char>(text[i + k]))) return false;
        if (++evidence == kEnoughEvidence) return true;
        i += needed;
    }
    return evidence > 0;
}

string DecodeTextToAnsi(void* bytes, std::size_t length) {
    std::string_view const text = AsText(bytes, length);
    wstring wide;
    if (DecodeMarkedUtf16(text, wide)) return WideToAnsi(wide, "chs");
    auto const start = static_cast<unsigned char const*>(bytes);
    if (IsUtf8Text(start, text.size())) return WideToAnsi(Utf8ToWide(start, text.size()), "chs");
    return UpToZero(text);
}

wstring DecodeTextToWide(void* bytes, std::size_t length) {
    std::string_view const text = AsText(bytes, length);
    wstring wide;
    if (DecodeMarkedUtf16(text, wide)) return wide;
    auto const start = static_cast<unsigned char const*>(bytes);
    if (IsUtf8Text(start, text.size())) return Utf8ToWide(start, text.size());
    if (!HasShapeOfGbk(text) && text.size() % 2 == 0) return ReadUtf16(text, ByteOrder::Little);
    return AnsiToWide(UpToZero(text), "chs");
}

bool IsSureUtf8(Json::Value const& value) {
    if (!value.isString()) return false;
    char const* begin = nullptr;
    char const* end = nullptr;
    if (!value.getString(&begin, &end)) return false;
    auto const isAscii = [](char c) { return static_cast<unsigned char>(c) < 0x80; };
    wstring wide;
    return !std::all_of(begin, end, isAscii) && platform::Utf8ToUtf16(string(begin, end), wide);
}

string JsonToAnsi(Json::Value const& value) {
    if (!value.isString()) return {};
    string const text = value.asCString();
    if (!IsSureUtf8(value)) return text;
    return WideToAnsi(Utf8ToWide(reinterpret_cast<unsigned char const*>(text.data()), text.size()), "chs");
}

void ToLowerWide(wstring& text) {
    for (wchar_t& unit : text) unit = platform::ToLowerUtf16(unit);
}
} // namespace qk3d
