// GLDeviceTest.cpp: what reaches the screen: pixels covered, winding, depth, blending, stencil, ranges, loss.
#include "GLTestDevice.h"

#include "QK3DCamera.h"
#include "QK3DMain.h"
#include "QK3DMatrix.h"
#include "QK3DViewport.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fstream>
#include <json/value.h>
#include <memory>

using namespace qk3d;

namespace {
constexpr std::uint32_t kBlack = 0xFF000000, kWhite = 0xFFFFFFFF, kRed = 0xFFFF0000, kGreen = 0xFF00FF00,
                        kBlue = 0xFF0000FF;

Json::Value Parsed(std::initializer_list<std::pair<char const*, Json::Value>> members) {
    Json::Value value(Json::objectValue);
    for (auto const& [key, member] : members) value[key] = member;
    return value;
}

Json::Value Numbers(std::initializer_list<double> numbers) {
    Json::Value value(Json::arrayValue);
    for (double const number : numbers) value.append(number);
    return value;
}

/// Whether a file of such a name is mapped into the process, where the system tells.
bool IsMapped(std::string const& name) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (auto const slash = line.rfind('/'); slash != line.npos && line.find(name, slash) != line.npos &&
                                                line.find("Test", slash) == line.npos)
            return true;
    return false;
}

class GLDevice : public GLTest {
protected:
    void SetScissor(int left, int top, int width, int height) {
        auto in = Parsed({{"Rect", Numbers({1.0 * left, 1.0 * top, 1.0 * width, 1.0 * height})}});
        ASSERT_TRUE(System().UnusualCall("SetScissorRect", &in, nullptr));
    }
    std::uint64_t Statistic(char const* name) {
        Json::Value out;
        return System().UnusualCall("GetStatistics", nullptr, &out) ? out[name].asUInt64() : ~0ull;
    }
};
} // namespace

TEST_F(GLDevice, ClearsToTheExactColourInsideTheViewportOnly) {
    Clear(0x80402010);
    EXPECT_TRUE(Matches(Read(), Picture(kSize, kSize, 0x80402010)));

    CCamera camera("camera");
    CViewport* const viewport = Screen().AddViewport(&camera, 0, 8u, 16u, 24u, 32u);
    ASSERT_TRUE(System().SetActiveViewport(viewport));
    SetScissor(0, 0, 1, 1);
    System().SetScissorTestEnable(1);
    System().SetColorWriteEnable(0); // neither counts for a clear
    Clear(kRed);
    Picture expected(kSize, kSize, 0x80402010);
    expected.Fill(8, 16, 32, 48, kRed);
    EXPECT_TRUE(Matches(Read(), expected));
    Screen().RemoveAllViewport();
}

TEST_F(GLDevice, CoversExactlyThePixelsOfAQuadAndOfALine) {
    struct {
        char const* what;
        float left, top, right, bottom;
        int pixels[4];
    } const rows[] = {
        {"whole numbers are pixel centres, the far sides stay out", 3, 5, 10, 9, {3, 5, 10, 9}},
        {"half a pixel back covers the same", 2.5f, 4.5f, 9.5f, 8.5f, {3, 5, 10, 9}},
        {"the whole target", 0, 0, kSize, kSize, {0, 0, kSize, kSize}},
        {"beyond all sides", -7, -7, 200, 200, {0, 0, kSize, kSize}},
        {"one pixel in the last corner", kSize - 1, kSize - 1, kSize, kSize, {kSize - 1, kSize - 1, kSize, kSize}},
    };
    for (auto const& row : rows) {
        Clear();
        DrawQuad(ScreenQuad(row.left, row.top, row.right, row.bottom, kGreen));
        Picture expected(kSize, kSize, kBlack);
        expected.Fill(row.pixels[0], row.pixels[1], row.pixels[2], row.pixels[3], kGreen);
        EXPECT_TRUE(Matches(Read(), expected)) << row.what;
    }

    Clear();
    Draw(ST_LINELIST, std::vector<ScreenVertex>{{4, 7, 0, 1, kRed, 0, 0},
                                                {20, 7, 0, 1, kRed, 0, 0},
                                                {9, 10, 0, 1, kBlue, 0, 0},
                                                {9, 30, 0, 1, kBlue, 0, 0}});
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(4, 7, 20, 8, kRed);
    expected.Fill(9, 10, 10, 30, kBlue);
    EXPECT_TRUE(Matches(Read(), expected));

    // In space the same rule holds: -1 is the left side of pixel 0's centre line, y points up, depth from 0 to 1.
    Clear();
    DrawQuad(SpaceQuad(-1, 1, 0, 0, kGreen, 0.0f));
    DrawQuad(SpaceQuad(0, 0, 0.5f, -1, kBlue, 1.0f));
    DrawQuad(SpaceQuad(0, 1, 1, 0, kRed, 1.01f)); // beyond the far plane
    expected = Picture(kSize, kSize, kBlack);
    expected.Fill(0, 0, 32, 32, kGreen);
    expected.Fill(32, 32, 48, 64, kBlue);
    EXPECT_TRUE(Matches(Read(), expected));
}

TEST_F(GLDevice, MultipliesMatricesInTheOrderOfRowVectors) {
    Matrix44 world = Matrix44::IDENTITY, view = Matrix44::IDENTITY, projection = Matrix44::IDENTITY;
    world.m[0] = world.m[5] = 0.5f;        // halves, then
    view.m[12] = 0.5f, view.m[13] = 0.25f; // moves right and up
    projection.m[5] = -1;                  // and turns over
    System().SetWorldMatrix(world);
    System().SetViewMatrix(view);
    System().SetProjectionMatrix(projection);
    DrawQuad(SpaceQuad(-1, 1, 1, -1, kGreen)); // x from 0 to 1, y from -0.75 to 0.25
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(32, 24, 64, 56, kGreen);
    EXPECT_TRUE(Matches(Read(), expected));
}

TEST_F(GLDevice, CullsByTheWindingOnScreenWhateverItIsDrawnInto) {
    auto const clockwise =
        std::vector<ScreenVertex>{{0, 0, 0, 1, kRed, 0, 0}, {64, 0, 0, 1, kRed, 0, 0}, {0, 64, 0, 1, kRed, 0, 0}};
    auto counter = clockwise;
    std::swap(counter[1], counter[2]);
    auto const texture = MakeTargetTexture("culled", kSize, kSize, PF_A8R8G8B8);
    ASSERT_TRUE(texture);
    CTexture* const raw = const_cast<CTexture*>(static_cast<CTexture const*>(texture));
    for (CRenderTarget* const target :
         {static_cast<CRenderTarget*>(m_screen), static_cast<CRenderTarget*>(raw->GetRenderTexture())}) {
        ASSERT_TRUE(target);
        Activate(*target);
        struct {
            unsigned long mode;
            bool drawsClockwise, drawsCounter;
        } const rows[] = {{1, true, true}, {2, false, true}, {3, true, false}};
        for (auto const& row : rows) {
            System().SetCullMode(row.mode);
            Clear();
            Draw(ST_TRIANGLELIST, clockwise);
            EXPECT_EQ(ReadTarget(*target).At(5, 5) == kRed, row.drawsClockwise) << row.mode;
            Clear();
            Draw(ST_TRIANGLELIST, counter);
            EXPECT_EQ(ReadTarget(*target).At(5, 5) == kRed, row.drawsCounter) << row.mode;
        }
    }
}

TEST_F(GLDevice, DrawsEveryShapeWithAndWithoutIndicesFromAnyStart) {
    auto const at = [](float x, float y) { return ScreenVertex{x, y, 0, 1, kRed, 0, 0}; };
    // Three vertices that must not be drawn stand before the ones that are.
    std::vector<ScreenVertex> const corners = {at(50, 50), at(60, 50), at(50, 60), at(4, 4),
                                               at(12, 4),  at(4, 12),  at(12, 12)};
    struct {
        EShapeType type;
        int inside[2];
        std::vector<std::uint16_t> order;
    } const rows[] = {
        {ST_POINTLIST, {12, 12}, {0, 1, 2, 3}},     {ST_LINELIST, {8, 4}, {0, 1, 2, 3}},
        {ST_LINESTRIP, {8, 12}, {0, 1, 2, 3}},      {ST_TRIANGLELIST, {5, 5}, {0, 1, 2}},
        {ST_TRIANGLESTRIP, {10, 10}, {0, 1, 2, 3}}, {ST_TRIANGLEFAN, {5, 10}, {0, 1, 3, 2}},
    };
    for (auto const& row : rows) {
        Clear();
        Shape plain(System(), row.type, corners);
        plain.vertices.SetVertexStart(3);
        plain.vertices.SetVertexNum(4);
        plain.Draw();
        if (row.type != ST_TRIANGLEFAN) {
            EXPECT_EQ(Read().At(row.inside[0], row.inside[1]), kRed) << row.type;
            EXPECT_EQ(Read().At(52, 52), kBlack) << row.type;
        }
        for (bool const wide : {false, true}) {
            Clear();
            std::vector<std::uint16_t> order = {2, 2, 2}; // skipped by the index start
            order.insert(order.end(), row.order.begin(), row.order.end());
            if (wide)
                plain.SetIndices(std::vector<std::uint32_t>(order.begin(), order.end()));
            else
                plain.SetIndices(order);
            plain.indices.SetIndexStart(3);
            plain.indices.SetIndexNum(static_cast<unsigned>(row.order.size()));
            plain.Draw();
            EXPECT_EQ(Read().At(row.inside[0], row.inside[1]), kRed) << row.type << (wide ? " wide" : "");
            EXPECT_EQ(Read().At(52, 52), kBlack) << row.type;
        }
    }
}

TEST_F(GLDevice, RefusesDrawsThatWouldReadWhatIsNotThere) {
    Shape wild(System(), ST_TRIANGLELIST, std::vector<ScreenVertex>(3, ScreenVertex{0, 0, 0, 1, kRed, 0, 0}));
    wild.vertices.SetVertexNum(4'000'000'000u);
    wild.Draw();
    wild.vertices.SetVertexStart(4'000'000'000u);
    wild.Draw();
    wild.vertices.SetVertexStart(0);
    wild.SetIndices(std::vector<std::uint32_t>{0, 70'000, 0xFFFFFFFF});
    wild.Draw();
    wild.indices.SetIndexNum(0xFFFFFFFF);
    wild.indices.SetIndexStart(0xFFFFFFFF);
    wild.Draw();
    wild.operation.m_indexData = nullptr;
    wild.Draw();
    wild.vertices.Clear();
    wild.Draw();
    EXPECT_TRUE(Matches(Read(), Picture(kSize, kSize, kBlack)));
}

TEST_F(GLDevice, TestsAndWritesDepthByEveryComparison) {
    System().SetZEnable(1);
    for (unsigned long function = 1; function <= 8; ++function)
        for (float const z : {0.25f, 0.5f, 0.75f}) {
            Clear();
            System().SetZFunc(8);
            DrawQuad(ScreenQuad(0, 0, 64, 64, kRed, 0.5f));
            System().SetZFunc(function);
            DrawQuad(ScreenQuad(0, 0, 64, 64, kGreen, z));
            bool const less = z<0.5f, equal = z == 0.5f, greater = z> 0.5f;
            bool const passes[] = {false, less, equal, less || equal, greater, !equal, greater || equal, true};
            EXPECT_EQ(Read().At(9, 9), passes[function - 1] ? kGreen : kRed) << function << " at " << z;
        }

    Clear();
    System().SetZFunc(2);
    System().SetZWriteEnable(0);
    DrawQuad(ScreenQuad(0, 0, 64, 64, kRed, 0.25f));
    System().SetZWriteEnable(1);
    DrawQuad(ScreenQuad(0, 0, 64, 64, kGreen, 0.5f));
    EXPECT_EQ(Read().At(9, 9), kGreen) << "what writes no depth hides nothing";
    System().SetZEnable(0);
    DrawQuad(ScreenQuad(0, 0, 64, 64, kBlue, 0.1f));
    System().SetZEnable(1);
    DrawQuad(ScreenQuad(0, 0, 64, 64, kWhite, 0.3f));
    EXPECT_EQ(Read().At(9, 9), kWhite) << "without the test nothing is written either";

    Screen().SetInitDepth(0.2f);
    Screen().SetIsClearBackgroundColor(false);
    System().ClearRenderTarget();
    DrawQuad(ScreenQuad(0, 0, 64, 64, kRed, 0.21f));
    EXPECT_EQ(Read().At(9, 9), kWhite);
}

TEST_F(GLDevice, BiasesDepthInUnitsOfDepth) {
    System().SetZEnable(1);
    struct {
        float bias, z;
        bool passes;
    } const rows[] = {{-0.1f, 0.55f, true}, {-0.1f, 0.65f, false}, {0.1f, 0.45f, false}, {0.1f, 0.35f, true}};
    for (auto const& row : rows) {
        Clear();
        System().SetDepthBias(0);
        DrawQuad(ScreenQuad(0, 0, 64, 64, kRed, 0.5f));
        System().SetZFunc(2);
        System().SetDepthBias(FloatBits(row.bias));
        DrawQuad(ScreenQuad(0, 0, 64, 64, kGreen, row.z));
        EXPECT_EQ(Read().At(9, 9) == kGreen, row.passes) << row.bias << " at " << row.z;
    }
}

TEST_F(GLDevice, BlendsByEveryFactorAndOperation) {
    constexpr std::uint32_t kSource = 0x60C08040, kDest = 0xA0305090, kFactor = 0x40207FC0;
    using Colour = std::array<double, 4>; // r, g, b, a
    auto const unpack = [](std::uint32_t argb) {
        return Colour{(argb >> 16 & 255) / 255.0, (argb >> 8 & 255) / 255.0, (argb & 255) / 255.0,
                      (argb >> 24) / 255.0};
    };
    Colour const source = unpack(kSource), dest = unpack(kDest), constant = unpack(kFactor);
    auto const factor = [&](unsigned long which, std::size_t i) {
        double const saturated = i == 3 ? 1 : std::min(source[3], 1 - dest[3]);
        double const values[] = {
            0,       1,           source[i], 1 - source[i], source[3],     1 - source[3], dest[3],        1 - dest[3],
            dest[i], 1 - dest[i], saturated, source[3],     1 - source[3], constant[i],   1 - constant[i]};
        return values[which - 1];
    };
    auto const blend = [](unsigned long operation, double s, double sf, double d, double df) {
        double const values[] = {s * sf + d * df, s * sf - d * df, d * df - s * sf, std::min(s, d), std::max(s, d)};
        return std::clamp(values[operation - 1], 0.0, 1.0);
    };
    auto const check = [&](unsigned long src, unsigned long dst, unsigned long op, unsigned long srcA,
                           unsigned long dstA, unsigned long opA) {
        System().SetAlphaBlendEnable(0);
        DrawQuad(ScreenQuad(0, 0, 8, 8, kDest));
        System().SetAlphaBlendEnable(1);
        DrawQuad(ScreenQuad(0, 0, 8, 8, kSource));
        std::uint32_t expected = 0;
        constexpr int kShift[] = {16, 8, 0, 24};
        for (std::size_t i = 0; i < 4; ++i) {
            auto const s = i == 3 ? srcA : src;
            auto const d = s == 12 ? 6ul : s == 13 ? 5ul : i == 3 ? dstA : dst;
            double const value = blend(i == 3 ? opA : op, source[i], factor(s == 13 ? 6 : s, i), dest[i], factor(d, i));
            expected |= static_cast<std::uint32_t>(std::lround(value * 255)) << kShift[i];
        }
        Picture picture = Read(), want = picture;
        want.Fill(0, 0, 8, 8, expected);
        // Devices round products differently by one step.
        EXPECT_TRUE(Matches(picture, want, {1, 0})) << src << " " << dst << " " << op << "; " << srcA << " " << dstA;
    };
    System().SetBlendFactor(kFactor);
    for (unsigned long src = 1; src <= 15; ++src) {
        unsigned long const dst = 1 + src * 4 % 11;
        System().SetSrcBlend(src);
        System().SetDestBlend(dst);
        for (unsigned long op = 1; op <= 5; ++op) {
            System().SetBlendOP(op);
            System().SetSeparateAlphaBlendEnable(0);
            check(src, dst, op, src, dst, op);
        }
        System().SetSeparateAlphaBlendEnable(1);
        System().SetSrcBlendAlpha(dst);
        System().SetDestBlendAlpha(2);
        System().SetBlendOPAlpha(3);
        check(src, dst, 5, dst, 2, 3);
        System().SetBlendOPAlpha(1);
    }
}

TEST_F(GLDevice, WritesOnlyTheChannelsOfItsMask) {
    Clear(0x11223344);
    for (unsigned long mask = 0; mask < 16; ++mask) {
        System().SetColorWriteEnable(mask);
        auto const left = static_cast<float>(mask) * 4;
        DrawQuad(ScreenQuad(left, 0, left + 4, 4, 0xAABBCCDD));
    }
    Picture const picture = Read();
    for (std::uint32_t mask = 0; mask < 16; ++mask) {
        std::uint32_t const bits = (mask & 1 ? 0xFF0000u : 0) | (mask & 2 ? 0xFF00u : 0) | (mask & 4 ? 0xFFu : 0) |
                                   (mask & 8 ? 0xFF000000u : 0);
        EXPECT_EQ(picture.At(static_cast<int>(mask) * 4 + 1, 1), (0xAABBCCDD & bits) | (0x11223344 & ~bits)) << mask;
    }
}

TEST_F(GLDevice, CountsInTheStencilOnEitherSideOfAFace) {
    // Each operation on 5 with reference 9; the result is found by drawing where the stencil equals it.
    struct {
        unsigned long operation;
        unsigned start, result;
    } const rows[] = {{1, 5, 5}, {2, 5, 0}, {3, 5, 9},   {4, 5, 6},   {4, 255, 255},
                      {5, 5, 4}, {5, 0, 0}, {6, 5, 250}, {7, 255, 0}, {8, 0, 255}};
    auto const triangle = [](bool clockwise, std::uint32_t colour) {
        std::vector<ScreenVertex> corners = {
            {0, 0, 0, 1, colour, 0, 0}, {64, 0, 0, 1, colour, 0, 0}, {0, 64, 0, 1, colour, 0, 0}};
        if (!clockwise) std::swap(corners[1], corners[2]);
        return corners;
    };
    System().SetStencilEnable(1);
    for (bool const twoSided : {false, true})
        for (auto const& row : rows) {
            Screen().SetInitStencil(row.start);
            Clear();
            System().SetTwoSidedStencilMode(twoSided);
            System().SetStencilFunc(8);
            System().SetCCWStencilFunc(8);
            System().SetStencilPass(twoSided ? 1 : row.operation);
            System().SetCCWStencilPass(row.operation);
            System().SetStencilRef(9);
            Draw(ST_TRIANGLELIST, triangle(!twoSided, kRed)); // the side whose operation is under test
            System().SetTwoSidedStencilMode(0);
            System().SetStencilPass(1);
            System().SetStencilFunc(3);
            System().SetStencilRef(row.result);
            Draw(ST_TRIANGLELIST, triangle(true, kGreen));
            EXPECT_EQ(Read().At(5, 5), kGreen)
                << row.operation << " on " << row.start << (twoSided ? " two-sided" : "");
        }

    Screen().SetInitStencil(0xF0);
    Clear();
    System().SetStencilMask(0x0F); // only these bits are compared
    System().SetStencilFunc(3);
    System().SetStencilRef(0x20);
    System().SetStencilPass(3);
    System().SetStencilWriteMask(0x03); // and only these written
    System().SetStencilRef(0);
    Draw(ST_TRIANGLELIST, triangle(true, kRed));
    EXPECT_EQ(Read().At(5, 5), kRed);
    System().SetStencilMask(0xFF);
    System().SetStencilRef(0xF0);
    Draw(ST_TRIANGLELIST, triangle(true, kBlue));
    EXPECT_EQ(Read().At(5, 5), kBlue);
}

TEST_F(GLDevice, CutsToScissorAndViewport) {
    SetScissor(10, 20, 15, 5);
    System().SetScissorTestEnable(1);
    DrawQuad(ScreenQuad(0, 0, 64, 64, kRed));
    Picture expected(kSize, kSize, kBlack);
    expected.Fill(10, 20, 25, 25, kRed);
    EXPECT_TRUE(Matches(Read(), expected)) << "a scissor rectangle has no half pixel in it";

    System().SetScissorTestEnable(0);
    CCamera camera("camera");
    camera.SetViewMatrix(Matrix44::IDENTITY);
    camera.SetProjectionMatrix(Matrix44::IDENTITY);
    CViewport* const viewport = Screen().AddViewport(&camera, 0, 32u, 8u, 16u, 40u);
    ASSERT_TRUE(System().SetActiveViewport(viewport));
    Clear(kBlue);
    DrawQuad(SpaceQuad(-1, 1, 0, -1, kGreen));   // the left half of the viewport
    DrawQuad(ScreenQuad(0, 44, 64, 64, kWhite)); // pixels are those of the target, cut to the viewport
    Draw(ST_POINTLIST, std::vector<ScreenVertex>{{48, 20, 0, 1, kWhite, 0, 0}}); // the first pixel outside
    expected.Fill(32, 8, 48, 48, kBlue);
    expected.Fill(32, 8, 40, 48, kGreen);
    expected.Fill(32, 44, 48, 48, kWhite);
    EXPECT_TRUE(Matches(Read(), expected));
    Screen().RemoveAllViewport();
}

TEST_F(GLDevice, FillsAsLinesOrPoints) {
    auto const quad = ScreenQuad(10, 10, 40, 40, kRed);
    System().SetFillMode(2);
    DrawQuad(quad);
    Picture const lines = Read();
    EXPECT_EQ(lines.At(10, 20), kRed);
    EXPECT_EQ(lines.At(20, 15), kBlack) << "inside a triangle";
    Clear();
    System().SetFillMode(1);
    DrawQuad(quad);
    auto const pixels = Read().pixels;
    EXPECT_EQ(std::count(pixels.begin(), pixels.end(), kRed), 4);
}

TEST_F(GLDevice, KeepsWhatIsOutsideOfDepthWithoutClipping) {
    System().SetClipping(0);
    DrawQuad(SpaceQuad(-1, 1, 1, -1, kRed, 1.5f));
    EXPECT_EQ(Read().At(9, 9), kRed);
}

TEST_F(GLDevice, CutsByPlanesInWorldSpace) {
    auto in = Parsed({{"Index", 2}, {"Plane", Numbers({-1, 0, 0, 0.5})}}); // x up to 0.5
    ASSERT_TRUE(System().UnusualCall("SetClipPlane", &in, nullptr));
    Matrix44 view = Matrix44::IDENTITY;
    view.m[12] = -0.25f;
    System().SetViewMatrix(view);
    Picture expected(kSize, kSize, kBlack);
    System().SetClipPlaneEnable(1 << 2);
    DrawQuad(SpaceQuad(-0.75f, 1, 1.25f, -1, kRed));
    expected.Fill(0, 0, 40, 64, kRed);
    EXPECT_TRUE(Matches(Read(), expected));
    DrawQuad(ScreenQuad(0, 0, 64, 8, kBlue)); // pixels have no place in the world
    expected.Fill(0, 0, 64, 8, kBlue);
    EXPECT_TRUE(Matches(Read(), expected));
    System().SetClipPlaneEnable(0);
    DrawQuad(SpaceQuad(-0.75f, 1, 1.25f, -1, kGreen));
    EXPECT_TRUE(Matches(Read(), Picture(kSize, kSize, kGreen)));
}

TEST_F(GLDevice, ShadesFlatByTheFirstVertex) {
    System().SetShadeMode(1);
    Draw(ST_TRIANGLELIST,
         std::vector<ScreenVertex>{
             {0, 0, 0, 1, kRed, 0, 0}, {64, 0, 0, 1, kGreen, 0, 0}, {0, 64, 0, 1, kBlue, 0, 0}});
    EXPECT_EQ(Read().At(20, 20), kRed);
    System().SetShadeMode(2);
    Draw(ST_TRIANGLELIST,
         std::vector<ScreenVertex>{
             {0, 0, 0, 1, kRed, 0, 0}, {64, 0, 0, 1, kGreen, 0, 0}, {0, 64, 0, 1, kBlue, 0, 0}});
    EXPECT_NE(Read().At(20, 20), kRed);
}

TEST_F(GLDevice, EncodesOnWritingInSrgb) {
    Clear(kBlack);
    System().SetSRGBWriteEnable(1);
    DrawQuad(ScreenQuad(0, 0, 32, 64, 0x80808080));
    System().SetSRGBWriteEnable(0);
    DrawQuad(ScreenQuad(32, 0, 64, 64, 0x80808080));
    // 128/255 linear is 188 in sRGB; alpha stays.
    EXPECT_TRUE(Matches(Read(),
                        [] {
                            Picture expected(kSize, kSize, 0x80808080);
                            expected.Fill(0, 0, 32, 64, 0x80BCBCBC);
                            return expected;
                        }(),
                        {1, 0}));
}

TEST_F(GLDevice, CountsWhatItDoes) {
    Json::Value reset(Json::objectValue);
    reset["Reset"] = true;
    ASSERT_TRUE(System().UnusualCall("GetStatistics", &reset, nullptr));
    auto const quad = ScreenQuad(0, 0, 8, 8, kRed);
    Shape shape(System(), ST_TRIANGLESTRIP, quad);
    System().BeginFrame();
    shape.Draw();
    auto const states = Statistic("StateCalls");
    shape.Draw();
    System().SetFillMode(3); // the value that it has
    shape.Draw();
    System().EndFrame();
    EXPECT_EQ(Statistic("Draws"), 3u);
    EXPECT_EQ(Statistic("Primitives"), 6u);
    EXPECT_EQ(Statistic("Frames"), 1u);
    EXPECT_EQ(Statistic("StateCalls"), states) << "nothing differs, so nothing is sent";
    EXPECT_EQ(Statistic("LateCompilations"), 2u) << "nobody prepared this vertex and this fragment program";
}

TEST_F(GLDevice, AnswersCommandsItCannotUseWithFalse) {
    struct {
        char const* command;
        Json::Value in;
    } const rows[] = {
        {"NoSuchCommand", Json::Value(Json::objectValue)},
        {"SetLight", Parsed({{"Index", 8}})},
        {"SetLight", Parsed({{"Index", 0}, {"Type", "MOON"}})},
        {"SetLight", Parsed({{"Index", 0}, {"Position", "far away"}})},
        {"SetMaterial", Parsed({{"Diffuse", Numbers({1, 2, 3, 4, 5})}})},
        {"SetClipPlane", Parsed({{"Index", -1}, {"Plane", Numbers({1, 0, 0, 0})}})},
        {"SetScissorRect", Parsed({{"Rect", Numbers({0, 0, -1, 5})}})},
        {"SetScissorRect", Json::Value("text")},
        {"PrepareMaterial", Parsed({{"Name", "there is none"}})},
        {"GetWindowState", Parsed({{"Name", "screen"}})}, // it has no screen
    };
    for (auto const& row : rows) {
        Json::Value in = row.in;
        EXPECT_FALSE(System().UnusualCall(row.command, &in, nullptr)) << row.command << " " << in.toStyledString();
    }
    EXPECT_FALSE(System().UnusualCall("SetLight", nullptr, nullptr));
}

TEST_F(GLDevice, DrawsTheSameAfterALossAndAReturn) {
    auto target = MakeTargetTexture("lost target", 16, 16, PF_A8R8G8B8);
    CRenderTexture* const renderTexture = target->GetRenderTexture();
    ASSERT_TRUE(renderTexture);
    Picture image(8, 8);
    for (std::size_t i = 0; i < image.pixels.size(); ++i)
        image.pixels[i] = 0xFF000000 | static_cast<unsigned>(i * 2654435761u);
    auto const texture = MakeTexture(image);
    auto const copy = MakeTexture(8, 8, PF_A8R8G8B8);
    ASSERT_TRUE(copy->GetPixelBuffer()->BlitEx(texture->GetPixelBuffer(), nullptr, 0, nullptr));

    Shape left(System(), ST_TRIANGLESTRIP, ScreenQuad(0, 0, 32, 64, kWhite));
    Shape right(System(), ST_TRIANGLESTRIP, ScreenQuad(32, 0, 64, 64, 0x80FFFFFF));
    right.SetIndices(std::vector<std::uint16_t>{0, 1, 2, 3});
    // Set once and never again: what comes back has to be what the device has on record.
    System().SetColorOP(0, StageValue(4));
    System().SetColorARG1(0, StageValue(2));
    System().SetAlphaBlendEnable(1);
    System().SetSrcBlend(5);
    System().SetDestBlend(6);
    System().SetMagFilter(0, 2);
    auto const draw = [&] {
        Clear(kBlue);
        System().SetTexture(0, true, texture.get());
        left.Draw();
        System().SetTexture(0, true, copy.get());
        right.Draw();
    };
    draw();
    Picture const before = Read();
    EXPECT_NE(before.At(40, 9), before.At(50, 50));

    ASSERT_TRUE(System().UnusualCall("LoseDevice", nullptr, nullptr));
    EXPECT_FALSE(System().IsDeviceReady());
    draw(); // nowhere to draw to, and nothing happens
    EXPECT_FALSE(MakeTexture(4, 4, PF_A8R8G8B8));
    left.vertices.GetVertexBufferBinding()->GetSource(0)->Lock(0, 0, CHardwareBuffer::LM_NORMAL);
    left.vertices.GetVertexBufferBinding()->GetSource(0)->Unlock(); // the same bytes
    EXPECT_TRUE(System().UpdateAllRenderTarget(1)) << "the frame restores the device by itself";
    EXPECT_TRUE(System().IsDeviceReady());
    Activate(Screen());
    draw();
    EXPECT_TRUE(Matches(Read(), before));

    Activate(*renderTexture);
    Clear(kGreen);
    EXPECT_TRUE(Matches(ReadTexture(*target), Picture(16, 16, kGreen)));
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(System().UnusualCall("LoseDevice", nullptr, nullptr));
        ASSERT_TRUE(System().Restore());
    }
    Activate(Screen());
    draw();
    EXPECT_TRUE(Matches(Read(), before)) << "and as often as it takes";
}

TEST_F(GLDevice, DrawsTheSameAfterEverythingWasTakenDown) {
    auto const draw = [this] {
        auto const texture = MakeTexture(Picture(4, 4, 0xFF8040C0));
        System().SetTexture(0, true, texture.get());
        DrawQuad(SpaceQuad(-0.7f, 0.6f, 0.8f, -0.5f, 0xFFFFFF80));
        System().SetTexture(0, false, nullptr);
        return Read();
    };
    Picture const first = draw();
    EXPECT_NE(first.At(32, 32), kBlack);
    for (int i = 0; i < 2; ++i) {
        CQK3DMain::GetQK3DMain().Clear(); // which unloads the plug-in
        CQK3DMain::GetQK3DMain().Clear();
        m_system = nullptr;
        ForgetPlugin();
        EXPECT_FALSE(IsMapped("QK3DGL")) << "the library stays in the process";
        ASSERT_TRUE(Start());
        MakeSystem();
        EXPECT_TRUE(Matches(draw(), first));
    }
}

TEST_F(GLDevice, KeepsTwoSystemsApart) {
    CRenderSystem* const other = CQK3DMain::GetQK3DMain().CreateRenderSystem("QK3DGL", "other");
    ASSERT_TRUE(other);
    CRenderTarget* const screen = other->CreateRenderWindow("other screen", 16, 16, PF_A8R8G8B8, false);
    ASSERT_TRUE(screen);
    EXPECT_FALSE(System().SetActiveRenderTarget(0, screen));
    other->SetActiveRenderTarget(0, screen);
    other->SetLighting(0);
    screen->SetBackgroundColor(color(kBlue));
    other->ClearRenderTarget();
    DrawQuad(ScreenQuad(0, 0, 64, 64, kRed));
    Shape(*other, ST_TRIANGLESTRIP, ScreenQuad(0, 0, 8, 16, kGreen)).Draw();
    Picture expected(16, 16, kBlue);
    expected.Fill(0, 0, 8, 16, kGreen);
    EXPECT_TRUE(Matches(ReadTarget(*screen), expected));
    EXPECT_TRUE(Matches(Read(), Picture(kSize, kSize, kRed)));
    CQK3DMain::GetQK3DMain().DestroyRenderSystem("other");
    EXPECT_TRUE(Matches(Read(), Picture(kSize, kSize, kRed)));
}

TEST_F(GLDevice, RefusesOptionsThatMakeNoSense) {
    DropSystem();
    Stop();
    for (char const* const options : {"[]", "{", R"({"Windows": "SOMETIMES"})", "\xff\xfe"}) {
        auto const* const data = reinterpret_cast<unsigned char const*>(options);
        EXPECT_FALSE(CQK3DMain::GetQK3DMain().LoadPlugin("QK3DGL.so", data, static_cast<int>(std::strlen(options))))
            << options;
        EXPECT_EQ(TakeErrors().size(), 1u) << options;
    }
    ASSERT_TRUE(Start());
    MakeSystem();
}

TEST_F(GLDevice, SmoothsEdgesWithSeveralSamplesAndNothingElse) {
    DropSystem();
    ASSERT_TRUE(Start(R"({"Windows": "NONE", "Debug": true, "Multisample": 4})"));
    MakeSystem();
    Draw(ST_TRIANGLELIST, std::vector<SpaceVertex>{
                              {-1, 1, 0, kWhite, 0, 0}, {0.9f, 1, 0, kWhite, 0, 0}, {-1, -0.2f, 0, kWhite, 0, 0}});
    Picture const picture = Read();
    EXPECT_EQ(picture.At(5, 5), kWhite);
    EXPECT_EQ(picture.At(60, 60), kBlack);
    auto const between = std::count_if(picture.pixels.begin(), picture.pixels.end(),
                                       [](std::uint32_t argb) { return argb != kWhite && argb != kBlack; });
    EXPECT_GT(between, 20);
    EXPECT_LT(between, 200);
    DropSystem();
    ASSERT_TRUE(Start());
    MakeSystem();
}
