// PixelTest.cpp: the format table, pixel boxes, and the scaler against a slow twin.
#include "../src/QK3DScalePixelboxInternal.h"
#include "QK3DPixelBox.h"
#include "TestLog.h"
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace {
using namespace qk3d;

using Bytes = std::vector<unsigned char>;

// A block of random pixels with some room behind each row, so that a walk by the wrong pitch is seen.
struct Image {
    Image(std::mt19937& random, int width, int height, EPixelFormat format, unsigned int room = 5)
        : box(0, 0, width, height, format, nullptr,
              static_cast<unsigned int>(static_cast<unsigned long long>(width) * GetPixelFormatBytes(format)) + room,
              0),
          bytes(static_cast<std::size_t>(height) * box.m_rowPitch) {
        bool const isExtreme = random() % 2; // 255 times a weight of 256 is where a lane of a vector is full
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(isExtreme ? random() % 8 ? 255 : 0 : random());
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

TEST(PixelFormat, IsReadFromScriptsAndRefusedPastTheTable) {
    EXPECT_EQ(StringToPixelFormat(" a8r8g8b8\t"), PF_A8R8G8B8);
    for (char const* none : {"", "PF_A8R8G8B8", "A8 R8G8B8"}) EXPECT_EQ(StringToPixelFormat(none), PF_UNKNOWN) << none;
    EXPECT_EQ(StringToFilterMode("\rmirror "), 458752u);
    CTestLog log;
    EXPECT_EQ(GetPixelFormatBytes(PF_COUNT), std::numeric_limits<unsigned long long>::max());
    EXPECT_FALSE(IsPixelFormatHasAlpha(static_cast<EPixelFormat>(4711)));
    EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_ERROR, "Out of range"}, {qklib::LOG_ERROR, "Out of range"}}));
}

TEST(Scale, EqualsItsTwinForEveryFormatAndSize) {
    unsigned int const seed = std::random_device{}();
    std::mt19937 random(seed);
    EPixelFormat const formats[] = {PF_A8R8G8B8,    PF_X8B8G8R8, PF_L8,          PF_R5G6B5,       PF_R8G8B8,
                                    PF_A2R10G10B10, PF_B8G8R8A8, PF_FLOAT16_RGB, PF_FLOAT32_RGBA, PF_SHORT_RGBA};
    for (int round = 0; round < 600; ++round) {
        EPixelFormat const format = formats[random() % std::size(formats)];
        int sides[] = {0, 0, 0, 0};
        for (int& side : sides) side = 1 + static_cast<int>(random() % (random() % 4 ? 9 : 90));
        // Positions grow a little too fast, by rule; from one pixel to very many they would leave the source. And a width
        // may not fit 16.16.
        if (round < 20) sides[round % 2 * 2] = 70000;
        Image source(random, sides[2], sides[3], format, random() % 7);
        Image dest(random, sides[0], sides[1], format, random() % 7);
        EScaleMode const mode = random() % 3 ? SM_BILINEAR : SM_POINT;
        Image expected = dest;
        expected.box.m_data = expected.bytes.data();
        bool const isSame = source.box.width == dest.box.width && source.box.height == dest.box.height;
        bool const blends = mode == SM_BILINEAR && GetPixelFormatInfo(format)->redBits == 8 &&
                            GetPixelFormatBytes(format) == 4 && source.box.width > 1 && source.box.height > 1;
        ScaleSlowly(source, expected, blends && !isSame);
        ScalePixelbox(source.box, dest.box, mode);
        ASSERT_TRUE(dest.bytes == expected.bytes) << "seed " << seed << ", round " << round << ", mode " << mode;
    }
}

TEST(Scale, LeavesTheDestinationAloneWhereNothingFits) {
    std::mt19937 random(1);
    void (*const changes[])(CPixelBox & source, CPixelBox & dest) = {
        [](CPixelBox&, CPixelBox& dest) { dest.m_format = PF_A8B8G8R8; },
        [](CPixelBox& source, CPixelBox&) { source.m_data = nullptr; },
        [](CPixelBox& source, CPixelBox&) { source.height = -3; },
        [](CPixelBox& source, CPixelBox&) { source.m_rowPitch = 11; }, // below its row
        [](CPixelBox&, CPixelBox& dest) { dest.m_rowPitch = 7; },
        [](CPixelBox& source, CPixelBox& dest) {
            source.m_format = dest.m_format = PF_DXT5;
            source.m_bitsPerPixel = dest.m_bitsPerPixel = 0;
        },
    };
    Image const source(random, 3, 3, PF_A8R8G8B8), dest(random, 2, 2, PF_A8R8G8B8);
    Bytes const before = dest.bytes;
    for (auto const& change : changes) {
        CPixelBox from = source.box, to = dest.box;
        change(from, to);
        ScalePixelbox(from, to, SM_BILINEAR);
        EXPECT_EQ(dest.bytes, before) << "change " << &change - changes;
    }
    CPixelBox to = dest.box;
    ScalePixelbox(source.box, to, EScaleMode(7));
    EXPECT_EQ(dest.bytes, before);
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
