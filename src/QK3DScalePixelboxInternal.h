// QK3DScalePixelboxInternal.h: the two roads of the bilinear scaler, which give the same bytes.
#pragma once

#include "QK3DExport.h"
#include <cstddef>
#include <cstdint>

namespace qk3d {
/// Where a column of the result lies between two columns of the source.
struct ScaleColumn {
    std::uint32_t source; // the left one of the two
    std::uint32_t weight; // of the right one, 0 to 255
};

/// Blend one row of four-byte pixels out of two rows of the source; `ty` (0 to 255) is the weight of the lower one. Both
/// read the columns source and source + 1 of each entry, and write `count` pixels. Exported for the tests.
QK3D_API void BlendRowPlain(unsigned char const* upper, unsigned char const* lower, std::uint32_t ty,
                            ScaleColumn const* columns, std::size_t count, unsigned char* dest);

/// As BlendRowPlain, with the vector unit where there is one.
QK3D_API void BlendRow(unsigned char const* upper, unsigned char const* lower, std::uint32_t ty,
                       ScaleColumn const* columns, std::size_t count, unsigned char* dest);
} // namespace qk3d
