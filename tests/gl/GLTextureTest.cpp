// GLTextureTest.cpp: textures: formats, locks, copies, files, mip levels, render textures, exact sampling.
#include "GLTestDevice.h"

using namespace qk3d;

namespace {
class GLTexture : public GLTest {
protected:
    /// Draws texture colours as they are, alpha too.
    void SetUp() override {
        GLTest::SetUp();
        System().SetColorOP(0, StageValue(2));
        System().SetAlphaOP(0, StageValue(2));
    }

    void DrawTexture(CTexture& texture, float width, float height) {
        System().SetTexture(0, true, &texture);
        DrawQuad(ScreenQuad(0, 0, width, height, kWhite));
        System().SetTexture(0, false, nullptr);
    }

    /// Two by two pixels, each as a square of that size.
    static Picture Quarters(int size) {
        Picture picture(2 * size, 2 * size, kRed);
        picture.Fill(size, 0, 2 * size, size, kGreen);
        picture.Fill(0, size, size, 2 * size, kBlue);
        picture.Fill(size, size, 2 * size, 2 * size, kWhite);
        return picture;
    }

    testing::AssertionResult ShowsOnBlack(Picture const& picture) {
        Picture expected(kSize, kSize, kBlack);
        expected.Paste(picture, 0, 0);
        return Matches(Read(), expected);
    }

    struct Wish {
        EPixelFormat format = PF_A8R8G8B8;
        unsigned width = 0, height = 0;
        EFilter filter = FILTER_NONE;
        color key = color();
        unsigned levels = 1;
    };
    std::unique_ptr<CTexture> FromFile(std::vector<std::uint8_t> file, Wish const& wish) {
        // Without a manager there is no file system, so the bytes go to the buffer directly.
        auto texture = MakeTexture(1, 1, PF_A8R8G8B8);
        auto buffer = System().GetHardwareBufferManager()->CreatePixelBuffer(wish.width, wish.height, wish.format,
                                                                             CHardwareBuffer::HBU_STATIC, false, false);
        buffer->SetFilter(wish.filter);
        buffer->SetColorKey(wish.key);
        buffer->SetMipLevels(wish.levels);
        if (!buffer->CreateFromFileInMemory(file.data(), file.size())) return nullptr;
        texture->GetPixelBuffer() = buffer;
        return texture;
    }
};
} // namespace

TEST_F(GLTexture, IsNeverTurnedOver) {
    Picture const noise = gltest::Noise(kSize, kSize);
    auto target = MakeTargetTexture("turned", kSize, kSize, PF_A8R8G8B8);
    CRenderTexture* const renderTexture = target->GetRenderTexture();
    Activate(*renderTexture);
    DrawTexture(*MakeTexture(noise), kSize, kSize);
    EXPECT_TRUE(Matches(ReadTexture(*target), noise)) << "read through its lock";
    Activate(Screen());
    DrawTexture(*target, kSize, kSize);
    EXPECT_TRUE(Matches(Read(), noise)) << "drawn";

    CBox const box(0, 0, 8, 4);
    Vector2 place(24, 12);
    ASSERT_TRUE(Screen().CopyToRenderTarget(renderTexture, &box, 1, &place));
    Picture const copy = ReadTarget(*renderTexture);
    EXPECT_EQ(copy.At(24, 12), noise.At(0, 0));
    EXPECT_EQ(copy.At(31, 15), noise.At(7, 3));
}

TEST_F(GLTexture, KeepsEveryFormatThroughTheDevice) {
    std::mt19937 random(2);
    for (unsigned number = 0; number < PF_COUNT; ++number) {
        auto const format = static_cast<EPixelFormat>(number);
        auto const& info = *GetPixelFormatInfo(format);
        constexpr unsigned kWidth = 12, kHeight = 8; // whole blocks, and rows that are no multiple of four bytes
        auto const texture = MakeTexture(kWidth, kHeight, format), copy = MakeTexture(kWidth, kHeight, format);
        EXPECT_EQ(texture == nullptr, format >= PF_PVRTC_RGB2 && format <= PF_PVRTC_RGBA4) << info.name;
        if (!texture) continue;
        auto bytes = ReadBytes(*texture);
        bool const isFloat = info.flags & PFF_FLOAT || format == PF_DEPTH; // finite ones, below 1
        for (auto& byte : bytes) byte = static_cast<std::uint8_t>(isFloat ? 0x30 + random() % 4 : random());
        WriteBytes(*texture, bytes.data());
        // A copy on the device has only what the device kept.
        ASSERT_TRUE(copy->GetPixelBuffer()->BlitEx(texture->GetPixelBuffer(), nullptr, 0, nullptr)) << info.name;
        auto back = ReadBytes(*copy);
        ASSERT_EQ(back.size(), bytes.size()) << info.name;
        if (format == PF_X8R8G8B8 || format == PF_X8B8G8R8)
            for (std::size_t i = 3; i < bytes.size(); i += 4) back[i] = bytes[i];
        EXPECT_EQ(back, bytes) << info.name;
    }
}

TEST_F(GLTexture, ShowsTheChannelsInTheirPlaces) {
    struct {
        EPixelFormat format;
        std::vector<std::uint8_t> texel; // bytes in memory, lowest first
        std::uint32_t seen;
    } const rows[] = {
        {PF_L8, {0x40}, 0xFF404040},
        {PF_R5G6B5, {0x00, 0xF8}, 0xFFFF0000},
        {PF_A2R10G10B10, {0xFF, 0x03, 0x00, 0xC0}, 0xFF0000FF},
        {PF_X8R8G8B8, {0x40, 0x30, 0x20, 0x10}, 0xFF203040},
        {PF_SHORT_RGBA, {0, 0xFF, 0, 0, 0xFF, 0xFF, 0x80, 0x80}, 0x80FE00FF},
        {PF_FLOAT16_RGBA, {0x00, 0x3C, 0, 0, 0, 0, 0x00, 0x38}, 0x80FF0000},
        {PF_DEPTH, {0, 0, 0, 0x3F}, 0xFF808080},
        {PF_DXT1, {0x00, 0xF8, 0x00, 0x00, 0, 0, 0, 0}, 0xFFFF0000},
        {PF_DXT5, {0x40, 0x40, 0, 0, 0, 0, 0, 0, 0xE0, 0x07, 0, 0, 0, 0, 0, 0}, 0x4000FF00},
    };
    for (auto const& row : rows) {
        unsigned const side = row.format >= PF_DXT1 && row.format <= PF_DXT5 ? 4 : 1;
        auto const texture = MakeTexture(side, side, row.format);
        WriteBytes(*texture, row.texel.data());
        DrawTexture(*texture, kSize, kSize);
        // One step for the rounding of channels that have other bits than the screen.
        EXPECT_TRUE(IsAll(row.seen, 1)) << GetPixelFormatInfo(row.format)->name;
    }
    auto depth = MakeTargetTexture("depth", 16, 16, PF_DEPTH, CTexture::TU_RENDERTARGET | CTexture::TU_DEPTHSTENCIL);
    Activate(*depth->GetRenderTexture());
    System().SetZEnable(1);
    Clear();
    DrawQuad(ScreenQuad(0, 0, 16, 16, kRed, 0.25f));
    Activate(Screen());
    System().SetZEnable(0);
    DrawTexture(*depth, kSize, kSize);
    EXPECT_TRUE(IsAll(0xFF404040, 1)) << "drawn, not written";
}

TEST_F(GLTexture, LocksRectanglesAndRefusesOthers) {
    Picture image = gltest::Noise(16, 16);
    auto const texture = MakeTexture(image), blocks = MakeTexture(16, 16, PF_DXT1);
    CHardwarePixelBuffer* const buffer = texture->GetPixelBuffer();
    CPixelBox& box = buffer->Lock(CBox(5, 6, 4, 3), CHardwareBuffer::LM_NORMAL);
    ASSERT_TRUE(box.m_data);
    EXPECT_EQ(*static_cast<std::uint32_t*>(box.m_data), image.At(5, 6)) << "data points at the first pixel of the box";
    EXPECT_FALSE(buffer->Lock(CBox(0, 0, 1, 1), CHardwareBuffer::LM_NORMAL).m_data) << "refused meanwhile";
    for (unsigned y = 0; y < 3; ++y)
        std::fill_n(reinterpret_cast<std::uint32_t*>(static_cast<char*>(box.m_data) + y * box.m_rowPitch), 4, kRed);
    buffer->Unlock();
    image.Fill(5, 6, 9, 9, kRed);
    DrawTexture(*texture, 16, 16);
    EXPECT_TRUE(ShowsOnBlack(image)) << "only the box reached the device";

    for (auto const& outside : {CBox(-1, 0, 4, 4), CBox(0, 0, 16, 17), CBox(0, 0, 0, 4)})
        EXPECT_FALSE(buffer->Lock(outside, CHardwareBuffer::LM_NORMAL).m_data);
    EXPECT_FALSE(blocks->GetPixelBuffer()->Lock(CBox(0, 0, 4, 4), CHardwareBuffer::LM_NORMAL).m_data);
    EXPECT_EQ(blocks->GetPixelBuffer()->Lock(CBox(0, 0, 16, 16), CHardwareBuffer::LM_NORMAL).m_rowPitch, 32u);
}

TEST_F(GLTexture, CopiesRectanglesCutToBothSides) {
    Picture const image = gltest::Noise(16, 16);
    auto const source = MakeTexture(image);
    CBox const boxes[] = {CBox(-2, 4, 6, 4), CBox(8, 8, 100, 100), CBox(3, 3, 0, 5)};
    Vector2 places[] = {Vector2(0, 0), Vector2(28, 12), Vector2(0, 0)};
    Picture expected(32, 16);
    for (unsigned y = 0; y < 4; ++y)
        for (unsigned x = 0; x < 4; ++x) {
            expected.At(2 + x, y) = image.At(x, 4 + y);
            expected.At(28 + x, 12 + y) = image.At(8 + x, 8 + y);
        }
    auto const dest = MakeTexture(32, 16, PF_A8B8G8R8); // another order of bytes
    ASSERT_TRUE(dest->GetPixelBuffer()->BlitEx(source->GetPixelBuffer(), boxes, 3, places));
    DrawTexture(*dest, 32, 16);
    EXPECT_TRUE(ShowsOnBlack(expected));
    auto const blocks = MakeTexture(16, 16, PF_DXT5);
    EXPECT_FALSE(blocks->GetPixelBuffer()->BlitEx(source->GetPixelBuffer(), nullptr, 0, nullptr));
    EXPECT_FALSE(source->GetPixelBuffer()->BlitEx(blocks->GetPixelBuffer(), nullptr, 0, nullptr));

    auto const wide = MakeTexture(32, 16, PF_A8R8G8B8);
    CBox const from(4, 4, 2, 2), to(0, 8, 32, 8), beyond(30, 0, 4, 4);
    ASSERT_TRUE(System().StretchToRenderTexture(source.get(), &from, wide.get(), &to, CSamplerState::TFT_POINT));
    EXPECT_FALSE(System().StretchToRenderTexture(source.get(), &from, wide.get(), &beyond, CSamplerState::TFT_POINT));
    Picture const stretched = ReadTexture(*wide);
    EXPECT_EQ(stretched.At(3, 9), image.At(4, 4));
    EXPECT_EQ(stretched.At(31, 15), image.At(5, 5));
}

TEST_F(GLTexture, ResizesTargetsAndKeepsThemWhenItCannot) {
    ASSERT_TRUE(Screen().Reset(40, 20, PF_A8R8G8B8));
    EXPECT_FALSE(Screen().Reset(1000000, 20, PF_A8R8G8B8));
    Clear(kRed);
    EXPECT_TRUE(Matches(Read(), Picture(40, 20, kRed)));
    auto target = MakeTargetTexture("resized", 16, 16, PF_A8R8G8B8);
    CRenderTexture* const renderTexture = target->GetRenderTexture();
    Activate(*renderTexture);
    ASSERT_TRUE(renderTexture->Reset(24, 8, PF_X8R8G8B8));
    target->Unload();
    Clear(kRed); // there is nothing to draw into, which is no error
    ASSERT_TRUE(target->Load());
    Clear(kGreen);
    EXPECT_TRUE(Matches(ReadTarget(*renderTexture), Picture(24, 8, kGreen)));
}

TEST_F(GLTexture, MakesMipLevelsFromFilesLocksAndDrawing) {
    Picture checks(16, 16);
    for (unsigned i = 0; i < 256; ++i) checks.pixels[i] = (i + i / 16) % 2 ? kWhite : kBlack;
    System().SetMipFilter(0, 1);
    auto const isGrey = [&](CTexture& texture, int tolerance = 1) { // half of black and white, by any rounding
        Clear(kRed);
        DrawTexture(texture, 4, 4); // a quarter of the size: level 2
        return gltest::ChannelDifference(ReadAt(2, 2), 0xFF808080) <= tolerance;
    };
    auto const png = gltest::MakePng(checks);
    EXPECT_TRUE(isGrey(*FromFile(png, {.levels = 0}))) << "from a file";
    EXPECT_FALSE(isGrey(*FromFile(png, {}))) << "one level";
    EXPECT_TRUE(isGrey(*FromFile(png, {.format = PF_DXT1, .levels = 0}), 8)) << "into blocks";

    auto const locked = MakeTexture(16, 16, PF_A8R8G8B8, CTexture::TU_AUTOMIPMAP);
    WriteBytes(*locked, checks.pixels.data());
    EXPECT_TRUE(isGrey(*locked)) << "written through a lock";

    auto target = MakeTargetTexture("mipped", 16, 16, PF_A8R8G8B8, CTexture::TU_RENDERTARGET | CTexture::TU_AUTOMIPMAP);
    Activate(*target->GetRenderTexture());
    DrawTexture(*MakeTexture(checks), 16, 16);
    Activate(Screen());
    EXPECT_TRUE(isGrey(*target)) << "drawn into";
}

TEST_F(GLTexture, FitsFilesToWhatIsAskedFor) {
    Picture const quarters = Quarters(2);
    auto const png = gltest::MakePng(quarters);
    Picture keyed = quarters, placed(6, 5);
    keyed.Fill(2, 0, 4, 2, 0);
    placed.Paste(quarters, 0, 0);
    std::pair<Wish, Picture> const rows[] = {
        {{.key = color(kGreen)}, keyed},
        {{.width = 6, .height = 5}, placed},
        {{.width = 8, .height = 8, .filter = FILTER_POINT}, Quarters(4)},
        {{.width = 2, .height = 2, .filter = FILTER_BOX}, Quarters(1)},
    };
    for (auto const& [wish, picture] : rows)
        EXPECT_TRUE(Matches(ReadTexture(*FromFile(png, wish)), picture)) << wish.width << " by " << wish.filter;
    EXPECT_EQ(ReadBytes(*FromFile(png, {.format = PF_R5G6B5, .width = 2, .height = 2, .filter = FILTER_BOX})),
              (std::vector<std::uint8_t>{0x00, 0xF8, 0xE0, 0x07, 0x1F, 0x00, 0xFF, 0xFF}));
    EXPECT_FALSE(FromFile({png.begin(), png.begin() + 60}, {})) << "cut off";
    EXPECT_FALSE(FromFile(png, {.width = 100000, .height = 100000}));
}

TEST_F(GLTexture, SamplesByItsSamplerState) {
    constexpr std::uint32_t kBorder = 0x8000FF00;
    Picture image(2, 1, kRed);
    image.At(1, 0) = kBlue;
    auto const texture = MakeTexture(image);
    System().SetBorderColor(0, kBorder);
    // Wrapped, mirrored, clamped, with a border, mirrored once: u from -2 to 2 in half steps, one texel each.
    char const* const seen[] = {"rbrbrbrb", "rbbrrbbr", "rrrrrbbb", "....rb..", "bbbrrbbb"};
    auto corners = ScreenQuad(0, 0, 64, 8, kWhite);
    for (auto& corner : corners) corner.u = corner.u * 4 - 2;
    System().SetTexture(0, true, texture.get());
    for (unsigned mode = 0; mode < 5; ++mode) {
        System().SetAddressU(0, mode + 1);
        DrawQuad(corners);
        std::string got;
        for (unsigned x = 4; x < 64; x += 8) {
            auto const colour = ReadAt(x, 4);
            got += colour == kRed ? 'r' : colour == kBlue ? 'b' : colour == kBorder ? '.' : '?';
        }
        EXPECT_EQ(got, seen[mode]);
    }
    auto const grey = MakeTexture(Picture(1, 1, 0x80BCBCBC));
    System().SetSRGBTexture(0, FloatBits(1.0f));
    DrawTexture(*grey, 8, 8);
    EXPECT_LE(gltest::ChannelDifference(ReadAt(2, 2), 0x80808080), 1) << "decoded from sRGB, but for alpha";
}

TEST_F(GLTexture, StretchesATextureOverAPointWithItsTopOnTop) {
    auto const texture = MakeTexture(Quarters(1));
    System().SetTexture(0, true, texture.get());
    System().SetPointSpriteEnable(1);
    System().SetPointSize(FloatBits(16));
    auto target = MakeTargetTexture("sprites", kSize, kSize, PF_A8R8G8B8);
    Picture expected(kSize, kSize, kBlack);
    expected.Paste(Quarters(8), 24, 16);
    Activate(*target->GetRenderTexture());
    Clear();
    Draw(ST_POINTLIST, std::vector<ScreenVertex>{{31.5f, 23.5f, 0, 1, kWhite, 0, 0}});
    EXPECT_TRUE(Matches(ReadTexture(*target), expected));
}

TEST_F(GLTexture, DiesWhileBoundAndOutlivesItsDevice) {
    auto texture = MakeTexture(Picture(4, 4, kGreen));
    System().SetTexture(0, true, texture.get());
    DrawQuad(ScreenQuad(0, 0, 8, 8, kWhite));
    EXPECT_EQ(ReadAt(2, 2), kGreen);
    texture.reset();
    DrawQuad(ScreenQuad(0, 0, 8, 8, kRed));
    EXPECT_EQ(ReadAt(2, 2), kRed) << "as with no texture";
    texture = MakeTexture(Picture(4, 4, kBlue)); // which may get the name of the dead one
    System().SetTexture(0, true, texture.get());
    Shape shape(System(), ST_TRIANGLESTRIP, ScreenQuad(0, 0, 8, 8, kWhite)); // which outlives the device too
    shape.Draw();
    EXPECT_EQ(ReadAt(2, 2), kBlue);
    DropSystem();
    EXPECT_FALSE(texture->GetPixelBuffer()->Create());
    MakeSystem();
    EXPECT_TRUE(IsAll(kBlack));
}
