// PlatformCodePagePosix.cpp: code page conversion by tables that iconv fills once, and letter case from the C library.
#include "PlatformCodePage.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <iconv.h>
#include <locale.h>
#include <memory>
#include <wctype.h>

namespace qklib::platform {
namespace {
constexpr std::uint16_t kNone = 0xFFFF; // no character of the code page, and no code of one
constexpr std::ptrdiff_t kPiece = 512;

// Where the unit of the character at `text` stands in the table: two bytes as a number, in the order of the machine. What
// is behind a byte of ASCII makes no difference.
unsigned PlaceAt(unsigned char const* text) {
    std::uint16_t place;
    std::memcpy(&place, text, sizeof place);
    return place;
}

// Both directions of the code page, 256 KiB. Asking iconv for each text takes twice as long, and more on short ones, and
// a kept descriptor has a state that threads would fight for; these tables are only read once they are made.
struct CodePageTables {
    std::uint16_t unit[0x10000]; // by PlaceAt; the Euro sign, 0x80 alone, is not in it
    std::uint16_t code[0x10000]; // by unit: one byte below 0x100, else first << 8 | second
    std::uint16_t euro = kNone;

    CodePageTables() {
        std::fill(std::begin(unit), std::end(unit), kNone);
        std::fill(std::begin(code), std::end(code), kNone);
        iconv_t const converter = iconv_open("UTF-16LE", "CP936");
        for (unsigned first = 0; first < 0xFF; ++first) {
            for (unsigned second = 0; second < 0x100; ++second) {
                unsigned char const bytes[] = {static_cast<unsigned char>(first), static_cast<unsigned char>(second)};
                std::uint16_t& place = unit[PlaceAt(bytes)];
                if (first < 0x80)
                    place = static_cast<std::uint16_t>(first);
                else if (first > 0x80 && second >= 0x40)
                    place = Ask(converter, bytes, 2);
            }
            if (first < 0x80) code[first] = static_cast<std::uint16_t>(first);
        }
        unsigned char const byte = 0x80;
        euro = Ask(converter, &byte, 1);
        if (converter != iconv_t(-1)) iconv_close(converter);
    }

private:
    // The unit of one character, whose code is entered as well. A system without the code page has none but ASCII.
    std::uint16_t Ask(iconv_t converter, unsigned char const* bytes, std::size_t length) {
        if (converter == iconv_t(-1)) return kNone;
        char source[2] = {static_cast<char>(bytes[0]), static_cast<char>(length > 1 ? bytes[1] : 0)};
        unsigned char target[4];
        char* in = source;
        char* out = reinterpret_cast<char*>(target);
        std::size_t inLeft = length;
        std::size_t outLeft = sizeof target;
        iconv(converter, nullptr, nullptr, nullptr, nullptr);
        if (iconv(converter, &in, &inLeft, &out, &outLeft) == static_cast<std::size_t>(-1) || outLeft != 2)
            return kNone;
        auto const result = static_cast<std::uint16_t>(target[0] | target[1] << 8);
        code[result] = static_cast<std::uint16_t>(length > 1 ? bytes[0] << 8 | bytes[1] : bytes[0]);
        return result;
    }
};

CodePageTables const& Tables() {
    static auto const tables = std::make_unique<CodePageTables const>();
    return *tables;
}

// How characters lie in eight bytes, by which of the bytes are 0x80 or above: those start a pair unless they end one.
struct Layout {
    std::uint8_t count = 0;     // of characters that start in the eight bytes
    std::uint8_t reach = 0;     // 1 if the last of them has its second byte behind these
    std::uint8_t start[8] = {}; // of each; the rest repeats the first, which can do no harm
};

// The second half is for eight bytes whose first one ends the pair before.
constexpr std::array<Layout, 512> kLayouts = [] {
    std::array<Layout, 512> layouts;
    for (unsigned i = 0; i < 512; ++i) {
        Layout& layout = layouts[i];
        unsigned at = i >> 8;
        for (auto& start : layout.start) start = static_cast<std::uint8_t>(at);
        for (; at < 8; at += 1 + (i >> at & 1)) layout.start[layout.count++] = static_cast<std::uint8_t>(at);
        layout.reach = static_cast<std::uint8_t>(at - 8);
    }
    return layouts;
}();

// A bit for each of the eight bytes, the first at the bottom: whether it is 0x80 or above.
unsigned HighBits(unsigned char const* at) {
    std::uint64_t eight = 0;
    if constexpr (std::endian::native == std::endian::little)
        std::memcpy(&eight, at, sizeof eight);
    else
        for (unsigned i = 0; i < 8; ++i) eight |= std::uint64_t{at[i]} << (8 * i);
    return static_cast<unsigned>((eight >> 7 & 0x0101010101010101u) * 0x0102040810204080u >> 56);
}

// Decodes the one character at `at`; its unit, or kNone. A first byte at the end is followed by the zero of its string.
unsigned DecodeOne(CodePageTables const& tables, unsigned char const*& at) {
    unsigned const unit = *at == 0x80 ? tables.euro : tables.unit[PlaceAt(at)];
    at += *at > 0x80 ? 2 : 1;
    return unit;
}

// Decodes four characters that start at the given places. The result is above 0xFFFF if one of them is none.
unsigned DecodeFour(CodePageTables const& tables, unsigned char const* at, std::uint8_t const* starts, wchar_t* to) {
    unsigned missing = 0;
    for (int i = 0; i < 4; ++i) {
        unsigned char const* const character = at + starts[i];
        unsigned const unit = tables.unit[PlaceAt(character)];
        missing |= unit + 1; // kNone alone reaches the bit above
        to[i] = static_cast<wchar_t>(unit);
    }
    return missing;
}

// Whether the 32 bytes at `at` are plain ASCII.
bool IsAscii32(unsigned char const* at) {
    auto const eight = [at](int i) {
        std::uint64_t bytes;
        std::memcpy(&bytes, at + 8 * i, sizeof bytes);
        return bytes;
    };
    return ((eight(0) | eight(1) | eight(2) | eight(3)) & 0x8080808080808080u) == 0;
}

// The number of plain ASCII bytes at the start of [text, end).
std::ptrdiff_t CountAscii(unsigned char const* text, unsigned char const* end) {
    unsigned char const* at = text;
    while (end - at >= 32 && IsAscii32(at)) at += 32;
    while (at != end && *at < 0x80) ++at;
    return at - text;
}

// Widens plain ASCII as long as it comes in 32 bytes, and says how many they were. In mixed text they hardly ever do, which
// the processor foresees.
std::ptrdiff_t WidenAscii(unsigned char const* text, unsigned char const* end, wchar_t* to) {
    unsigned char const* at = text;
    for (; end - at >= 32 && IsAscii32(at); at += 32) to = std::copy(at, at + 32, to);
    return at - text;
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

// Both directions go by way of a short buffer: a string cannot be made longer without being filled first, which takes as
// long as the work. And they do not branch on what a character is, since in mixed text no processor foresees that.
bool CodePageToUtf16(std::string const& text, std::wstring& out) {
    CodePageTables const& tables = Tables();
    auto at = reinterpret_cast<unsigned char const*>(text.data());
    auto const end = at + text.size();
    // A string made from a range is written once, in place. The first test is one that mixed text passes hardly ever.
    if (end - at >= 32 && IsAscii32(at) && CountAscii(at, end) == end - at) {
        out = std::wstring(at, end);
        return true;
    }
    out.clear();
    if (text.size() > static_cast<std::size_t>(kPiece)) out.reserve(text.size());

    wchar_t buffer[kPiece + 8];
    while (at < end) {
        wchar_t* to = buffer;
        auto const stop = at + std::min(end - at, kPiece); // no character has fewer bytes than units
        std::ptrdiff_t const asciiCount = WidenAscii(at, stop, to);
        at += asciiCount;
        to += asciiCount;
        unsigned reach = 0;
        for (; stop - at >= 8; at += 8) {
            Layout const& layout = kLayouts[reach << 8 | HighBits(at)];
            // All eight, as a number of them that varies costs more than the idle ones.
            unsigned const missing =
                DecodeFour(tables, at, layout.start, to) | DecodeFour(tables, at, layout.start + 4, to + 4);
            if (missing > 0xFFFF) break; // the Euro sign, which is one byte, or no character at all
            to += layout.count;
            reach = layout.reach;
        }
        at += reach;
        for (int n = 8; n > 0 && at < stop; --n) {
            unsigned const unit = DecodeOne(tables, at);
            if (unit == kNone) return Fail(out);
            *to++ = static_cast<wchar_t>(unit);
        }
        out.append(buffer, to);
    }
    return true;
}

bool Utf16ToCodePage(std::wstring const& text, std::string& out) {
    CodePageTables const& tables = Tables();
    wchar_t const* at = text.data();
    wchar_t const* const end = at + text.size();
    out.clear();

    char buffer[2 * kPiece + 1];
    while (at < end) {
        char* to = buffer;
        unsigned missing = 0;
        for (auto const stop = at + std::min(end - at, kPiece); at < stop; ++at) {
            auto const unit = static_cast<std::uint32_t>(*at);
            unsigned const code = tables.code[unit & 0xFFFF];
            unsigned const isPair = code > 0xFF;
            missing |= (code + 1) | unit; // kNone alone reaches the bit above
            to[0] = static_cast<char>(code >> (8 * isPair));
            to[1] = static_cast<char>(code); // of a single byte no part, and written over
            to += 1 + isPair;
        }
        if (missing > 0xFFFF) return Fail(out);
        out.append(buffer, to);
    }
    return true;
}

bool Utf8ToUtf16(std::string const& text, std::wstring& out) {
    auto at = reinterpret_cast<unsigned char const*>(text.data());
    auto const end = at + text.size();
    out.resize(text.size());
    wchar_t* to = out.data();

    while (at != end) {
        auto const ascii = at + CountAscii(at, end);
        to = std::copy(at, ascii, to);
        at = ascii;
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
