// GLPixelFormat.h: how each pixel format of the engine is kept on the device.
#pragma once

#include "QK3DPixelFormat.h"

#include <cstddef>

#include <epoxy/gl.h>

namespace qk3d::gl {

/// One format of the engine as the device holds it. Pixels go to and from it by `format` and `type` just as they lie in
/// memory, but for `spread` formats.
struct FormatRow {
    EPixelFormat pixelFormat;
    GLenum internalFormat; // sized; 0: no device of ours can hold it
    GLenum format, type;
    GLenum srgbFormat;   // of a view on the same texels that decodes and encodes; 0: none
    char const* swizzle; // four of "rgba01": where a shader's r, g, b, a come from; null: as they are
    bool spread;         // nibbles that travel as two bytes (PF_A4L4)
    unsigned blockBytes; // bytes of a block of 4 x 4 pixels; 0: not compressed
};

/// The row of a format, or null if the device cannot hold it.
FormatRow const* FindFormat(EPixelFormat format);

inline bool IsDepthFormat(FormatRow const& row) { return row.format == GL_DEPTH_COMPONENT; }

/// Bytes of one row of pixels (or of blocks) with no gap behind it, and the number of such rows.
std::size_t GetRowBytes(FormatRow const& row, unsigned width);
std::size_t GetRowCount(FormatRow const& row, unsigned height);

/// The largest value that alpha of a target of this format can have, as a whole number; 0 for floats.
float GetAlphaLevels(EPixelFormat format);

/// Sets the swizzle of a texture.
void ApplySwizzle(GLuint texture, FormatRow const& row);

/// Both ways between a byte of two nibbles, luminance low and alpha high, and two bytes. `spread` has room for twice
/// `pixels` bytes.
void SpreadNibbles(unsigned char const* packed, unsigned char* spread, std::size_t pixels);
void PackNibbles(unsigned char const* spread, unsigned char* packed, std::size_t pixels);

} // namespace qk3d::gl
