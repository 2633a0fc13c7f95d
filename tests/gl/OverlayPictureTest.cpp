// OverlayPictureTest.cpp: what overlay items look like on the screen, to the pixel.
#include "GLTestDevice.h"
#include "TempFolder.h"
#include "TestFiles.h"

#include "QK3D.h"

#include <cstring>
#include <random>

using namespace qk3d;

namespace {
constexpr std::uint32_t kBlack = 0xFF000000, kColours[] = {0xFFFF0000, 0xFF00FF00, 0xFF0000FF, 0xFFFFFFFF};

Picture Noise(unsigned width, unsigned height, unsigned seed) {
    std::mt19937 random(seed);
    Picture picture(width, height);
    for (auto& pixel : picture.pixels) pixel = 0xFF000000u | static_cast<std::uint32_t>(random());
    return picture;
}

// A picture on black, cut off where it leaves the screen.
Picture Alone(Picture const& picture, int left, int top, unsigned width = GLTest::kSize,
              unsigned height = GLTest::kSize) {
    Picture screen(width, height, kBlack);
    for (unsigned y = 0; y < picture.height; ++y)
        for (unsigned x = 0; x < picture.width; ++x) {
            int const toX = left + static_cast<int>(x), toY = top + static_cast<int>(y);
            screen.Fill(toX, toY, toX + 1, toY + 1, picture.At(x, y));
        }
    return screen;
}

class OverlayPicture : public GLTest {
protected:
    void TearDown() override {
        m_manager.DestroyAllOverlayItem();
        GLTest::TearDown();
    }

    // An item of the screen or of another item that shows a picture, with its top left corner at a place. Takes the way
    // of a host that draws by itself: into the texture that the item has of its own.
    COverlayItem* Show(Picture const& picture, int x, int y, COverlayItem* parent = nullptr) {
        COverlayItem* const item = parent ? parent->CreateSubItem("") : m_manager.CreateOverlayItem("", 0, 0, 0, 0, 0);
        if (!parent) Screen().AddOverlayItem(item);
        CBox const size(0, 0, static_cast<int>(picture.width), static_cast<int>(picture.height));
        item->SetPosition(x, y);
        item->SetSize(size.width, size.height);
        item->SetTexture(string("Blank"));
        item->SetRenderSystem(&System());
        m_manager.Update();
        CHardwarePixelBuffer& buffer = *item->GetTexture()->GetPixelBuffer();
        CPixelBox const& box = buffer.Lock(size, CHardwareBuffer::LM_DISCARD);
        for (unsigned row = 0; box.m_data && row < picture.height; ++row)
            std::memcpy(static_cast<char*>(box.m_data) + std::size_t{row} * box.m_rowPitch,
                        &picture.pixels[row * picture.width], std::size_t{picture.width} * 4);
        buffer.Unlock();
        return item;
    }

    Picture Frame() {
        m_manager.Update();
        EXPECT_TRUE(System().UpdateAllRenderTarget(++m_time));
        return Read();
    }

    COverlayManager m_manager;
    long long m_time = 0;
};
} // namespace

TEST_F(OverlayPicture, OfTheSizeOfItsBoxComesOutByteForByteAtAnyPlace) {
    for (auto const& [width, height] : {std::pair(1u, 1u), {31u, 17u}, {200u, 3u}}) {
        Picture const noise = Noise(width, height, width);
        COverlayItem* const item = Show(noise, 0, 0);
        for (auto const& [x, y] : {std::pair(0, 0), {1, 0}, {33, 47}, {63, 63}, {-3, -5}, {-150, 30}}) {
            item->SetPosition(x, y);
            ASSERT_TRUE(Matches(Frame(), Alone(noise, x, y))) << width << " x " << height << " at " << x << ", " << y;
        }
        m_manager.DestroyAllOverlayItem();
    }
    RestartWith(R"({"Windows": "NONE", "Debug": true, "Multisample": 4})");
    Picture const noise = Noise(31, 17, 5);
    Show(noise, 13, 29);
    EXPECT_TRUE(Matches(Frame(), Alone(noise, 13, 29))) << "on a target with samples";
}

TEST_F(OverlayPicture, FromAFileComesOutByteForByteAlsoOnALargerSurfaceAndAfterALoss) {
    TempFolder const folder;
    Picture const noise = Noise(20, 11, 7), expected = Alone(noise, 13, 9);
    std::string const path = folder.Path("noise.png");
    ASSERT_TRUE(gltest::SavePng(noise, path));
    COverlayItem* const item = m_manager.CreateOverlayItem("", 13, 9, 20, 11, 0);
    Screen().AddOverlayItem(item);
    item->SetTexture(path);
    EXPECT_TRUE(Matches(Frame(), expected)) << "of its own size";

    _ResourceSharePtr<CTexture> large =
        CQK3DMain::GetResourceSystem().CreateResource("CTexture", path, "large", false, NoLoader());
    large->SetWidth(50); // without a filter the picture is not scaled, but lies in the corner
    large->SetHeight(33);
    item->SetTexture(string("large"));
    item->SetTextureSizeAsPixel(20, 11);
    EXPECT_TRUE(Matches(Frame(), expected)) << "in the corner of a larger surface";
    ASSERT_TRUE(System().UnusualCall("LoseDevice", nullptr, nullptr));
    EXPECT_TRUE(Matches(Frame(), expected)) << "nothing changed, so nobody writes the quad again";
}

TEST_F(OverlayPicture, ShowsThePartOfTheTextureThatItIsToldAlsoTwiceAsLarge) {
    Picture const noise = Noise(32, 16, 3);
    COverlayItem* const item = Show(noise, 20, 20);
    _ResourceSharePtr<CTexture> texture = item->GetTexture();
    item->SetTexture(texture); // a "Blank" one would follow the size
    item->SetTexturePositionAsPixel(5, 3);
    item->SetTextureSizeAsPixel(8, 4);
    for (unsigned const zoom : {1u, 2u}) {
        Picture seen(8 * zoom, 4 * zoom);
        for (unsigned i = 0; i < seen.pixels.size(); ++i)
            seen.pixels[i] = noise.At(5 + i % seen.width / zoom, 3 + i / seen.width / zoom);
        item->SetSize(static_cast<int>(seen.width), static_cast<int>(seen.height));
        EXPECT_TRUE(Matches(Frame(), Alone(seen, 20, 20))) << zoom << " times as large";
    }
}

TEST_F(OverlayPicture, TurnsRoundAPointThatComesAlong) {
    // Each quarter has its colour; where its centre goes to, there the colour is.
    Picture quarters(20, 12);
    for (int i = 0; i < 4; ++i) quarters.Fill(i % 2 * 10, i / 2 * 6, i % 2 * 10 + 10, i / 2 * 6 + 6, kColours[i]);
    COverlayItem* const item = Show(quarters, 12, 25);
    Vector2 const centre(28, 30);
    for (float const angle : {0.3f, 1.5707963f, -2.2f, 0.0f}) {
        item->SetPosition(12, 25);
        item->RotateSelf(centre - Vector2(10, 1), angle);
        item->SetPosition(22, 26);
        Picture const got = Frame();
        for (int i = 0; i < 4; ++i) {
            Vector2 const at(i % 2 ? 37.0f : 27.0f, i / 2 ? 35.0f : 29.0f), to = at * MatBuild2DRotation(centre, angle);
            EXPECT_EQ(got.At(static_cast<unsigned>(to.x + 0.5f), static_cast<unsigned>(to.y + 0.5f)), kColours[i])
                << i << " turned by " << angle;
        }
        auto const shown = got.pixels.size() - std::count(got.pixels.begin(), got.pixels.end(), kBlack);
        EXPECT_NEAR(static_cast<double>(shown), 20 * 12, 8) << angle;
    }
}

TEST_F(OverlayPicture, IsMultipliedByItsColourAndMixedByItsAlpha) {
    Screen().SetBackgroundColor(color(0xFF204060));
    Picture const white(8, 8, 0xFFFFFFFF);
    COverlayItem* const item = Show(white, 4, 4);
    COverlayItem* const glass = Show(Picture(8, 8, 0x80FF8000), 20, 4); // with alpha of its own
    Show(white, 40, 4);                                                 // keeps its colour
    struct {
        std::uint32_t colour, item, glass; // what comes out of it
    } const rows[] = {{0xFF804020, 0x804020, 0x503030}, {0x80FFFFFF, 0x90A0B0, 0x585048}, {0, 0x204060, 0x204060}};
    for (auto const& row : rows) {
        for (COverlayItem* const each : {item, glass}) each->SetColor(color(row.colour));
        Picture const got = Frame();
        // The alpha of the target is nobody's business; a step for each of two roundings.
        for (auto const& [x, expected] : {std::pair(8u, row.item), {24u, row.glass}, {44u, 0xFFFFFFu}})
            EXPECT_LE(gltest::ChannelDifference(got.At(x, 8) & 0xFFFFFF, expected), 2) << std::hex << row.colour << x;
    }
}

TEST_F(OverlayPicture, LiesOverItsParentAndItsSiblingsByZOrder) {
    COverlayItem* const panel = Show(Picture(40, 40, 0xFF404040), 10, 10);
    for (int i = 0; i < 3; ++i)
        Show(Picture(10, 10, kColours[i]), 5 * i, 5 * i, panel)->SetZOrder(short(i == 1 ? -3 : i));
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(10, 10, 50, 50, 0xFF404040);
    for (int const i : {1, 0, 2}) expected.Fill(10 + 5 * i, 10 + 5 * i, 20 + 5 * i, 20 + 5 * i, kColours[i]);
    EXPECT_TRUE(Matches(Frame(), expected));
    panel->SetVisible(false);
    EXPECT_TRUE(Matches(Frame(), Picture(kSize, kSize, kBlack))) << "with the panel all are hidden";
}

TEST_F(OverlayPicture, StandsInThePixelsOfEachOfItsTargets) {
    Picture const noise = Noise(12, 10, 21);
    COverlayItem* const item = Show(noise, 30, 20);
    CRenderWindow* const other = System().CreateRenderWindow("other", 100, 24, PF_A8R8G8B8, false);
    _ResourceSharePtr<CTexture> texture = MakeTargetTexture("overlay target", 48, 48, PF_A8R8G8B8);
    CRenderTexture* const mirror = texture->GetRenderTexture();
    ASSERT_TRUE(other && mirror);
    other->AddOverlayItem(item);
    mirror->AddOverlayItem(item);
    EXPECT_TRUE(Matches(Frame(), Alone(noise, 30, 20)));
    mirror->Update(m_time);
    EXPECT_TRUE(Matches(ReadTarget(*other), Alone(noise, 30, 20, 100, 24)));
    EXPECT_TRUE(Matches(ReadTarget(*mirror), Alone(noise, 30, 20, 48, 48)));
}
