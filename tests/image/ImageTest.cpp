// ImageTest.cpp: image files of every kind, whole and cut short; DXT blocks, conversions and mip levels.
#include "ImageDecoder.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <numeric>
#include <png.h>
#include <zlib.h>

using namespace qk3d;
using namespace qk3d::image;

namespace {
using File = std::vector<std::uint8_t>;
using Picture = std::uint32_t(unsigned int x, unsigned int y);

// Pictures of 7 by 5 pixels without symmetry, so that a flip, a shift or swapped channels show.
constexpr unsigned int kWidth = 7, kHeight = 5;
std::uint32_t Argb(unsigned int x, unsigned int y) {
    return (255 - x * 9) << 24 | x * 36 << 16 | y * 60 << 8 | (x + y) * 20;
}
std::uint32_t Opaque(unsigned int x, unsigned int y) { return Argb(x, y) | 0xFF000000u; }
std::uint32_t RedFirst(unsigned int x, unsigned int y) {
    return (Argb(x, y) & 0xFF00FF00u) | (Argb(x, y) >> 16 & 255) | (Argb(x, y) & 255) << 16;
}
std::uint32_t Grey(unsigned int x, unsigned int y) { return x * 30 + y * 10; }
std::uint32_t Grey16(unsigned int x, unsigned int y) { return Grey(x, y) * 257; }
std::uint32_t GreyAlpha(unsigned int x, unsigned int y) { return Grey(x, y) | Argb(x, y) >> 24 << 8; }
std::uint32_t Index(unsigned int x, unsigned int y) { return y * kWidth + x; }

void Put(File& file, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) file.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

// The pixels row by row, each row with some zeros behind it.
File Pixels(int bytes, Picture picture, bool topDown = true, std::size_t padding = 0) {
    File file;
    for (unsigned int row = 0; row < kHeight; ++row) {
        unsigned int const y = topDown ? row : kHeight - 1 - row;
        for (unsigned int x = 0; x < kWidth; ++x) Put(file, picture(x, y), bytes);
        file.resize(file.size() + padding);
    }
    return file;
}

File operator+(File left, File const& right) {
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

// A file made by libpng of pixels in its own order of bytes.
File MakePng(int type, int depth, int interlace, File pixels) {
    File file, colours = Pixels(3, RedFirst); // a palette of all pixels in their order
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    auto const write = [](png_structp p, png_bytep from, std::size_t count) {
        auto* const to = static_cast<File*>(png_get_io_ptr(p));
        to->insert(to->end(), from, from + count);
    };
    png_set_write_fn(png, &file, write, nullptr);
    png_set_IHDR(png, info, kWidth, kHeight, depth, type, interlace, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (type == PNG_COLOR_TYPE_PALETTE)
        png_set_PLTE(png, info, reinterpret_cast<png_colorp>(colours.data()), kWidth * kHeight);
    png_bytep rows[kHeight];
    for (unsigned int y = 0; y < kHeight; ++y) rows[y] = pixels.data() + y * pixels.size() / kHeight;
    png_set_rows(png, info, rows);
    png_write_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    png_destroy_write_struct(&png, &info);
    return file;
}

File MakeJpeg(J_COLOR_SPACE space, int channels, File pixels) {
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &memory, &size);
    info.image_width = kWidth;
    info.image_height = kHeight;
    info.input_components = channels;
    info.in_color_space = space;
    jpeg_set_defaults(&info);
    jpeg_set_quality(&info, 100, TRUE);
    info.comp_info[0].h_samp_factor = info.comp_info[0].v_samp_factor = 1;
    if (space == JCS_CMYK) jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    for (unsigned int y = 0; y < kHeight; ++y) {
        JSAMPROW row = pixels.data() + y * pixels.size() / kHeight;
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    File const file(memory, memory + size);
    std::free(memory);
    return file;
}

// `kind`: 2 colours, 3 grey, 10 colours in runs; a flag of 32 for rows from the top down.
File MakeTga(std::uint8_t kind, std::uint8_t bits, std::uint8_t flags, File const& pixels) {
    return File{0, 0, kind, 0, 0, 0, 0, 0, 0, 0, 0, 0, kWidth, 0, kHeight, 0, bits, flags} + pixels;
}

// Of 24 bits, from the top down if the height is below zero.
File MakeBmp(std::uint32_t height, File const& pixels) {
    File file = {'B', 'M'};
    for (std::uint32_t const word : {0u, 0u, 54u, 40u, kWidth, height, 1u | 24u << 16}) Put(file, word, 4);
    file.resize(54);
    return file + pixels;
}

struct DdsFormat {
    std::uint32_t flags, code, bits, red, green, blue, alpha;
};
constexpr DdsFormat kArgbDds = {0x41, 0, 32, 0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000};
constexpr DdsFormat kDxt1Dds = {4, 0x31545844, 0, 0, 0, 0, 0};

File MakeDds(unsigned int width, unsigned int height, unsigned int levels, DdsFormat const& f, File const& data) {
    File file = {'D', 'D', 'S', ' '};
    for (std::uint32_t const word : {124u, 0x1007u, height, width, 0u, 0u, levels}) Put(file, word, 4);
    file.resize(76);
    for (std::uint32_t const word : {32u, f.flags, f.code, f.bits, f.red, f.green, f.blue, f.alpha, 0x1000u})
        Put(file, word, 4);
    file.resize(128);
    return file + data;
}

struct Sample {
    char const* what;
    File file;
    EPixelFormat format;
    int tolerance; // of a channel
    Picture* picture;
};

std::vector<Sample> MakeSamples() {
    File deep; // each byte twice
    for (std::uint8_t const byte : Pixels(4, RedFirst)) deep.insert(deep.end(), 2, byte);
    File packets; // each row as six pixels and a run of one
    for (File pixels = Pixels(3, Argb, false); !pixels.empty(); pixels.erase(pixels.begin(), pixels.begin() + 21))
        packets = packets + File{5} + File(&pixels[0], &pixels[18]) + File{0x80} + File(&pixels[18], &pixels[18] + 3);
    File inks = Pixels(4, RedFirst); // inverted, as Adobe's mark announces, and without black: the same bytes as light
    for (std::size_t i = 3; i < inks.size(); i += 4) inks[i] = 255;
    return {
        {"PNG, interlaced", MakePng(PNG_COLOR_TYPE_RGBA, 8, 1, Pixels(4, RedFirst)), PF_A8R8G8B8, 0, Argb},
        {"PNG of 16 bits", MakePng(PNG_COLOR_TYPE_RGBA, 16, 0, deep), PF_A8R8G8B8, 0, Argb},
        {"PNG with a palette", MakePng(PNG_COLOR_TYPE_PALETTE, 8, 0, Pixels(1, Index)), PF_X8R8G8B8, 0, Opaque},
        {"PNG of 16-bit greys", MakePng(PNG_COLOR_TYPE_GRAY, 16, 0, Pixels(2, Grey16)), PF_L16, 0, Grey16},
        {"PNG of greys with alpha", MakePng(PNG_COLOR_TYPE_GA, 8, 0, Pixels(2, GreyAlpha)), PF_BYTE_LA, 0, GreyAlpha},
        {"JPEG", MakeJpeg(JCS_RGB, 3, Pixels(3, RedFirst)), PF_X8R8G8B8, 30, Opaque},
        {"JPEG of inks, progressive", MakeJpeg(JCS_CMYK, 4, inks), PF_X8R8G8B8, 30, Opaque},
        {"TGA with alpha, top down", MakeTga(2, 32, 0x28, Pixels(4, Argb)), PF_A8R8G8B8, 0, Argb},
        {"TGA in runs", MakeTga(10, 24, 0, packets), PF_X8R8G8B8, 0, Opaque},
        {"TGA of greys", MakeTga(3, 8, 0, Pixels(1, Grey, false)), PF_L8, 0, Grey},
        {"BMP", MakeBmp(kHeight, Pixels(3, Argb, false, 3)), PF_X8R8G8B8, 0, Opaque},
        {"BMP, top down", MakeBmp(0u - kHeight, Pixels(3, Argb, true, 3)), PF_X8R8G8B8, 0, Opaque},
        {"DDS of 32 bits", MakeDds(kWidth, kHeight, 0, kArgbDds, Pixels(4, Argb)), PF_A8R8G8B8, 0, Argb},
    };
}

std::uint32_t PixelOf(DecodedImage const& image, unsigned int x, unsigned int y = 0) {
    std::size_t const pitch = image.levels[0].pitch, bytes = pitch / image.width;
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, image.bytes.data() + y * pitch + x * bytes, bytes);
    return pixel;
}

DecodedImage MakeImage(unsigned int width, EPixelFormat format, File const& bytes, unsigned int height = 1) {
    return {width, height, format, {{width, height, 0, bytes.size() / height, height}}, bytes};
}
} // namespace

TEST(Image, ReadsEveryKindOfFileAndRefusesItCutOffAnywhere) {
    for (auto const& sample : MakeSamples()) {
        DecodedImage image;
        std::string reason;
        ASSERT_TRUE(DecodeImage(sample.file.data(), sample.file.size(), image, &reason)) << sample.what << reason;
        EXPECT_EQ(image.width, kWidth) << sample.what;
        EXPECT_EQ(image.height, kHeight) << sample.what;
        EXPECT_EQ(image.format, sample.format) << sample.what;
        for (unsigned int i = 0; i < kWidth * kHeight; ++i) {
            unsigned int const x = i % kWidth, y = i / kWidth;
            for (int shift = 0; shift < 32; shift += 8)
                EXPECT_NEAR(static_cast<int>(PixelOf(image, x, y) >> shift & 255),
                            static_cast<int>(sample.picture(x, y) >> shift & 255), sample.tolerance)
                    << sample.what << " at " << x << ", " << y << ", bit " << shift;
        }
        for (std::size_t size = 0; size < sample.file.size(); ++size) {
            File const cut(sample.file.data(), sample.file.data() + size); // ends where it ends
            image.width = 99;
            reason.clear();
            EXPECT_FALSE(DecodeImage(cut.data(), cut.size(), image, &reason)) << sample.what << " cut at " << size;
            EXPECT_TRUE(!reason.empty() && image.width == 99) << sample.what << " cut at " << size;
        }
    }
}

TEST(Image, RefusesSizesThatTheFileCannotHold) {
    auto const patched = [](File file, std::size_t at, File const& bytes) {
        std::copy(bytes.begin(), bytes.end(), file.data() + at);
        return file;
    };
    File const jpeg = MakeJpeg(JCS_RGB, 3, Pixels(3, RedFirst));
    std::uint8_t const mark[] = {0xFF, 0xC0};
    auto const frame = static_cast<std::size_t>(
        std::search(jpeg.begin(), jpeg.end(), std::begin(mark), std::end(mark)) - jpeg.begin());
    // A PNG that is sound but for its size, with the right sum over its new header.
    File png = patched(MakePng(PNG_COLOR_TYPE_GRAY, 8, 0, Pixels(1, Grey)), 16, {0, 0, 0x1F, 0x40, 0, 0, 0x1F, 0x40});
    auto const sum = crc32(0, png.data() + 12, 17);
    for (unsigned int i = 0; i < 4; ++i) png[29 + i] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
    File const tga = MakeTga(10, 24, 0, File(200, 0x80)), bmp = MakeBmp(kHeight, Pixels(3, Argb, true, 3));
    File const dds = MakeDds(7, 5, 1, kArgbDds, Pixels(4, Argb));
    struct {
        char const* what;
        File file;
        char const* reason;
    } const rows[] = {
        {"nothing", {}, "no data"},
        {"a text", File(18, 'x'), "no known kind of image"},
        {"PNG, 8000 a side", png, "PNG: the file is too short for its size"},
        {"JPEG, 65500 a side", patched(jpeg, frame + 5, {0xFF, 0xDC, 0xFF, 0xDC}), "the image is too large"},
        {"JPEG, 8000", patched(jpeg, frame + 5, {31, 64, 31, 64}), "JPEG: the file is too short for its size"},
        {"TGA, 8000 a side", patched(tga, 12, {64, 31, 64, 31}), "TGA: the file ends too early"},
        {"BMP, lowest height", patched(bmp, 22, {0, 0, 0, 0x80}), "the image is too large"},
        {"BMP, pixels far away", patched(bmp, 10, {255, 255, 255, 255}), "BMP: the file ends too early"},
        {"DDS, product wraps to 0", MakeDds(0x10000u, 0x10000u, 1, kArgbDds, {}), "the image is too large"},
        {"DDS, a mask of 1", patched(dds, 92, {1, 0, 0}), "DDS: unknown pixel format"},
        {"DDS cube", patched(dds, 112, {0, 0xFE}), "DDS: cube and volume images are not read"},
    };
    for (auto const& row : rows) {
        DecodedImage image;
        std::string reason;
        EXPECT_FALSE(DecodeImage(row.file.data(), row.file.size(), image, &reason)) << row.what;
        EXPECT_EQ(reason, row.reason) << row.what;
    }
}

TEST(Image, KeepsTheFormatAndTheLevelsOfDds) {
    struct {
        DdsFormat layout;
        EPixelFormat format;
        std::size_t bytes; // of a chain of 6 by 4, 3 by 2, 1 by 1
    } const rows[] = {
        {kDxt1Dds, PF_DXT1, (2 + 1 + 1) * 8},
        {{4, 113, 0, 0, 0, 0, 0}, PF_FLOAT16_RGBA, 31 * 8},
        {{0x40, 0, 32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000u}, PF_X8R8G8B8, 31 * 4}, // an alpha mask without its flag
        {{0x20001, 0, 16, 0xFF, 0, 0, 0xFF00}, PF_BYTE_LA, 31 * 2},
    };
    for (auto const& row : rows) {
        File data(row.bytes);
        std::iota(data.begin(), data.end(), std::uint8_t(0));
        File file = MakeDds(6, 4, 99, row.layout, data); // 99 levels: no more than the size allows
        DecodedImage image;
        ASSERT_TRUE(DecodeImage(file.data(), file.size(), image)) << row.format;
        EXPECT_EQ(image.format, row.format);
        ASSERT_EQ(image.levels.size(), 3u) << row.format;
        EXPECT_EQ(image.levels[1].width, 3u) << row.format;
        EXPECT_EQ(image.bytes, data) << row.format;
    }
}

TEST(Image, DecodesDxtBlocks) {
    // Colours: red 0xF800 above blue 0x001F, indices 0, 1, 2, 3 in the first row and 0 below.
    File const colours = {0x00, 0xF8, 0x1F, 0x00, 0xE4, 0, 0, 0};
    // The two ends the other way round: three colours and a transparent one.
    File const punched = {0x1F, 0x00, 0x00, 0xF8, 0xE4, 0, 0, 0};
    File const four = {0x80, 0x3F, 0, 0, 0, 0, 0, 0};        // 4-bit alphas 0, 8, 15, 3
    File const eight = {200, 60, 0x88, 0xC6, 0xFA, 0, 0, 0}; // indices 0, 1, 2, 3, 4, 5, 6, 7
    File const six = {60, 200, 0x88, 0xC6, 0xFA, 0, 0, 0};
    using Row = std::array<std::uint32_t, 16>;
    auto const decode = [](EPixelFormat format, File const& block) {
        Row pixels;
        DecodeDxtBlock(format, block.data(), pixels.data());
        std::fill(pixels.begin() + 8, pixels.end(), 0u);
        return pixels;
    };
    constexpr std::uint32_t kRed = 0xFFFF0000, kBlue = 0xFF;
    EXPECT_EQ(decode(PF_DXT1, colours), (Row{kRed, 0xFF0000FF, 0xFFAA0055, 0xFF5500AA, kRed, kRed, kRed, kRed}));
    EXPECT_EQ(decode(PF_DXT3, four + punched), // has no hole
              (Row{kBlue, 0x88FF0000, 0xFF5500AA, 0x33AA0055, kBlue, kBlue, kBlue, kBlue}));
    EXPECT_EQ(decode(PF_DXT5, eight + colours),
              (Row{0xC8FF0000, 0x3C0000FF, 0xB4AA0055, 0xA05500AA, 0x8CFF0000, 0x78FF0000, 0x64FF0000, 0x50FF0000}));
    EXPECT_EQ(decode(PF_DXT5, six + colours),
              (Row{0x3CFF0000, 0xC80000FF, 0x58AA0055, 0x745500AA, 0x90FF0000, 0xACFF0000, 0x00FF0000, 0xFFFF0000}));

    // A picture whose sides are no multiples of 4 loses nothing and gains nothing.
    auto image = MakeImage(5, PF_DXT1, colours + punched);
    ASSERT_TRUE(ConvertToArgb(image));
    EXPECT_EQ(image.bytes.size(), 5u * 4);
    EXPECT_EQ(PixelOf(image, 3), 0xFF5500AAu);
    EXPECT_EQ(PixelOf(image, 4), 0xFF0000FFu);
}

TEST(Image, MakesLevelsByTheMeanOfWhatAPixelCovers) {
    auto image = MakeImage(4, PF_L8, {0, 10, 20, 40, 4, 6, 60, 80}, 2), odd = MakeImage(3, PF_L8, {0, 30, 90});
    ASSERT_TRUE(MakeMipLevels(image) && MakeMipLevels(odd));
    EXPECT_EQ(image.bytes, (File{0, 10, 20, 40, 4, 6, 60, 80, 5, 50, 28}));
    EXPECT_EQ(odd.bytes, (File{0, 30, 90, 40})); // all three pixels count
    auto packed = MakeImage(2, PF_A1R5G5B5, {0x00, 0x7C, 0x1F, 0x80});
    EXPECT_FALSE(MakeMipLevels(packed));
    ASSERT_TRUE(ConvertToArgb(packed));
    EXPECT_EQ(PixelOf(packed, 0), 0x00FF0000u);
    EXPECT_EQ(PixelOf(packed, 1), 0xFF0000FFu);
}

TEST(Image, WritesPngThatReadsBack) {
    File const pixels = Pixels(4, Argb, true, 5); // rows with room behind them
    File file;
    ASSERT_TRUE(EncodePng(pixels.data(), kWidth, kHeight, pixels.size() / kHeight, PF_A8B8G8R8, file));
    DecodedImage image;
    ASSERT_TRUE(DecodeImage(file.data(), file.size(), image));
    EXPECT_EQ(PixelOf(image, 6, 4), RedFirst(6, 4));
    EXPECT_FALSE(EncodePng(pixels.data(), 1, 1, 4, PF_R5G6B5, file));
    EXPECT_TRUE(file.empty());
    EXPECT_FALSE(EncodePng(pixels.data(), 2, 1, 4, PF_A8R8G8B8, file)); // a pitch shorter than the row
    EXPECT_FALSE(EncodePng(pixels.data(), 0, 1, 4, PF_A8R8G8B8, file));
}
