// ImageDecoderInternal.h: what the decoders of the single file kinds share.
#pragma once

#include "ImageDecoder.h"
#include <span>
#include <string_view>

namespace qk3d::image {
using Bytes = std::span<std::uint8_t const>;

bool DecodePng(Bytes file, DecodedImage& out, std::string& reason);
bool DecodeJpeg(Bytes file, DecodedImage& out, std::string& reason);
bool DecodeTga(Bytes file, DecodedImage& out, std::string& reason);
bool DecodeBmp(Bytes file, DecodedImage& out, std::string& reason);
bool DecodeDds(Bytes file, DecodedImage& out, std::string& reason);

/// Little-endian numbers; the caller has checked that they lie inside the file.
inline std::uint16_t ReadU16(Bytes file, std::size_t at) {
    return static_cast<std::uint16_t>(file[at] | file[at + 1] << 8);
}
inline std::uint32_t ReadU32(Bytes file, std::size_t at) {
    return ReadU16(file, at) | static_cast<std::uint32_t>(ReadU16(file, at + 2)) << 16;
}

/// Whether a side is within 1 to kMaxSide and the pixels fit kMaxBytes; fills `reason` if not.
bool IsSizeAllowed(std::uint64_t width, std::uint64_t height, std::size_t pixelBytes, std::string& reason);

/// Bytes of one DXT block; 0 for a format that has none.
inline std::size_t DxtBlockBytes(EPixelFormat format) {
    if (format == PF_DXT1) return 8;
    return format == PF_DXT2 || format == PF_DXT3 || format == PF_DXT4 || format == PF_DXT5 ? 16 : 0;
}

/// Lays out `count` levels below `width` by `height`, of pixels of `pixelBytes` bytes or of DXT blocks; gives the
/// bytes of all of them.
std::size_t LayOutLevels(DecodedImage& image, unsigned int count, std::size_t pixelBytes);

/// Levels of a whole chain down to 1 by 1.
unsigned int FullLevelCount(unsigned int width, unsigned int height);

/// An uncompressed format whose pixel is one little-endian integer: its bytes and the bits of its channels. Of a
/// luminance format red stands for all three colours.
struct IntegerLayout {
    EPixelFormat format;
    unsigned int bytes; // 0: the format is no integer of that kind
    bool luminance;
    std::uint32_t red, green, blue, alpha; // masks; 0 for a channel that is not there
};

/// From a row of the engine's table: `order` names the channels from the highest bit down.
constexpr IntegerLayout MakeIntegerLayout(EPixelFormat format, unsigned int bytes, unsigned int flags, unsigned int r,
                                          unsigned int g, unsigned int b, unsigned int a, std::string_view order) {
    if (format == PF_BYTE_LA) order = "AR"; // two bytes that lie like this integer, though not counted as one
    IntegerLayout layout{format, order.empty() ? 0 : bytes, (flags & PFF_LUMINANCE) != 0, 0, 0, 0, 0};
    unsigned int at = bytes * 8;
    for (char const channel : order) {
        unsigned int const bits = channel == 'R' ? r : channel == 'G' ? g : channel == 'B' ? b : channel == 'A' ? a : 8;
        at -= bits;
        auto const mask = static_cast<std::uint32_t>(((std::uint64_t{1} << bits) - 1) << at);
        if (channel == 'R') layout.red = mask;
        if (channel == 'G') layout.green = mask;
        if (channel == 'B') layout.blue = mask;
        if (channel == 'A') layout.alpha = mask;
    }
    return layout;
}

inline constexpr IntegerLayout kIntegerLayouts[] = {
#define ROW(number, format, bytes, flags, component, count, r, g, b, a, order, ...)                                    \
    MakeIntegerLayout(format, bytes, flags, r, g, b, a, order),
#include "QK3DPixelFormatTable.inl"
};

/// Null for a format that is no integer of that kind.
inline IntegerLayout const* FindIntegerLayout(EPixelFormat format) {
    bool const known = format < PF_COUNT && kIntegerLayouts[format].bytes > 0;
    return known ? &kIntegerLayouts[format] : nullptr;
}
} // namespace qk3d::image
