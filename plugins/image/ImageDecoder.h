// ImageDecoder.h: turns the bytes of an image file into pixels, and a few edits that textures need on them.
#pragma once

#include "QK3DPixelFormat.h"
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace qk3d::image {

/// The largest side of an image that is decoded. More than any device of ours can sample.
constexpr unsigned int kMaxSide = 16384;

/// The most bytes that one decoded image may take, all levels together: 8192 by 8192 pixels of 32 bits. A file that
/// asks for more is refused before anything is allocated.
constexpr std::size_t kMaxBytes = std::size_t{1} << 28;

/// One level of the mip chain, inside the bytes of its image.
struct ImageLevel {
    unsigned int width = 0;  // in pixels
    unsigned int height = 0; // in pixels
    std::size_t offset = 0;  // of its first byte
    std::size_t pitch = 0;   // bytes from one row to the next; of a compressed format, from one row of blocks
    std::size_t rows = 0;    // rows, or rows of blocks
};

/// A decoded image. Rows run from the top down. The bytes lie as the pixel format says, blocks of DXT as in the file.
struct DecodedImage {
    unsigned int width = 0;
    unsigned int height = 0;
    EPixelFormat format = PF_UNKNOWN;
    std::vector<ImageLevel> levels; // at least one in an image that was decoded, the largest first
    std::vector<std::uint8_t> bytes;
};

/// Decodes PNG, JPEG, TGA, BMP and DDS, told apart by their first bytes. PNG, JPEG, TGA and BMP give one level of
/// PF_L8, PF_BYTE_LA, PF_X8R8G8B8 or PF_A8R8G8B8 (a grey PNG of 16 bits gives PF_L16); DDS keeps its format and its
/// mip chain, be it DXT1 to DXT5 or an uncompressed layout.
///
/// A file that is broken, cut short, of another kind, a cube or volume, or larger than the limits gives false, leaves
/// `out` as it was and says why in `reason`, if given. Nothing is allocated for a size that the header claims and the
/// length of the file cannot back.
bool DecodeImage(void const* data, std::size_t size, DecodedImage& out, std::string* reason = nullptr);

/// Writes one level as a PNG file with fast compression. Formats: PF_L8, PF_X8R8G8B8, PF_A8R8G8B8, PF_X8B8G8R8,
/// PF_A8B8G8R8; another one, or a side of 0, gives false and leaves `file` empty. `pitch` is in bytes.
bool EncodePng(void const* pixels, unsigned int width, unsigned int height, std::size_t pitch, EPixelFormat format,
               std::vector<std::uint8_t>& file);

/// Decodes one 4 by 4 block of DXT1 (8 bytes) or DXT2 to DXT5 (16 bytes) to 16 pixels of PF_A8R8G8B8, row by row.
/// Colours of DXT2 and DXT4 stay multiplied by their alpha, as a device would sample them.
void DecodeDxtBlock(EPixelFormat format, std::uint8_t const* block, std::uint32_t pixels[16]);

/// Turns all levels to PF_A8R8G8B8; luminance goes to all three colours, a channel that the format lacks reads as 255
/// for alpha and 0 for a colour. True at once if it is that already. Floating point, 16 bits a channel, PVRTC and what
/// would grow beyond kMaxBytes give false and change nothing.
bool ConvertToArgb(DecodedImage& image);

/// Replaces the mip chain by one of `count` levels (0: down to 1 by 1), each the box-filtered half of the one above.
/// Works on formats whose channels are whole bytes, 16-bit integers or 32-bit floats; others give false and change
/// nothing.
bool MakeMipLevels(DecodedImage& image, unsigned int count = 0);

/// Makes each pixel that equals `key` (0xAARRGGBB) transparent black. A key of 0 is no key: nothing happens. The image
/// becomes PF_A8R8G8B8; one that cannot be turned to it gives false. Call it before mip levels are made.
bool ApplyColorKey(DecodedImage& image, std::uint32_t key);
} // namespace qk3d::image
