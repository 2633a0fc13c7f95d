// GLPixelFormat.cpp: the table of pixel formats on the device.
#include "GLPixelFormat.h"

namespace qk3d::gl {
namespace {
constexpr GLenum kDxt1 = GL_COMPRESSED_RGBA_S3TC_DXT1_EXT, kDxt3 = GL_COMPRESSED_RGBA_S3TC_DXT3_EXT,
                 kDxt5 = GL_COMPRESSED_RGBA_S3TC_DXT5_EXT;

// Names of packed formats are read from the highest bit of a number in native byte order, so the packed types of the
// device give the same layout on every machine. Formats with one or two components read 1 for those they lack, those
// of luminance repeat it, alpha alone goes with black.
// clang-format off
constexpr FormatRow kRows[] = {
    // format            kept as             memory                                            sRGB view               swizzle spread block
    {PF_L8,             GL_R8,              GL_RED,  GL_UNSIGNED_BYTE,                0,                       "rrr1", false, 0},
    {PF_L16,            GL_R16,             GL_RED,  GL_UNSIGNED_SHORT,               0,                       "rrr1", false, 0},
    {PF_A8,             GL_R8,              GL_RED,  GL_UNSIGNED_BYTE,                0,                       "000r", false, 0},
    {PF_A4L4,           GL_RG8,             GL_RG,   GL_UNSIGNED_BYTE,                0,                       "rrrg", true,  0},
    {PF_BYTE_LA,        GL_RG8,             GL_RG,   GL_UNSIGNED_BYTE,                0,                       "rrrg", false, 0},
    {PF_R5G6B5,         GL_RGB565,          GL_RGB,  GL_UNSIGNED_SHORT_5_6_5,         0,                       nullptr, false, 0},
    {PF_B5G6R5,         GL_RGB565,          GL_RGB,  GL_UNSIGNED_SHORT_5_6_5_REV,     0,                       nullptr, false, 0},
    {PF_A4R4G4B4,       GL_RGBA4,           GL_BGRA, GL_UNSIGNED_SHORT_4_4_4_4_REV,   0,                       nullptr, false, 0},
    {PF_A1R5G5B5,       GL_RGB5_A1,         GL_BGRA, GL_UNSIGNED_SHORT_1_5_5_5_REV,   0,                       nullptr, false, 0},
    {PF_R8G8B8,         GL_RGB8,            GL_BGR,  GL_UNSIGNED_BYTE,                GL_SRGB8,                nullptr, false, 0},
    {PF_B8G8R8,         GL_RGB8,            GL_RGB,  GL_UNSIGNED_BYTE,                GL_SRGB8,                nullptr, false, 0},
    {PF_A8R8G8B8,       GL_RGBA8,           GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV,     GL_SRGB8_ALPHA8,         nullptr, false, 0},
    {PF_A8B8G8R8,       GL_RGBA8,           GL_RGBA, GL_UNSIGNED_INT_8_8_8_8_REV,     GL_SRGB8_ALPHA8,         nullptr, false, 0},
    {PF_B8G8R8A8,       GL_RGBA8,           GL_BGRA, GL_UNSIGNED_INT_8_8_8_8,         GL_SRGB8_ALPHA8,         nullptr, false, 0},
    {PF_A2R10G10B10,    GL_RGB10_A2,        GL_BGRA, GL_UNSIGNED_INT_2_10_10_10_REV,  0,                       nullptr, false, 0},
    {PF_A2B10G10R10,    GL_RGB10_A2,        GL_RGBA, GL_UNSIGNED_INT_2_10_10_10_REV,  0,                       nullptr, false, 0},
    {PF_DXT1,           kDxt1,              GL_RGBA, GL_UNSIGNED_BYTE,                GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT1_EXT, nullptr, false, 8},
    {PF_DXT2,           kDxt3,              GL_RGBA, GL_UNSIGNED_BYTE,                GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT3_EXT, nullptr, false, 16},
    {PF_DXT3,           kDxt3,              GL_RGBA, GL_UNSIGNED_BYTE,                GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT3_EXT, nullptr, false, 16},
    {PF_DXT4,           kDxt5,              GL_RGBA, GL_UNSIGNED_BYTE,                GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT5_EXT, nullptr, false, 16},
    {PF_DXT5,           kDxt5,              GL_RGBA, GL_UNSIGNED_BYTE,                GL_COMPRESSED_SRGB_ALPHA_S3TC_DXT5_EXT, nullptr, false, 16},
    {PF_FLOAT16_RGB,    GL_RGB16F,          GL_RGB,  GL_HALF_FLOAT,                   0,                       nullptr, false, 0},
    {PF_FLOAT16_RGBA,   GL_RGBA16F,         GL_RGBA, GL_HALF_FLOAT,                   0,                       nullptr, false, 0},
    {PF_FLOAT32_RGB,    GL_RGB32F,          GL_RGB,  GL_FLOAT,                        0,                       nullptr, false, 0},
    {PF_FLOAT32_RGBA,   GL_RGBA32F,         GL_RGBA, GL_FLOAT,                        0,                       nullptr, false, 0},
    {PF_X8R8G8B8,       GL_RGB8,            GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV,     GL_SRGB8,                nullptr, false, 0},
    {PF_X8B8G8R8,       GL_RGB8,            GL_RGBA, GL_UNSIGNED_INT_8_8_8_8_REV,     GL_SRGB8,                nullptr, false, 0},
    {PF_R8G8B8A8,       GL_RGBA8,           GL_RGBA, GL_UNSIGNED_INT_8_8_8_8,         GL_SRGB8_ALPHA8,         nullptr, false, 0},
    {PF_DEPTH,          GL_DEPTH_COMPONENT32F, GL_DEPTH_COMPONENT, GL_FLOAT,          0,                       "rrr1", false, 0},
    {PF_SHORT_RGBA,     GL_RGBA16,          GL_RGBA, GL_UNSIGNED_SHORT,               0,                       nullptr, false, 0},
    {PF_R3G3B2,         GL_R3_G3_B2,        GL_RGB,  GL_UNSIGNED_BYTE_3_3_2,          0,                       nullptr, false, 0},
    {PF_FLOAT16_R,      GL_R16F,            GL_RED,  GL_HALF_FLOAT,                   0,                       "r111", false, 0},
    {PF_FLOAT32_R,      GL_R32F,            GL_RED,  GL_FLOAT,                        0,                       "r111", false, 0},
    {PF_SHORT_GR,       GL_RG16,            GL_RG,   GL_UNSIGNED_SHORT,               0,                       "rg11", false, 0},
    {PF_FLOAT16_GR,     GL_RG16F,           GL_RG,   GL_HALF_FLOAT,                   0,                       "rg11", false, 0},
    {PF_FLOAT32_GR,     GL_RG32F,           GL_RG,   GL_FLOAT,                        0,                       "rg11", false, 0},
    {PF_SHORT_RGB,      GL_RGB16,           GL_RGB,  GL_UNSIGNED_SHORT,               0,                       nullptr, false, 0},
};
// clang-format on
} // namespace

FormatRow const* FindFormat(EPixelFormat format) {
    for (auto const& row : kRows)
        if (row.pixelFormat == format) return &row;
    return nullptr;
}

std::size_t GetRowBytes(FormatRow const& row, unsigned width) {
    if (row.blockBytes) return static_cast<std::size_t>((width + 3) / 4) * row.blockBytes;
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(GetPixelFormatBytes(row.pixelFormat));
}

std::size_t GetRowCount(FormatRow const& row, unsigned height) { return row.blockBytes ? (height + 3) / 4 : height; }

float GetAlphaLevels(EPixelFormat format) {
    switch (format) {
    case PF_A4R4G4B4: return 15;
    case PF_A1R5G5B5: return 1;
    case PF_A2R10G10B10:
    case PF_A2B10G10R10: return 3;
    case PF_SHORT_RGBA: return 65535;
    case PF_FLOAT16_RGBA:
    case PF_FLOAT32_RGBA: return 0;
    default: return 255; // a target without alpha is tested as a usual one
    }
}

void ApplySwizzle(GLuint texture, FormatRow const& row) {
    if (!row.swizzle) return;
    GLint values[4];
    for (int i = 0; i < 4; ++i) {
        switch (row.swizzle[i]) {
        case 'r': values[i] = GL_RED; break;
        case 'g': values[i] = GL_GREEN; break;
        case '0': values[i] = GL_ZERO; break;
        default: values[i] = GL_ONE; break;
        }
    }
    glTextureParameteriv(texture, GL_TEXTURE_SWIZZLE_RGBA, values);
}

void SpreadNibbles(unsigned char const* packed, unsigned char* spread, std::size_t pixels) {
    for (std::size_t i = 0; i < pixels; ++i) {
        spread[2 * i] = static_cast<unsigned char>((packed[i] & 15) * 17);
        spread[2 * i + 1] = static_cast<unsigned char>((packed[i] >> 4) * 17);
    }
}

void PackNibbles(unsigned char const* spread, unsigned char* packed, std::size_t pixels) {
    // As the device rounds when it goes to fewer bits.
    auto const nibble = [](unsigned char value) { return (value * 15u + 127u) / 255u; };
    for (std::size_t i = 0; i < pixels; ++i)
        packed[i] = static_cast<unsigned char>(nibble(spread[2 * i]) | nibble(spread[2 * i + 1]) << 4);
}
} // namespace qk3d::gl
