// PixelTest.cpp: the format table, pixel boxes, and the scaler against a slow twin.
#include "../src/QK3DScalePixelboxInternal.h"
#include "QK3DPixelBox.h"
#include "TestLog.h"
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace {
using namespace qk3d;

using Bytes = std::vector<unsigned char>;

std::mt19937 MakeRandom() {
    unsigned int const seed = std::random_device{}();
    ::testing::Test::RecordProperty("seed", std::to_string(seed));
    std::printf("seed %u\n", seed);
    return std::mt19937(seed);
}

// A block of random pixels with some room behind each row, so that a walk by the wrong pitch is seen.
struct Image {
    Image(std::mt19937& random, int width, int height, EPixelFormat format, unsigned int room = 5)
        : box(0, 0, width, height, format, nullptr,
              static_cast<unsigned int>(static_cast<unsigned long long>(width) * GetPixelFormatBytes(format)) + room,
              0),
          bytes(static_cast<std::size_t>(height) * box.m_rowPitch) {
        for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random());
        box.m_data = bytes.data();
    }
    unsigned char* At(long long x, long long y) {
        return bytes.data() + static_cast<std::size_t>(y * box.m_rowPitch + x * (box.m_bitsPerPixel / 8));
    }
    CPixelBox box;
    Bytes bytes;
};

// The rules of the scaler once more, one byte at a time. Writes over the pixels of `dest` and nothing else.
void ScaleSlowly(Image& source, Image& dest, bool isBilinear) {
    long long const sw = source.box.width, sh = source.box.height, dw = dest.box.width, dh = dest.box.height;
    std::size_t const size = source.box.m_bitsPerPixel / 8;
    for (long long y = 0; y < dh; ++y) {
        for (long long x = 0; x < dw; ++x) {
            unsigned char* const to = dest.At(x, y);
            if (!isBilinear) {
                long long const column = std::min(x * ((sw << 16) / dw + 1) >> 16, sw - 1);
                long long const row = std::min(y * ((sh << 16) / dh + 1) >> 16, sh - 1);
                std::memcpy(to, source.At(column, row), size);
                continue;
            }
            long long const px = x * (((sw - 1) << 16) / dw), py = y * (((sh - 1) << 16) / dh);
            int const tx = px >> 8 & 255, ty = py >> 8 & 255, br = tx * ty >> 8;
            unsigned char const* const a = source.At(px >> 16, py >> 16);
            unsigned char const* const b = source.At((px >> 16) + 1, py >> 16);
            unsigned char const* const c = source.At(px >> 16, (py >> 16) + 1);
            unsigned char const* const d = source.At((px >> 16) + 1, (py >> 16) + 1);
            for (int i = 0; i < 4; ++i)
                to[i] = static_cast<unsigned char>(
                    (a[i] * (256 - tx - ty + br) + b[i] * (tx - br) + c[i] * (ty - br) + d[i] * br) >> 8);
        }
    }
}

TEST(PixelFormat, TellsWhatAFormatIsMadeOf) {
    EXPECT_EQ(GetPixelFormatBits(PF_FLOAT32_RGBA), 128u);
    EXPECT_EQ(GetPixelFormatBytes(PF_DXT1), 0u);
    struct { EPixelFormat format; bool alpha; unsigned int r, g, b, a, redShift; } const rows[] = {
        {PF_A8R8G8B8, true, 0xFF0000, 0xFF00, 0xFF, 0xFF000000, 16},
        {PF_X8R8G8B8, false, 0xFF0000, 0xFF00, 0xFF, 0xFF000000, 16},
        {PF_B8G8R8A8, true, 0xFF00, 0xFF0000, 0xFF000000, 0xFF, 8},
        {PF_A4L4, true, 0x0F, 0, 0, 0xF0, 0},
        {PF_A1R5G5B5, true, 0x7C00, 0x3E0, 0x1F, 0x8000, 10},
        {PF_R3G3B2, false, 0xE0, 0x1C, 0x3, 0, 5},
        {PF_SHORT_GR, false, 0xFFFF, 0xFFFF0000, 0, 0, 0},
        {PF_DXT1, true, 0, 0, 0, 0, 0},
    };
    for (auto const& row : rows) {
        PixelFormatInfo const& info = *GetPixelFormatInfo(row.format);
        EXPECT_EQ(IsPixelFormatHasAlpha(row.format), row.alpha) << info.name;
        EXPECT_EQ(info.redMask, row.r) << info.name;
        EXPECT_EQ(info.greenMask, row.g) << info.name;
        EXPECT_EQ(info.blueMask, row.b) << info.name;
        EXPECT_EQ(info.alphaMask, row.a) << info.name;
        EXPECT_EQ(info.redShift, row.redShift) << info.name;
    }
}

TEST(PixelFormat, LogsAndRefusesWhatIsPastTheTable) {
    CTestLog log;
    EXPECT_EQ(GetPixelFormatBytes(PF_COUNT), std::numeric_limits<unsigned long long>::max());
    EXPECT_FALSE(IsPixelFormatHasAlpha(static_cast<EPixelFormat>(4711)));
    EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_ERROR, "Out of range"}, {qklib::LOG_ERROR, "Out of range"}}));
}

TEST(PixelFormat, ReadsScriptNamesOfFormatsAndFilters) {
    struct { char const* name; EPixelFormat format; } const formats[] = {
        {" a8r8g8b8\t", PF_A8R8G8B8}, {"byterGb", PF_R8G8B8},   {"BYTEBGRA", PF_B8G8R8A8}, {"ByteRGBA", PF_R8G8B8A8},
        {"FLOAT16GR", PF_FLOAT16_GR}, {"SHORTL", PF_L16},       {"COUNT", PF_COUNT},       {"PF_A8R8G8B8", PF_UNKNOWN},
        {"", PF_UNKNOWN},             {"A8 R8G8B8", PF_UNKNOWN}, {" \n", PF_UNKNOWN},
    };
    for (auto const& row : formats) EXPECT_EQ(StringToPixelFormat(row.name), row.format) << row.name;
    struct { char const* name; unsigned int filter; } const filters[] = {
        {"mirror", 458752}, {"\rBox ", 5}, {"DITHER", 524288}, {"", 1}, {"NOTHING", 1},
    };
    for (auto const& row : filters) EXPECT_EQ(StringToFilterMode(row.name), row.filter) << row.name;
}

TEST(PixelBox, TakesARangeWithoutItsPixels) {
    int pixels[4] = {};
    CPixelBox box(1, 2, 2, 2, PF_A8R8G8B8, pixels, 8, 16);
    box = CBox(5, 6, 1, 1);
    EXPECT_EQ(box.x, 5);
    EXPECT_EQ(box.m_data, pixels);
    EXPECT_EQ(box.m_rowPitch, 8u);
}

TEST(PixelBox, MovesItsPointerForAPartAndRefusesWhatIsOutside) {
    int pixels[16] = {};
    CPixelBox const box(10, 20, 4, 4, PF_A8R8G8B8, pixels, 16, 0);
    struct { char const* what; CBox range; int pixel; } const rows[] = {
        {"all of it", CBox(10, 20, 4, 4), 0},
        {"the last pixel", CBox(13, 23, 1, 1), 15},
        {"a row", CBox(10, 21, 4, 1), 4},
        {"too wide", CBox(11, 20, 4, 1), -1},
        {"before the start", CBox(9, 20, 1, 1), -1},
        {"a sum that leaves 32 bits", CBox(11, 20, std::numeric_limits<int>::max(), 1), -1},
        {"below zero", CBox(10, 20, -1, 1), -1},
    };
    for (auto const& row : rows) {
        void* const wanted = row.pixel < 0 ? nullptr : pixels + row.pixel;
        EXPECT_EQ(box.GetSubBox(row.range).m_data, wanted) << row.what;
    }
}

TEST(Scale, EqualsItsTwinForEveryFormatAndSize) {
    std::mt19937 random = MakeRandom();
    EPixelFormat const formats[] = {PF_A8R8G8B8, PF_X8B8G8R8,    PF_L8,           PF_R5G6B5, PF_R8G8B8, PF_A2R10G10B10,
                                    PF_B8G8R8A8, PF_FLOAT16_RGB, PF_FLOAT32_RGBA, PF_DEPTH,  PF_SHORT_RGBA, PF_FLOAT32_RGB};
    for (int round = 0; round < 600; ++round) {
        EPixelFormat const format = formats[random() % std::size(formats)];
        auto const side = [&] { return 1 + static_cast<int>(random() % (random() % 4 ? 9 : 90)); };
        Image source(random, side(), side(), format, random() % 7);
        Image dest(random, side(), side(), format, random() % 7);
        EScaleMode const mode = random() % 3 ? SM_BILINEAR : SM_POINT;
        Image expected = dest;
        expected.box.m_data = expected.bytes.data();
        bool const isSame = source.box.width == dest.box.width && source.box.height == dest.box.height;
        bool const blends = mode == SM_BILINEAR && GetPixelFormatInfo(format)->redBits == 8 &&
                            GetPixelFormatBytes(format) == 4 && source.box.width > 1 && source.box.height > 1;
        ScaleSlowly(source, expected, blends && !isSame);
        ScalePixelbox(source.box, dest.box, mode);
        ASSERT_EQ(dest.bytes, expected.bytes) << GetPixelFormatInfo(format)->name << " " << source.box.width << "x"
                                              << source.box.height << " to " << dest.box.width << "x"
                                              << dest.box.height << " mode " << mode;
    }
}

TEST(Scale, BlendsTheSameBytesWithAndWithoutTheVectorUnit) {
    std::mt19937 random = MakeRandom();
    Bytes upper(64 * 4), lower(64 * 4);
    for (int round = 0; round < 2000; ++round) {
        // Extremes too: 255 times a weight of 256 is where a lane is full.
        int const kind = static_cast<int>(random() % 3);
        auto const byte = [&] { return static_cast<unsigned char>(kind == 0 ? 255 : kind == 1 ? random() % 2 * 255 : random()); };
        for (unsigned char& b : upper) b = byte();
        for (unsigned char& b : lower) b = byte();
        std::size_t const count = random() % 20;
        std::vector<std::uint32_t> sources(count);
        std::vector<std::uint64_t> weights(count);
        for (std::uint32_t& source : sources) source = static_cast<std::uint32_t>(random() % 63);
        for (std::uint64_t& weight : weights) weight = random() % 256 * kEachLane;
        ScaleColumns const columns = {sources.data(), weights.data()};
        std::uint32_t const ty = random() % 256;
        Bytes plain(count * 4), fast(count * 4);
        BlendRowPlain(upper.data(), lower.data(), ty, columns, count, plain.data());
        BlendRow(upper.data(), lower.data(), ty, columns, count, fast.data());
        ASSERT_EQ(plain, fast) << "round " << round;
    }
}

TEST(Scale, StaysInItsRowsForFarEnlargements) {
    // Positions grow a little too fast, by rule; from one pixel to very many they would leave the source.
    std::mt19937 random = MakeRandom();
    Image source(random, 1, 1, PF_L8, 0);
    Image dest(random, 70000, 1, PF_L8, 0);
    ScalePixelbox(source.box, dest.box, SM_POINT);
    EXPECT_EQ(dest.bytes, Bytes(70000, source.bytes[0]));

    Image wide(random, 70000, 2, PF_L8, 0); // a width that does not fit 16.16
    Image narrow(random, 2, 1, PF_L8, 0);
    ScalePixelbox(wide.box, narrow.box, SM_POINT);
    EXPECT_EQ(narrow.bytes[1], wide.bytes[35000]);
}

TEST(Scale, CompletesAnEmptyBoxAndAllocatesOnlyForAnEqualRange) {
    std::mt19937 random = MakeRandom();
    Image source(random, 3, 2, PF_R5G6B5);
    CPixelBox dest(0, 0, 3, 2, PF_UNKNOWN, nullptr, 0, 0);
    ScalePixelbox(source.box, dest, SM_BILINEAR);
    ASSERT_NE(dest.m_data, nullptr);
    EXPECT_EQ(dest.m_format, PF_R5G6B5);
    EXPECT_EQ(dest.m_rowPitch, source.box.m_rowPitch);
    EXPECT_EQ(std::memcmp(static_cast<unsigned char*>(dest.m_data) + dest.m_rowPitch, source.At(0, 1), 6), 0);
    std::free(dest.m_data);

    CPixelBox other(0, 0, 2, 2, PF_UNKNOWN, nullptr, 0, 0);
    ScalePixelbox(source.box, other, SM_BILINEAR);
    EXPECT_EQ(other.m_data, nullptr);
    EXPECT_EQ(other.m_bitsPerPixel, 16u);
}

TEST(Scale, LeavesTheDestinationAloneWhereNothingFits) {
    std::mt19937 random = MakeRandom();
    struct { char const* what; void (*change)(Image& source, Image& dest); } const rows[] = {
        {"another format", [](Image&, Image& dest) { dest.box.m_format = PF_A8B8G8R8; }},
        {"another bit count", [](Image&, Image& dest) { dest.box.m_bitsPerPixel = 16; }},
        {"no such mode", [](Image&, Image&) {}},
        {"no data", [](Image& source, Image&) { source.box.m_data = nullptr; }},
        {"no width", [](Image& source, Image&) { source.box.width = 0; }},
        {"a height below zero", [](Image& source, Image&) { source.box.height = -3; }},
        {"no room to write to", [](Image&, Image& dest) { dest.box.height = 0; }},
        {"a source pitch below its row", [](Image& source, Image&) { source.box.m_rowPitch = 11; }},
        {"a destination pitch below its row", [](Image&, Image& dest) { dest.box.m_rowPitch = 7; }},
        {"a compressed format", [](Image& source, Image& dest) {
             source.box.m_format = dest.box.m_format = PF_DXT5;
             source.box.m_bitsPerPixel = dest.box.m_bitsPerPixel = 0;
         }},
    };
    for (auto const& row : rows) {
        Image source(random, 3, 3, PF_A8R8G8B8);
        Image dest(random, 2, 2, PF_A8R8G8B8);
        Bytes const before = dest.bytes;
        row.change(source, dest);
        ScalePixelbox(source.box, dest.box, std::strcmp(row.what, "no such mode") ? SM_BILINEAR : EScaleMode(7));
        EXPECT_EQ(dest.bytes, before) << row.what;
    }
}

TEST(Scale, CopiesCompressedBlocksOfEqualSize) {
    // 5x5 in DXT1: two by two blocks of eight bytes.
    Bytes from(32), to(2 * 20, 0);
    for (std::size_t i = 0; i < from.size(); ++i) from[i] = static_cast<unsigned char>(i + 1);
    CPixelBox const source(0, 0, 5, 5, PF_DXT1, from.data(), 16, 0);
    CPixelBox dest(0, 0, 5, 5, PF_DXT1, to.data(), 20, 0);
    ScalePixelbox(source, dest, SM_BILINEAR);
    EXPECT_TRUE(std::equal(from.begin(), from.begin() + 16, to.begin()));
    EXPECT_TRUE(std::equal(from.begin() + 16, from.end(), to.begin() + 20));
    EXPECT_EQ(to[16], 0);
}
} // namespace
