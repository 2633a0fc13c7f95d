// FixedFunctionTest.cpp: stages, coordinates and what becomes pixels, with values worked out by hand.
#include "FixedFunctionFixture.h"
#include "Picture.h"

#include <cmath>

namespace {
// A rectangle of the target in pixels, both ends included, as a strip of pixel-space vertices.
std::vector<Vertex> PixelRect(float left, float top, float right, float bottom, float z = 0.5f) {
    std::vector<Vertex> out(4);
    for (int i = 0; i < 4; ++i) {
        auto& p = out[static_cast<std::size_t>(i)];
        p.position[0] = (i & 1 ? right + 1 : left) - 0.5f; // edges lie half a pixel off the centres
        p.position[1] = (i & 2 ? bottom + 1 : top) - 0.5f;
        p.position[2] = z, p.position[3] = 1;
        p.texCoord[0][0] = i & 1 ? 1.0f : 0.0f, p.texCoord[0][1] = i & 2 ? 1.0f : 0.0f;
    }
    return out;
}

// The whole of clip space at depth z, row 0 of the target first.
std::vector<Vertex> FullQuad(float z = 0.5f) {
    std::vector<Vertex> out(4);
    for (int i = 0; i < 4; ++i) {
        auto& q = out[static_cast<std::size_t>(i)];
        q.position[0] = i & 1 ? 1.0f : -1.0f, q.position[1] = i & 2 ? -1.0f : 1.0f, q.position[2] = z;
        q.texCoord[0][0] = i & 1 ? 1.0f : 0.0f, q.texCoord[0][1] = i & 2 ? 1.0f : 0.0f;
    }
    return out;
}

} // namespace

TEST_F(FixedFunction, EveryOperationWithColourAndAlpha) {
    // arg1 is diffuse, arg2 specular, arg0 the factor, the texture has a constant texel.
    Colour const a1 = {0.8, 0.4, 0.2, 0.6}, a2 = {0.5, 0.25, 0.75, 0.3};
    for (std::size_t c = 0; c < 4; ++c)
        v.diffuse[c] = static_cast<float>(a1[c]), v.specular[c] = static_cast<float>(a2[c]);
    rig->SetTexture(0, {1, 1, {{0.1f, 0.2f, 0.3f, 0.4f}}});
    rig->SetTexture(1, {1, 1, {{0.5f, 0.6f, 0.7f, 0.8f}}});
    s.render[rs::TEXTUREFACTOR] = 0x33FF8000; // 0.2, 1, 0.502, 0
    struct {
        unsigned op;
        char const* what;
        Colour wanted;
    } const rows[] = {
        {kSelectArg1, "SELECTARG1", a1},
        {kSelectArg2, "SELECTARG2", a2},
        {kModulate, "MODULATE", {0.4, 0.1, 0.15, 0.18}},
        {kModulate2x, "MODULATE2X", {0.8, 0.2, 0.3, 0.36}},
        {kModulate4x, "MODULATE4X", {1, 0.4, 0.6, 0.72}},
        {kAdd, "ADD", {1, 0.65, 0.95, 0.9}},
        {kAddSigned, "ADDSIGNED", {0.8, 0.15, 0.45, 0.4}},
        {kAddSigned2x, "ADDSIGNED2X", {1, 0.3, 0.9, 0.8}},
        {kSubtract, "SUBTRACT", {0.3, 0.15, 0, 0.3}},
        {kAddSmooth, "ADDSMOOTH", {0.9, 0.55, 0.8, 0.72}},
        {kBlendDiffuseAlpha, "BLENDDIFFUSEALPHA", {0.68, 0.34, 0.42, 0.48}},
        {kBlendTextureAlpha, "BLENDTEXTUREALPHA", {0.62, 0.31, 0.53, 0.42}},
        {kBlendFactorAlpha, "BLENDFACTORALPHA", {0.56, 0.28, 0.64, 0.36}},
        {kBlendTextureAlphaPm, "BLENDTEXTUREALPHAPM", {1, 0.55, 0.65, 0.78}},
        {kBlendCurrentAlpha, "BLENDCURRENTALPHA", {0.68, 0.34, 0.42, 0.48}},
        {kPremodulate, "PREMODULATE", {0.4, 0.24, 0.14, 0.48}},
        {kModulateAlphaAddColor, "MODULATEALPHA_ADDCOLOR", {1, 0.55, 0.65, 0.78}},
        {kModulateColorAddAlpha, "MODULATECOLOR_ADDALPHA", {1, 0.7, 0.75, 0.78}},
        {kModulateInvAlphaAddColor, "MODULATEINVALPHA_ADDCOLOR", {1, 0.5, 0.5, 0.72}},
        {kModulateInvColorAddAlpha, "MODULATEINVCOLOR_ADDALPHA", {0.7, 0.75, 1, 0.72}},
        {kBumpEnvMap, "BUMPENVMAP", a1},
        {kBumpEnvMapLuminance, "BUMPENVMAPLUMINANCE", a1},
        {kDotProduct3, "DOTPRODUCT3", {0, 0, 0, 0}}, // 4 * (0.3 * 0 + 0.1 * 0.25 - 0.3 * 0.25) is below 0
        {kMultiplyAdd, "MULTIPLYADD", {1, 0.602, 0.15, 0.38}},
        {kLerp, "LERP", {0.8, 0.3253, 0.75, 0.36}},
    };
    EXPECT_EQ(std::size(rows), 25u); // all but DISABLE
    for (auto const& row : rows) {
        s = PlainState();
        s.render[rs::TEXTUREFACTOR] = 0x33FF8000;
        SetStage(s, 0, row.op, kDiffuse, kSpecular, kFactor);
        if (row.op == kPremodulate) SetStage(s, 1, kSelectArg2); // a next stage that has a texture and changes nothing
        ExpectColour(rig->Shade(s, f, v), row.wanted, row.what);
    }

    SetStage(s, 0, kDotProduct3, kDiffuse, kDiffuse);
    s.stages[1].values[ts::COLOROP] = 1;
    ExpectColour(rig->Shade(s, f, v), {0.76, 0.76, 0.76, 0.76},
                 "DOTPRODUCT3 in all channels"); // 4 * (0.09 + 0.01 + 0.09)
}

TEST_F(FixedFunction, ArgumentsAndTheirFlags) {
    for (int c = 0; c < 4; ++c) v.diffuse[c] = 0.1f * static_cast<float>(c + 1), v.specular[c] = 0.6f;
    rig->SetTexture(0, {1, 1, {{0.25f, 0.5f, 0.75f, 0.5f}}});
    s.render[rs::TEXTUREFACTOR] = 0x00336699;
    s.stages[0].values[ts::CONSTANT] = 0xFF663300;
    struct {
        char const* what;
        unsigned arg;
        Colour wanted;
    } const rows[] = {
        {"DIFFUSE", kDiffuse, {0.1, 0.2, 0.3, 0.4}},
        {"CURRENT", kCurrent, {0.1, 0.2, 0.3, 0.4}},
        {"TEXTURE", kTexture, {0.25, 0.5, 0.75, 0.5}},
        {"TFACTOR", kFactor, {0.2, 0.4, 0.6, 0}},
        {"SPECULAR, though it is not added", kSpecular, {0.6, 0.6, 0.6, 0.6}},
        {"TEMP", kTemp, {0, 0, 0, 0}},
        {"CONSTANT", kConstant, {0.4, 0.2, 0, 1}},
        {"COMPLEMENT", kDiffuse | kComplement, {0.9, 0.8, 0.7, 0.6}},
        {"ALPHAREPLICATE", kDiffuse | kAlphaReplicate, {0.4, 0.4, 0.4, 0.4}},
        {"both: the complement of alpha", kFactor | kComplement | kAlphaReplicate, {1, 1, 1, 1}},
    };
    for (auto const& row : rows) {
        SetStage(s, 0, kSelectArg1, row.arg);
        ExpectColour(rig->Shade(s, f, v), row.wanted, row.what);
    }

    // A texture that is not there: its alpha is 1, and as a colour it ends the chain.
    SetStage(s, 0, kSelectArg1, kDiffuse);
    s.stages[0].values[ts::ALPHAARG1] = kTexture;
    s.stages[0].sampler = SamplerKind::None;
    ExpectColour(rig->Shade(s, f, v), {0.1, 0.2, 0.3, 1}, "alpha of a missing texture");
    SetStage(s, 0, kSelectArg1, kFactor);
    SetStage(s, 1, kAdd, kTexture, kCurrent);
    s.stages[1].sampler = SamplerKind::None;
    SetStage(s, 2, kSelectArg1, kDiffuse);
    ExpectColour(rig->Shade(s, f, v), {0.2, 0.4, 0.6, 0}, "chain that a missing texture ends");

    // Stage 0 writes TEMP, stage 1 leaves CURRENT alone and reads both, the last one writes CURRENT though told not to.
    s = PlainState();
    SetStage(s, 0, kSelectArg1, kTexture);
    s.stages[0].values[ts::RESULTARG] = kTemp;
    SetStage(s, 1, kSubtract, kTemp, kCurrent);
    s.stages[1].values[ts::RESULTARG] = kTemp;
    ExpectColour(rig->Shade(s, f, v), {0.15, 0.3, 0.45, 0.1}, "registers");

    // Colour alone: alpha goes on as it was.
    s.stages[1].values[ts::COLOROP] = 1;
    s.stages[0].values[ts::RESULTARG] = kCurrent;
    s.stages[0].values[ts::ALPHAOP] = 1;
    ExpectColour(rig->Shade(s, f, v), {0.25, 0.5, 0.75, 0.4}, "alpha operation off");
}

TEST_F(FixedFunction, CoordinateSourcesAndTransforms) {
    rig->SetTexture(0, CoordTexture());
    float const set0[4] = {0.25f, 0.5f, 0.75f, 2}, set3[4] = {0.7f, 0.3f, 0.1f, 1};
    std::copy(set0, set0 + 4, v.texCoord[0]);
    std::copy(set3, set3 + 4, v.texCoord[3]);
    v.position[0] = 0.3f, v.position[1] = 0.6f, v.position[2] = 0.8f;
    v.normal[0] = 0.6f, v.normal[2] = -0.8f;
    Matrix const shift = {0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0.1f, 0.2f, 1, 0, 0.3f, 0.05f, 0, 1};
    Matrix const perspective = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0}; // w becomes 2z
    constexpr unsigned normal = 1u << 16, position = 2u << 16, reflection = 3u << 16;
    struct {
        char const* what;
        unsigned index, flags;
        Matrix matrix;
        std::uint8_t size; // components of set 0
        double u, v;
    } const rows[] = {
        {"set 0", 0, 0, kIdentity, 4, 0.25, 0.5},
        {"set 3", 3, 0, kIdentity, 4, 0.7, 0.3},
        {"set that is not there", 7, 0, kIdentity, 4, 0, 0},
        {"normal in camera space", normal, 0, kIdentity, 4, 0.6, 0},
        {"position in camera space", position, 0, kIdentity, 4, 0.3, 0.6},
        {"reflection",
         reflection,
         2,
         {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1},
         4,
         0.8269,
         0.5747}, // worked out below
        {"COUNT1 does nothing", 0, 1, shift, 4, 0.25, 0.5},
        {"COUNT2 of two components: the third row moves", 0, 2, shift, 2, 0.225, 0.45},
        {"COUNT2 of one: the second row moves", 0, 2, shift, 1, 0.125, 0.5},
        {"COUNT2 of three: the third scales, the fourth moves", 0, 2, shift, 3, 0.5, 0.45},
        {"COUNT2 of four: all are used", 0, 2, shift, 4, 0.8, 0.5},
        {"COUNT3 projected: by the third", 0, 0x103, kIdentity, 4, 1.0 / 3, 2.0 / 3},
        {"COUNT4 projected: by the fourth", 0, 0x104, perspective, 4, 0.25 / 1.5, 0.5 / 1.5},
        {"projected without a count: by the last of the set", 0, 0x100, kIdentity, 4, 0.125, 0.25},
        {"projected without a count, three components", 0, 0x100, kIdentity, 3, 1.0 / 3, 2.0 / 3},
        {"projected without a count, two components", 0, 0x100, kIdentity, 2, 0.25, 0.5},
        {"COUNT4 without projection is not divided", 0, 4, perspective, 4, 0.25, 0.5},
        {"transform of the position", position, 2, shift, 4, 0.15 + 0.08 + 0.3, 0.3 + 0.16 + 0.05},
    };
    for (auto const& row : rows) {
        s = PlainState();
        SetStage(s, 0, kSelectArg1);
        s.stages[0].values[ts::TEXCOORDINDEX] = row.index;
        s.stages[0].values[ts::TRANSFORMFLAGS] = row.flags;
        s.stages[0].transform = row.matrix;
        f.texCoordSets = 4;
        f.texCoordSize[0] = row.size;
        Colour const got = rig->Shade(s, f, v);
        // e = (0.3, 0.6, 0.8) / 1.044, n = (0.6, 0, -0.8): e - 2 (n.e) n
        double u = row.u, w = row.v;
        if (row.index == reflection) u = 0.3 / 1.04403 - 2 * (0.6 * 0.3 - 0.64) / 1.04403 * 0.6, w = 0.6 / 1.04403;
        if (u == 0 || w == 0) { // the texture's edge blends with its other side
            EXPECT_TRUE(u != 0 || got[0] < 0.01 || got[0] > 0.49) << row.what;
        } else {
            EXPECT_NEAR(got[0], u, 4e-3) << row.what;
            EXPECT_NEAR(got[1], w, 4e-3) << row.what;
        }
    }

    // Camera space: the view turns what the vertex has, the transform of the object included.
    s = PlainState();
    SetStage(s, 0, kSelectArg1);
    s.stages[0].values[ts::TEXCOORDINDEX] = position;
    s.world[12] = 0.1f;
    s.view = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0.9f, 0, 0, 1}; // x to y, y to -x
    ExpectColour(rig->Shade(s, f, v), {0.3, 0.4, 0, 1}, "position in camera space", 4e-3);

    // A cube takes three components.
    rig->SetCube(
        1, {{{0.1f, 0, 0, 1}, {0.2f, 0, 0, 1}, {0.3f, 0, 0, 1}, {0.4f, 0, 0, 1}, {0.5f, 0, 0, 1}, {0.6f, 0, 0, 1}}});
    s = PlainState();
    SetStage(s, 0, kSelectArg1, kDiffuse);
    SetStage(s, 1, kSelectArg1);
    s.stages[1].sampler = SamplerKind::Cube;
    s.stages[1].values[ts::TEXCOORDINDEX] = normal;
    EXPECT_NEAR(rig->Shade(s, f, v)[0], 0.6, kNear) << "normal mostly along -z";
}

TEST_F(FixedFunction, ProjectedCoordinatesAreDividedInEachPixel) {
    // q goes from 1 to 3 over the width, so the middle shows u / q = 0.5 / 2, not the mean of both ends.
    rig->SetTexture(0, CoordTexture());
    SetStage(s, 0, kSelectArg1);
    s.stages[0].values[ts::TRANSFORMFLAGS] = 0x103;
    f.texCoordSize[0] = 3;
    auto quad = FullQuad();
    for (auto& q : quad) q.texCoord[0][2] = q.texCoord[0][0] > 0 ? 3.0f : 1.0f;
    rig->Clear({});
    rig->Draw(GL_TRIANGLE_STRIP, s, f, quad);
    double const u = 31.5 / 64 + 1.0 / 128; // centre of pixel 32, with half a pixel taken off by the viewport
    EXPECT_NEAR(rig->At(32, 32)[0], u / (1 + 2 * u), 5e-3);
}

TEST_F(FixedFunction, BumpStagesMoveTheNextStagesCoordinates) {
    rig->SetTexture(0, {1, 1, {{0.2f, 0.1f, 0.5f, 1}}}); // du, dv, luminance
    rig->SetTexture(1, CoordTexture());
    v.texCoord[1][0] = 0.3f, v.texCoord[1][1] = 0.4f;
    SetStage(s, 0, kBumpEnvMap);
    SetStage(s, 1, kSelectArg1);
    auto& m = s.stages[0].values;
    m[ts::BUMPENVMAT00] = Bits(1), m[ts::BUMPENVMAT01] = Bits(0.5f), m[ts::BUMPENVMAT10] = Bits(-1),
    m[ts::BUMPENVMAT11] = Bits(2);
    ExpectColour(rig->Shade(s, f, v), {0.4, 0.7, 0, 1}, "0.3 + 0.2 - 0.1, 0.4 + 0.1 + 0.2", 4e-3);
    m[ts::COLOROP] = kBumpEnvMapLuminance;
    m[ts::BUMPENVLSCALE] = Bits(0.8f), m[ts::BUMPENVLOFFSET] = Bits(0.1f);
    ExpectColour(rig->Shade(s, f, v), {0.2, 0.35, 0, 1}, "scaled by 0.5 * 0.8 + 0.1, alpha left alone", 4e-3);
    s.stages[0].sampler = SamplerKind::None;
    ExpectColour(rig->Shade(s, f, v), {0.3, 0.4, 0, 1}, "without a texture nothing moves", 4e-3);
}

TEST_F(FixedFunction, FlatShadingTakesTheFirstVertex) {
    auto quad = FullQuad();
    float const reds[4] = {0.1f, 0.3f, 0.6f, 0.9f};
    for (std::size_t i = 0; i < 4; ++i) quad[i].diffuse[0] = reds[i], quad[i].specular[1] = reds[i];
    s.render[rs::SHADEMODE] = 1;
    SetStage(s, 0, kAdd, kDiffuse, kSpecular);
    f.texCoordSets = 0;
    rig->Clear({});
    rig->Draw(GL_TRIANGLE_STRIP, s, f, quad);
    EXPECT_NEAR(rig->At(5, 5)[0], 0.1, kNear);   // the triangle of vertices 0, 1, 2
    EXPECT_NEAR(rig->At(60, 60)[0], 0.3, kNear); // of 1, 2, 3
    EXPECT_NEAR(rig->At(60, 60)[1], 1, kNear);   // white and more
    s.render[rs::SHADEMODE] = 2;
    rig->Draw(GL_TRIANGLE_STRIP, s, f, quad);
    EXPECT_GT(rig->At(40, 5)[0], 0.15);
}

TEST_F(FixedFunction, PixelSpaceVerticesMeetPixelsExactly) {
    Picture wanted(Rig::kSize, Rig::kSize, 0xFF000000);
    f = {};
    f.preTransformed = true;
    f.texCoordSets = 1;
    f.texCoordSize.fill(2);
    // A texture drawn 1:1 comes out texel for texel, wherever it lies.
    Texture noise{16, 16, {}};
    for (unsigned i = 0; i < 256; ++i) {
        unsigned const grey = i * 167 % 256;
        noise.texels.push_back({static_cast<float>(grey) / 255, static_cast<float>(255 - grey) / 255, 0, 1});
        wanted.At(20 + i % 16, 30 + i / 16) = 0xFF000000 | grey << 16 | (255 - grey) << 8;
    }
    rig->SetTexture(0, noise);
    auto rect = PixelRect(20, 30, 35, 45);
    rect[0].position[3] = rect[1].position[3] = rect[2].position[3] = rect[3].position[3] = 0; // counts as 1
    SetStage(s, 0, kSelectArg1);
    s.render[rs::LIGHTING] = 1;   // means nothing here
    s.world[12] = s.view[13] = 3; // nor do matrices
    s.stages[0].values[ts::TEXCOORDINDEX] = 0;
    s.stages[0].values[ts::TRANSFORMFLAGS] = 2; // nor those of textures
    s.stages[0].transform[0] = 5;
    rig->UseBytes(true);
    rig->Clear({0, 0, 0, 1});
    rig->Draw(GL_TRIANGLE_STRIP, s, f, rect);
    // A line one pixel wide, through whole numbers.
    std::vector<Vertex> line(2);
    for (unsigned i = 0; i < 2; ++i) {
        line[i].position[0] = i ? 40.0f : 10.0f, line[i].position[1] = 7;
        line[i].position[2] = 0.5f, line[i].position[3] = 0.25f; // w of 4
    }
    for (unsigned x = 10; x < 40; ++x) wanted.At(x, 7) = 0xFFFFFFFF;
    s.stages[0].values[ts::COLOROP] = 1;
    rig->Draw(GL_LINES, s, f, line);
    // Inside a viewport of its own the numbers stay those of the target.
    s.viewport = {40, 50, 20, 10};
    rig->Draw(GL_TRIANGLE_STRIP, s, f, PixelRect(42, 53, 44, 54));
    for (unsigned y = 53; y <= 54; ++y) {
        for (unsigned x = 42; x <= 44; ++x) wanted.At(x, y) = 0xFFFFFFFF;
    }
    Picture got(Rig::kSize, Rig::kSize);
    auto const all = rig->All();
    for (std::size_t i = 0; i < all.size(); ++i) {
        auto const byte = [&](std::size_t c) { return static_cast<std::uint32_t>(all[i][c] * 255 + 0.5); };
        got.pixels[i] = byte(3) << 24 | byte(0) << 16 | byte(1) << 8 | byte(2);
    }
    EXPECT_TRUE(IsLike(got, wanted, {}, "pixel-space"));
}

TEST_F(FixedFunction, PointsHaveTheirSizeAndSpritesTheirTexture) {
    auto const sizeOf = [&] {
        std::vector<Vertex> one(1);
        if (f.preTransformed) one[0].position[0] = one[0].position[1] = 31.5f;
        one[0].position[2] = 0.5f;
        one[0].pointSize = 12;
        s.points = true;
        rig->Clear({});
        rig->Draw(GL_POINTS, s, f, one);
        int count = 0;
        for (auto const& pixel : rig->All()) count += pixel[3] > 0;
        return std::lround(std::sqrt(count));
    };
    s.render[rs::POINTSIZE] = Bits(6);
    EXPECT_EQ(sizeOf(), 6);
    f.pointSize = true;
    EXPECT_EQ(sizeOf(), 12) << "size of the vertex";
    s.render[rs::POINTSIZEMAX] = Bits(8);
    EXPECT_EQ(sizeOf(), 8) << "largest size";
    f.pointSize = false;
    s.render[rs::POINTSIZEMIN] = Bits(7);
    EXPECT_EQ(sizeOf(), 7) << "smallest size";
    // Scaled: 0.5 of 64 rows over the square root of a + b * 0.5 + c * 0.25.
    s.render[rs::POINTSIZEMIN] = Bits(1), s.render[rs::POINTSIZEMAX] = Bits(64);
    s.render[rs::POINTSIZE] = Bits(0.5f);
    s.render[rs::POINTSCALEENABLE] = 1;
    s.render[rs::POINTSCALEA] = Bits(2), s.render[rs::POINTSCALEB] = Bits(2), s.render[rs::POINTSCALEC] = Bits(4);
    EXPECT_EQ(sizeOf(), 16);
    f.preTransformed = true;
    s.render[rs::POINTSIZE] = Bits(5);
    EXPECT_EQ(sizeOf(), 5) << "pixel-space points know no distance";
    f.preTransformed = false;

    // All stages of a sprite have its coordinates, the top left corner first.
    rig->SetTexture(0, {1, 1, {{1, 1, 1, 1}}});
    rig->SetTexture(1, CoordTexture());
    SetStage(s, 0, kSelectArg1);
    SetStage(s, 1, kSelectArg1);
    s.stages[1].values[ts::TEXCOORDINDEX] = 2u << 16;
    s.render[rs::POINTSCALEENABLE] = 0;
    s.render[rs::POINTSIZE] = Bits(32);
    s.render[rs::POINTSPRITEENABLE] = 1;
    EXPECT_EQ(sizeOf(), 32);
    Colour const topLeft = rig->At(20, 24), bottomRight = rig->At(44, 40);
    EXPECT_NEAR(topLeft[0], 4.0 / 32, 0.04);
    EXPECT_NEAR(topLeft[1], 8.0 / 32, 0.04);
    EXPECT_NEAR(bottomRight[0], 28.0 / 32, 0.04);
    EXPECT_NEAR(bottomRight[1], 24.0 / 32, 0.04);
}

TEST_F(FixedFunction, ClipPlanesOfWorldSpaceCutWhatLiesBehind) {
    // The object moves right and the camera too, so that both cancel; the plane stays in the world: x at least 0.5.
    s.world[12] = 0.5f;
    s.view[12] = -0.5f;
    s.clipPlanes[3] = {1, 0, 0, -0.5f};
    s.render[rs::CLIPPLANEENABLE] = 8;
    rig->Clear({});
    rig->Draw(GL_TRIANGLE_STRIP, s, f, FullQuad());
    EXPECT_EQ(rig->At(30, 20)[3], 0);
    EXPECT_EQ(rig->At(34, 20)[3], 1);
    s.render[rs::CLIPPLANEENABLE] = 0;
    rig->Draw(GL_TRIANGLE_STRIP, s, f, FullQuad());
    EXPECT_EQ(rig->At(30, 20)[3], 1);
}

TEST_F(FixedFunction, PassesOverOneObjectHitTheSameDepth) {
    // Odd matrices, so that a different order of operations would show in the last bits of depth.
    s.world = {0.83f, 0.11f, -0.17f, 0, 0.07f, 0.91f, 0.23f, 0, 0.13f, -0.19f, 0.77f, 0, 0.03f, 0.05f, 0.07f, 1};
    s.view = {0.71f, 0.29f, 0.31f, 0, -0.37f, 0.73f, 0.13f, 0, -0.11f, -0.41f, 0.79f, 0, 0.011f, 0.013f, 3.3f, 1};
    s.projection = {1.1f, 0, 0, 0, 0, 1.3f, 0, 0, 0, 0, 1.01f, 1, 0, 0, -1.02f, 0};
    std::vector<Vertex> quad = FullQuad(0.37f);
    for (auto& q : quad) q.normal[2] = -1;
    glEnable(GL_DEPTH_TEST);
    rig->Clear({});
    glDepthFunc(GL_LESS);
    rig->Draw(GL_TRIANGLE_STRIP, s, f, quad);
    int first = 0;
    for (auto const& pixel : rig->All()) first += pixel[3] > 0;
    EXPECT_GT(first, 100);

    FixedState second = s;
    second.render[rs::LIGHTING] = second.render[rs::FOGENABLE] = 1;
    second.render[rs::FOGVERTEXMODE] = 3;
    second.render[rs::CLIPPLANEENABLE] = 1;
    second.clipPlanes[0] = {0, 0, 0, 1};
    second.lights[0].enabled = true;
    rig->SetTexture(0, CoordTexture());
    SetStage(second, 0, kModulate);
    second.stages[0].values[ts::TEXCOORDINDEX] = 3u << 16;
    second.render[rs::DIFFUSEMATERIALSOURCE] = 0;
    second.surface.diffuse[3] = 0.5f;
    glDepthFunc(GL_EQUAL);
    rig->Draw(GL_TRIANGLE_STRIP, second, f, quad);
    int both = 0;
    for (auto const& pixel : rig->All()) both += std::abs(pixel[3] - 0.5) < 0.01;
    glDisable(GL_DEPTH_TEST);
    EXPECT_EQ(both, first);
}

TEST_F(FixedFunction, CompilesAStateOnceAndValuesNever) {
    auto& shaders = rig->Shaders();
    SetStage(s, 0, kModulate4x, kFactor | kComplement, kConstant);
    s.render[rs::ALPHATESTENABLE] = 1;
    s.render[rs::ALPHAFUNC] = 2;
    s.render[rs::ALPHAREF] = 255;
    unsigned const before = shaders.GetCompileCount();
    rig->Shade(s, f, v);
    unsigned const after = shaders.GetCompileCount();
    EXPECT_GT(after, before);
    s.render[rs::TEXTUREFACTOR] = 0x12345678;
    s.render[rs::ALPHAREF] = 254;
    s.stages[5].values[ts::COLORARG1] = kTemp;
    rig->Shade(s, f, v);
    EXPECT_EQ(shaders.GetCompileCount(), after);
    shaders.Clear();
    rig->Shade(s, f, v);
    EXPECT_GT(shaders.GetCompileCount(), after) << "after a loss everything is made again";
}
