// QK3DPixelFormat.h: the pixel formats and image filters of the engine, and their script names.
#pragma once

#include "QK3DExport.h"
#include "QK3DTypes.h"

namespace qk3d {

#define ROW(number, name, ...) name = number,
enum EPixelFormat : unsigned int {
#include "QK3DPixelFormatTable.inl"
    PF_COUNT = 42 ///< One past the last format. The script name "COUNT" gives it; no pixel has it.
};

/// How an image is fitted to a surface of another size, with bits on top. The library hands it to the back-end; only
/// FILTER_NONE means something here: the image lies unscaled in a surface that may be larger.
enum EFilter : unsigned int {
    FILTER_NONE = 1,
    FILTER_POINT = 2,
    FILTER_LINEAR = 3,
    FILTER_TRIANGLE = 4,
    FILTER_BOX = 5,
    FILTER_MIRRORU = 0x10000,
    FILTER_MIRRORV = 0x20000,
    FILTER_MIRRORW = 0x40000,
    FILTER_MIRROR = 0x70000,
    FILTER_DITHER = 0x80000
};

enum EScaleMode : unsigned int { SM_POINT = 0, SM_BILINEAR = 1 };

/// Bits of PixelFormatInfo::flags.
enum EPixelFormatFlag : unsigned int {
    PFF_ALPHA = 1,
    PFF_COMPRESSED = 2,
    PFF_FLOAT = 4,
    PFF_DEPTH = 8,
    PFF_PACKED = 16, ///< one integer of native byte order; masks and shifts apply to it
    PFF_LUMINANCE = 32
};

enum EPixelComponentType : unsigned int { PCT_BYTE, PCT_SHORT, PCT_FLOAT16, PCT_FLOAT32 };

/// What a pixel format is made of. A luminance format uses the red fields. Masks and shifts are 0 where the format is
/// not packed.
struct PixelFormatInfo {
    char const* name;   ///< the enumerator, such as "PF_A8R8G8B8"
    unsigned int bytes; ///< of one pixel; 0 for compressed formats
    unsigned int flags;
    EPixelComponentType componentType;
    unsigned int componentNum;
    unsigned int redBits, greenBits, blueBits, alphaBits;
    unsigned int redMask, greenMask, blueMask, alphaMask;
    unsigned int redShift, greenShift, blueShift, alphaShift;
};

/// The row of `format`, which lives as long as the library. A value past the table logs "Out of range" and gives null.
QK3D_API PixelFormatInfo const* GetPixelFormatInfo(EPixelFormat format);

/// Size of one pixel; 0 for compressed formats. A value past the table logs "Out of range" and gives the highest value
/// of the type.
QK3D_API unsigned long long GetPixelFormatBits(EPixelFormat format);
QK3D_API unsigned long long GetPixelFormatBytes(EPixelFormat format);

/// A value past the table logs "Out of range" and gives false.
QK3D_API bool IsPixelFormatHasAlpha(EPixelFormat format);

/// The format or filter of a script name, read without regard to case or to blanks around it. An unknown name gives
/// PF_UNKNOWN, or FILTER_NONE.
QK3D_API EPixelFormat StringToPixelFormat(string name);
QK3D_API EFilter StringToFilterMode(string name);
} // namespace qk3d
