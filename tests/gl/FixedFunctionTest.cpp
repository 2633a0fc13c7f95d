// FixedFunctionTest.cpp: where the twin's random states do not come: edges of the formulas, whole pictures, depth.
#include "FixedFunctionRig.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

using namespace qk3d::gl;
using namespace qk3d::gltest;

namespace {
constexpr double kNear = 2e-3; // floats of the device, and 8 bits of weight where a texture is filtered

class FixedFunction : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(rig, nullptr) << "no OpenGL 4.5 device without a display"; }
    void ExpectColour(Colour const& wanted, std::string const& what) {
        Colour const got = rig->Shade(s, f, v);
        for (std::size_t c = 0; c < 4; ++c) EXPECT_NEAR(got[c], wanted[c], kNear) << what << ", channel " << c;
    }
    template <class Condition>
    int Count(Condition const& condition) {
        auto const all = rig->All();
        return static_cast<int>(std::count_if(all.begin(), all.end(), condition));
    }

    Rig* rig = Rig::Get();
    FixedState s = PlainState();
    VertexFeatures f = AllFeatures();
    Vertex v;
};

bool IsDrawn(Colour const& pixel) { return pixel[3] > 0; }

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

TEST_F(FixedFunction, LightStaysANumberAtItsEdges) {
    s.render[rs::LIGHTING] = s.render[rs::NORMALIZENORMALS] = 1;
    s.render[rs::COLORVERTEX] = 0;
    s.surface.diffuse = {0.5f, 1, 1, 0.25f};
    s.surface.emissive = {0.1f, 0, 0, 0}; // would go down with a sum that is no number
    s.lights[0].enabled = true;
    s.lights[0].type = 1;
    s.lights[0].position = {0, 0, -1.5f, 1}; // 2 away, straight ahead
    s.lights[0].range = 9;
    v.normal[2] = -1;
    v.position[2] = 0.5f;
    struct {
        char const* what;
        void (*change)(FixedState&, Vertex&);
        Colour wanted;
    } const rows[] = {
        {"no attenuation at all saturates", [](FixedState&, Vertex&) {}, {1, 1, 1, 0.25}},
        {"out of its range", [](FixedState& t, Vertex&) { t.lights[0].range = 1.9f; }, {0.1, 0, 0, 0.25}},
        {"within the vertex", [](FixedState& t, Vertex&) { t.lights[0].position[2] = 0.5f; }, {0.1, 0, 0, 0.25}},
        {"a normal of length 0", [](FixedState&, Vertex& w) { w.normal[2] = 0; }, {0.1, 0, 0, 0.25}},
        {"flattened by the matrix, the one normal left",
         [](FixedState& t, Vertex&) {
             t.lights[0].type = 3, t.lights[0].direction = {0, 0, 1, 0};
             t.world[10] = 0;
         },
         {0.6, 1, 1, 0.25}},
    };
    auto const plain = s;
    auto const vertex = v;
    for (auto const& row : rows) {
        s = plain, v = vertex;
        s.lights[0].attenuation = {};
        row.change(s, v);
        ExpectColour(row.wanted, row.what);
    }
}

TEST_F(FixedFunction, FogStaysANumberAtItsEdges) {
    // White at camera depth 3, fogged with black: what is left is the factor.
    s.projection = {0.2f, 0, 0, 0, 0, 0.2f, 0, 0, 0, 0, 1.25f, 1, 0, 0, -1.5f, 0};
    s.render[rs::FOGENABLE] = 1;
    s.render[rs::FOGCOLOR] = 0xFF000000;
    v.position[2] = 3;
    float const nan = std::numeric_limits<float>::quiet_NaN();
    enum { None, Exp, Exp2, Linear };
    struct {
        char const* what;
        unsigned vertex, pixel;
        float start, end, density;
        double wanted;
    } const rows[] = {
        {"beyond the end", Linear, None, 1, 2, 0, 0},          {"equal ends, before them", Linear, None, 4, 4, 0, 1},
        {"equal ends, right there", Linear, None, 3, 3, 0, 0}, {"equal ends in pixels", None, Linear, 4, 4, 0, 1},
        {"no number", Linear, None, nan, nan, 0, 1},           {"no number in pixels", None, Exp, 1, 2, nan, 1},
    };
    for (auto const& row : rows) {
        s.render[rs::FOGVERTEXMODE] = row.vertex, s.render[rs::FOGTABLEMODE] = row.pixel;
        s.render[rs::FOGSTART] = Bits(row.start), s.render[rs::FOGEND] = Bits(row.end);
        s.render[rs::FOGDENSITY] = Bits(row.density);
        ExpectColour({row.wanted, row.wanted, row.wanted, 1}, row.what);
    }
}

TEST_F(FixedFunction, AlphaTestComparesWhatTheTargetCanHold) {
    struct {
        char const* what;
        float levels, alpha;
        bool drawn;
    } const rows[] = {
        {"eight bits, rounds to the same", 255, 128.4f / 255, true},
        {"eight bits, the next step", 255, 128.6f / 255, false},
        {"four bits, rounds to the same", 15, 0.52f, true},
        {"four bits, the next step", 15, 0.57f, false},
        {"float, exact", 0, 128 / 255.0f, true},
        {"float, a bit off", 0, 128.3f / 255, false},
    };
    s.render[rs::ALPHATESTENABLE] = 1;
    s.render[rs::ALPHAREF] = 128;
    s.render[rs::ALPHAFUNC] = 3;
    for (auto const& row : rows) {
        s.alphaLevels = row.levels;
        v.diffuse[3] = row.alpha;
        bool drawn = false;
        rig->Shade(s, f, v, drawn);
        EXPECT_EQ(drawn, row.drawn) << row.what;
    }
}

TEST_F(FixedFunction, CubesTakeThreeComponents) {
    rig->SetCube(
        0, {{{0.1f, 0, 0, 1}, {0.2f, 0, 0, 1}, {0.3f, 0, 0, 1}, {0.4f, 0, 0, 1}, {0.5f, 0, 0, 1}, {0.6f, 0, 0, 1}}});
    SetStage(s, 0, kSelectArg1);
    s.stages[0].sampler = SamplerKind::Cube;
    s.stages[0].values[ts::TEXCOORDINDEX] = 1u << 16;
    v.normal[0] = 0.6f, v.normal[2] = -0.8f;
    ExpectColour({0.6, 0, 0, 1}, "normal mostly along -z");
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

TEST_F(FixedFunction, PointsHaveTheSizeOfVertexStateAndDistance) {
    auto const sizeOf = [&] {
        std::vector<Vertex> one(1);
        if (f.preTransformed) one[0].position[0] = one[0].position[1] = 31.5f;
        one[0].position[2] = 0.5f;
        one[0].pointSize = 12;
        s.points = true;
        rig->Clear({});
        rig->Draw(GL_POINTS, s, f, one);
        return std::lround(std::sqrt(Count(IsDrawn)));
    };
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
    int const first = Count(IsDrawn);
    EXPECT_GT(first, 100);

    s.render[rs::LIGHTING] = s.render[rs::FOGENABLE] = s.render[rs::CLIPPLANEENABLE] = 1;
    s.render[rs::FOGVERTEXMODE] = 3;
    s.clipPlanes[0] = {0, 0, 0, 1};
    s.lights[0].enabled = true;
    rig->SetTexture(0, CoordTexture());
    SetStage(s, 0, kModulate);
    s.stages[0].values[ts::TEXCOORDINDEX] = 3u << 16;
    s.render[rs::DIFFUSEMATERIALSOURCE] = 0;
    s.surface.diffuse[3] = 0.5f;
    glDepthFunc(GL_EQUAL);
    rig->Draw(GL_TRIANGLE_STRIP, s, f, quad);
    glDisable(GL_DEPTH_TEST);
    EXPECT_EQ(Count([](Colour const& pixel) { return std::abs(pixel[3] - 0.5) < 0.01; }), first);
}
