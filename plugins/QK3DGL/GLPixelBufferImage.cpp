// GLPixelBufferImage.cpp: textures from image files: size, format, colour key and mip levels as the texture asks.
#include "GLPixelBuffer.h"

#include "GLLog.h"
#include "ImageDecoder.h"
#include "PlatformFile.h"

#include "QK3DPixelBox.h"
#include "QK3DTexture.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace qk3d::gl {
namespace {
constexpr unsigned kAutomaticSize = 0xFFFFFFFF;
constexpr unsigned kFilterKind = 0xFFFF; // below the mirror and dither bits

/// As image::ConvertToArgb, and for grey of 16 bits as well, of which the upper eight are kept.
bool ToArgb(image::DecodedImage& decoded) {
    if (decoded.format == PF_L16) {
        for (auto const& level : decoded.levels)
            for (std::size_t y = 0; y < level.rows; ++y) {
                std::uint8_t* const row = decoded.bytes.data() + level.offset + y * level.pitch;
                for (unsigned x = 0; x < level.width; ++x) {
                    std::uint16_t grey;
                    std::memcpy(&grey, row + std::size_t{x} * 2, 2);
                    row[x] = static_cast<std::uint8_t>(grey >> 8);
                }
            }
        decoded.format = PF_L8;
    }
    return image::ConvertToArgb(decoded);
}

void MakeOneLevel(image::DecodedImage& decoded, unsigned width, unsigned height, std::vector<std::uint8_t>&& bytes) {
    decoded.width = width;
    decoded.height = height;
    decoded.levels.assign(1, {width, height, 0, std::size_t{width} * 4, height});
    decoded.bytes = std::move(bytes);
}

/// Makes the image `width` by `height`: unscaled from the top left corner with FILTER_NONE, else stretched.
bool FitImage(image::DecodedImage& decoded, unsigned width, unsigned height, EFilter filter) {
    if (decoded.width == width && decoded.height == height) return true;
    if (width > image::kMaxSide || height > image::kMaxSide || !ToArgb(decoded)) return false;
    auto const kind = filter & kFilterKind;
    // A much smaller result starts from the mip level nearest above it, or most of the pixels would have no say.
    if (kind != FILTER_NONE && kind != FILTER_POINT && !image::MakeMipLevels(decoded)) return false;
    auto const* level = &decoded.levels.front();
    for (auto const& candidate : decoded.levels)
        if (kind != FILTER_NONE && candidate.width >= width && candidate.height >= height) level = &candidate;

    std::vector<std::uint8_t> bytes(std::size_t{width} * height * 4);
    std::uint8_t* const pixels = decoded.bytes.data() + level->offset;
    if (kind == FILTER_NONE) {
        auto const rowBytes = std::size_t{std::min(width, level->width)} * 4;
        for (unsigned y = 0; y < std::min(height, level->height); ++y)
            std::memcpy(bytes.data() + std::size_t{y} * width * 4, pixels + y * level->pitch, rowBytes);
    } else {
        CPixelBox const from(0, 0, static_cast<int>(level->width), static_cast<int>(level->height), PF_A8R8G8B8, pixels,
                             static_cast<unsigned>(level->pitch), 0);
        CPixelBox to(0, 0, static_cast<int>(width), static_cast<int>(height), PF_A8R8G8B8, bytes.data(), width * 4, 0);
        ScalePixelbox(from, to, kind == FILTER_POINT ? SM_POINT : SM_BILINEAR);
    }
    MakeOneLevel(decoded, width, height, std::move(bytes));
    return true;
}

/// Turns pixels of 32 bits into what a format with luminance or alpha alone keeps.
bool ReduceChannels(image::DecodedImage& decoded, EPixelFormat format) {
    if (!ToArgb(decoded)) return false;
    for (auto const& level : decoded.levels)
        for (unsigned y = 0; y < level.height; ++y)
            for (unsigned x = 0; x < level.width; ++x) {
                std::uint8_t* const pixel = decoded.bytes.data() + level.offset + y * level.pitch + std::size_t{x} * 4;
                std::uint32_t argb;
                std::memcpy(&argb, pixel, 4);
                std::uint32_t const red = argb >> 16 & 255, green = argb >> 8 & 255, blue = argb & 255;
                // Weights of the Rec. 601 luma, in 1/256.
                std::uint32_t const grey = (77 * red + 150 * green + 29 * blue + 128) >> 8, alpha = argb >> 24;
                argb = format == PF_A8 ? alpha << 16 : alpha << 8 | grey << 16;
                std::memcpy(pixel, &argb, 4);
            }
    return true;
}

// A stream is closed on every way out.
struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
} // namespace

bool GLPixelBuffer::_CreateFromFileImpl(string const& path) {
    using namespace qklib::platform;
    std::unique_ptr<std::FILE, FileCloser> const file(OpenFileForReading(path));
    unsigned long long size = 0;
    if (!file || !GetOpenFileSize(file.get(), size) || size > image::kMaxBytes) return false;
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    if (std::fread(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) return false;
    return _CreateFromFileInMemoryImpl(bytes.data(), bytes.size());
}

bool GLPixelBuffer::_CreateFromFileInMemoryImpl(void* data, unsigned long long size) {
    if (!data || !size || size > image::kMaxBytes) return false;
    m_pixels = {};
    m_pixelsTrue = false;
    try {
        auto const* const bytes = static_cast<unsigned char const*>(data);
        m_file.assign(bytes, bytes + size);
        if (FillFromFile()) return true;
    } catch (std::bad_alloc const&) { GL_LOG(LOG_WARNING, "No memory for an image file of %llu bytes", size); }
    _ReleaseImpl();
    return false;
}

EPixelFormat GLPixelBuffer::ChooseFormat(image::DecodedImage const& decoded) const {
    EPixelFormat const format = m_pixelFormat == PF_UNKNOWN ? decoded.format : m_pixelFormat;
    FormatRow const* const row = FindFormat(format);
    if (!row || (row->blockBytes && !m_device->CanCompress())) return PF_A8R8G8B8;
    return format;
}

bool GLPixelBuffer::FillFromFile() {
    image::DecodedImage decoded;
    string reason;
    if (!UseDevice()) return false;
    if (!image::DecodeImage(m_file.data(), m_file.size(), decoded, &reason)) {
        GL_LOG(LOG_WARNING, "The image cannot be read : %s", reason.c_str());
        return false;
    }
    auto const keyed = static_cast<std::uint32_t>(static_cast<unsigned int>(m_colorKey));
    auto const side = [](unsigned asked, unsigned own) { return asked == 0 || asked == kAutomaticSize ? own : asked; };
    unsigned const width = side(m_width, decoded.width), height = side(m_height, decoded.height);
    if (!image::ApplyColorKey(decoded, keyed) || !FitImage(decoded, width, height, m_filter)) {
        GL_LOG(LOG_WARNING, "The image has a pixel format that cannot be edited");
        return false;
    }

    EPixelFormat const format = ChooseFormat(decoded);
    if (!MakeTexture(width, height, format, m_mipLevels)) return false;
    if (decoded.format != format) {
        bool const reduced =
            m_row->swizzle && !IsDepthFormat(*m_row) && m_row->swizzle[1] != '1' && m_row->swizzle[2] != '1';
        if (!(reduced ? ReduceChannels(decoded, format) : ToArgb(decoded))) {
            GL_LOG(LOG_WARNING, "The image cannot be turned to the pixel format of its texture");
            return false;
        }
    }
    UploadLevels(decoded);
    return true;
}

void GLPixelBuffer::UploadLevels(image::DecodedImage const& decoded) {
    FormatRow const& from = *FindFormat(decoded.format);
    bool const blocks = from.blockBytes != 0;
    auto const count = std::min<std::size_t>(decoded.levels.size(), static_cast<std::size_t>(m_levels));
    for (std::size_t i = 0; i < count; ++i) {
        auto const& level = decoded.levels[i];
        auto const* const pixels = decoded.bytes.data() + level.offset;
        auto const number = static_cast<GLint>(i);
        auto const width = static_cast<GLsizei>(level.width), height = static_cast<GLsizei>(level.height);
        m_device->Count().uploadedBytes += level.pitch * level.rows;
        if (blocks) {
            glCompressedTextureSubImage2D(m_texture, number, 0, 0, width, height, m_row->internalFormat,
                                          static_cast<GLsizei>(level.pitch * level.rows), pixels);
        } else if (from.spread) {
            std::vector<unsigned char> spread(2 * level.rows * level.pitch);
            SpreadNibbles(pixels, spread.data(), level.rows * level.pitch);
            glTextureSubImage2D(m_texture, number, 0, 0, width, height, from.format, from.type, spread.data());
        } else {
            glTextureSubImage2D(m_texture, number, 0, 0, width, height, from.format, from.type, pixels);
        }
    }
    // Levels that the file does not bring are made here, whatever the mip filter: a level with nothing in it is of no
    // use to anyone.
    m_mipLevelsOld = count < static_cast<std::size_t>(m_levels);
    if (!m_mipLevelsOld || !m_row->blockBytes) return;
    // The device makes no levels of blocks, but it packs pixels into them.
    image::DecodedImage small = decoded;
    m_mipLevelsOld = false;
    if (!ToArgb(small)) return;
    small.levels.resize(1);
    if (!image::MakeMipLevels(small)) return;
    for (std::size_t i = count; i < small.levels.size() && i < static_cast<std::size_t>(m_levels); ++i)
        glTextureSubImage2D(m_texture, static_cast<GLint>(i), 0, 0, static_cast<GLsizei>(small.levels[i].width),
                            static_cast<GLsizei>(small.levels[i].height), GL_BGRA, GL_UNSIGNED_INT_8_8_8_8_REV,
                            small.bytes.data() + small.levels[i].offset);
}
} // namespace qk3d::gl
