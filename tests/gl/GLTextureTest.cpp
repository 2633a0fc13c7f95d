// GLTextureTest.cpp: textures: formats, locks, copies, files, mip levels, render textures, exact sampling.
#include "GLTestDevice.h"

#include "ImageDecoder.h"

#include <bit>
#include <cstring>
#include <random>

using namespace qk3d;

namespace {
constexpr std::uint32_t kBlack = 0xFF000000, kWhite = 0xFFFFFFFF, kRed = 0xFFFF0000, kGreen = 0xFF00FF00,
                        kBlue = 0xFF0000FF;

Picture Noise(int width, int height, unsigned seed) {
    std::mt19937 random(seed);
    Picture picture(width, height);
    for (auto& pixel : picture.pixels) pixel = static_cast<std::uint32_t>(random());
    return picture;
}

class GLTexture : public GLTest {
protected:
    /// Draws texture colours as they are, alpha too.
    void SetUp() override {
        GLTest::SetUp();
        if (!m_system) return;
        System().SetColorOP(0, StageValue(2));
        System().SetAlphaOP(0, StageValue(2));
    }

    void DrawTexture(CTexture& texture, float left, float top, float right, float bottom) {
        System().SetTexture(0, true, &texture);
        DrawQuad(ScreenQuad(left, top, right, bottom, kWhite));
        System().SetTexture(0, false, nullptr);
    }

    static std::vector<std::uint8_t> Bytes(CTexture& texture) {
        CHardwarePixelBuffer* const buffer = texture.GetPixelBuffer();
        auto const width = static_cast<int>(buffer->GetWidth()), height = static_cast<int>(buffer->GetHeight());
        CPixelBox const& box = buffer->Lock(CBox(0, 0, width, height), CHardwareBuffer::LM_READONLY);
        auto const* const first = static_cast<std::uint8_t const*>(box.m_data);
        std::vector<std::uint8_t> bytes(first, first + buffer->GetRequestMemSizeInBytes());
        buffer->Unlock();
        return bytes;
    }

    static void SetBytes(CTexture& texture, std::vector<std::uint8_t> const& bytes) {
        CHardwarePixelBuffer* const buffer = texture.GetPixelBuffer();
        void* const data = buffer->Lock(0, 0, CHardwareBuffer::LM_DISCARD);
        ASSERT_TRUE(data);
        std::memcpy(data, bytes.data(), bytes.size());
        buffer->Unlock();
    }

    std::unique_ptr<CTexture> FromFile(std::vector<std::uint8_t> const& file, EPixelFormat format = PF_UNKNOWN,
                                       unsigned width = 0, unsigned height = 0, EFilter filter = FILTER_NONE,
                                       color key = color(), unsigned levels = 1) {
        // Without a manager there is no file system, so the bytes go to the buffer directly.
        auto texture = MakeTexture(1, 1, PF_A8R8G8B8);
        auto buffer = System().GetHardwareBufferManager()->CreatePixelBuffer(width, height, format,
                                                                             CHardwareBuffer::HBU_STATIC, false, false);
        buffer->SetFilter(filter);
        buffer->SetColorKey(key);
        buffer->SetMipLevels(levels);
        auto copy = file;
        if (!buffer->CreateFromFileInMemory(copy.data(), copy.size())) return nullptr;
        texture->GetPixelBuffer() = buffer;
        return texture;
    }

    static std::vector<std::uint8_t> Png(Picture const& picture) {
        std::vector<std::uint8_t> file;
        image::EncodePng(picture.pixels.data(), static_cast<unsigned>(picture.width),
                         static_cast<unsigned>(picture.height), static_cast<std::size_t>(picture.width) * 4,
                         PF_A8R8G8B8, file);
        return file;
    }
};
} // namespace

TEST_F(GLTexture, DrawsOneToOneExactToTheByte) {
    Picture const noise = Noise(kSize, kSize, 1);
    auto const texture = MakeTexture(noise);
    DrawTexture(*texture, 0, 0, kSize, kSize);
    EXPECT_TRUE(Matches(Read(), noise));

    Clear();
    auto corners = ScreenQuad(0, 0, kSize, kSize, kWhite);
    for (auto& corner : corners) { // as the 2D layer asks: a quarter of a texel in
        corner.u = texture->ConvertToU(corner.u);
        corner.v = texture->ConvertToV(corner.v);
    }
    System().SetTexture(0, true, texture.get());
    DrawQuad(corners);
    EXPECT_TRUE(Matches(Read(), noise));

    System().SetMinFilter(0, 2);
    System().SetMagFilter(0, 2);
    for (auto& corner : corners) { // pixel centres are whole numbers, so texel centres lie half a texel in
        corner.u += 0.25f / kSize;
        corner.v += 0.25f / kSize;
    }
    Clear();
    DrawQuad(corners);
    // The rasteriser's step that keeps edges off a tie mixes in 1/256 of a neighbour.
    EXPECT_TRUE(Matches(Read(), noise, {2, 0}));
}

TEST_F(GLTexture, KeepsEveryFormatThroughTheDevice) {
    std::mt19937 random(2);
    for (unsigned number = 0; number < PF_COUNT; ++number) {
        auto const format = static_cast<EPixelFormat>(number);
        auto const& info = *GetPixelFormatInfo(format);
        bool const pvrtc = format >= PF_PVRTC_RGB2 && format <= PF_PVRTC_RGBA4;
        constexpr unsigned kWidth = 12, kHeight = 8; // whole blocks, and rows that are no multiple of four bytes
        auto const texture = MakeTexture(kWidth, kHeight, format);
        EXPECT_EQ(texture == nullptr, pvrtc) << info.name;
        if (!texture) continue;
        auto bytes = Bytes(*texture);
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
        if (info.flags & PFF_FLOAT || format == PF_DEPTH) { // any finite number from 0 to 1
            bool const half = info.componentType == PCT_FLOAT16;
            for (std::size_t i = 0; i + 3 < bytes.size(); i += half ? 2 : 4) {
                std::uint32_t const value =
                    half ? 0x3000u + bytes[i] : std::bit_cast<std::uint32_t>(static_cast<float>(bytes[i]) / 255.0f);
                std::memcpy(bytes.data() + i, &value, half ? 2 : 4);
            }
            if (half) bytes[bytes.size() - 1] = 0x30;
        }
        std::uint32_t const unused = format == PF_X8R8G8B8 || format == PF_X8B8G8R8 ? 0xFF000000u : 0;
        SetBytes(*texture, bytes);
        // A copy on the device has only what the device kept.
        auto const copy = MakeTexture(kWidth, kHeight, format);
        ASSERT_TRUE(copy->GetPixelBuffer()->BlitEx(texture->GetPixelBuffer(), nullptr, 0, nullptr)) << info.name;
        auto const back = Bytes(*copy);
        ASSERT_EQ(back.size(), bytes.size()) << info.name;
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            if (unused && i % 4 == 3) continue;
            ASSERT_EQ(back[i], bytes[i]) << info.name << " byte " << i;
        }
    }
}

TEST_F(GLTexture, ShowsTheChannelsInTheirPlaces) {
    struct {
        EPixelFormat format;
        std::vector<std::uint8_t> texel; // bytes in memory, lowest first
        std::uint32_t seen;
    } const rows[] = {
        {PF_L8, {0x40}, 0xFF404040},
        {PF_A4L4, {0x84}, 0x88444444},
        {PF_R5G6B5, {0x00, 0xF8}, 0xFFFF0000},
        {PF_A4R4G4B4, {0x34, 0x12}, 0x11223344},
        {PF_R8G8B8, {0x30, 0x20, 0x10}, 0xFF102030},
        {PF_A8R8G8B8, {0x40, 0x30, 0x20, 0x10}, 0x10203040},
        {PF_A2R10G10B10, {0xFF, 0x03, 0x00, 0xC0}, 0xFF0000FF},
        {PF_X8R8G8B8, {0x40, 0x30, 0x20, 0x10}, 0xFF203040},
        {PF_R8G8B8A8, {0x10, 0x40, 0x30, 0x20}, 0x10203040},
        {PF_R3G3B2, {0xE0}, 0xFFFF0000},
        {PF_SHORT_RGBA, {0, 0xFF, 0, 0, 0xFF, 0xFF, 0x80, 0x80}, 0x80FE00FF},
        {PF_FLOAT16_RGBA, {0x00, 0x3C, 0, 0, 0, 0, 0x00, 0x38}, 0x80FF0000},
        {PF_FLOAT32_GR, {0, 0, 0x80, 0x3F, 0, 0, 0, 0}, 0xFFFF00FF},
        {PF_DEPTH, {0, 0, 0, 0x3F}, 0xFF808080},
        {PF_DXT1, {0x00, 0xF8, 0x00, 0x00, 0, 0, 0, 0}, 0xFFFF0000},
        {PF_DXT3, {0x88, 0x88, 0x88, 0x88, 0x88, 0x88, 0x88, 0x88, 0x1F, 0x00, 0, 0, 0, 0, 0, 0}, 0x880000FF},
        {PF_DXT5, {0x40, 0x40, 0, 0, 0, 0, 0, 0, 0xE0, 0x07, 0, 0, 0, 0, 0, 0}, 0x4000FF00},
    };
    for (auto const& row : rows) {
        char const* const name = GetPixelFormatInfo(row.format)->name;
        bool const blocks = row.format >= PF_DXT1 && row.format <= PF_DXT5;
        auto const texture = MakeTexture(blocks ? 4 : 1, blocks ? 4 : 1, row.format);
        ASSERT_TRUE(texture) << name;
        SetBytes(*texture, row.texel);
        Clear();
        DrawTexture(*texture, 0, 0, 4, 4);
        Picture picture = Read(), expected(kSize, kSize, kBlack);
        expected.Fill(0, 0, 4, 4, row.seen);
        // One step for the rounding of channels that have other bits than the screen.
        EXPECT_TRUE(Matches(picture, expected, {1, 0})) << name;
    }
}

TEST_F(GLTexture, LocksRectanglesAndRefusesOthers) {
    Picture image = Noise(16, 16, 3);
    auto const texture = MakeTexture(image);
    CHardwarePixelBuffer* const buffer = texture->GetPixelBuffer();
    CPixelBox& box = buffer->Lock(CBox(5, 6, 4, 3), CHardwareBuffer::LM_NORMAL);
    ASSERT_TRUE(box.m_data);
    EXPECT_EQ(*static_cast<std::uint32_t*>(box.m_data), image.At(5, 6)) << "data points at the first pixel of the box";
    EXPECT_FALSE(buffer->Lock(CBox(0, 0, 1, 1), CHardwareBuffer::LM_NORMAL).m_data) << "refused meanwhile";
    for (unsigned y = 0; y < 3; ++y)
        for (unsigned x = 0; x < 4; ++x)
            reinterpret_cast<std::uint32_t*>(static_cast<char*>(box.m_data) + y * box.m_rowPitch)[x] = kRed;
    buffer->Unlock();
    image.Fill(5, 6, 9, 9, kRed);
    DrawTexture(*texture, 0, 0, 16, 16);
    Picture expected(kSize, kSize, kBlack);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) expected.At(x, y) = image.At(x, y);
    EXPECT_TRUE(Matches(Read(), expected)) << "only the box reached the device";

    for (auto const& outside : {CBox(-1, 0, 4, 4), CBox(13, 0, 4, 4), CBox(0, 0, 16, 17), CBox(0, 0, 0, 4)}) {
        EXPECT_FALSE(buffer->Lock(outside, CHardwareBuffer::LM_NORMAL).m_data);
        EXPECT_FALSE(buffer->IsLocked());
    }
    auto const blocks = MakeTexture(16, 16, PF_DXT1);
    EXPECT_FALSE(blocks->GetPixelBuffer()->Lock(CBox(0, 0, 4, 4), CHardwareBuffer::LM_NORMAL).m_data);
    EXPECT_EQ(blocks->GetPixelBuffer()->Lock(CBox(0, 0, 16, 16), CHardwareBuffer::LM_NORMAL).m_rowPitch, 32u);
    blocks->GetPixelBuffer()->Unlock();
}

TEST_F(GLTexture, CopiesRectanglesCutToBothSides) {
    Picture const image = Noise(16, 16, 4);
    auto const source = MakeTexture(image);
    for (EPixelFormat const format : {PF_A8R8G8B8, PF_A8B8G8R8}) {
        auto const dest = MakeTexture(32, 16, format);
        CBox const boxes[] = {CBox(0, 0, 8, 8), CBox(-2, 4, 6, 4), CBox(8, 8, 100, 100), CBox(3, 3, 0, 5)};
        Vector2 const places[] = {Vector2(20, 4), Vector2(0, 0), Vector2(28, 12), Vector2(0, 0)};
        ASSERT_TRUE(dest->GetPixelBuffer()->BlitEx(source->GetPixelBuffer(), boxes, 4, const_cast<Vector2*>(places)));
        Picture expected(kSize, kSize, kBlack);
        expected.Fill(0, 0, 32, 16, 0);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x) expected.At(20 + x, 4 + y) = image.At(x, y);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) expected.At(2 + x, y) = image.At(x, 4 + y);
        for (int y = 0; y < 4; ++y)
            for (int x = 0; x < 4; ++x) expected.At(28 + x, 12 + y) = image.At(8 + x, 8 + y);
        Clear();
        DrawTexture(*dest, 0, 0, 32, 16);
        EXPECT_TRUE(Matches(Read(), expected)) << format;
    }
    auto const blocks = MakeTexture(16, 16, PF_DXT5);
    EXPECT_FALSE(blocks->GetPixelBuffer()->BlitEx(source->GetPixelBuffer(), nullptr, 0, nullptr));
    EXPECT_FALSE(source->GetPixelBuffer()->BlitEx(blocks->GetPixelBuffer(), nullptr, 0, nullptr));

    auto const wide = MakeTexture(32, 16, PF_A8R8G8B8);
    CBox const from(4, 4, 2, 2), to(0, 8, 32, 8), beyond(30, 0, 4, 4);
    ASSERT_TRUE(System().StretchToRenderTexture(source.get(), &from, wide.get(), &to, CSamplerState::TFT_POINT));
    EXPECT_FALSE(System().StretchToRenderTexture(source.get(), &from, wide.get(), &beyond, CSamplerState::TFT_POINT));
    Picture const stretched = ReadTexture(*wide);
    EXPECT_EQ(stretched.At(0, 0), 0u);
    EXPECT_EQ(stretched.At(3, 9), image.At(4, 4));
    EXPECT_EQ(stretched.At(31, 15), image.At(5, 5));
}

TEST_F(GLTexture, NeverTurnsARenderTextureOver) {
    Picture const noise = Noise(32, 16, 5);
    auto const image = MakeTexture(noise);
    auto target = MakeTargetTexture("turned", 32, 16, PF_A8R8G8B8);
    CRenderTexture* const renderTexture = target->GetRenderTexture();
    ASSERT_TRUE(renderTexture);
    Activate(*renderTexture);
    Clear();
    DrawTexture(*image, 0, 0, 32, 16);
    EXPECT_TRUE(Matches(ReadTexture(*target), noise)) << "read through its lock";
    EXPECT_TRUE(Matches(ReadTarget(*renderTexture), noise)) << "read through a copy";
    Activate(Screen());
    DrawTexture(*target, 0, 0, 32, 16);
    Picture expected(kSize, kSize, kBlack);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 32; ++x) expected.At(x, y) = noise.At(x, y);
    EXPECT_TRUE(Matches(Read(), expected)) << "drawn";
    auto const part = MakeTexture(32, 16, PF_A8R8G8B8);
    CBox const box(0, 0, 8, 4);
    Vector2 place(24, 12);
    ASSERT_TRUE(Screen().CopyToTexture(part.get(), &box, 1, &place));
    EXPECT_EQ(ReadTexture(*part).At(24, 12), noise.At(0, 0));
    EXPECT_EQ(ReadTexture(*part).At(31, 15), noise.At(7, 3));
    ASSERT_TRUE(Screen().CopyToRenderTarget(renderTexture, &box, 1, &place));
    EXPECT_EQ(ReadTarget(*renderTexture).At(24, 12), noise.At(0, 0));
}

TEST_F(GLTexture, ResizesTargetsAndKeepsThemWhenItCannot) {
    ASSERT_TRUE(Screen().Reset(40, 20, PF_A8R8G8B8));
    Clear(kGreen);
    EXPECT_TRUE(Matches(Read(), Picture(40, 20, kGreen)));
    EXPECT_FALSE(Screen().Reset(0, 20, PF_A8R8G8B8));
    EXPECT_FALSE(Screen().Reset(1000000, 20, PF_A8R8G8B8));
    EXPECT_EQ(Screen().GetWidth(), 40u);
    Clear(kRed);
    EXPECT_TRUE(Matches(Read(), Picture(40, 20, kRed)));

    auto target = MakeTargetTexture("resized", 16, 16, PF_A8R8G8B8);
    CRenderTexture* const renderTexture = target->GetRenderTexture();
    Activate(*renderTexture);
    ASSERT_TRUE(renderTexture->Reset(24, 8, PF_X8R8G8B8));
    Clear(kBlue);
    EXPECT_TRUE(Matches(ReadTarget(*renderTexture), Picture(24, 8, kBlue)));
    EXPECT_EQ(target->GetWidth(), 24u);
    target->Unload();
    Clear(kRed); // there is nothing to draw into, which is no error
    ASSERT_TRUE(target->Load());
    Clear(kGreen);
    EXPECT_TRUE(Matches(ReadTarget(*renderTexture), Picture(24, 8, kGreen)));
}

TEST_F(GLTexture, DrawsDepthIntoATexture) {
    auto target = MakeTargetTexture("depth", 16, 16, PF_DEPTH, CTexture::TU_RENDERTARGET | CTexture::TU_DEPTHSTENCIL);
    CRenderTexture* const renderTexture = target->GetRenderTexture();
    ASSERT_TRUE(renderTexture);
    Activate(*renderTexture);
    Clear();
    System().SetZEnable(1);
    DrawQuad(ScreenQuad(0, 0, 8, 16, kRed, 0.25f));
    Activate(Screen());
    System().SetZEnable(0);
    DrawTexture(*target, 0, 0, 16, 16);
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(0, 0, 16, 16, kWhite);
    expected.Fill(0, 0, 8, 16, 0xFF404040);
    EXPECT_TRUE(Matches(Read(), expected, {1, 0}));
}

TEST_F(GLTexture, MakesMipLevelsFromFilesLocksAndDrawing) {
    Picture checks(16, 16);
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) checks.At(x, y) = (x + y) % 2 ? kWhite : kBlack;
    System().SetMipFilter(0, 1);
    auto const small = [&](CTexture& texture) {
        Clear(kRed);
        DrawTexture(texture, 0, 0, 4, 4); // a quarter of the size: level 2
        return Read().At(2, 2);
    };
    auto const isGrey = [](std::uint32_t argb, int tolerance = 1) { // half of black and white, by any rounding
        return gltest::ChannelDifference(argb, 0xFF808080) <= tolerance;
    };
    EXPECT_TRUE(isGrey(small(*FromFile(Png(checks), PF_UNKNOWN, 0, 0, FILTER_NONE, color(), 0)))) << "from a file";
    EXPECT_FALSE(isGrey(small(*FromFile(Png(checks), PF_UNKNOWN, 0, 0, FILTER_NONE, color(), 1)))) << "one level";
    EXPECT_TRUE(isGrey(small(*FromFile(Png(checks), PF_DXT1, 0, 0, FILTER_NONE, color(), 0)), 8)) << "into blocks";

    auto const locked = MakeTexture(16, 16, PF_A8R8G8B8, CTexture::TU_AUTOMIPMAP);
    CPixelBox const box(0, 0, 16, 16, PF_A8R8G8B8, checks.pixels.data(), 64, 0);
    ASSERT_TRUE(locked->GetPixelBuffer()->BlitFromMemory(box));
    EXPECT_TRUE(isGrey(small(*locked))) << "written through a lock";

    auto target = MakeTargetTexture("mipped", 16, 16, PF_A8R8G8B8, CTexture::TU_RENDERTARGET | CTexture::TU_AUTOMIPMAP);
    Activate(*target->GetRenderTexture());
    auto const image = MakeTexture(checks);
    System().SetMipFilter(0, 0);
    DrawTexture(*image, 0, 0, 16, 16);
    Activate(Screen());
    System().SetMipFilter(0, 1);
    EXPECT_TRUE(isGrey(small(*target))) << "drawn into";
    System().SetMaxMipLevel(0, 4);
    System().SetMipFilter(0, 0);
    System().SetMipFilter(0, 1);
    Clear(kRed);
    DrawTexture(*target, 0, 0, 16, 16);
    EXPECT_TRUE(isGrey(Read().At(3, 3))) << "with the largest levels shut off";
}

TEST_F(GLTexture, FitsFilesToWhatIsAskedFor) {
    Picture quarters(4, 4);
    quarters.Fill(0, 0, 2, 2, kRed);
    quarters.Fill(2, 0, 4, 2, kGreen);
    quarters.Fill(0, 2, 2, 4, kBlue);
    quarters.Fill(2, 2, 4, 4, kWhite);
    auto const png = Png(quarters);
    EXPECT_TRUE(Matches(ReadTexture(*FromFile(png, PF_A8R8G8B8)), quarters));

    Picture keyed = quarters;
    keyed.Fill(2, 0, 4, 2, 0);
    EXPECT_TRUE(Matches(ReadTexture(*FromFile(png, PF_A8R8G8B8, 0, 0, FILTER_NONE, color(kGreen))), keyed));

    Picture placed(6, 5);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x) placed.At(x, y) = quarters.At(x, y);
    EXPECT_TRUE(Matches(ReadTexture(*FromFile(png, PF_A8R8G8B8, 6, 5)), placed)) << "unscaled";
    EXPECT_TRUE(Matches(ReadTexture(*FromFile(png, PF_A8R8G8B8, 8, 8, FILTER_POINT)), [&] {
        Picture doubled(8, 8);
        for (int y = 0; y < 8; ++y)
            for (int x = 0; x < 8; ++x) doubled.At(x, y) = quarters.At(x / 2, y / 2);
        return doubled;
    }()));
    Picture const halved = ReadTexture(*FromFile(png, PF_A8R8G8B8, 2, 2, FILTER_BOX));
    EXPECT_TRUE(Matches(halved,
                        [] {
                            Picture four(2, 2);
                            four.pixels = {kRed, kGreen, kBlue, kWhite};
                            return four;
                        }()))
        << "one texel for each quarter";
    EXPECT_EQ(Bytes(*FromFile(png, PF_L8))[0], 77) << "red as grey";
    EXPECT_EQ(Bytes(*FromFile(png, PF_A8))[0], 255);
    EXPECT_EQ(Bytes(*FromFile(png, PF_R5G6B5)),
              (std::vector<std::uint8_t>{0x00, 0xF8, 0x00, 0xF8, 0xE0, 0x07, 0xE0, 0x07, 0x00, 0xF8, 0x00,
                                         0xF8, 0xE0, 0x07, 0xE0, 0x07, 0x1F, 0x00, 0x1F, 0x00, 0xFF, 0xFF,
                                         0xFF, 0xFF, 0x1F, 0x00, 0x1F, 0x00, 0xFF, 0xFF, 0xFF, 0xFF}));

    auto broken = png;
    broken.resize(broken.size() / 2);
    EXPECT_FALSE(FromFile(broken, PF_A8R8G8B8));
    EXPECT_FALSE(FromFile({1, 2, 3}, PF_A8R8G8B8));
    EXPECT_FALSE(FromFile(png, PF_A8R8G8B8, 100000, 100000));
}

TEST_F(GLTexture, SamplesByItsSamplerState) {
    Picture image(2, 1);
    image.pixels = {kRed, kBlue};
    auto const texture = MakeTexture(image);
    System().SetBorderColor(0, 0x8000FF00);
    struct {
        unsigned long mode;
        std::uint32_t seen[8]; // u from -2 to 2 in half steps, one texel each
    } const rows[] = {
        {1, {kRed, kBlue, kRed, kBlue, kRed, kBlue, kRed, kBlue}},
        {2, {kRed, kBlue, kBlue, kRed, kRed, kBlue, kBlue, kRed}},
        {3, {kRed, kRed, kRed, kRed, kRed, kBlue, kBlue, kBlue}},
        {4, {0x8000FF00, 0x8000FF00, 0x8000FF00, 0x8000FF00, kRed, kBlue, 0x8000FF00, 0x8000FF00}},
        {5, {kBlue, kBlue, kBlue, kRed, kRed, kBlue, kBlue, kBlue}},
    };
    for (auto const& row : rows) {
        System().SetAddressU(0, row.mode);
        auto corners = ScreenQuad(0, 0, 64, 8, kWhite);
        for (auto& corner : corners) corner.u = corner.u * 4 - 2;
        System().SetTexture(0, true, texture.get());
        DrawQuad(corners);
        Picture const picture = Read();
        for (int i = 0; i < 8; ++i) EXPECT_EQ(picture.At(8 * i + 4, 4), row.seen[i]) << row.mode << " at " << i;
    }
    System().SetAddressU(0, 3);
    System().SetMagFilter(0, 2);
    DrawTexture(*texture, 0, 0, 64, 8);
    EXPECT_TRUE(Matches(Read(),
                        [&] {
                            Picture expected = Read();
                            expected.At(32, 4) = 0xFF800080; // halfway between the two, give or take the half pixel
                            return expected;
                        }(),
                        {3, 0}));

    auto const grey = MakeTexture(Picture(1, 1, 0x80BCBCBC));
    System().SetSRGBTexture(0, FloatBits(1.0f));
    DrawTexture(*grey, 0, 0, 8, 8);
    EXPECT_TRUE(Matches(Picture(1, 1, Read().At(2, 2)), Picture(1, 1, 0x80808080), {1, 0}));
    System().SetSRGBTexture(0, 0);
    DrawTexture(*grey, 0, 0, 8, 8);
    EXPECT_EQ(Read().At(2, 2), 0x80BCBCBCu);
}

TEST_F(GLTexture, StretchesATextureOverAPointWithItsTopOnTop) {
    Picture quarters(2, 2);
    quarters.pixels = {kRed, kGreen, kBlue, kWhite};
    auto const texture = MakeTexture(quarters);
    System().SetTexture(0, true, texture.get());
    System().SetPointSpriteEnable(1);
    System().SetPointSize(FloatBits(16));
    auto target = MakeTargetTexture("sprites", kSize, kSize, PF_A8R8G8B8);
    for (CRenderTarget* const into :
         {static_cast<CRenderTarget*>(m_screen), static_cast<CRenderTarget*>(target->GetRenderTexture())}) {
        Activate(*into);
        Clear();
        Draw(ST_POINTLIST, std::vector<ScreenVertex>{{32, 24, 0, 1, kWhite, 0, 0}});
        Picture const picture = ReadTarget(*into);
        EXPECT_EQ(picture.At(26, 18), kRed);
        EXPECT_EQ(picture.At(38, 18), kGreen);
        EXPECT_EQ(picture.At(26, 30), kBlue);
        EXPECT_EQ(picture.At(38, 30), kWhite);
        EXPECT_EQ(picture.At(42, 24), kBlack);
    }
}

TEST_F(GLTexture, LetsGoOfTexturesThatDieWhileBound) {
    auto texture = MakeTexture(Picture(4, 4, kGreen));
    System().SetTexture(0, true, texture.get());
    DrawQuad(ScreenQuad(0, 0, 8, 8, kWhite));
    EXPECT_EQ(Read().At(2, 2), kGreen);
    texture.reset();
    DrawQuad(ScreenQuad(0, 0, 8, 8, kRed));
    EXPECT_EQ(Read().At(2, 2), kRed) << "as with no texture";
    // The next texture may get the name of the dead one.
    texture = MakeTexture(Picture(4, 4, kBlue));
    System().SetTexture(0, true, texture.get());
    DrawQuad(ScreenQuad(0, 0, 8, 8, kWhite));
    EXPECT_EQ(Read().At(2, 2), kBlue);
}

TEST_F(GLTexture, OutlivesItsDevice) {
    auto texture = MakeTexture(Picture(4, 4, kGreen));
    Shape shape(System(), ST_TRIANGLESTRIP, ScreenQuad(0, 0, 8, 8, kRed));
    shape.Draw();
    DropSystem();
    qklib::CSharePtr<CHardwarePixelBuffer> const buffer = texture->GetPixelBuffer();
    EXPECT_FALSE(const_cast<CHardwarePixelBuffer*>(static_cast<CHardwarePixelBuffer const*>(buffer))->Create());
    MakeSystem();
    EXPECT_TRUE(Matches(Read(), Picture(kSize, kSize, kBlack)));
}
