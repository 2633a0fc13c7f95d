// ImageTest.cpp: image files of every kind, whole, cut short and damaged; DXT blocks, mip levels and the colour key.
#include "ImageDecoder.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <jpeglib.h>
#include <png.h>
#include <random>

#include <gtest/gtest.h>

using namespace qk3d;
using namespace qk3d::image;

namespace {
using File = std::vector<std::uint8_t>;

// A picture of 7 by 5 pixels without symmetry, so that a flip, a shift or swapped channels show.
constexpr unsigned int kWidth = 7, kHeight = 5;
std::uint32_t Pixel(unsigned int x, unsigned int y) {
    return (255 - x * 9) << 24 | x * 36 << 16 | y * 60 << 8 | (x + y) * 20;
}
std::uint32_t Grey(unsigned int x, unsigned int y) { return x * 30 + y * 10; }

void Put(File& file, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) file.push_back(static_cast<std::uint8_t>(value >> 8 * i));
}

// A file made by libpng. `argb` gives the pixels; of grey pictures the blue is taken.
File MakePng(int type, int depth, int interlace) {
    File file;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &file,
        [](png_structp p, png_bytep from, std::size_t count) {
            auto* to = static_cast<File*>(png_get_io_ptr(p));
            to->insert(to->end(), from, from + count);
        },
        nullptr);
    png_set_IHDR(png, info, kWidth, kHeight, depth, type, interlace, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (type == PNG_COLOR_TYPE_PALETTE) {
        png_color colours[kWidth * kHeight];
        for (unsigned int i = 0; i < kWidth * kHeight; ++i) {
            std::uint32_t const argb = Pixel(i % kWidth, i / kWidth);
            colours[i] = {static_cast<png_byte>(argb >> 16), static_cast<png_byte>(argb >> 8),
                          static_cast<png_byte>(argb)};
        }
        png_set_PLTE(png, info, colours, kWidth * kHeight);
    }
    png_write_info(png, info);
    std::vector<File> rows(kHeight);
    std::vector<png_bytep> pointers;
    for (unsigned int y = 0; y < kHeight; ++y) {
        for (unsigned int x = 0; x < kWidth; ++x) {
            std::vector<std::uint32_t> channels;
            if (type == PNG_COLOR_TYPE_PALETTE) channels = {y * kWidth + x};
            if (type == PNG_COLOR_TYPE_GRAY || type == PNG_COLOR_TYPE_GRAY_ALPHA) channels = {Grey(x, y)};
            if (type == PNG_COLOR_TYPE_RGB || type == PNG_COLOR_TYPE_RGB_ALPHA) {
                channels = {Pixel(x, y) >> 16 & 255, Pixel(x, y) >> 8 & 255, Pixel(x, y) & 255};
            }
            if (type & PNG_COLOR_MASK_ALPHA) channels.push_back(Pixel(x, y) >> 24);
            for (auto const value : channels) {
                for (int i = 0; i < depth / 8; ++i) rows[y].push_back(static_cast<std::uint8_t>(value));
            }
        }
        pointers.push_back(rows[y].data());
    }
    png_write_image(png, pointers.data());
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return file;
}

File MakeJpeg(J_COLOR_SPACE space, int channels, bool progressive) {
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
    if (progressive) jpeg_simple_progression(&info);
    jpeg_start_compress(&info, TRUE);
    for (unsigned int y = 0; y < kHeight; ++y) {
        File row;
        for (unsigned int x = 0; x < kWidth; ++x) {
            std::uint32_t const argb = Pixel(x, y);
            if (space == JCS_GRAYSCALE) row.push_back(static_cast<std::uint8_t>(Grey(x, y)));
            if (space == JCS_RGB) Put(row, (argb >> 16 & 255) | (argb & 0xFF00) | (argb & 255) << 16, 3);
            // Inverted ink without black, the way Adobe's mark announces it: the same bytes as light.
            if (space == JCS_CMYK) Put(row, (argb >> 16 & 255) | (argb & 0xFF00) | (argb & 255) << 16 | 0xFF000000u, 4);
        }
        JSAMPROW pointer = row.data();
        jpeg_write_scanlines(&info, &pointer, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    File const file(memory, memory + size);
    std::free(memory);
    return file;
}

// `kind`: 2 colours, 3 grey, 10 colours in runs. Rows from the bottom up unless `topDown`.
File MakeTga(int kind, int bits, bool topDown) {
    File file;
    for (std::uint32_t const word : {static_cast<std::uint32_t>(kind) << 16, 0u, 0u, kWidth | kHeight << 16})
        Put(file, word, 4);
    Put(file, static_cast<std::uint32_t>(bits | (topDown ? 0x2000 : 0) | (bits == 32 ? 0x800 : 0)), 2);
    for (unsigned int row = 0; row < kHeight; ++row) {
        unsigned int const y = topDown ? row : kHeight - 1 - row;
        if (kind == 10) Put(file, kWidth - 2, 1); // one literal packet of all but the last pixel
        for (unsigned int x = 0; x < kWidth; ++x) {
            if (kind == 10 && x == kWidth - 1) Put(file, 0x80, 1); // and a run of one
            Put(file, kind == 3 ? Grey(x, y) : Pixel(x, y), bits / 8);
        }
    }
    return file;
}

File MakeBmp(int bits, bool topDown) {
    File file = {'B', 'M'};
    unsigned int const pitch = (kWidth * static_cast<unsigned int>(bits) + 31) / 32 * 4;
    for (std::uint32_t const word : {54 + pitch * kHeight, 0u, 54u, 40u, kWidth, topDown ? 0u - kHeight : kHeight})
        Put(file, word, 4);
    Put(file, 1, 2);
    Put(file, static_cast<std::uint32_t>(bits), 2);
    for (int i = 0; i < 6; ++i) Put(file, 0, 4);
    for (unsigned int row = 0; row < kHeight; ++row) {
        unsigned int const y = topDown ? row : kHeight - 1 - row;
        for (unsigned int x = 0; x < kWidth; ++x) Put(file, Pixel(x, y), bits / 8);
        Put(file, 0, static_cast<int>(pitch - kWidth * static_cast<unsigned int>(bits) / 8));
    }
    return file;
}

struct DdsFormat {
    std::uint32_t flags, code, bits, red, green, blue, alpha;
};
constexpr DdsFormat kArgbDds = {0x41, 0, 32, 0x00FF0000, 0x0000FF00, 0x000000FF, 0xFF000000};
constexpr DdsFormat kDxt1Dds = {4, 0x31545844, 0, 0, 0, 0, 0};

File MakeDds(unsigned int width, unsigned int height, unsigned int levels, DdsFormat const& f, File const& data) {
    File file = {'D', 'D', 'S', ' '};
    for (std::uint32_t const word : {124u, 0x1007u, height, width, 0u, 0u, levels}) Put(file, word, 4);
    for (int i = 0; i < 11; ++i) Put(file, 0, 4);
    for (std::uint32_t const word : {32u, f.flags, f.code, f.bits, f.red, f.green, f.blue, f.alpha, 0x1000u})
        Put(file, word, 4);
    for (int i = 0; i < 4; ++i) Put(file, 0, 4);
    file.insert(file.end(), data.begin(), data.end());
    return file;
}

File ArgbBytes() {
    File bytes;
    for (unsigned int i = 0; i < kWidth * kHeight; ++i) Put(bytes, Pixel(i % kWidth, i / kWidth), 4);
    return bytes;
}

struct Sample {
    char const* what;
    File file;
    EPixelFormat format;
    unsigned int bytes; // of one pixel; 0: not checked
    int tolerance;      // of a channel
    std::function<std::uint32_t(unsigned int, unsigned int)> pixel;
};

std::uint32_t Opaque(unsigned int x, unsigned int y) { return Pixel(x, y) | 0xFF000000u; }

std::vector<Sample> const& Samples() {
    static auto const greyAlpha = [](unsigned int x, unsigned int y) { return Grey(x, y) | Pixel(x, y) >> 24 << 8; };
    static auto const grey16 = [](unsigned int x, unsigned int y) { return Grey(x, y) * 257; };
    static std::vector<Sample> const samples = {
        {"PNG of colours", MakePng(PNG_COLOR_TYPE_RGB, 8, 0), PF_X8R8G8B8, 4, 0, Opaque},
        {"PNG with alpha", MakePng(PNG_COLOR_TYPE_RGB_ALPHA, 8, 0), PF_A8R8G8B8, 4, 0, Pixel},
        {"PNG with alpha, interlaced", MakePng(PNG_COLOR_TYPE_RGB_ALPHA, 8, PNG_INTERLACE_ADAM7), PF_A8R8G8B8, 4, 0,
         Pixel},
        {"PNG of 16-bit colours", MakePng(PNG_COLOR_TYPE_RGB_ALPHA, 16, 0), PF_A8R8G8B8, 4, 0, Pixel},
        {"PNG with a palette", MakePng(PNG_COLOR_TYPE_PALETTE, 8, 0), PF_X8R8G8B8, 4, 0, Opaque},
        {"PNG of greys", MakePng(PNG_COLOR_TYPE_GRAY, 8, 0), PF_L8, 1, 0, Grey},
        {"PNG of 16-bit greys", MakePng(PNG_COLOR_TYPE_GRAY, 16, 0), PF_L16, 2, 0, grey16},
        {"PNG of greys with alpha", MakePng(PNG_COLOR_TYPE_GRAY_ALPHA, 8, 0), PF_BYTE_LA, 2, 0, greyAlpha},
        {"JPEG", MakeJpeg(JCS_RGB, 3, false), PF_X8R8G8B8, 4, 30, Opaque},
        {"JPEG, progressive", MakeJpeg(JCS_RGB, 3, true), PF_X8R8G8B8, 4, 30, Opaque},
        {"JPEG of greys", MakeJpeg(JCS_GRAYSCALE, 1, false), PF_L8, 1, 10, Grey},
        {"JPEG of inks", MakeJpeg(JCS_CMYK, 4, false), PF_X8R8G8B8, 4, 30, Opaque},
        {"TGA of colours", MakeTga(2, 24, false), PF_X8R8G8B8, 4, 0, Opaque},
        {"TGA with alpha, top down", MakeTga(2, 32, true), PF_A8R8G8B8, 4, 0, Pixel},
        {"TGA in runs", MakeTga(10, 24, false), PF_X8R8G8B8, 4, 0, Opaque},
        {"TGA of greys", MakeTga(3, 8, false), PF_L8, 1, 0, Grey},
        {"BMP of 24 bits", MakeBmp(24, false), PF_X8R8G8B8, 4, 0, Opaque},
        {"BMP of 24 bits, top down", MakeBmp(24, true), PF_X8R8G8B8, 4, 0, Opaque},
        {"DDS of 32 bits", MakeDds(kWidth, kHeight, 0, kArgbDds, ArgbBytes()), PF_A8R8G8B8, 4, 0, Pixel},
        {"DDS of DXT1 with levels", MakeDds(7, 5, 3, kDxt1Dds, File(8 * 6, 0x5A)), PF_DXT1, 0, 0, {}},
    };
    return samples;
}

// What must hold of any image that was decoded, whatever the file.
void CheckLayout(DecodedImage const& image, char const* what) {
    ASSERT_FALSE(image.levels.empty()) << what;
    EXPECT_LE(image.bytes.size(), kMaxBytes) << what;
    for (auto const& level : image.levels) {
        EXPECT_GT(level.pitch * level.rows, 0u) << what;
        EXPECT_LE(level.offset + level.pitch * level.rows, image.bytes.size()) << what;
    }
}

std::uint32_t PixelOf(DecodedImage const& image, unsigned int x, unsigned int y, unsigned int bytes,
                      std::size_t level = 0) {
    std::uint32_t pixel = 0;
    std::memcpy(&pixel, image.bytes.data() + image.levels[level].offset + y * image.levels[level].pitch + x * bytes,
                bytes);
    return pixel;
}

DecodedImage MakeImage(unsigned int width, unsigned int height, EPixelFormat format, File bytes) {
    DecodedImage image;
    image.width = width;
    image.height = height;
    image.format = format;
    image.levels = {{width, height, 0, bytes.size() / height, height}};
    image.bytes = std::move(bytes);
    return image;
}
} // namespace

TEST(Image, ReadsEveryKindOfFile) {
    for (auto const& sample : Samples()) {
        DecodedImage image;
        std::string reason;
        ASSERT_TRUE(DecodeImage(sample.file.data(), sample.file.size(), image, &reason))
            << sample.what << ": " << reason;
        EXPECT_EQ(image.width, kWidth) << sample.what;
        EXPECT_EQ(image.height, kHeight) << sample.what;
        EXPECT_EQ(image.format, sample.format) << sample.what;
        CheckLayout(image, sample.what);
        for (unsigned int i = 0; sample.bytes > 0 && i < kWidth * kHeight; ++i) {
            unsigned int const x = i % kWidth, y = i / kWidth;
            std::uint32_t const got = PixelOf(image, x, y, sample.bytes), wanted = sample.pixel(x, y);
            for (int shift = 0; shift < 32; shift += 8) {
                EXPECT_NEAR(static_cast<int>(got >> shift & 255), static_cast<int>(wanted >> shift & 255),
                            sample.tolerance)
                    << sample.what << " at " << x << ", " << y << ", bit " << shift;
            }
        }
    }
}

TEST(Image, RefusesAFileCutOffAnywhere) {
    for (auto const& sample : Samples()) {
        for (std::size_t size = 0; size < sample.file.size(); ++size) {
            File const cut(sample.file.begin(),
                           sample.file.begin() + static_cast<std::ptrdiff_t>(size)); // ends where it ends
            DecodedImage image;
            image.width = 99;
            std::string reason;
            EXPECT_FALSE(DecodeImage(cut.data(), cut.size(), image, &reason)) << sample.what << " cut at " << size;
            EXPECT_FALSE(reason.empty()) << sample.what << " cut at " << size;
            EXPECT_EQ(image.width, 99u) << sample.what << " cut at " << size;
        }
    }
}

TEST(Image, SurvivesDamage) {
    char const* const chosen = std::getenv("QK3D_SEED");
    unsigned int const seed =
        chosen ? static_cast<unsigned int>(std::strtoul(chosen, nullptr, 10)) : std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    for (auto const& sample : Samples()) {
        for (int round = 0; round < 400; ++round) {
            File file = sample.file;
            unsigned int const changes = 1 + random() % 4;
            for (unsigned int i = 0; i < changes; ++i) {
                // Half of the hits go to the head, where the sizes are.
                std::size_t const within = random() % 2 ? file.size() : std::min<std::size_t>(file.size(), 64);
                std::uint8_t const values[] = {0, 1, 0x7F, 0x80, 0xFF, static_cast<std::uint8_t>(random())};
                file[random() % within] = values[random() % std::size(values)];
            }
            DecodedImage image;
            if (!DecodeImage(file.data(), file.size(), image)) continue;
            CheckLayout(image, sample.what);
            if (ConvertToArgb(image) && MakeMipLevels(image)) CheckLayout(image, sample.what);
        }
    }
}

TEST(Image, RefusesSizesThatTheFileCannotHold) {
    auto const patched = [](File file, std::size_t at, std::initializer_list<std::uint8_t> bytes) {
        std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(at));
        return file;
    };
    auto jpeg = MakeJpeg(JCS_RGB, 3, false);
    std::size_t frame = 0;
    while (jpeg[frame] != 0xFF || jpeg[frame + 1] != 0xC0) ++frame;
    struct {
        char const* what;
        File file;
        char const* reason;
    } const rows[] = {
        {"nothing", {}, "no data"},
        {"a text",
         {'h', 'e', 'l', 'l', 'o', ',', ' ', 't', 'h', 'i', 's', ' ', 'i', 's', ' ', 't', 'e', 'x', 't'},
         "no known kind of image"},
        {"JPEG, 65500 a side", patched(jpeg, frame + 5, {0xFF, 0xDC, 0xFF, 0xDC}), "the image is too large"},
        {"JPEG, 8000 a side", patched(jpeg, frame + 5, {0x1F, 0x40, 0x1F, 0x40}),
         "JPEG: the file is too short for its size"},
        {"TGA, 8000 a side", patched(MakeTga(10, 24, false), 12, {0x40, 0x1F, 0x40, 0x1F}),
         "TGA: the file ends too early"},
        {"TGA without rows", patched(MakeTga(2, 24, false), 14, {0, 0}), "a side is 0"},
        {"BMP, lowest height", patched(MakeBmp(24, false), 22, {0, 0, 0, 0x80}), "the image is too large"},
        {"BMP, 8000 wide", patched(MakeBmp(24, false), 18, {0x40, 0x1F}), "BMP: the file ends too early"},
        {"BMP, pixels far away", patched(MakeBmp(24, false), 10, {0xFF, 0xFF, 0xFF, 0xFF}),
         "BMP: the file ends too early"},
        {"DDS, largest size", MakeDds(0xFFFFFFFFu, 0xFFFFFFFFu, 1, kArgbDds, {}), "the image is too large"},
        {"DDS, product wraps to 0", MakeDds(0x10000u, 0x10000u, 1, kArgbDds, {}), "the image is too large"},
        {"DDS, 8000 a side", MakeDds(8000, 8000, 1, kArgbDds, ArgbBytes()), "DDS: the file ends too early"},
        {"DDS of unknown layout", MakeDds(7, 5, 1, {0x41, 0, 32, 1, 2, 4, 8}, ArgbBytes()),
         "DDS: unknown pixel format"},
        {"DDS cube", patched(MakeDds(7, 5, 1, kArgbDds, ArgbBytes()), 112, {0, 0xFE}),
         "DDS: cube and volume images are not read"},
    };
    for (auto const& row : rows) {
        DecodedImage image;
        std::string reason;
        EXPECT_FALSE(DecodeImage(row.file.data(), row.file.size(), image, &reason)) << row.what;
        EXPECT_EQ(reason, row.reason) << row.what;
    }
    EXPECT_FALSE(DecodeImage(nullptr, 5, *std::make_unique<DecodedImage>()));

    // A PNG that is sound but for its size: made by libpng, then given a new header with the right sum over it.
    File png = MakePng(PNG_COLOR_TYPE_RGB, 8, 0);
    png = patched(png, 16, {0, 0, 0x1F, 0x40, 0, 0, 0x1F, 0x40});
    std::uint32_t sum = 0xFFFFFFFFu;
    for (std::size_t i = 12; i < 29; ++i) {
        sum ^= png[i];
        for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xEDB88320u : 0);
    }
    sum = ~sum;
    for (int i = 0; i < 4; ++i) png[29 + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(sum >> (24 - 8 * i));
    DecodedImage image;
    std::string reason;
    EXPECT_FALSE(DecodeImage(png.data(), png.size(), image, &reason));
    EXPECT_EQ(reason, "PNG: the file is too short for its size");
}

TEST(Image, KeepsTheFormatAndTheLevelsOfDds) {
    struct {
        char const* what;
        DdsFormat layout;
        EPixelFormat format;
        std::size_t bytes; // of a chain of 6 by 4, 3 by 2, 1 by 1
    } const rows[] = {
        {"DXT1", kDxt1Dds, PF_DXT1, (2 + 1 + 1) * 8},
        {"DXT2", {4, 0x32545844, 0, 0, 0, 0, 0}, PF_DXT2, 4 * 16},
        {"DXT5", {4, 0x35545844, 0, 0, 0, 0, 0}, PF_DXT5, 4 * 16},
        {"half floats", {4, 113, 0, 0, 0, 0, 0}, PF_FLOAT16_RGBA, 31 * 8},
        {"alpha mask without its flag", {0x40, 0, 32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000u}, PF_X8R8G8B8, 31 * 4},
        {"24 bits", {0x40, 0, 24, 0xFF0000, 0xFF00, 0xFF, 0}, PF_R8G8B8, 31 * 3},
        {"luminance with alpha", {0x20001, 0, 16, 0xFF, 0, 0, 0xFF00}, PF_BYTE_LA, 31 * 2},
        {"alpha alone", {2, 0, 8, 0, 0, 0, 0xFF}, PF_A8, 31},
    };
    for (auto const& row : rows) {
        File data(row.bytes);
        for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i);
        auto const file = MakeDds(6, 4, 99, row.layout, data); // 99 levels: no more than the size allows
        DecodedImage image;
        ASSERT_TRUE(DecodeImage(file.data(), file.size(), image)) << row.what;
        EXPECT_EQ(image.format, row.format) << row.what;
        ASSERT_EQ(image.levels.size(), 3u) << row.what;
        EXPECT_EQ(image.levels[1].width, 3u) << row.what;
        EXPECT_EQ(image.levels[2].height, 1u) << row.what;
        EXPECT_EQ(image.bytes, data) << row.what;
    }
}

TEST(Image, DecodesDxtBlocks) {
    // Colours: red 0xF800 above blue 0x001F, indices 0, 1, 2, 3 in the first row and 0 below.
    std::uint8_t const colours[8] = {0x00, 0xF8, 0x1F, 0x00, 0xE4, 0, 0, 0};
    // The two ends the other way round: three colours and a transparent one.
    std::uint8_t const punched[8] = {0x1F, 0x00, 0x00, 0xF8, 0xE4, 0, 0, 0};
    std::uint8_t const four[8] = {0x80, 0x3F, 0, 0, 0, 0, 0, 0};        // 4-bit alphas 0, 8, 15, 3
    std::uint8_t const eight[8] = {200, 60, 0x88, 0xC6, 0xFA, 0, 0, 0}; // indices 0, 1, 2, 3, 4, 5, 6, 7
    std::uint8_t const six[8] = {60, 200, 0x88, 0xC6, 0xFA, 0, 0, 0};
    struct {
        char const* what;
        EPixelFormat format;
        std::uint8_t const *alpha, *colour;
        std::vector<std::uint32_t> pixels; // the first ones
    } const rows[] = {
        {"DXT1", PF_DXT1, nullptr, colours, {0xFFFF0000, 0xFF0000FF, 0xFFAA0055, 0xFF5500AA, 0xFFFF0000}},
        {"DXT1 with a hole", PF_DXT1, nullptr, punched, {0xFF0000FF, 0xFFFF0000, 0xFF7F007F, 0x00000000}},
        {"DXT3", PF_DXT3, four, colours, {0x00FF0000, 0x880000FF, 0xFFAA0055, 0x335500AA}},
        {"DXT3 has no hole", PF_DXT3, four, punched, {0x000000FF, 0x88FF0000, 0xFF5500AA, 0x33AA0055}},
        {"DXT5, eight alphas",
         PF_DXT5,
         eight,
         colours,
         {0xC8FF0000, 0x3C0000FF, 0xB4AA0055, 0xA05500AA, 0x8CFF0000, 0x78FF0000, 0x64FF0000, 0x50FF0000}},
        {"DXT5, six alphas and the ends",
         PF_DXT5,
         six,
         colours,
         {0x3CFF0000, 0xC80000FF, 0x58AA0055, 0x745500AA, 0x90FF0000, 0xACFF0000, 0x00FF0000, 0xFFFF0000}},
    };
    for (auto const& row : rows) {
        File block;
        if (row.alpha) block.insert(block.end(), row.alpha, row.alpha + 8);
        block.insert(block.end(), row.colour, row.colour + 8);
        std::uint32_t pixels[16];
        DecodeDxtBlock(row.format, block.data(), pixels);
        for (std::size_t i = 0; i < row.pixels.size(); ++i) {
            EXPECT_EQ(pixels[i], row.pixels[i]) << row.what << ", pixel " << i << std::hex << ": " << pixels[i];
        }
    }

    // A picture whose sides are no multiples of 4 loses nothing and gains nothing.
    auto image = MakeImage(5, 1, PF_DXT1, File(16));
    std::memcpy(image.bytes.data(), colours, 8);
    std::memcpy(image.bytes.data() + 8, punched, 8);
    ASSERT_TRUE(ConvertToArgb(image));
    EXPECT_EQ(image.bytes.size(), 5u * 4);
    EXPECT_EQ(PixelOf(image, 3, 0, 4), 0xFF5500AAu);
    EXPECT_EQ(PixelOf(image, 4, 0, 4), 0xFF0000FFu);
}

TEST(Image, ConvertsEveryIntegerLayoutTo32Bits) {
    struct {
        EPixelFormat format;
        unsigned int bytes;
        std::uint32_t pixel, argb;
    } const rows[] = {
        {PF_L8, 1, 0x40, 0xFF404040},
        {PF_A4L4, 1, 0xF3, 0xFF333333},
        {PF_BYTE_LA, 2, 0x8040, 0x80404040},
        {PF_R5G6B5, 2, 0xF81F, 0xFFFF00FF},
        {PF_A4R4G4B4, 2, 0x1234, 0x11223344},
        {PF_A1R5G5B5, 2, 0x7C00, 0x00FF0000},
        {PF_R8G8B8, 3, 0x123456, 0xFF123456},
        {PF_X8R8G8B8, 4, 0x00123456, 0xFF123456},
        {PF_A8B8G8R8, 4, 0x12345678, 0x12785634},
        {PF_R8G8B8A8, 4, 0x12345678, 0x78123456},
        {PF_B8G8R8A8, 4, 0x12345678, 0x78563412},
        {PF_A2R10G10B10, 4, 0xFFF00000, 0xFFFF0000},
        {PF_R3G3B2, 1, 0xE3, 0xFFFF00FF},
    };
    for (auto const& row : rows) {
        File bytes;
        Put(bytes, row.pixel, static_cast<int>(row.bytes));
        auto image = MakeImage(1, 1, row.format, bytes);
        ASSERT_TRUE(ConvertToArgb(image)) << row.format;
        EXPECT_EQ(PixelOf(image, 0, 0, 4), row.argb)
            << "format " << row.format << std::hex << " " << PixelOf(image, 0, 0, 4);
    }
    auto floats = MakeImage(1, 1, PF_FLOAT32_R, File(4));
    EXPECT_FALSE(ConvertToArgb(floats));
    EXPECT_EQ(floats.format, PF_FLOAT32_R);
}

TEST(Image, MakesLevelsByTheMeanOfWhatAPixelCovers) {
    auto image = MakeImage(4, 2, PF_L8, {0, 10, 20, 40, 4, 6, 60, 80});
    ASSERT_TRUE(MakeMipLevels(image));
    ASSERT_EQ(image.levels.size(), 3u);
    EXPECT_EQ(image.bytes, (File{0, 10, 20, 40, 4, 6, 60, 80, 5, 50, 28}));

    auto odd = MakeImage(3, 1, PF_L8, {0, 30, 90});
    ASSERT_TRUE(MakeMipLevels(odd));
    EXPECT_EQ(odd.bytes, (File{0, 30, 90, 40})); // all three pixels count

    auto white = MakeImage(2, 2, PF_A8R8G8B8, File(16, 255));
    ASSERT_TRUE(MakeMipLevels(white, 9));
    EXPECT_EQ(white.bytes, File(20, 255)); // white stays white

    auto packed = MakeImage(2, 1, PF_R5G6B5, File(4));
    EXPECT_FALSE(MakeMipLevels(packed));
    EXPECT_EQ(packed.levels.size(), 1u);
}

TEST(Image, ColourKeyMakesExactMatchesTransparentBlack) {
    auto image = MakeImage(3, 1, PF_R8G8B8, {0xFF, 0, 0xFF, 0xFE, 0, 0xFF, 1, 2, 3});
    ASSERT_TRUE(ApplyColorKey(image, 0));
    EXPECT_EQ(image.format, PF_R8G8B8); // no key: not even converted
    ASSERT_TRUE(ApplyColorKey(image, 0xFFFF00FF));
    EXPECT_EQ(image.format, PF_A8R8G8B8);
    EXPECT_EQ(PixelOf(image, 0, 0, 4), 0u);
    EXPECT_EQ(PixelOf(image, 1, 0, 4), 0xFFFF00FEu);
    EXPECT_EQ(PixelOf(image, 2, 0, 4), 0xFF030201u);
}

TEST(Image, WritesPngThatReadsBack) {
    for (auto const format : {PF_A8R8G8B8, PF_X8R8G8B8, PF_A8B8G8R8, PF_X8B8G8R8, PF_L8}) {
        unsigned int const bytes = format == PF_L8 ? 1 : 4;
        std::size_t const pitch = kWidth * bytes + 5; // rows with room behind them
        File pixels(pitch * kHeight, 0xEE);
        for (unsigned int i = 0; i < kWidth * kHeight; ++i) {
            std::uint32_t const value = format == PF_L8 ? Grey(i % kWidth, i / kWidth) : Pixel(i % kWidth, i / kWidth);
            std::memcpy(pixels.data() + i / kWidth * pitch + i % kWidth * bytes, &value, bytes);
        }
        File file;
        ASSERT_TRUE(EncodePng(pixels.data(), kWidth, kHeight, pitch, format, file)) << format;
        DecodedImage image;
        ASSERT_TRUE(DecodeImage(file.data(), file.size(), image)) << format;
        std::uint32_t const value = Pixel(6, 4);
        std::uint32_t const swapped = (value & 0xFF00FF00u) | (value & 255) << 16 | (value >> 16 & 255);
        std::uint32_t const wanted[] = {value, value | 0xFF000000u, swapped, swapped | 0xFF000000u, Grey(6, 4)};
        std::size_t const at = format == PF_A8R8G8B8   ? 0
                               : format == PF_X8R8G8B8 ? 1
                               : format == PF_A8B8G8R8 ? 2
                               : format == PF_X8B8G8R8 ? 3
                                                       : 4;
        EXPECT_EQ(PixelOf(image, 6, 4, bytes), wanted[at]) << format;
    }
    File file = {1};
    std::uint32_t const pixel = 0;
    EXPECT_FALSE(EncodePng(&pixel, 1, 1, 4, PF_R5G6B5, file));
    EXPECT_TRUE(file.empty());
    EXPECT_FALSE(EncodePng(&pixel, 2, 1, 4, PF_A8R8G8B8, file)); // a pitch shorter than the row
    EXPECT_FALSE(EncodePng(&pixel, 0, 1, 4, PF_A8R8G8B8, file));
}
