// ImageDds.cpp: reading of DDS, with its mip chain and in the format it is stored in.
#include "ImageDecoderInternal.h"

#include <algorithm>

namespace qk3d::image {
namespace {
// Places in the file, the mark "DDS " included.
constexpr std::size_t kHeaderBytes = 128, kExtraBytes = 20;
constexpr std::size_t kSizeAt = 4, kHeightAt = 12, kWidthAt = 16, kLevelsAt = 28, kPixelFlagsAt = 80, kFourCCAt = 84,
                      kBitsAt = 88, kRedAt = 92, kGreenAt = 96, kBlueAt = 100, kAlphaAt = 104, kCaps2At = 112;
constexpr std::uint32_t kHasAlpha = 0x1, kAlphaOnly = 0x2, kHasFourCC = 0x4, kHasColours = 0x40, kLuminance = 0x20000;
constexpr std::uint32_t kCubeOrVolume = 0x200 | 0x200000;

constexpr std::uint32_t FourCC(char const (&text)[5]) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(text[0])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[1])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[2])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(text[3])) << 24;
}

struct CodeRow {
    std::uint32_t code;
    EPixelFormat format;
    std::uint8_t pixelBytes; // 0: blocks
};

// Formats named by a code: four letters, or a number for what masks cannot tell.
constexpr CodeRow kCodes[] = {
    {FourCC("DXT1"), PF_DXT1, 0}, {FourCC("DXT2"), PF_DXT2, 0}, {FourCC("DXT3"), PF_DXT3, 0},
    {FourCC("DXT4"), PF_DXT4, 0}, {FourCC("DXT5"), PF_DXT5, 0}, {36, PF_SHORT_RGBA, 8},
    {111, PF_FLOAT16_R, 2},       {112, PF_FLOAT16_GR, 4},      {113, PF_FLOAT16_RGBA, 8},
    {114, PF_FLOAT32_R, 4},       {115, PF_FLOAT32_GR, 8},      {116, PF_FLOAT32_RGBA, 16},
};

// Formats of the extended header; the second of a pair is the first in sRGB.
constexpr CodeRow kExtendedCodes[] = {
    {2, PF_FLOAT32_RGBA, 16}, {10, PF_FLOAT16_RGBA, 8}, {11, PF_SHORT_RGBA, 8}, {16, PF_FLOAT32_GR, 8},
    {24, PF_A2B10G10R10, 4},  {28, PF_A8B8G8R8, 4},     {29, PF_A8B8G8R8, 4},   {34, PF_FLOAT16_GR, 4},
    {35, PF_SHORT_GR, 4},     {41, PF_FLOAT32_R, 4},    {54, PF_FLOAT16_R, 2},  {65, PF_A8, 1},
    {71, PF_DXT1, 0},         {72, PF_DXT1, 0},         {74, PF_DXT3, 0},       {75, PF_DXT3, 0},
    {77, PF_DXT5, 0},         {78, PF_DXT5, 0},         {85, PF_R5G6B5, 2},     {86, PF_A1R5G5B5, 2},
    {87, PF_A8R8G8B8, 4},     {88, PF_X8R8G8B8, 4},     {91, PF_A8R8G8B8, 4},   {93, PF_X8R8G8B8, 4},
    {115, PF_A4R4G4B4, 2},
};

template <std::size_t N>
bool FindCode(CodeRow const (&rows)[N], std::uint32_t code, CodeRow& found) {
    auto const row = std::find_if(std::begin(rows), std::end(rows), [&](CodeRow const& r) { return r.code == code; });
    if (row == std::end(rows)) return false;
    found = *row;
    return true;
}

bool FindMasks(Bytes file, CodeRow& found) {
    std::uint32_t const flags = ReadU32(file, kPixelFlagsAt);
    std::uint32_t const bits = ReadU32(file, kBitsAt);
    bool const colours = (flags & kHasColours) != 0, luminance = (flags & kLuminance) != 0;
    bool const hasAlpha = (flags & (kHasAlpha | kAlphaOnly)) != 0;
    if (!colours && !luminance && !hasAlpha) return false;
    std::uint32_t const red = colours || luminance ? ReadU32(file, kRedAt) : 0;
    std::uint32_t const green = colours ? ReadU32(file, kGreenAt) : 0;
    std::uint32_t const blue = colours ? ReadU32(file, kBlueAt) : 0;
    std::uint32_t const alpha = hasAlpha ? ReadU32(file, kAlphaAt) : 0;
    for (auto const& row : kIntegerLayouts) {
        if (row.bytes > 0 && row.bytes * 8 == bits && row.luminance == luminance && row.red == red &&
            row.green == green && row.blue == blue && row.alpha == alpha) {
            found = {0, row.format, static_cast<std::uint8_t>(row.bytes)};
            return true;
        }
    }
    return false;
}
} // namespace

bool DecodeDds(Bytes file, DecodedImage& out, std::string& reason) {
    auto const refuse = [&](char const* why) {
        reason = why;
        return false;
    };
    if (file.size() < kHeaderBytes) return refuse("DDS: the file ends too early");
    if (ReadU32(file, kSizeAt) != kHeaderBytes - 4) return refuse("DDS: broken header");
    if (ReadU32(file, kCaps2At) & kCubeOrVolume) return refuse("DDS: cube and volume images are not read");

    CodeRow found{};
    std::size_t start = kHeaderBytes;
    bool known = false;
    if (ReadU32(file, kPixelFlagsAt) & kHasFourCC) {
        std::uint32_t const code = ReadU32(file, kFourCCAt);
        if (code == FourCC("DX10")) {
            start += kExtraBytes;
            if (file.size() < start) return refuse("DDS: the file ends too early");
            bool const flat = ReadU32(file, kHeaderBytes + 4) == 3 && !(ReadU32(file, kHeaderBytes + 8) & 4) &&
                              ReadU32(file, kHeaderBytes + 12) <= 1;
            if (!flat) return refuse("DDS: only single flat images are read");
            known = FindCode(kExtendedCodes, ReadU32(file, kHeaderBytes), found);
        } else {
            known = FindCode(kCodes, code, found);
        }
    } else {
        known = FindMasks(file, found);
    }
    if (!known) return refuse("DDS: unknown pixel format");

    std::uint32_t const width = ReadU32(file, kWidthAt), height = ReadU32(file, kHeightAt);
    if (!IsSizeAllowed(width, height, found.pixelBytes ? found.pixelBytes : 1, reason)) return false;
    out.width = width;
    out.height = height;
    out.format = found.format;
    unsigned int const levels = std::clamp(ReadU32(file, kLevelsAt), 1u, FullLevelCount(width, height));
    std::size_t const size = LayOutLevels(out, levels, found.pixelBytes);
    if (size > kMaxBytes) return refuse("the image is too large");
    if (size > file.size() - start) return refuse("DDS: the file ends too early");
    auto const first = file.begin() + static_cast<std::ptrdiff_t>(start);
    out.bytes.assign(first, first + static_cast<std::ptrdiff_t>(size));
    return true;
}
} // namespace qk3d::image
