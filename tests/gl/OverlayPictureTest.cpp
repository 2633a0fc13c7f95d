// OverlayPictureTest.cpp: what overlay items look like on the screen, to the pixel.
#include "GLTestDevice.h"
#include "TempFolder.h"

#include "QK3D.h"

#include <cmath>
#include <cstring>
#include <random>

using namespace qk3d;

namespace {
constexpr std::uint32_t kBlack = 0xFF000000, kRed = 0xFFFF0000, kGreen = 0xFF00FF00, kBlue = 0xFF0000FF;

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

    COverlayItem* Item(int x, int y, unsigned width, unsigned height) {
        COverlayItem* const item =
            m_manager.CreateOverlayItem("", x, y, static_cast<int>(width), static_cast<int>(height), 0);
        Screen().AddOverlayItem(item);
        return item;
    }

    // An item that shows a picture, with its top left corner at a place.
    COverlayItem* Show(Picture const& picture, int x, int y) {
        COverlayItem* const item = Item(x, y, picture.width, picture.height);
        Fill(*item, picture);
        return item;
    }
    // Takes the way of a host that draws by itself: into the texture that the item has of its own.
    void Fill(COverlayItem& item, Picture const& picture) {
        item.SetTexture(string("Blank"));
        item.SetRenderSystem(&System());
        m_manager.Update();
        CHardwarePixelBuffer& buffer = *item.GetTexture()->GetPixelBuffer();
        ASSERT_TRUE(buffer.GetWidth() == picture.width && buffer.GetHeight() == picture.height);
        CPixelBox const& box = buffer.Lock(
            CBox(0, 0, static_cast<int>(picture.width), static_cast<int>(picture.height)), CHardwareBuffer::LM_DISCARD);
        for (unsigned y = 0; box.m_data && y < picture.height; ++y)
            std::memcpy(static_cast<char*>(box.m_data) + std::size_t{y} * box.m_rowPitch,
                        &picture.pixels[y * picture.width], std::size_t{picture.width} * 4);
        buffer.Unlock();
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
    for (auto const& [width, height] : {std::pair(1u, 1u), {31u, 17u}, {7u, 64u}, {64u, 64u}, {200u, 3u}}) {
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
    COverlayItem* const item = Item(13, 9, 20, 11);
    item->SetTexture(path);
    EXPECT_TRUE(Matches(Frame(), expected)) << "of its own size";

    _ResourceSharePtr<CTexture> large = CQK3DMain::GetResourceSystem().CreateResource(
        "CTexture", path, "large", false, qklib::CSharePtr<CResourceLoader>::GetNullSharePtr());
    large->SetWidth(50); // without a filter the picture is not scaled, but lies in the corner
    large->SetHeight(33);
    item->SetTexture(string("large"));
    item->SetTextureSizeAsPixel(20, 11);
    EXPECT_TRUE(Matches(Frame(), expected)) << "in the corner of a larger surface";
    EXPECT_EQ(large->GetPixelBuffer()->GetBufferWidth(), 50u);
    ASSERT_TRUE(System().UnusualCall("LoseDevice", nullptr, nullptr));
    EXPECT_TRUE(Matches(Frame(), expected)) << "nothing changed, so nobody writes the quad again";
}

TEST_F(OverlayPicture, ShowsThePartOfTheTextureThatItIsToldAlsoTwiceAsLarge) {
    Picture const noise = Noise(32, 16, 3);
    COverlayItem* const item = Show(noise, 20, 20);
    _ResourceSharePtr<CTexture> texture = item->GetTexture();
    item->SetTexture(texture); // a "Blank" one would follow the size
    for (auto const& [isInTexels, part] :
         {std::pair(true, CBox(5, 3, 8, 4)), {false, {16, 4, 16, 8}}, {false, {31, 0, 1, 16}}})
        for (int const zoom : {1, 2}) {
            item->SetSize(part.width * zoom, part.height * zoom);
            if (isInTexels) {
                item->SetTexturePositionAsPixel(part.x, part.y);
                item->SetTextureSizeAsPixel(part.width, part.height);
            } else {
                item->SetTexturePosition(part.x / 32.0f, part.y / 16.0f);
                item->SetTextureSize(part.width / 32.0f, part.height / 16.0f);
            }
            Picture seen(static_cast<unsigned>(part.width * zoom), static_cast<unsigned>(part.height * zoom));
            for (int y = 0; y < part.height * zoom; ++y)
                for (int x = 0; x < part.width * zoom; ++x)
                    seen.Fill(x, y, x + 1, y + 1,
                              noise.pixels[std::size_t(part.y + y / zoom) * 32 + part.x + x / zoom]);
            EXPECT_TRUE(Matches(Frame(), Alone(seen, 20, 20))) << isInTexels << ", " << zoom << " times as large";
        }
}

TEST_F(OverlayPicture, TurnsRoundAPointThatComesAlong) {
    // Each quarter has its colour; where its centre goes to, there the colour is.
    std::uint32_t const colours[] = {kRed, kGreen, kBlue, 0xFFFFFFFF};
    Picture quarters(20, 12);
    for (int i = 0; i < 4; ++i) quarters.Fill(i % 2 * 10, i / 2 * 6, i % 2 * 10 + 10, i / 2 * 6 + 6, colours[i]);
    COverlayItem* const item = Show(quarters, 12, 25);
    for (float const angle : {0.3f, 1.5707963f, -2.2f, 3.1415927f, 0.0f})
        for (Vector2 const centre : {Vector2(32, 32), Vector2(28, 30)}) {
            item->SetPosition(12, 25);
            item->RotateSelf(centre - Vector2(10, 1), angle);
            item->SetPosition(22, 26);
            Picture const got = Frame();
            for (int i = 0; i < 4; ++i) {
                Vector2 const place =
                    Vector2(i % 2 ? 37.0f : 27.0f, i / 2 ? 35.0f : 29.0f) * MatBuild2DRotation(centre, angle);
                auto const x = static_cast<unsigned>(std::lround(place.x)),
                           y = static_cast<unsigned>(std::lround(place.y));
                EXPECT_EQ(got.At(x, y), colours[i]) << i << " turned by " << angle << " at " << x << ", " << y;
            }
            auto const shown = got.pixels.size() - std::count(got.pixels.begin(), got.pixels.end(), kBlack);
            EXPECT_NEAR(static_cast<double>(shown), 20 * 12, 8) << angle;
        }
}

TEST_F(OverlayPicture, IsMultipliedByItsColourAndMixedByItsAlpha) {
    constexpr std::uint32_t kBehind = 0xFF204060, kWhite = 0xFFFFFFFF;
    Screen().SetBackgroundColor(color(kBehind));
    COverlayItem* const item = Show(Picture(8, 8, kWhite), 4, 4);
    COverlayItem* const glass = Show(Picture(8, 8, 0x80FF8000), 20, 4); // with alpha of its own
    Show(Picture(8, 8, kWhite), 40, 4);                                 // keeps its colour
    auto const mix = [](std::uint32_t over) {
        std::uint32_t const alpha = over >> 24;
        std::uint32_t mixed = 0;
        for (int shift = 0; shift < 24; shift += 8)
            mixed |= ((over >> shift & 255) * alpha + (kBehind >> shift & 255) * (255 - alpha) + 127) / 255 << shift;
        return mixed;
    };
    struct {
        std::uint32_t colour, item, glass; // what is mixed with what is behind
    } const rows[] = {{0xFF804020, 0xFF804020, 0x80802000}, {0x80FFFFFF, 0x80FFFFFF, 0x40FF8000}, {0x00FFFFFF, 0, 0}};
    for (auto const& row : rows) {
        for (COverlayItem* const each : {item, glass}) each->SetColor(color(row.colour));
        Picture const got = Frame();
        // The alpha of the target is nobody's business; a step for each of two roundings.
        for (auto const& [x, over] : {std::pair(8u, row.item), {24u, row.glass}, {44u, kWhite}})
            EXPECT_LE(gltest::ChannelDifference(got.At(x, 8) & 0xFFFFFF, mix(over)), 2) << std::hex << row.colour << x;
    }
}

TEST_F(OverlayPicture, LiesOverItsParentAndItsSiblingsByZOrder) {
    COverlayItem* const panel = Show(Picture(40, 40, 0xFF404040), 10, 10);
    std::uint32_t const colours[] = {kRed, kGreen, kBlue};
    COverlayItem* items[3];
    for (int i = 0; i < 3; ++i) {
        items[i] = panel->CreateSubItem("");
        items[i]->SetPosition(5 * i, 5 * i);
        items[i]->SetSize(10, 10);
        Fill(*items[i], Picture(10, 10, colours[i]));
    }
    struct {
        short zOrder[3]; // 0 for one that is hidden
        std::vector<int> order;
    } const rows[] = {{{1, 3, 2}, {0, 2, 1}}, {{5, 3, -3}, {2, 1, 0}}, {{5, 0, -3}, {2, 0}}};
    for (auto const& row : rows) {
        for (int i = 0; i < 3; ++i) items[i]->SetZOrder(row.zOrder[i]), items[i]->SetVisible(row.zOrder[i] != 0);
        Picture expected(kSize, kSize, kBlack);
        expected.Fill(10, 10, 50, 50, 0xFF404040);
        for (int i : row.order) expected.Fill(10 + 5 * i, 10 + 5 * i, 20 + 5 * i, 20 + 5 * i, colours[i]);
        EXPECT_TRUE(Matches(Frame(), expected)) << row.zOrder[0];
    }
    panel->SetVisible(false);
    EXPECT_TRUE(Matches(Frame(), Picture(kSize, kSize, kBlack))) << "with the panel all are";
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
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(Matches(Frame(), Alone(noise, 30, 20))) << i;
        mirror->Update(m_time);
        EXPECT_TRUE(Matches(ReadTarget(*other), Alone(noise, 30, 20, 100, 24))) << i;
        EXPECT_TRUE(Matches(ReadTarget(*mirror), Alone(noise, 30, 20, 48, 48))) << i;
    }
}
