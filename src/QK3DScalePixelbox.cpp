// QK3DScalePixelbox.cpp: the software scaler.
#include "QK3DPixelBox.h"

#include "QK3DScalePixelboxInternal.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define QK3D_SCALE_SSE2
#endif

namespace qk3d {
namespace {
constexpr unsigned int kMaxPixelBytes = 16;

// Rows of memory that a box stands for. Compressed formats lie in blocks of four rows.
std::size_t CountRows(CPixelBox const& box) {
    PixelFormatInfo const* const info = GetPixelFormatInfo(box.m_format);
    auto const height = static_cast<std::size_t>(box.height);
    return info && (info->flags & PFF_COMPRESSED) ? (height + 3) / 4 : height;
}

void CopyRows(CPixelBox const& source, CPixelBox const& dest, std::size_t rowBytes) {
    auto const* from = static_cast<unsigned char const*>(source.m_data);
    auto* to = static_cast<unsigned char*>(dest.m_data);
    std::size_t const rows = CountRows(source);
    if (source.m_rowPitch == rowBytes && dest.m_rowPitch == rowBytes) {
        std::memmove(to, from, rowBytes * rows);
        return;
    }
    for (std::size_t row = 0; row < rows; ++row, from += source.m_rowPitch, to += dest.m_rowPitch)
        std::memmove(to, from, rowBytes);
}

template <std::size_t Bytes>
void ScaleRowNearest(unsigned char const* source, std::uint32_t const* columns, std::size_t count,
                     unsigned char* dest) {
    for (std::size_t i = 0; i < count; ++i) std::memcpy(dest + i * Bytes, source + columns[i] * Bytes, Bytes);
}

using ScaleRowFun = void (*)(unsigned char const*, std::uint32_t const*, std::size_t, unsigned char*);

ScaleRowFun FindNearest(unsigned int bytes) {
    switch (bytes) {
    case 1: return ScaleRowNearest<1>;
    case 2: return ScaleRowNearest<2>;
    case 3: return ScaleRowNearest<3>;
    case 4: return ScaleRowNearest<4>;
    case 6: return ScaleRowNearest<6>;
    case 8: return ScaleRowNearest<8>;
    case 12: return ScaleRowNearest<12>;
    case 16: return ScaleRowNearest<16>;
    default: return nullptr;
    }
}

void ScaleNearest(CPixelBox const& source, CPixelBox const& dest, unsigned int bytes) {
    ScaleRowFun const scaleRow = FindNearest(bytes);
    if (!scaleRow) return;
    auto const width = static_cast<std::size_t>(dest.width);
    std::uint64_t const stepX = (static_cast<std::uint64_t>(source.width) << 16) / width + 1;
    std::uint64_t const stepY =
        (static_cast<std::uint64_t>(source.height) << 16) / static_cast<std::uint64_t>(dest.height) + 1;

    // Steps are rounded up, so far enlargements come to the end early; what is left takes the last column and row.
    auto const lastColumn = static_cast<std::uint64_t>(source.width) - 1;
    auto const lastRow = static_cast<std::uint64_t>(source.height) - 1;
    std::vector<std::uint32_t> columns(width); // worked out once, for all rows
    for (std::size_t i = 0; i < width; ++i)
        columns[i] = static_cast<std::uint32_t>(std::min(i * stepX >> 16, lastColumn));

    auto const* const from = static_cast<unsigned char const*>(source.m_data);
    auto* to = static_cast<unsigned char*>(dest.m_data);
    std::uint64_t position = 0;
    std::uint64_t previous = ~std::uint64_t{0};
    for (int y = 0; y < dest.height; ++y, position += stepY, to += dest.m_rowPitch) {
        std::uint64_t const row = std::min(position >> 16, lastRow);
        if (row == previous)
            std::memcpy(to, to - dest.m_rowPitch, width * bytes); // enlarged: the row is there
        else
            scaleRow(from + row * source.m_rowPitch, columns.data(), width, to);
        previous = row;
    }
}

void ScaleBilinear(CPixelBox const& source, CPixelBox const& dest) {
    std::uint64_t const stepX =
        (static_cast<std::uint64_t>(source.width - 1) << 16) / static_cast<std::uint64_t>(dest.width);
    std::uint64_t const stepY =
        (static_cast<std::uint64_t>(source.height - 1) << 16) / static_cast<std::uint64_t>(dest.height);

    auto const width = static_cast<std::size_t>(dest.width);
    std::vector<std::uint32_t> sources(width);
    std::vector<std::uint64_t> weights(width);
    std::uint64_t position = 0;
    for (std::size_t i = 0; i < width; ++i, position += stepX) {
        sources[i] = static_cast<std::uint32_t>(position >> 16);
        weights[i] = (position >> 8 & 0xFF) * kEachLane;
    }
    ScaleColumns const columns = {sources.data(), weights.data()};

    auto const* const from = static_cast<unsigned char const*>(source.m_data);
    auto* to = static_cast<unsigned char*>(dest.m_data);
    position = 0;
    for (int y = 0; y < dest.height; ++y, position += stepY, to += dest.m_rowPitch) {
        unsigned char const* const upper = from + (position >> 16) * source.m_rowPitch;
        BlendRow(upper, upper + source.m_rowPitch, static_cast<std::uint32_t>(position >> 8) & 0xFF, columns, width,
                 to);
    }
}

// Whether the pixels are four channels of a byte each, which is what the bilinear scaler blends.
bool IsFourBytes(CPixelBox const& box) {
    PixelFormatInfo const* const info = GetPixelFormatInfo(box.m_format);
    return info && box.m_bitsPerPixel == 32 && info->bytes == 4 && info->redBits == 8 && info->greenBits == 8 &&
           info->blueBits == 8;
}

std::uint32_t LoadPixel(unsigned char const* at) {
    std::uint32_t pixel;
    std::memcpy(&pixel, at, sizeof pixel);
    return pixel;
}
} // namespace

void BlendRowPlain(unsigned char const* upper, unsigned char const* lower, std::uint32_t ty,
                   ScaleColumns const& columns, std::size_t count, unsigned char* dest) {
    constexpr std::uint32_t kLanes = 0x00FF00FF; // bytes 0 and 2, with room above each for a product
    for (std::size_t i = 0; i < count; ++i, dest += 4) {
        auto const tx = static_cast<std::uint32_t>(columns.weights[i] & 0xFF);
        std::uint32_t const bottomRight = tx * ty >> 8;
        std::uint32_t const topRight = tx - bottomRight;
        std::uint32_t const bottomLeft = ty - bottomRight;
        std::uint32_t const topLeft = 256 - tx - ty + bottomRight;

        std::size_t const at = std::size_t{columns.sources[i]} * 4;
        std::uint32_t const a = LoadPixel(upper + at);
        std::uint32_t const b = LoadPixel(upper + at + 4);
        std::uint32_t const c = LoadPixel(lower + at);
        std::uint32_t const d = LoadPixel(lower + at + 4);
        std::uint32_t const even =
            (a & kLanes) * topLeft + (b & kLanes) * topRight + (c & kLanes) * bottomLeft + (d & kLanes) * bottomRight;
        std::uint32_t const odd = (a >> 8 & kLanes) * topLeft + (b >> 8 & kLanes) * topRight +
                                  (c >> 8 & kLanes) * bottomLeft + (d >> 8 & kLanes) * bottomRight;
        std::uint32_t const pixel = (even >> 8 & kLanes) | (odd & ~kLanes);
        std::memcpy(dest, &pixel, sizeof pixel);
    }
}

#if defined(QK3D_SCALE_SSE2)
namespace {
__m128i Load8(void const* at) { return _mm_loadl_epi64(static_cast<__m128i const*>(at)); }

// What one row gives to two pixels, in 16-bit lanes: the left neighbours of both and their right ones, weighted.
__m128i WeighRow(unsigned char const* row, std::uint32_t first, std::uint32_t second, __m128i left, __m128i right) {
    __m128i const zero = _mm_setzero_si128();
    __m128i const pixels =
        _mm_unpacklo_epi32(Load8(row + std::size_t{first} * 4), Load8(row + std::size_t{second} * 4));
    return _mm_add_epi16(_mm_mullo_epi16(_mm_unpacklo_epi8(pixels, zero), left),
                         _mm_mullo_epi16(_mm_unpackhi_epi8(pixels, zero), right));
}

// Two pixels, a channel in each 16-bit lane. The weights add up to 256, so no sum leaves its lane.
__m128i BlendTwo(unsigned char const* upper, unsigned char const* lower, ScaleColumns const& columns, std::size_t i,
                 __m128i y, __m128i rest) {
    __m128i const x = _mm_loadu_si128(reinterpret_cast<__m128i const*>(columns.weights + i));
    __m128i const bottomRight = _mm_srli_epi16(_mm_mullo_epi16(x, y), 8);
    __m128i const topRight = _mm_sub_epi16(x, bottomRight);
    __m128i const bottomLeft = _mm_sub_epi16(y, bottomRight);
    __m128i const topLeft = _mm_sub_epi16(rest, topRight);
    std::uint32_t const first = columns.sources[i];
    std::uint32_t const second = columns.sources[i + 1];
    return _mm_srli_epi16(_mm_add_epi16(WeighRow(upper, first, second, topLeft, topRight),
                                        WeighRow(lower, first, second, bottomLeft, bottomRight)),
                          8);
}
} // namespace

void BlendRow(unsigned char const* upper, unsigned char const* lower, std::uint32_t ty, ScaleColumns const& columns,
              std::size_t count, unsigned char* dest) {
    __m128i const y = _mm_set1_epi16(static_cast<short>(ty));
    __m128i const rest = _mm_set1_epi16(static_cast<short>(256 - ty));
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4)
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dest + i * 4),
                         _mm_packus_epi16(BlendTwo(upper, lower, columns, i, y, rest),
                                          BlendTwo(upper, lower, columns, i + 2, y, rest)));
    BlendRowPlain(upper, lower, ty, {columns.sources + i, columns.weights + i}, count - i, dest + i * 4);
}
#else
void BlendRow(unsigned char const* upper, unsigned char const* lower, std::uint32_t ty, ScaleColumns const& columns,
              std::size_t count, unsigned char* dest) {
    BlendRowPlain(upper, lower, ty, columns, count, dest);
}
#endif

void ScalePixelbox(CPixelBox const& source, CPixelBox& dest, EScaleMode mode) {
    if (!source.m_data || source.width <= 0 || source.height <= 0) return;
    if (dest.m_format == PF_UNKNOWN) dest.m_format = source.m_format;
    if (dest.m_rowPitch == 0) dest.m_rowPitch = source.m_rowPitch;
    if (dest.m_bitsPerPixel == 0) dest.m_bitsPerPixel = source.m_bitsPerPixel;
    if (dest.m_format != source.m_format || dest.m_bitsPerPixel != source.m_bitsPerPixel) return;

    bool const isSameSize = source.width == dest.width && source.height == dest.height;
    bool const isSameRange = isSameSize && source.x == dest.x && source.y == dest.y;
    unsigned int const bytes = source.m_bitsPerPixel / 8; // 0 for compressed formats
    if (bytes > kMaxPixelBytes || dest.width <= 0 || dest.height <= 0) return;

    // Rows that their pitch does not hold would run into one another, and the last one out of its block.
    unsigned long long const sourceRow = static_cast<unsigned long long>(source.width) * bytes;
    unsigned long long const destRow = static_cast<unsigned long long>(dest.width) * bytes;
    if (sourceRow > source.m_rowPitch || destRow > dest.m_rowPitch) return;

    if (!dest.m_data && isSameRange) dest.m_data = std::malloc(static_cast<std::size_t>(dest.height) * dest.m_rowPitch);
    if (!dest.m_data) return;

    if (isSameSize)
        CopyRows(source, dest, bytes ? sourceRow : std::min(source.m_rowPitch, dest.m_rowPitch));
    else if (bytes == 0)
        return;
    else if (mode == SM_BILINEAR && source.width >= 2 && source.height >= 2 && IsFourBytes(source))
        ScaleBilinear(source, dest);
    else if (mode == SM_POINT || mode == SM_BILINEAR)
        ScaleNearest(source, dest, bytes);
}
} // namespace qk3d
