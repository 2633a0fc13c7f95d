// ImageEdit.cpp: changes to a decoded image: to 32-bit pixels, mip levels, colour key.
#include "ImageDecoderInternal.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <new>

namespace qk3d::image {
namespace {
bool Resize(std::vector<std::uint8_t>& bytes, std::size_t size) {
    try {
        bytes.resize(size);
    } catch (std::bad_alloc const&) { return false; }
    return true;
}

// The channel under `mask`, brought to 0 to 255 by rounding.
std::uint32_t ChannelTo8(std::uint32_t pixel, std::uint32_t mask) {
    std::uint64_t const value = (pixel & mask) >> std::countr_zero(mask);
    std::uint64_t const top = mask >> std::countr_zero(mask);
    return static_cast<std::uint32_t>((value * 255 + top / 2) / top);
}

std::uint32_t ToArgb(std::uint32_t pixel, IntegerLayout const& layout) {
    std::uint32_t const alpha = layout.alpha ? ChannelTo8(pixel, layout.alpha) : 255;
    std::uint32_t const red = layout.red ? ChannelTo8(pixel, layout.red) : 0;
    if (layout.luminance) return alpha << 24 | red << 16 | red << 8 | red;
    std::uint32_t const green = layout.green ? ChannelTo8(pixel, layout.green) : 0;
    std::uint32_t const blue = layout.blue ? ChannelTo8(pixel, layout.blue) : 0;
    return alpha << 24 | red << 16 | green << 8 | blue;
}

void StoreArgb(std::uint8_t* to, std::uint32_t argb) {
    for (int i = 0; i < 4; ++i) to[i] = static_cast<std::uint8_t>(argb >> 8 * i);
}

void ConvertBlocks(DecodedImage const& from, ImageLevel const& source, ImageLevel const& dest, std::uint8_t* out) {
    std::size_t const blockBytes = DxtBlockBytes(from.format);
    for (unsigned int y = 0; y < source.height; y += 4) {
        for (unsigned int x = 0; x < source.width; x += 4) {
            std::uint32_t pixels[16];
            DecodeDxtBlock(from.format, from.bytes.data() + source.offset + y / 4 * source.pitch + x / 4 * blockBytes,
                           pixels);
            for (unsigned int i = 0; i < 16; ++i) {
                unsigned int const px = x + i % 4, py = y + i / 4;
                if (px < source.width && py < source.height) StoreArgb(out + py * dest.pitch + px * 4, pixels[i]);
            }
        }
    }
}

void ConvertPixels(DecodedImage const& from, ImageLevel const& source, IntegerLayout const& layout,
                   ImageLevel const& dest, std::uint8_t* out) {
    for (unsigned int y = 0; y < source.height; ++y) {
        std::uint8_t const* in = from.bytes.data() + source.offset + y * source.pitch;
        for (unsigned int x = 0; x < source.width; ++x, in += layout.bytes) {
            std::uint32_t pixel = 0;
            for (unsigned int i = 0; i < layout.bytes; ++i) pixel |= static_cast<std::uint32_t>(in[i]) << 8 * i;
            StoreArgb(out + y * dest.pitch + x * 4, ToArgb(pixel, layout));
        }
    }
}

// Mean over the pixels of the level above that a pixel covers, wholly or in part; odd sides make them overlap.
template <class Lane, class Sum>
void HalveLevel(DecodedImage& image, ImageLevel const& above, ImageLevel const& below, unsigned int lanes) {
    auto const load = [&](unsigned int x, unsigned int y, unsigned int lane) {
        Lane value;
        std::memcpy(&value, image.bytes.data() + above.offset + y * above.pitch + (x * lanes + lane) * sizeof(Lane),
                    sizeof(Lane));
        return static_cast<Sum>(value);
    };
    for (unsigned int y = 0; y < below.height; ++y) {
        unsigned int const top = y * above.height / below.height;
        unsigned int const bottom = ((y + 1) * above.height + below.height - 1) / below.height;
        for (unsigned int x = 0; x < below.width; ++x) {
            unsigned int const left = x * above.width / below.width;
            unsigned int const right = ((x + 1) * above.width + below.width - 1) / below.width;
            auto const count = static_cast<Sum>((bottom - top) * (right - left));
            for (unsigned int lane = 0; lane < lanes; ++lane) {
                Sum sum = std::is_integral_v<Sum> ? count / 2 : Sum{0};
                for (unsigned int sy = top; sy < bottom; ++sy) {
                    for (unsigned int sx = left; sx < right; ++sx) sum += load(sx, sy, lane);
                }
                auto const mean = static_cast<Lane>(sum / count);
                std::memcpy(image.bytes.data() + below.offset + y * below.pitch + (x * lanes + lane) * sizeof(Lane),
                            &mean, sizeof(Lane));
            }
        }
    }
}

// A format that is a row of equal lanes: bytes, integers of 16 bits or floats of 32.
struct Lanes {
    unsigned int count; // 0: it is none of that kind
    unsigned int bytes;
};

constexpr Lanes MakeLanes(unsigned int pixelBytes, EPixelComponentType component,
                          std::initializer_list<unsigned int> bits) {
    unsigned int const laneBytes = component == PCT_BYTE      ? 1
                                   : component == PCT_SHORT   ? 2
                                   : component == PCT_FLOAT32 ? 4
                                                              : 0;
    unsigned int most = 0;
    for (unsigned int const width : bits) {
        if (width != 0 && width != laneBytes * 8) return {0, 0};
        most = std::max(most, width);
    }
    return most == 0 ? Lanes{0, 0} : Lanes{pixelBytes / laneBytes, laneBytes};
}

constexpr Lanes kLanes[] = {
#define ROW(number, format, bytes, flags, component, count, r, g, b, a, ...) MakeLanes(bytes, component, {r, g, b, a}),
#include "QK3DPixelFormatTable.inl"
};
} // namespace

bool ConvertToArgb(DecodedImage& image) {
    if (image.format == PF_A8R8G8B8) return true;
    auto const* const layout = FindIntegerLayout(image.format);
    bool const narrow = layout && image.format != PF_L16 && image.format != PF_SHORT_GR;
    if (!DxtBlockBytes(image.format) && !narrow) return false;

    DecodedImage converted;
    converted.width = image.width;
    converted.height = image.height;
    converted.format = PF_A8R8G8B8;
    std::size_t const size = LayOutLevels(converted, static_cast<unsigned int>(image.levels.size()), 4);
    if (size > kMaxBytes || !Resize(converted.bytes, size)) return false;
    for (std::size_t i = 0; i < image.levels.size(); ++i) {
        auto const& dest = converted.levels[i];
        std::uint8_t* const out = converted.bytes.data() + dest.offset;
        if (layout) {
            ConvertPixels(image, image.levels[i], *layout, dest, out);
        } else {
            ConvertBlocks(image, image.levels[i], dest, out);
        }
    }
    image = std::move(converted);
    return true;
}

bool MakeMipLevels(DecodedImage& image, unsigned int count) {
    Lanes const lanes = image.format < PF_COUNT ? kLanes[image.format] : Lanes{0, 0};
    if (lanes.count == 0 || image.levels.empty()) return false;
    unsigned int const full = FullLevelCount(image.width, image.height);
    DecodedImage chain;
    chain.width = image.width;
    chain.height = image.height;
    chain.format = image.format;
    std::size_t const size = LayOutLevels(chain, count == 0 ? full : std::min(count, full), lanes.count * lanes.bytes);
    // The first level lies at the start and is packed without gaps, so growing the bytes keeps it.
    if (!Resize(image.bytes, size)) return false;
    image.levels = std::move(chain.levels);
    for (std::size_t i = 1; i < image.levels.size(); ++i) {
        auto const& above = image.levels[i - 1];
        auto const& below = image.levels[i];
        switch (lanes.bytes) {
        case 1: HalveLevel<std::uint8_t, std::uint32_t>(image, above, below, lanes.count); break;
        case 2: HalveLevel<std::uint16_t, std::uint32_t>(image, above, below, lanes.count); break;
        default: HalveLevel<float, float>(image, above, below, lanes.count);
        }
    }
    return true;
}

bool ApplyColorKey(DecodedImage& image, std::uint32_t key) {
    if (key == 0) return true;
    if (!ConvertToArgb(image)) return false;
    std::uint8_t wanted[4];
    StoreArgb(wanted, key);
    for (std::size_t i = 0; i + 3 < image.bytes.size(); i += 4) {
        if (std::memcmp(&image.bytes[i], wanted, 4) == 0) std::memset(&image.bytes[i], 0, 4);
    }
    return true;
}
} // namespace qk3d::image
