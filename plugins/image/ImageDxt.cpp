// ImageDxt.cpp: decoding of DXT blocks, for devices that cannot sample them.
#include "ImageDecoderInternal.h"

namespace qk3d::image {
namespace {
struct Rgb {
    unsigned int r, g, b;
};

// A field of 5 or 6 bits is widened by repeating its top bits, so that the largest value becomes 255.
Rgb Widen(std::uint32_t packed) {
    unsigned int const r = packed >> 11 & 31, g = packed >> 5 & 63, b = packed & 31;
    return {r << 3 | r >> 2, g << 2 | g >> 4, b << 3 | b >> 2};
}

Rgb Mix(Rgb x, unsigned int weightX, Rgb y, unsigned int weightY) {
    unsigned int const sum = weightX + weightY;
    return {(x.r * weightX + y.r * weightY) / sum, (x.g * weightX + y.g * weightY) / sum,
            (x.b * weightX + y.b * weightY) / sum};
}

std::uint32_t Pack(Rgb c) { return c.r << 16 | c.g << 8 | c.b; }

// Fills colours, with alpha 255; only DXT1 has the form of three colours and a transparent one.
void DecodeColours(std::uint8_t const* block, bool isDxt1, std::uint32_t pixels[16]) {
    Bytes const bytes(block, 8);
    std::uint32_t const first = ReadU16(bytes, 0), second = ReadU16(bytes, 2), indices = ReadU32(bytes, 4);
    Rgb const a = Widen(first), b = Widen(second);
    constexpr std::uint32_t opaque = 0xFF000000u;
    std::uint32_t palette[4] = {opaque | Pack(a), opaque | Pack(b), 0, 0};
    if (first > second || !isDxt1) {
        palette[2] = opaque | Pack(Mix(a, 2, b, 1));
        palette[3] = opaque | Pack(Mix(a, 1, b, 2));
    } else {
        palette[2] = opaque | Pack(Mix(a, 1, b, 1));
    }
    for (int i = 0; i < 16; ++i) pixels[i] = palette[indices >> 2 * i & 3];
}

void SetAlpha(std::uint32_t& pixel, std::uint32_t alpha) { pixel = (pixel & 0x00FFFFFFu) | alpha << 24; }

void DecodeExplicitAlpha(std::uint8_t const* block, std::uint32_t pixels[16]) {
    for (int i = 0; i < 16; ++i) SetAlpha(pixels[i], (block[i / 2] >> 4 * (i & 1) & 15u) * 17u);
}

void DecodeMixedAlpha(std::uint8_t const* block, std::uint32_t pixels[16]) {
    std::uint32_t const a = block[0], b = block[1];
    std::uint32_t palette[8] = {a, b, 0, 0, 0, 0, 0, 255};
    std::uint32_t const steps = a > b ? 7 : 5;
    for (std::uint32_t i = 1; i < steps; ++i) palette[i + 1] = ((steps - i) * a + i * b) / steps;
    std::uint64_t indices = 0;
    for (int i = 0; i < 6; ++i) indices |= static_cast<std::uint64_t>(block[2 + i]) << 8 * i;
    for (int i = 0; i < 16; ++i) SetAlpha(pixels[i], palette[indices >> 3 * i & 7]);
}
} // namespace

void DecodeDxtBlock(EPixelFormat format, std::uint8_t const* block, std::uint32_t pixels[16]) {
    if (format == PF_DXT1) return DecodeColours(block, true, pixels);
    DecodeColours(block + 8, false, pixels);
    if (format == PF_DXT2 || format == PF_DXT3) {
        DecodeExplicitAlpha(block, pixels);
    } else {
        DecodeMixedAlpha(block, pixels);
    }
}
} // namespace qk3d::image
