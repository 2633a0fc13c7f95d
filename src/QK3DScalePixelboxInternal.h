// QK3DScalePixelboxInternal.h: the two roads of the bilinear scaler, which give the same bytes.
#pragma once

#include "QK3DExport.h"
#include <cstddef>
#include <cstdint>

namespace qk3d {
/// Where the columns of the result lie between those of the source.
struct ScaleColumns {
    std::uint32_t const* sources; // the left one of the two
    std::uint64_t const* weights; // of the right one, 0 to 255, once in each 16-bit lane
};

/// Times a number below 65536: that number in all four 16-bit lanes.
inline constexpr std::uint64_t kEachLane = 0x0001000100010001;

/// Blend one row of four-byte pixels out of two rows of the source; `ty` (0 to 255) is the weight of the lower one. Both
/// read each source column and the one behind it, and write `count` pixels. Exported for the tests.
QK3D_API void BlendRowPlain(unsigned char const* upper, unsigned char const* lower, std::uint32_t ty,
                            ScaleColumns const& columns, std::size_t count, unsigned char* dest);

/// As BlendRowPlain, with the vector unit where there is one.
QK3D_API void BlendRow(unsigned char const* upper, unsigned char const* lower, std::uint32_t ty,
                       ScaleColumns const& columns, std::size_t count, unsigned char* dest);
} // namespace qk3d
