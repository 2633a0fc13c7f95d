// ImageDecoder.cpp: tells the kinds of image files apart, and the size limits they share.
#include "ImageDecoderInternal.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace qk3d::image {
namespace {
bool StartsWith(Bytes file, std::initializer_list<std::uint8_t> magic) {
    return file.size() >= magic.size() && std::equal(magic.begin(), magic.end(), file.begin());
}

bool Decode(Bytes file, DecodedImage& out, std::string& reason) {
    if (StartsWith(file, {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'})) return DecodePng(file, out, reason);
    if (StartsWith(file, {0xFF, 0xD8, 0xFF})) return DecodeJpeg(file, out, reason);
    if (StartsWith(file, {'D', 'D', 'S', ' '})) return DecodeDds(file, out, reason);
    if (StartsWith(file, {'B', 'M'})) return DecodeBmp(file, out, reason);
    return DecodeTga(file, out, reason); // TGA has no mark of its own, so it comes last
}
} // namespace

bool DecodeImage(void const* data, std::size_t size, DecodedImage& out, std::string* reason) {
    std::string why;
    DecodedImage image;
    bool decoded = false;
    try {
        decoded = data && Decode(Bytes(static_cast<std::uint8_t const*>(data), size), image, why);
        if (!data) why = "no data";
    } catch (std::bad_alloc const&) { why = "not enough memory"; }
    if (decoded) {
        out = std::move(image);
    } else if (reason) {
        *reason = why;
    }
    return decoded;
}

bool IsSizeAllowed(std::uint64_t width, std::uint64_t height, std::size_t pixelBytes, std::string& reason) {
    if (width == 0 || height == 0) {
        reason = "a side is 0";
        return false;
    }
    if (width > kMaxSide || height > kMaxSide || width * height * pixelBytes > kMaxBytes) {
        reason = "the image is too large";
        return false;
    }
    return true;
}

unsigned int FullLevelCount(unsigned int width, unsigned int height) {
    unsigned int count = 1;
    for (unsigned int side = std::max(width, height); side > 1; side /= 2) ++count;
    return count;
}

std::size_t LayOutLevels(DecodedImage& image, unsigned int count, std::size_t pixelBytes) {
    std::size_t const blockBytes = DxtBlockBytes(image.format);
    std::size_t offset = 0;
    image.levels.clear();
    for (unsigned int i = 0; i < count; ++i) {
        ImageLevel level;
        level.width = std::max(image.width >> i, 1u);
        level.height = std::max(image.height >> i, 1u);
        level.offset = offset;
        level.pitch = blockBytes ? (level.width + 3) / 4 * blockBytes : level.width * pixelBytes;
        level.rows = blockBytes ? (level.height + 3) / 4 : level.height;
        offset += level.pitch * level.rows;
        image.levels.push_back(level);
    }
    return offset;
}
} // namespace qk3d::image
