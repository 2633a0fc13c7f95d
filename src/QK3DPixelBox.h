// QK3DPixelBox.h: a block of pixels in memory, and the software scaler between two of them.
#pragma once

#include "QK3DBox.h"
#include "QK3DExport.h"
#include "QK3DPixelFormat.h"

namespace qk3d {

/// A range of pixels and where it lies in memory. The range tells where in some surface the pixels belong; `m_data`
/// points at the first pixel of the range itself, so left and top are not added to it again. The memory is not owned.
class QK3D_API CPixelBox : public CBox {
public:
    CPixelBox() = default;
    CPixelBox(int left, int top, int width, int height, EPixelFormat format, void* data, unsigned int rowPitch,
              unsigned int slicePitch);
    CPixelBox(CPixelBox const&) = default;

    void operator=(CPixelBox const& other);

    /// Takes the range only; format, pitches and data stay.
    void operator=(CBox const& range);

    /// The part of this block that `range` names, in the coordinates of this block's own range: the data pointer is
    /// moved to its first pixel. Without data, with a compressed format, or with a range that is not inside, the
    /// result has none.
    CPixelBox GetSubBox(CBox const& range) const;

    unsigned int m_rowPitch = 0;   ///< bytes from one row to the next
    unsigned int m_slicePitch = 0; ///< the back-end's own; the library only copies it
    unsigned int m_bitsPerPixel = 0;
    EPixelFormat m_format = PF_UNKNOWN;
    void* m_data = nullptr; ///< not owned
};

/// Copies `source` to `dest`, scaled to the size of `dest`. There is no conversion: formats or pixel sizes that differ
/// leave the pixels of `dest` alone, and compressed formats are never scaled.
///
/// A `dest` with format, row pitch or bits per pixel 0 takes them from `source` first. If the two ranges are equal,
/// rows are copied as they are, and a `dest` without data gets a new block of row pitch times height bytes, which the
/// caller releases with `free`. With ranges that differ and no data in `dest` nothing is done.
///
/// SM_POINT works on pixels of every size. SM_BILINEAR blends formats of four 8-bit channels; every other format, and a
/// source of less than two columns or two rows, is scaled by SM_POINT instead.
QK3D_API void ScalePixelbox(CPixelBox const& source, CPixelBox& dest, EScaleMode mode);
} // namespace qk3d
