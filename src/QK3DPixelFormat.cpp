// QK3DPixelFormat.cpp: the table of pixel formats, and the look-ups by number and by script name.
#include "QK3DPixelFormat.h"

#include "QK3DLogInternal.h"
#include "QKText.h"
#include <bit>
#include <limits>
#include <string_view>

namespace qk3d {
namespace {
struct Channel {
    unsigned int mask = 0;
    unsigned int shift = 0;
};

// Where `channel` lies in a packed pixel whose channels stand in `order`, the highest bit first. X takes what the
// others leave of the pixel.
constexpr Channel FindChannel(char channel, char const* order, unsigned int bytes, unsigned int red, unsigned int green,
                              unsigned int blue, unsigned int alpha) {
    unsigned int shift = bytes * 8;
    for (char const* at = order; *at; ++at) {
        unsigned int const bits = *at == 'R'   ? red
                                  : *at == 'G' ? green
                                  : *at == 'B' ? blue
                                  : *at == 'A' ? alpha
                                               : bytes * 8 - red - green - blue - alpha;
        shift -= bits;
        if (*at == channel || (*at == 'X' && channel == 'A'))
            return {static_cast<unsigned int>(((1ull << bits) - 1) << shift), shift};
    }
    return {};
}

constexpr PixelFormatInfo MakeInfo(char const* name, unsigned int bytes, unsigned int flags, EPixelComponentType type,
                                   unsigned int count, unsigned int red, unsigned int green, unsigned int blue,
                                   unsigned int alpha, char const* order) {
    Channel const r = FindChannel('R', order, bytes, red, green, blue, alpha);
    Channel const g = FindChannel('G', order, bytes, red, green, blue, alpha);
    Channel const b = FindChannel('B', order, bytes, red, green, blue, alpha);
    Channel const a = FindChannel('A', order, bytes, red, green, blue, alpha);
    return {name,   bytes,  flags,  type,   count,   red,     green,   blue,   alpha,
            r.mask, g.mask, b.mask, a.mask, r.shift, g.shift, b.shift, a.shift};
}

constexpr PixelFormatInfo kFormats[] = {
#define ROW(number, name, bytes, flags, type, count, r, g, b, a, order, script, alias)                                 \
    MakeInfo(#name, bytes, flags, type, count, r, g, b, a, order),
#include "QK3DPixelFormatTable.inl"
};
static_assert(std::size(kFormats) == PF_COUNT);

constexpr bool IsTableSound() {
    unsigned int next = 0;
#define ROW(number, name, bytes, flags, type, count, r, g, b, a, order, script, alias)                                 \
    if (next++ != number) return false;                                                                                \
    if (((flags)&PFF_PACKED) && (order)[0] == 0) return false;
#include "QK3DPixelFormatTable.inl"
    for (PixelFormatInfo const& format : kFormats) {
        unsigned int const masks = format.redMask | format.greenMask | format.blueMask | format.alphaMask;
        bool const isPacked = (format.flags & PFF_PACKED) != 0;
        if (isPacked && std::popcount(masks) != static_cast<int>(format.bytes * 8)) return false;
        if (!isPacked && masks != 0) return false;
    }
    return true;
}
static_assert(IsTableSound(), "A row is out of place, or the channels of a packed format don't fill its pixel.");

struct NamedFormat {
    std::string_view name;
    EPixelFormat format;
};

constexpr NamedFormat kFormatNames[] = {
#define ROW(number, name, bytes, flags, type, count, r, g, b, a, order, script, alias) {script, name}, {alias, name},
#include "QK3DPixelFormatTable.inl"
    {"COUNT", PF_COUNT},
};

struct NamedFilter {
    std::string_view name;
    EFilter filter;
};

constexpr NamedFilter kFilterNames[] = {
    {"NONE", FILTER_NONE},     {"POINT", FILTER_POINT},     {"LINEAR", FILTER_LINEAR},   {"TRIANGLE", FILTER_TRIANGLE},
    {"BOX", FILTER_BOX},       {"MIRRORU", FILTER_MIRRORU}, {"MIRRORV", FILTER_MIRRORV}, {"MIRRORW", FILTER_MIRRORW},
    {"MIRROR", FILTER_MIRROR}, {"DITHER", FILTER_DITHER},
};
} // namespace

PixelFormatInfo const* GetPixelFormatInfo(EPixelFormat format) {
    if (format < PF_COUNT) return &kFormats[format];
    QK_LOG(LOG_ERROR, "Out of range");
    return nullptr;
}

unsigned long long GetPixelFormatBits(EPixelFormat format) {
    PixelFormatInfo const* const info = GetPixelFormatInfo(format);
    return info ? info->bytes * 8ull : std::numeric_limits<unsigned long long>::max();
}

unsigned long long GetPixelFormatBytes(EPixelFormat format) {
    PixelFormatInfo const* const info = GetPixelFormatInfo(format);
    return info ? info->bytes : std::numeric_limits<unsigned long long>::max();
}

bool IsPixelFormatHasAlpha(EPixelFormat format) {
    PixelFormatInfo const* const info = GetPixelFormatInfo(format);
    return info && (info->flags & PFF_ALPHA);
}

EPixelFormat StringToPixelFormat(string name) {
    name = qklib::ToUpperAscii(qklib::TrimBlanks(name));
    if (name.empty()) return PF_UNKNOWN; // and not the alias of a format that has none
    for (NamedFormat const& row : kFormatNames)
        if (row.name == name) return row.format;
    return PF_UNKNOWN;
}

EFilter StringToFilterMode(string name) {
    name = qklib::ToUpperAscii(qklib::TrimBlanks(name));
    for (NamedFilter const& row : kFilterNames)
        if (row.name == name) return row.filter;
    return FILTER_NONE;
}
} // namespace qk3d
