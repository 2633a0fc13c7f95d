// OverlayPictureTest.cpp: what overlay items look like on the screen, to the pixel.
#include "GLTestDevice.h"
#include "TempFolder.h"

#include "QK3DMain.h"
#include "QK3DMatrix.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include "QK3DResourceSystem.h"

#include <cmath>
#include <cstring>
#include <functional>
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

// `picture` over `screen`, cut off where it leaves it.
void Paste(Picture& screen, Picture const& picture, int left, int top) {
    for (unsigned y = 0; y < picture.height; ++y)
        for (unsigned x = 0; x < picture.width; ++x) {
            int const toX = left + static_cast<int>(x), toY = top + static_cast<int>(y);
            screen.Fill(toX, toY, toX + 1, toY + 1, picture.At(x, y));
        }
}

Picture PartOf(Picture const& picture, unsigned left, unsigned top, unsigned width, unsigned height) {
    Picture part(width, height);
    for (unsigned y = 0; y < height; ++y)
        for (unsigned x = 0; x < width; ++x) part.At(x, y) = picture.At(left + x, top + y);
    return part;
}

class OverlayPicture : public GLTest {
protected:
    void SetUp() override {
        GLTest::SetUp();
        m_manager = std::make_unique<COverlayManager>();
    }
    void TearDown() override {
        m_manager.reset();
        GLTest::TearDown();
    }

    COverlayItem* Item(int x, int y, unsigned width, unsigned height) {
        COverlayItem* const item =
            m_manager->CreateOverlayItem("", x, y, static_cast<int>(width), static_cast<int>(height), 0);
        Screen().AddOverlayItem(item);
        return item;
    }

    // Takes the way of a host that draws by itself: into the texture that the item has of its own.
    static void DrawInto(COverlayItem& item, Picture const& picture) {
        _ResourceSharePtr<CTexture> texture = item.GetTexture();
        ASSERT_TRUE(texture && !texture->GetPixelBuffer().IsNull());
        CHardwarePixelBuffer& buffer = *texture->GetPixelBuffer();
        ASSERT_EQ(buffer.GetWidth(), picture.width);
        ASSERT_EQ(buffer.GetHeight(), picture.height);
        CPixelBox const& box = buffer.Lock(
            CBox(0, 0, static_cast<int>(picture.width), static_cast<int>(picture.height)), CHardwareBuffer::LM_DISCARD);
        for (unsigned y = 0; box.m_data && y < picture.height; ++y)
            std::memcpy(static_cast<char*>(box.m_data) + std::size_t{y} * box.m_rowPitch,
                        &picture.pixels[y * picture.width], std::size_t{picture.width} * 4);
        buffer.Unlock();
    }

    // An item that shows a picture, with its top left corner at a place.
    COverlayItem* Show(Picture const& picture, int x, int y) {
        COverlayItem* const item = Item(x, y, picture.width, picture.height);
        Fill(*item, picture);
        return item;
    }
    void Fill(COverlayItem& item, Picture const& picture) {
        item.SetTexture(string("Blank"));
        item.SetRenderSystem(&System());
        m_manager->Update();
        DrawInto(item, picture);
    }

    Picture Frame() {
        m_manager->Update();
        EXPECT_TRUE(System().UpdateAllRenderTarget(++m_time));
        return Read();
    }

    std::unique_ptr<COverlayManager> m_manager;
    long long m_time = 0;
};
} // namespace

TEST_F(OverlayPicture, OfTheSizeOfItsBoxComesOutByteForByteAtAnyPlace) {
    struct {
        unsigned width, height;
    } const sizes[] = {{1, 1}, {16, 8}, {31, 17}, {7, 64}, {64, 64}, {200, 3}};
    struct {
        int x, y;
    } const places[] = {{0, 0}, {1, 0}, {17, 5}, {33, 47}, {63, 63}, {-3, -5}, {-150, 30}};
    unsigned seed = 0;
    for (auto const& size : sizes) {
        Picture const noise = Noise(size.width, size.height, ++seed);
        COverlayItem* const item = Show(noise, 0, 0);
        for (auto const& place : places) {
            item->SetPosition(place.x, place.y);
            Picture expected(kSize, kSize, kBlack);
            Paste(expected, noise, place.x, place.y);
            ASSERT_TRUE(Matches(Frame(), expected))
                << size.width << " x " << size.height << " at " << place.x << ", " << place.y;
        }
        m_manager->DestroyAllOverlayItem();
    }
}

TEST_F(OverlayPicture, ComesOutByteForByteOnATargetWithSamples) {
    TearDown();
    ASSERT_TRUE(Start(R"({"Windows": "NONE", "Debug": true, "Multisample": 4})"));
    MakeSystem();
    m_manager = std::make_unique<COverlayManager>();
    Picture const noise = Noise(31, 17, 5);
    Show(noise, 13, 29);
    Picture expected(kSize, kSize, kBlack);
    Paste(expected, noise, 13, 29);
    EXPECT_TRUE(Matches(Frame(), expected));
}

TEST_F(OverlayPicture, FromAFileComesOutByteForByteAlsoOnALargerSurface) {
    TempFolder const folder;
    Picture const noise = Noise(20, 11, 7);
    std::string const path = folder.Path("noise.png");
    ASSERT_TRUE(gltest::SavePng(noise, path));
    Picture expected(kSize, kSize, kBlack);
    Paste(expected, noise, 13, 9);

    Item(13, 9, 20, 11)->SetTexture(path);
    EXPECT_TRUE(Matches(Frame(), expected)) << "of its own size";

    m_manager->DestroyAllOverlayItem();
    qklib::CSharePtr<CResourceLoader> noLoader;
    _ResourceSharePtr<CTexture> large =
        CQK3DMain::GetResourceSystem().CreateResource("CTexture", path, "large", false, noLoader);
    ASSERT_TRUE(large);
    large->SetWidth(50); // without a filter the picture is not scaled, but lies in the corner
    large->SetHeight(33);
    COverlayItem* const item = Item(13, 9, 20, 11);
    item->SetTexture(string("large"));
    item->SetTextureSizeAsPixel(20, 11);
    EXPECT_TRUE(Matches(Frame(), expected)) << "in the corner of a larger surface";
    EXPECT_EQ(large->GetPixelBuffer()->GetBufferWidth(), 50u);

    item->SetTexture(string("no such picture"));
    EXPECT_TRUE(Matches(Frame(), Picture(kSize, kSize, kBlack))) << "a picture that is not there";
}

TEST_F(OverlayPicture, ShowsThePartOfTheTextureThatItIsTold) {
    Picture const noise = Noise(32, 16, 3);
    struct {
        char const* what;
        std::function<void(COverlayItem&)> set;
        unsigned left, top, width, height; // what is seen
    } const rows[] = {
        {"texels",
         [](COverlayItem& item) {
             item.SetTexturePositionAsPixel(5, 3);
             item.SetTextureSizeAsPixel(8, 4);
         },
         5, 3, 8, 4},
        {"fractions",
         [](COverlayItem& item) {
             item.SetTexturePosition(0.5f, 0.25f);
             item.SetTextureSize(0.5f, 0.5f);
         },
         16, 4, 16, 8},
        {"both",
         [](COverlayItem& item) {
             item.SetTexturePositionAsPixel(31, 0);
             item.SetTextureSize(1 / 32.0f, 1);
         },
         31, 0, 1, 16},
    };
    COverlayItem* const item = Show(noise, 0, 0);
    _ResourceSharePtr<CTexture> const texture = item->GetTexture();
    for (auto const& row : rows) {
        COverlayItem* const part = Item(40, 40, row.width, row.height);
        part->SetTexture(texture);
        row.set(*part);
        Picture const whole = PartOf(noise, row.left, row.top, row.width, row.height);
        Picture expected(kSize, kSize, kBlack);
        Paste(expected, noise, 0, 0);
        Paste(expected, whole, 40, 40);
        EXPECT_TRUE(Matches(Frame(), expected)) << row.what;

        // Twice as large: each texel becomes four pixels, none is torn.
        part->SetPosition(32, 32);
        part->SetSize(static_cast<int>(row.width * 2), static_cast<int>(row.height * 2));
        Picture doubled(row.width * 2, row.height * 2);
        for (unsigned y = 0; y < doubled.height; ++y)
            for (unsigned x = 0; x < doubled.width; ++x) doubled.At(x, y) = whole.At(x / 2, y / 2);
        expected.Fill(0, 0, kSize, kSize, kBlack);
        Paste(expected, noise, 0, 0);
        Paste(expected, doubled, 32, 32);
        EXPECT_TRUE(Matches(Frame(), expected)) << row.what << ", twice as large";
        m_manager->DestroyOverlayItem(part->GetName());
    }
}

TEST_F(OverlayPicture, TurnsRoundAPointAsTheFormulaSays) {
    Picture const noise = Noise(20, 12, 9);
    COverlayItem* const item = Show(noise, 22, 26);
    for (float const angle : {0.3f, 1.5707963f, -2.2f, 3.1415927f}) {
        for (Vector2 const centre : {Vector2(32, 32), Vector2(22, 26)}) {
            item->RotateSelf(centre, angle);
            Picture const got = Frame();
            // Where a pixel's centre, a whole number, comes from; near a border it may fall to either side.
            Matrix33 const back = MatBuild2DRotation(centre, -angle);
            auto const isNear = [](float value) { return std::fabs(value - std::round(value)) < 0.02f; };
            int checked = 0;
            for (int y = 0; y < kSize; ++y)
                for (int x = 0; x < kSize; ++x) {
                    auto const fx = static_cast<float>(x), fy = static_cast<float>(y);
                    float const across = fx * back[0] + fy * back[3] + back[6] - 22;
                    float const down = fx * back[1] + fy * back[4] + back[7] - 26;
                    // The texture is stretched by a quarter of a texel over its box, and starts a quarter in.
                    float const u = 0.25f + across * 20.25f / 20, v = 0.25f + down * 12.25f / 12;
                    if (isNear(u) || isNear(v) || isNear(across / 20) || isNear(down / 12)) continue;
                    bool const isInside = across > 0 && across < 20 && down > 0 && down < 12;
                    std::uint32_t const expected = isInside ? noise.At(std::min(static_cast<unsigned>(u), 19u),
                                                                       std::min(static_cast<unsigned>(v), 11u))
                                                            : kBlack;
                    ++checked;
                    ASSERT_EQ(got.At(static_cast<unsigned>(x), static_cast<unsigned>(y)), expected)
                        << x << ", " << y << " turned by " << angle;
                }
            EXPECT_GT(checked, kSize * kSize / 2) << angle;
        }
    }
    item->RotateSelf(Vector2(22, 26), 0);
    item->SetPosition(22, 25);
    Picture expected(kSize, kSize, kBlack);
    Paste(expected, noise, 22, 25);
    EXPECT_TRUE(Matches(Frame(), expected)) << "and back";
}

TEST_F(OverlayPicture, IsMultipliedByItsColourAndMixedByItsAlpha) {
    Screen().SetBackgroundColor(color(0xFF204060u));
    COverlayItem* const item = Show(Picture(8, 8, 0xFFFFFFFF), 4, 4);
    // A picture with alpha of its own: clear on the left, half on the right.
    Picture glass(8, 8, 0x00FFFFFF);
    glass.Fill(4, 0, 8, 8, 0x80FF8000);
    COverlayItem* const clear = Show(glass, 20, 4);
    auto const mix = [](std::uint32_t over, std::uint32_t under) {
        std::uint32_t const alpha = over >> 24;
        std::uint32_t mixed = 0;
        for (int shift = 0; shift < 32; shift += 8)
            mixed |= ((over >> shift & 255) * alpha + (under >> shift & 255) * (255 - alpha) + 127) / 255 << shift;
        return mixed;
    };
    struct {
        char const* what;
        color itemColour;
        std::uint32_t seen, right; // of the opaque item, and of the right half of the other one, before mixing
    } const rows[] = {
        {"white", 0xFFFFFFFFu, 0xFFFFFFFF, 0x80FF8000},
        {"a colour", 0xFF804020u, 0xFF804020, 0x80802000},
        {"half clear", 0x80FFFFFFu, 0x80FFFFFF, 0x40FF8000},
        {"clear", 0x00FFFFFFu, 0x00FFFFFF, 0x00FF8000},
    };
    for (auto const& row : rows) {
        item->SetColor(row.itemColour);
        clear->SetColor(row.itemColour);
        Picture expected(kSize, kSize, 0xFF204060);
        expected.Fill(4, 4, 12, 12, mix(row.seen, 0xFF204060));
        expected.Fill(24, 4, 28, 12, mix(row.right, 0xFF204060));
        // The alpha of the target is nobody's business; a step for each of two roundings.
        Picture got = Frame();
        for (auto* picture : {&got, &expected})
            for (auto& pixel : picture->pixels) pixel |= 0xFF000000u;
        EXPECT_TRUE(Matches(got, expected, {2, 0})) << row.what;
    }
    item->SetAlpha(255);
    EXPECT_EQ(Frame().At(8, 8) | 0xFF000000u, 0xFFFFFFFFu) << "seen again";
}

TEST_F(OverlayPicture, LiesOverItsParentAndItsSiblingsByZOrder) {
    COverlayItem* const panel = Show(Picture(40, 40, 0xFF404040), 10, 10);
    auto const add = [&](char const* name, int place, std::uint32_t colour) {
        COverlayItem* const item = panel->CreateSubItem(name);
        item->SetPosition(place, place);
        item->SetSize(10, 10);
        Fill(*item, Picture(10, 10, colour));
        return item;
    };
    COverlayItem* const red = add("red", 0, kRed);
    COverlayItem* const green = add("green", 5, kGreen);
    COverlayItem* const blue = add("blue", 10, kBlue);
    auto const draw = [](Picture& picture, int place, std::uint32_t colour) {
        picture.Fill(10 + place, 10 + place, 20 + place, 20 + place, colour);
    };
    Picture empty(kSize, kSize, kBlack);
    empty.Fill(10, 10, 50, 50, 0xFF404040);

    red->SetZOrder(1), green->SetZOrder(3), blue->SetZOrder(2);
    Picture expected = empty;
    draw(expected, 0, kRed), draw(expected, 10, kBlue), draw(expected, 5, kGreen);
    EXPECT_TRUE(Matches(Frame(), expected));

    red->SetZOrder(5), blue->SetZOrder(-3);
    expected = empty;
    draw(expected, 10, kBlue), draw(expected, 5, kGreen), draw(expected, 0, kRed);
    EXPECT_TRUE(Matches(Frame(), expected)) << "turned over";

    green->SetVisible(false);
    expected = empty;
    draw(expected, 10, kBlue), draw(expected, 0, kRed);
    EXPECT_TRUE(Matches(Frame(), expected)) << "one is hidden";
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

    Picture expected(kSize, kSize, kBlack), wide(100, 24, kBlack), square(48, 48, kBlack);
    for (Picture* const picture : {&expected, &wide, &square}) Paste(*picture, noise, 30, 20);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(Matches(Frame(), expected)) << i;
        mirror->Update(m_time);
        EXPECT_TRUE(Matches(ReadTarget(*other), wide)) << i;
        EXPECT_TRUE(Matches(ReadTarget(*mirror), square)) << i;
    }
    other->RemoveOverlayItem(item);
    Frame();
    EXPECT_TRUE(Matches(ReadTarget(*other), Picture(100, 24, kBlack)));
}

TEST_F(OverlayPicture, ComesBackAfterADeviceLossAndOnAnotherDevice) {
    TempFolder const folder;
    Picture const noise = Noise(20, 11, 7), drawn = Noise(6, 6, 8);
    std::string const path = folder.Path("noise.png");
    ASSERT_TRUE(gltest::SavePng(noise, path));
    COverlayItem* const item = Item(13, 9, 20, 11);
    item->SetTexture(path);
    Show(drawn, 40, 40);
    Picture expected(kSize, kSize, kBlack);
    Paste(expected, noise, 13, 9);
    Paste(expected, drawn, 40, 40);
    EXPECT_TRUE(Matches(Frame(), expected));
    ASSERT_TRUE(System().UnusualCall("LoseDevice", nullptr, nullptr));
    EXPECT_TRUE(Matches(Frame(), expected)) << "nothing changed, so nobody writes the quads again";

    CRenderSystem* const second = CQK3DMain::GetQK3DMain().CreateRenderSystem("QK3DGL", "second");
    ASSERT_TRUE(second);
    CRenderWindow* const window = second->CreateRenderWindow("second", kSize, kSize, PF_A8R8G8B8, false);
    ASSERT_TRUE(window);
    window->AddOverlayItem(item);
    Picture alone(kSize, kSize, kBlack);
    Paste(alone, noise, 13, 9);
    for (int i = 0; i < 2; ++i) { // and back and forth
        EXPECT_TRUE(second->UpdateAllRenderTarget(++m_time));
        EXPECT_TRUE(Matches(ReadTarget(*window), alone)) << i;
        EXPECT_TRUE(Matches(Frame(), expected)) << i;
    }
    CQK3DMain::GetQK3DMain().DestroyRenderSystem("second");
    EXPECT_TRUE(Matches(Frame(), expected)) << "the other device is gone";
}
