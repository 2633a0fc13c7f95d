// FixedFunctionLightTest.cpp: lights, fog and the alpha test, with values worked out by hand.
#include "FixedFunctionFixture.h"

#include <cmath>
#include <limits>

namespace {
Light Directional(float x, float y, float z) {
    Light light;
    light.enabled = true;
    light.type = 3;
    light.direction = {x, y, z, 0};
    return light;
}
} // namespace

TEST_F(FixedFunction, LightsOfThreeKinds) {
    s.render[rs::LIGHTING] = 1;
    s.render[rs::COLORVERTEX] = 0;
    s.surface.diffuse = {0.5f, 1, 1, 0.25f};
    s.surface.ambient = {0, 0, 1, 1};
    s.render[rs::AMBIENT] = 0xFF000033;
    v.normal[2] = -1; // towards the eye
    v.position[2] = 0.5f;

    ExpectColour(rig->Shade(s, f, v), {0, 0, 0.2, 0.25}, "no light: ambient, and alpha of the diffuse source");
    s.surface.emissive = {0.1f, 0, 0, 0};
    ExpectColour(rig->Shade(s, f, v), {0.1, 0, 0.2, 0.25}, "and emissive");
    s.surface.emissive = {};
    s.render[rs::AMBIENT] = 0;

    s.lights[1] = Directional(0, 3, 4); // 0.8 against the normal, of any length
    ExpectColour(rig->Shade(s, f, v), {0.4, 0.8, 0.8, 0.25}, "directional");
    s.lights[1].ambient = {0, 0, 0.1f, 0};
    ExpectColour(rig->Shade(s, f, v), {0.4, 0.8, 0.9, 0.25}, "with ambient light of its own");
    s.lights[1].direction = {0, 0, -1, 0};
    ExpectColour(rig->Shade(s, f, v), {0, 0, 0.1, 0.25}, "from behind");
    s.lights[1] = {};

    Light point;
    point.enabled = true;
    point.type = 1;
    point.position = {0, 0, -1.5f, 1}; // 2 away, straight ahead
    point.range = 2.5f;
    point.attenuation = {1, 0.5f, 0.25f, 0}; // 1 / (1 + 1 + 1)
    s.lights[0] = point;
    ExpectColour(rig->Shade(s, f, v), {0.5 / 3, 1 / 3.0, 1 / 3.0, 0.25}, "point");
    s.lights[0].range = 1.9f;
    ExpectColour(rig->Shade(s, f, v), {0, 0, 0, 0.25}, "point out of its range");
    s.lights[0].range = 9;
    s.lights[0].attenuation = {};
    Colour const bright = rig->Shade(s, f, v);
    ExpectColour(bright, {1, 1, 1, 0.25}, "no attenuation at all saturates and is a number");
    s.lights[0].position = {0, 0, 0.5f, 1};
    s.surface.emissive = {0.1f, 0, 0, 0}; // would go down with a sum that is no number
    ExpectColour(rig->Shade(s, f, v), {0.1, 0, 0, 0.25}, "a light within the vertex");
    s.surface.emissive = {};

    Light spot = point;
    spot.type = 2;
    spot.attenuation = {1, 0, 0, 0};
    spot.theta = 0.6f, spot.phi = 1.2f; // half angles 0.3 and 0.6
    spot.falloff = 2;
    double const inner = std::cos(0.3), outer = std::cos(0.6);
    struct {
        char const* what;
        double angle, wanted;
    } const rows[] = {
        {"spot, inside the inner cone", 0.29, 1},
        {"spot, between the cones", 0.45, std::pow((std::cos(0.45) - outer) / (inner - outer), 2)},
        {"spot, outside", 0.61, 0},
    };
    for (auto const& row : rows) {
        s.lights[0] = spot;
        s.lights[0].direction = {static_cast<float>(std::sin(row.angle)), 0, static_cast<float>(std::cos(row.angle)),
                                 0};
        ExpectColour(rig->Shade(s, f, v), {row.wanted / 2, row.wanted, row.wanted, 0.25}, row.what);
    }
}

TEST_F(FixedFunction, NormalsAndHighlights) {
    s.render[rs::LIGHTING] = 1;
    s.render[rs::COLORVERTEX] = 0;
    s.lights[0] = Directional(0, 0, 1);
    v.normal[0] = 0.6f, v.normal[2] = -0.8f;
    v.position[2] = 0.5f;
    ExpectColour(rig->Shade(s, f, v), {0.8, 0.8, 0.8, 1}, "as it is");

    // Squeezed to a quarter along x, the surface turns its face to the side: (0.6 * 4, -0.8) of length 2.53.
    s.world[0] = 0.25f;
    s.render[rs::NORMALIZENORMALS] = 1;
    ExpectColour(rig->Shade(s, f, v), {0.3162, 0.3162, 0.3162, 1}, "through a scale that differs by axis");
    s.world[0] = s.world[5] = s.world[10] = 2;
    v.position[2] = 0.25f;
    ExpectColour(rig->Shade(s, f, v), {0.8, 0.8, 0.8, 1}, "scaled and brought back to length 1");
    s.render[rs::NORMALIZENORMALS] = 0;
    ExpectColour(rig->Shade(s, f, v), {0.4, 0.4, 0.4, 1}, "scaled and left so");
    s.render[rs::NORMALIZENORMALS] = 1;
    v.normal[0] = v.normal[2] = 0;
    s.surface.emissive = {0.25f, 0, 0, 0};
    ExpectColour(rig->Shade(s, f, v), {0.25, 0, 0, 1}, "a normal of length 0 is no NaN");
    s.surface.emissive = {};
    s.world = kIdentity;
    s.world[10] = 0;
    v.normal[2] = -1;
    ExpectColour(rig->Shade(s, f, v), {1, 1, 1, 1}, "flattened by the matrix, it still has the one normal left");
    s.world = kIdentity;

    s.render[rs::SPECULARENABLE] = 1;
    s.surface.diffuse = {0, 0, 0, 1};
    s.surface.specular = {1, 0.5f, 0, 1};
    s.surface.power = 3;
    s.lights[0].specular = {0.5f, 0.5f, 0.5f, 0};
    // With the eye straight ahead, half way between light and eye.
    s.lights[0].direction = {0.6f, 0, 0.8f, 0};
    double const half = std::pow(std::sqrt((1 + 0.8) / 2), 3);
    ExpectColour(rig->Shade(s, f, v), {half / 2, half / 4, 0, 1}, "highlight");
    s.lights[0].direction = {0, 0.6f, -0.8f, 0}; // H faces us, but the light shines on the back
    v.normal[0] = 0, v.normal[1] = 0.8f, v.normal[2] = -0.6f;
    ExpectColour(rig->Shade(s, f, v), {0, 0, 0, 1}, "no highlight on the dark side");
    s.lights[0].direction = {-1, 0, 0, 0}; // lit from the side, but the eye is behind
    v.normal[0] = 0.6f, v.normal[1] = 0, v.normal[2] = 0.8f;
    ExpectColour(rig->Shade(s, f, v), {0, 0, 0, 1}, "no highlight for an eye behind");
    // With a local viewer the vertex sees the eye aside: V = -(0.6, 0, 0.8).
    v.normal[0] = 0, v.normal[2] = -1;
    v.position[0] = 0.6f, v.position[2] = 0.8f;
    s.lights[0].direction = {0, 0, 1, 0};
    s.render[rs::LOCALVIEWER] = 1;
    ExpectColour(rig->Shade(s, f, v), {half / 2, half / 4, 0, 1}, "highlight for a local viewer");
    s.render[rs::SPECULARENABLE] = 0;
    ExpectColour(rig->Shade(s, f, v), {0, 0, 0, 1}, "not added");
    SetStage(s, 0, kSelectArg1, kSpecular);
    ExpectColour(rig->Shade(s, f, v), {half / 2, half / 4, 0, 1}, "but there as an argument");
}

TEST_F(FixedFunction, ColourSourcesFallBackToTheMaterial) {
    s.render[rs::LIGHTING] = 1;
    s.surface.emissive = {0.9f, 0, 0, 0};
    s.surface.diffuse = {0, 0, 0, 0.75f};
    s.render[rs::DIFFUSEMATERIALSOURCE] = 0;
    float const diffuse[4] = {0, 0.8f, 0, 0.5f}, specular[4] = {0, 0, 0.7f, 0.3f};
    std::copy(diffuse, diffuse + 4, v.diffuse);
    std::copy(specular, specular + 4, v.specular);
    struct {
        char const* what;
        unsigned source;
        bool colorVertex, hasDiffuse, hasSpecular;
        Colour wanted;
    } const rows[] = {
        {"MATERIAL", 0, true, true, true, {0.9, 0, 0, 0.75}},
        {"COLOR1", 1, true, true, true, {0, 0.8, 0, 0.75}},
        {"COLOR2", 2, true, true, true, {0, 0, 0.7, 0.75}},
        {"COLOR1 that is missing", 1, true, false, true, {0.9, 0, 0, 0.75}},
        {"COLOR2 that is missing", 2, true, true, false, {0.9, 0, 0, 0.75}},
        {"vertex colours off", 1, false, true, true, {0.9, 0, 0, 0.75}},
    };
    for (auto const& row : rows) {
        s.render[rs::EMISSIVEMATERIALSOURCE] = row.source;
        s.render[rs::COLORVERTEX] = row.colorVertex;
        f.diffuse = row.hasDiffuse, f.specular = row.hasSpecular;
        ExpectColour(rig->Shade(s, f, v), row.wanted, row.what);
    }
    f.diffuse = true;
    s.render[rs::COLORVERTEX] = 1;
    s.render[rs::DIFFUSEMATERIALSOURCE] = 1;
    EXPECT_NEAR(rig->Shade(s, f, v)[3], 0.5, kNear) << "alpha of the diffuse source";

    s.render[rs::LIGHTING] = 0;
    s.render[rs::COLORVERTEX] = 0;
    ExpectColour(rig->Shade(s, f, v), {0, 0.8, 0, 0.5}, "without lighting the switch counts for nothing");
    f.diffuse = f.specular = false;
    SetStage(s, 0, kSelectArg1, kDiffuse);
    ExpectColour(rig->Shade(s, f, v), {1, 1, 1, 1}, "a missing diffuse");
    SetStage(s, 0, kSelectArg1, kSpecular);
    ExpectColour(rig->Shade(s, f, v), {0, 0, 0, 1}, "a missing specular");
}

TEST_F(FixedFunction, FogOfEveryKind) {
    // White at camera depth 3 and distance 5, fogged with black: what is left is the factor. w is 3, z is 0.75.
    Matrix const perspective = {0.2f, 0, 0, 0, 0, 0.2f, 0, 0, 0, 0, 1.25f, 1, 0, 0, -1.5f, 0};
    Matrix const affine = {0.2f, 0, 0, 0, 0, 0.2f, 0, 0, 0, 0, 0.25f, 0, 0, 0, 0, 1};
    v.position[0] = 4, v.position[2] = 3;
    v.specular[3] = 0.3f;
    v.diffuse[3] = 0.5f;
    float const nan = std::numeric_limits<float>::quiet_NaN();
    enum { None, Exp, Exp2, Linear };
    struct {
        char const* what;
        unsigned vertex, pixel;
        bool range;
        Matrix projection;
        float start, end, density;
        bool specular;
        double wanted;
    } const rows[] = {
        {"vertex, linear", Linear, None, false, perspective, 1, 6, 0, true, 0.6},
        {"vertex, exp", Exp, None, false, perspective, 0, 0, 0.2f, true, std::exp(-0.6)},
        {"vertex, exp2", Exp2, None, false, perspective, 0, 0, 0.2f, true, std::exp(-0.36)},
        {"vertex, by distance", Linear, None, true, perspective, 1, 6, 0, true, 0.2},
        {"vertex, nothing: alpha of specular", None, None, false, perspective, 1, 6, 0, true, 0.3},
        {"vertex, nothing and no specular", None, None, false, perspective, 1, 6, 0, false, 1},
        {"pixel over vertex", Exp, Linear, true, perspective, 1, 6, 0, true, 0.6},
        {"pixel, exp", None, Exp, false, perspective, 0, 0, 0.2f, true, std::exp(-0.6)},
        {"pixel, exp2", None, Exp2, false, perspective, 0, 0, 0.2f, true, std::exp(-0.36)},
        {"pixel, z of an affine projection", None, Linear, false, affine, 0.5f, 1, 0, true, 0.5},
        {"beyond the end", Linear, None, false, perspective, 1, 2, 0, true, 0},
        {"equal ends, before them", Linear, None, false, perspective, 4, 4, 0, true, 1},
        {"equal ends, right there", Linear, None, false, perspective, 3, 3, 0, true, 0},
        {"equal ends, behind them", Linear, None, false, perspective, 2, 2, 0, true, 0},
        {"equal ends in pixels", None, Linear, false, perspective, 4, 4, 0, true, 1},
        {"no number", Linear, None, false, perspective, nan, nan, 0, true, 1},
        {"no number in pixels", None, Exp, false, perspective, 1, 2, nan, true, 1},
    };
    for (auto const& row : rows) {
        s.render[rs::FOGENABLE] = 1;
        s.render[rs::FOGCOLOR] = 0xFF000000;
        s.render[rs::FOGVERTEXMODE] = row.vertex, s.render[rs::FOGTABLEMODE] = row.pixel;
        s.render[rs::RANGEFOGENABLE] = row.range;
        s.render[rs::FOGSTART] = Bits(row.start), s.render[rs::FOGEND] = Bits(row.end),
        s.render[rs::FOGDENSITY] = Bits(row.density);
        s.projection = row.projection;
        f.specular = row.specular;
        ExpectColour(rig->Shade(s, f, v), {row.wanted, row.wanted, row.wanted, 0.5}, row.what);
    }
    // Pixel-space vertices have no depth for a vertex mode.
    f.specular = f.preTransformed = true;
    Vertex flat = v;
    flat.position[0] = flat.position[1] = flat.position[2] = 0.5f, flat.position[3] = 1;
    s.render[rs::FOGVERTEXMODE] = Linear, s.render[rs::FOGTABLEMODE] = None;
    ExpectColour(rig->Shade(s, f, flat), {0.3, 0.3, 0.3, 0.5}, "pixel-space vertices");
    f.preTransformed = false;
    // Highlights are fogged too.
    s.render[rs::SPECULARENABLE] = 1;
    s.render[rs::FOGSTART] = Bits(1), s.render[rs::FOGEND] = Bits(6);
    v.diffuse[0] = 0;
    f.specular = true;
    v.specular[0] = 0.5f;
    EXPECT_NEAR(rig->Shade(s, f, v)[0], 0.3, kNear);
}

TEST_F(FixedFunction, AlphaTestComparesWhatTheTargetCanHold) {
    enum { Below, Same, Above };
    bool const passes[9][3] = {{},
                               {false, false, false},
                               {true, false, false},
                               {false, true, false},
                               {true, true, false},
                               {false, false, true},
                               {true, false, true},
                               {false, true, true},
                               {true, true, true}};
    s.render[rs::ALPHATESTENABLE] = 1;
    s.render[rs::ALPHAREF] = 128;
    for (unsigned func = 1; func <= 8; ++func) {
        s.render[rs::ALPHAFUNC] = func;
        for (int side : {Below, Same, Above}) {
            // Four tenths of a step off 128 still round to it, six tenths do not.
            for (float const off : {-0.4f, 0.4f}) {
                v.diffuse[3] = (128.0f + (side == Same ? off : side == Below ? -1 + off : 1 + off)) / 255.0f;
                bool drawn = false;
                rig->Shade(s, f, v, drawn);
                EXPECT_EQ(drawn, passes[func][side]) << "function " << func << ", alpha " << v.diffuse[3] * 255;
            }
        }
    }
    // Coarser targets round coarser; a float target compares what it gets.
    struct {
        char const* what;
        float levels, alpha;
        bool drawn;
    } const rows[] = {
        {"four bits, rounds to the same", 15, 0.52f, true},
        {"four bits, the next step", 15, 0.57f, false},
        {"float, exact", 0, 128 / 255.0f, true},
        {"float, a bit off", 0, 128.3f / 255, false},
    };
    s.render[rs::ALPHAFUNC] = 3;
    for (auto const& row : rows) {
        s.alphaLevels = row.levels;
        v.diffuse[3] = row.alpha;
        bool drawn = false;
        rig->Shade(s, f, v, drawn);
        EXPECT_EQ(drawn, row.drawn) << row.what;
    }
}
