// ImageTest.cpp: image files of every kind, whole and cut short; DXT blocks, conversions and mip levels.
#include "ImageDecoder.h"

#include <array>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <numeric>

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
std::uint32_t Grey(unsigned int x, unsigned int y) { return x * 30 + y * 10; }
std::uint32_t Grey16(unsigned int x, unsigned int y) { return Grey(x, y) * 257; }
std::uint32_t GreyAlpha(unsigned int x, unsigned int y) { return Grey(x, y) | Argb(x, y) >> 24 << 8; }

// A file of the folder beside this one. Each holds one of these pictures.
File Sample(std::string const& name) {
    std::ifstream file(QK3D_SAMPLES "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

template <class T>
File Patched(File file, std::size_t at, std::vector<T> const& values) {
    auto const* from = reinterpret_cast<std::uint8_t const*>(values.data());
    for (std::size_t i = 0; i < values.size() * sizeof(T); ++i) file.at(at + i) = from[i];
    return file;
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
    struct {
        char const* name;
        EPixelFormat format;
        int tolerance; // of a channel
        Picture* picture;
    } const rows[] = {
        {"interlaced.png", PF_A8R8G8B8, 0, Argb},
        {"deep.png", PF_A8R8G8B8, 0, Argb},
        {"palette.png", PF_X8R8G8B8, 0, Opaque},
        {"deep-grey.png", PF_L16, 0, Grey16},
        {"grey-alpha.png", PF_BYTE_LA, 0, GreyAlpha},
        {"colours.jpg", PF_X8R8G8B8, 30, Opaque},
        {"inks-progressive.jpg", PF_X8R8G8B8, 30, Opaque},
        {"top-down.tga", PF_A8R8G8B8, 0, Argb},
        {"runs.tga", PF_X8R8G8B8, 0, Opaque},
        {"grey.tga", PF_L8, 0, Grey},
        {"colours.bmp", PF_X8R8G8B8, 0, Opaque},
        {"top-down.bmp", PF_X8R8G8B8, 0, Opaque},
        {"colours.dds", PF_A8R8G8B8, 0, Argb},
    };
    for (auto const& row : rows) {
        File const file = Sample(row.name);
        DecodedImage image;
        std::string reason;
        ASSERT_TRUE(DecodeImage(file.data(), file.size(), image, &reason)) << row.name << reason;
        EXPECT_TRUE(image.width == kWidth && image.height == kHeight && image.format == row.format) << row.name;
        for (unsigned int x = 0; x < kWidth; ++x)
            for (unsigned int y = 0; y < kHeight; ++y)
                for (int shift = 0; shift < 32; shift += 8)
                    EXPECT_NEAR(static_cast<int>(PixelOf(image, x, y) >> shift & 255),
                                static_cast<int>(row.picture(x, y) >> shift & 255), row.tolerance)
                        << row.name << " at " << x << ", " << y << ", bit " << shift;
        for (std::size_t size = 0; size < file.size(); ++size) {
            File const cut(file.data(), file.data() + size); // ends where it ends
            image.width = 99;
            reason.clear();
            EXPECT_FALSE(DecodeImage(cut.data(), cut.size(), image, &reason)) << row.name << " cut at " << size;
            EXPECT_TRUE(!reason.empty() && image.width == 99) << row.name << " cut at " << size;
        }
    }
}

TEST(Image, RefusesSizesThatTheFileCannotHold) {
    File const jpeg = Sample("colours.jpg"), bmp = Sample("top-down.bmp"), dds = Sample("colours.dds");
    using B = std::vector<std::uint8_t>;
    constexpr std::size_t kJpegSize = 163; // behind the mark of its frame
    struct {
        char const* what;
        File file;
        char const* reason;
    } const rows[] = {
        {"nothing", {}, "no data"},
        {"a text", File(18, 'x'), "no known kind of image"},
        {"PNG, 8000 a side and sound but for that", // with the right sum over its new header
         Patched(Sample("deep-grey.png"), 16, B{0, 0, 31, 64, 0, 0, 31, 64, 16, 0, 0, 0, 0, 0x73, 0x0A, 0x2E, 0x6B}),
         "PNG: the file is too short for its size"},
        {"JPEG, 65500", Patched(jpeg, kJpegSize, B{0xFF, 0xDC, 0xFF, 0xDC}), "the image is too large"},
        {"JPEG, 8000", Patched(jpeg, kJpegSize, B{31, 64, 31, 64}), "JPEG: the file is too short for its size"},
        {"TGA, 8000 a side", Patched(Sample("runs.tga"), 12, B{64, 31, 64, 31}), "TGA: the file ends too early"},
        {"BMP, lowest height", Patched(bmp, 22, B{0, 0, 0, 0x80}), "the image is too large"},
        {"BMP, pixels far away", Patched(bmp, 10, B{255, 255, 255, 255}), "BMP: the file ends too early"},
        {"DDS, product wraps to 0", Patched(dds, 12, B{0, 0, 1, 0, 0, 0, 1, 0}), "the image is too large"},
        {"DDS, a mask of 1", Patched(dds, 92, B{1, 0, 0}), "DDS: unknown pixel format"},
        {"DDS cube", Patched(dds, 112, B{0, 0xFE}), "DDS: cube and volume images are not read"},
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
        std::vector<std::uint32_t> layout; // flags, four letters, bits, masks of red, green, blue, alpha
        EPixelFormat format;
        std::size_t bytes; // of a chain of 6 by 4, 3 by 2, 1 by 1
    } const rows[] = {
        {{4, 0x31545844, 0, 0, 0, 0, 0}, PF_DXT1, (2 + 1 + 1) * 8},
        {{4, 113, 0, 0, 0, 0, 0}, PF_FLOAT16_RGBA, 31 * 8},
        {{0x40, 0, 32, 0xFF0000, 0xFF00, 0xFF, 0xFF000000u}, PF_X8R8G8B8, 31 * 4}, // an alpha mask without its flag
        {{0x20001, 0, 16, 0xFF, 0, 0, 0xFF00}, PF_BYTE_LA, 31 * 2},
    };
    File dds = Sample("colours.dds");
    dds.resize(128);
    // 99 levels: no more than the size allows.
    dds = Patched(Patched(dds, 12, std::vector<std::uint32_t>{4, 6}), 28, std::vector<std::uint32_t>{99});
    for (auto const& row : rows) {
        File data(row.bytes), file = Patched(dds, 80, row.layout);
        std::iota(data.begin(), data.end(), std::uint8_t(0));
        file.insert(file.end(), data.begin(), data.end());
        DecodedImage image;
        ASSERT_TRUE(DecodeImage(file.data(), file.size(), image)) << row.format;
        EXPECT_EQ(image.format, row.format);
        EXPECT_TRUE(image.levels.size() == 3 && image.levels[1].width == 3) << row.format;
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
    auto const join = [](File left, File const& right) {
        left.insert(left.end(), right.begin(), right.end());
        return left;
    };
    auto const decode = [&](EPixelFormat format, File const& alphas, File const& block) {
        Row pixels;
        DecodeDxtBlock(format, join(alphas, block).data(), pixels.data());
        std::fill(pixels.begin() + 8, pixels.end(), 0u);
        return pixels;
    };
    constexpr std::uint32_t kRed = 0xFFFF0000, kBlue = 0xFF;
    EXPECT_EQ(decode(PF_DXT1, {}, colours), (Row{kRed, 0xFF0000FF, 0xFFAA0055, 0xFF5500AA, kRed, kRed, kRed, kRed}));
    EXPECT_EQ(decode(PF_DXT3, four, punched), // has no hole
              (Row{kBlue, 0x88FF0000, 0xFF5500AA, 0x33AA0055, kBlue, kBlue, kBlue, kBlue}));
    EXPECT_EQ(decode(PF_DXT5, eight, colours),
              (Row{0xC8FF0000, 0x3C0000FF, 0xB4AA0055, 0xA05500AA, 0x8CFF0000, 0x78FF0000, 0x64FF0000, 0x50FF0000}));
    EXPECT_EQ(decode(PF_DXT5, six, colours),
              (Row{0x3CFF0000, 0xC80000FF, 0x58AA0055, 0x745500AA, 0x90FF0000, 0xACFF0000, 0x00FF0000, 0xFFFF0000}));

    // A picture whose sides are no multiples of 4 loses nothing and gains nothing.
    auto image = MakeImage(5, PF_DXT1, join(colours, punched));
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
    File pixels(2 * 12), file; // rows of two pixels, with room behind them
    std::iota(pixels.begin(), pixels.end(), std::uint8_t(1));
    ASSERT_TRUE(EncodePng(pixels.data(), 2, 2, 12, PF_A8B8G8R8, file));
    DecodedImage image;
    ASSERT_TRUE(DecodeImage(file.data(), file.size(), image));
    EXPECT_EQ(PixelOf(image, 1, 1), 0x14111213u);
    EXPECT_FALSE(EncodePng(pixels.data(), 1, 1, 4, PF_R5G6B5, file));
    EXPECT_TRUE(file.empty());
    EXPECT_FALSE(EncodePng(pixels.data(), 2, 1, 4, PF_A8R8G8B8, file)); // a pitch shorter than the row
    EXPECT_FALSE(EncodePng(pixels.data(), 0, 1, 4, PF_A8R8G8B8, file));
}
