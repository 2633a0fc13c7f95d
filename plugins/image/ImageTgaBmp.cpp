// ImageTgaBmp.cpp: reading of TGA and BMP through stb_image, after a check of our own that the file is whole.
#include "ImageDecoderInternal.h"

#include <algorithm>
#include <cstdlib>
#include <memory>

// Only the two decoders that stood up to fuzzing; what stb_image does with JPEG is not memory-safe.
#define STBI_NO_JPEG
#define STBI_NO_PNG
#define STBI_NO_PSD
#define STBI_NO_GIF
#define STBI_NO_HDR
#define STBI_NO_PIC
#define STBI_NO_PNM
#define STBI_NO_LINEAR
#define STBI_NO_STDIO
#define STBI_NO_THREAD_LOCALS
#define STBI_MAX_DIMENSIONS 16384
#define STB_IMAGE_STATIC
#define STB_IMAGE_IMPLEMENTATION
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wunused-function"
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"
#endif
#include <stb_image.h>
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

namespace qk3d::image {
static_assert(STBI_MAX_DIMENSIONS == kMaxSide);

namespace {
bool Refuse(std::string& reason, char const* why) {
    reason = why;
    return false;
}

// stb_image reads zeros behind the end of a file, so whoever calls it has to know that the file is long enough.
bool DecodeByStb(Bytes file, DecodedImage& out, std::string& reason) {
    int width = 0, height = 0, channels = 0;
    std::unique_ptr<stbi_uc, void (*)(void*)> const pixels(
        stbi_load_from_memory(file.data(), static_cast<int>(file.size()), &width, &height, &channels, 0),
        stbi_image_free);
    if (!pixels) {
        reason = stbi_failure_reason();
        return false;
    }
    constexpr EPixelFormat formats[] = {PF_L8, PF_BYTE_LA, PF_X8R8G8B8, PF_A8R8G8B8};
    out.width = static_cast<unsigned int>(width);
    out.height = static_cast<unsigned int>(height);
    out.format = formats[channels - 1];
    out.bytes.resize(LayOutLevels(out, 1, channels < 3 ? static_cast<std::size_t>(channels) : 4));
    std::uint8_t const* from = pixels.get();
    if (channels < 3) {
        std::copy(from, from + out.bytes.size(), out.bytes.begin());
        return true;
    }
    for (std::size_t i = 0; i < out.bytes.size(); i += 4, from += channels) {
        out.bytes[i] = from[2];
        out.bytes[i + 1] = from[1];
        out.bytes[i + 2] = from[0];
        out.bytes[i + 3] = channels == 4 ? from[3] : 255;
    }
    return true;
}

// Whether the packets from `at` on hold `pixels` pixels.
bool IsRleWhole(Bytes file, std::size_t at, std::uint64_t pixels, std::size_t pixelBytes) {
    while (pixels > 0) {
        if (at >= file.size()) return false;
        std::uint64_t const run = (file[at] & 0x7Fu) + 1u;
        at += 1 + pixelBytes * (file[at] & 0x80 ? 1 : static_cast<std::size_t>(run));
        if (at > file.size()) return false;
        pixels -= run < pixels ? run : pixels;
    }
    return true;
}
} // namespace

bool DecodeTga(Bytes file, DecodedImage& out, std::string& reason) {
    constexpr std::size_t kHeader = 18;
    if (file.size() < kHeader) return Refuse(reason, "no known kind of image");
    bool const mapped = file[1] == 1;
    int const kind = file[2] & ~8; // 1 with a colour map, 2 colours, 3 grey; bit 8 is for runs
    std::size_t const bits = file[16];
    bool const known = file[1] <= 1 && file[2] <= 11 && kind >= 1 && kind <= 3 && (kind == 1) == mapped &&
                       (bits == 8 || bits == 15 || bits == 16 || bits == 24 || bits == 32);
    if (!known || (kind == 1 && bits > 16)) return Refuse(reason, "no known kind of image");

    std::uint64_t const width = ReadU16(file, 12), height = ReadU16(file, 14);
    if (!IsSizeAllowed(width, height, 4, reason)) return false;
    std::size_t const mapBytes = mapped ? ReadU16(file, 5) * std::size_t{(file[7] + 7u) / 8u} : 0;
    std::size_t const start = kHeader + file[0] + (mapped ? ReadU16(file, 3) : 0) + mapBytes;
    std::size_t const pixelBytes = (bits + 7) / 8;
    bool const whole = file[2] & 8 ? IsRleWhole(file, start, width * height, pixelBytes)
                                   : start + width * height * pixelBytes <= file.size();
    if (!whole) return Refuse(reason, "TGA: the file ends too early");
    return DecodeByStb(file, out, reason);
}

bool DecodeBmp(Bytes file, DecodedImage& out, std::string& reason) {
    constexpr std::size_t kSmallestHeader = 26;
    if (file.size() < kSmallestHeader) return Refuse(reason, "BMP: the file ends too early");
    std::uint64_t const start = ReadU32(file, 10);
    std::uint32_t const headerBytes = ReadU32(file, 14);
    bool const old = headerBytes == 12; // sizes of 16 bits
    if (!old && file.size() < 54) return Refuse(reason, "BMP: the file ends too early");

    std::uint64_t const width = old ? ReadU16(file, 18) : ReadU32(file, 18);
    std::int64_t const tall = old ? ReadU16(file, 20) : static_cast<std::int32_t>(ReadU32(file, 22));
    std::uint64_t const height = static_cast<std::uint64_t>(tall < 0 ? -tall : tall); // below 0: top row first
    if (!IsSizeAllowed(width, height, 4, reason)) return false;
    std::uint64_t const bits = ReadU16(file, old ? 24 : 28);
    std::uint64_t const pitch = (width * bits + 31) / 32 * 4;
    if (start > file.size() || start + pitch * height > file.size()) {
        return Refuse(reason, "BMP: the file ends too early");
    }
    return DecodeByStb(file, out, reason);
}
} // namespace qk3d::image
