// PlatformCodePagePosix.cpp: code page conversion by tables that iconv fills once, and letter case from the C library.
#include "PlatformCodePage.h"

#include <cstdint>
#include <cstring>
#include <iconv.h>
#include <locale.h>
#include <memory>
#include <wctype.h>

namespace qklib::platform {
namespace {
constexpr unsigned kNoUnit = 0; // U+0000 is plain ASCII and never comes out of a table
constexpr unsigned kLeadFirst = 0x81;
constexpr unsigned kLeadLast = 0xFE;

// Both directions of the code page, 192 KiB. Asking iconv for each text is some five times slower on short ones, and a
// kept descriptor has a state that threads would fight for; these tables are only read once they are made.
struct CodePageTables {
    std::uint16_t single[0x80];                            // bytes from 0x80 up that stand alone
    std::uint16_t pair[kLeadLast - kLeadFirst + 1][0x100]; // by lead byte and trail byte
    std::uint16_t code[0x10000];                           // by unit: one byte below 0x100, else lead << 8 | trail

    CodePageTables() : single{}, pair{}, code{} {
        iconv_t const converter = iconv_open("UTF-16LE", "CP936");
        if (converter == iconv_t(-1)) return; // a system without the code page: plain ASCII still converts
        for (unsigned byte = 0x80; byte <= 0xFF; ++byte) Enter(converter, byte, 1, single[byte - 0x80]);
        for (unsigned lead = kLeadFirst; lead <= kLeadLast; ++lead)
            for (unsigned trail = 0x40; trail <= 0xFF; ++trail)
                Enter(converter, lead << 8 | trail, 2, pair[lead - kLeadFirst][trail]);
        iconv_close(converter);
    }

private:
    void Enter(iconv_t converter, unsigned bytes, std::size_t length, std::uint16_t& unit) {
        char source[2] = {static_cast<char>(length == 2 ? bytes >> 8 : bytes), static_cast<char>(bytes)};
        unsigned char target[4];
        char* in = source;
        char* out = reinterpret_cast<char*>(target);
        std::size_t inLeft = length;
        std::size_t outLeft = sizeof target;
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        if (iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1) || outLeft != 2) return;
        unit = static_cast<std::uint16_t>(target[0] | target[1] << 8);
        if (code[unit] == 0) code[unit] = static_cast<std::uint16_t>(bytes);
    }
};

CodePageTables const& Tables() {
    static auto const tables = std::make_unique<CodePageTables const>();
    return *tables;
}

// The number of plain ASCII bytes at the start of [text, end), counted in eights: the rest is for the caller.
std::size_t CountAsciiInEights(unsigned char const* text, unsigned char const* end) {
    unsigned char const* at = text;
    while (end - at >= 8) {
        std::uint64_t eight;
        std::memcpy(&eight, at, sizeof eight);
        if (eight & 0x8080808080808080u) break;
        at += 8;
    }
    return static_cast<std::size_t>(at - text);
}

bool Fail(std::string& out) {
    out.clear();
    return false;
}

bool Fail(std::wstring& out) {
    out.clear();
    return false;
}

bool IsTrailByte(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Reads one UTF-8 sequence of two to four bytes at `at` into `point`; its length, or 0 if it is not a proper one.
int ReadSequence(unsigned char const* at, unsigned char const* end, std::uint32_t& point) {
    unsigned char const lead = *at;
    int const length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || end - at < length) return 0;
    point = lead & (0xFFu >> (length + 1));
    for (int i = 1; i < length; ++i) {
        if (!IsTrailByte(at[i])) return 0;
        point = point << 6 | (at[i] & 0x3Fu);
    }
    bool const isSurrogate = point >= 0xD800 && point <= 0xDFFF;
    bool const isOverlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
    return isSurrogate || isOverlong || point > 0x10FFFF ? 0 : length;
}
} // namespace

bool CodePageToUtf16(std::string const& text, std::wstring& out) {
    auto at = reinterpret_cast<unsigned char const*>(text.data());
    auto const end = at + text.size();
    out.resize(text.size()); // no character has fewer bytes than units
    wchar_t* to = out.data();

    while (at != end) {
        for (std::size_t n = CountAsciiInEights(at, end); n > 0; --n) *to++ = static_cast<wchar_t>(*at++);
        while (at != end && *at < 0x80) *to++ = static_cast<wchar_t>(*at++);
        if (at == end) break;

        CodePageTables const& tables = Tables();
        while (at != end && *at >= 0x80) {
            unsigned unit = tables.single[*at - 0x80];
            if (unit != kNoUnit) {
                ++at;
            } else {
                if (*at < kLeadFirst || *at > kLeadLast || end - at < 2) return Fail(out);
                unit = tables.pair[*at - kLeadFirst][at[1]];
                if (unit == kNoUnit) return Fail(out);
                at += 2;
            }
            *to++ = static_cast<wchar_t>(unit);
        }
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return true;
}

bool Utf16ToCodePage(std::wstring const& text, std::string& out) {
    wchar_t const* at = text.data();
    wchar_t const* const end = at + text.size();
    out.resize(text.size() * 2);
    char* to = out.data();

    while (at != end) {
        while (at != end && static_cast<std::uint32_t>(*at) < 0x80) *to++ = static_cast<char>(*at++);
        if (at == end) break;

        CodePageTables const& tables = Tables();
        while (at != end && static_cast<std::uint32_t>(*at) >= 0x80) {
            if (static_cast<std::uint32_t>(*at) > 0xFFFF) return Fail(out);
            unsigned const code = tables.code[*at++];
            if (code == 0) return Fail(out);
            if (code > 0xFF) *to++ = static_cast<char>(code >> 8);
            *to++ = static_cast<char>(code);
        }
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return true;
}

bool Utf8ToUtf16(std::string const& text, std::wstring& out) {
    auto at = reinterpret_cast<unsigned char const*>(text.data());
    auto const end = at + text.size();
    out.resize(text.size());
    wchar_t* to = out.data();

    while (at != end) {
        for (std::size_t n = CountAsciiInEights(at, end); n > 0; --n) *to++ = static_cast<wchar_t>(*at++);
        while (at != end && *at < 0x80) *to++ = static_cast<wchar_t>(*at++);
        while (at != end && *at >= 0x80) {
            std::uint32_t point = 0;
            int const length = ReadSequence(at, end, point);
            if (length == 0) return Fail(out);
            at += length;
            if (point >= 0x10000) {
                point -= 0x10000;
                *to++ = static_cast<wchar_t>(0xD800 + (point >> 10));
                point = 0xDC00 + (point & 0x3FF);
            }
            *to++ = static_cast<wchar_t>(point);
        }
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return true;
}

bool Utf16ToUtf8(std::wstring const& text, std::string& out) {
    out.resize(text.size() * 3); // a pair of units needs four bytes, one unit three at most
    char* to = out.data();
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto point = static_cast<std::uint32_t>(text[i]);
        if (point < 0x80) {
            *to++ = static_cast<char>(point);
        } else if (point < 0x800) {
            *to++ = static_cast<char>(0xC0 | point >> 6);
            *to++ = static_cast<char>(0x80 | (point & 0x3F));
        } else if (point < 0xD800 || (point > 0xDFFF && point <= 0xFFFF)) {
            *to++ = static_cast<char>(0xE0 | point >> 12);
            *to++ = static_cast<char>(0x80 | (point >> 6 & 0x3F));
            *to++ = static_cast<char>(0x80 | (point & 0x3F));
        } else {
            auto const second = i + 1 < text.size() ? static_cast<std::uint32_t>(text[i + 1]) : 0;
            if (point > 0xDBFF || second < 0xDC00 || second > 0xDFFF) return Fail(out);
            point = 0x10000 + ((point - 0xD800) << 10 | (second - 0xDC00));
            ++i;
            *to++ = static_cast<char>(0xF0 | point >> 18);
            *to++ = static_cast<char>(0x80 | (point >> 12 & 0x3F));
            *to++ = static_cast<char>(0x80 | (point >> 6 & 0x3F));
            *to++ = static_cast<char>(0x80 | (point & 0x3F));
        }
    }
    out.resize(static_cast<std::size_t>(to - out.data()));
    return true;
}

wchar_t ToLowerUtf16(wchar_t unit) {
    if (unit < 0x80) return unit >= L'A' && unit <= L'Z' ? static_cast<wchar_t>(unit - L'A' + L'a') : unit;

    // A locale of our own, built into the C library: what the host sets for its process must not change our keys.
    static locale_t const locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{});
    if (!locale || unit > 0xFFFF) return unit;
    auto const lower = static_cast<wchar_t>(towlower_l(static_cast<wint_t>(unit), locale));
    return lower > 0xFFFF ? unit : lower;
}
} // namespace qklib::platform
