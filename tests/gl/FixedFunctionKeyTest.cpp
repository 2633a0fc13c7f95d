// FixedFunctionKeyTest.cpp: states that draw alike share a program, states that do not have two. Needs no device.
#include "FixedFunctionRig.h"

#include <functional>

#include <gtest/gtest.h>

using namespace qk3d::gl;
using namespace qk3d::gltest;

namespace {
struct Case {
    FixedState state = PlainState();
    VertexFeatures features = AllFeatures();
    bool otherFixed = true;
};

bool SameVertex(Case const& a, Case const& b) {
    return IsSameKey(MakeVertexKey(a.state, a.features, a.otherFixed),
                     MakeVertexKey(b.state, b.features, b.otherFixed));
}

bool SameFragment(Case const& a, Case const& b) {
    return IsSameKey(MakeFragmentKey(a.state, a.features, a.otherFixed),
                     MakeFragmentKey(b.state, b.features, b.otherFixed));
}

struct Row {
    char const* what;
    std::function<void(Case&)> common, change;
};

void LightUp(Case& s, int type) {
    s.state.render[rs::LIGHTING] = 1;
    s.state.lights[2].enabled = true;
    s.state.lights[2].type = type;
}
auto& Values(Case& s, unsigned stage) { return s.state.stages[stage].values; }
} // namespace

TEST(FixedFunctionKey, IsTheSameWhereTheStateCannotReachThePicture) {
    auto const one = [](Case& s) { SetStage(s.state, 0, kModulate); };
    auto const two = [](Case& s) {
        SetStage(s.state, 0, kModulate);
        SetStage(s.state, 1, kAdd, kTexture, kCurrent);
    };
    auto const lit = [](Case& s) { LightUp(s, 3); };
    Row const rows[] = {
        {"behind the end of the chain", one, [](Case& s) { SetStage(s.state, 2, kLerp); }},
        {"argument that the operation does not use", [](Case& s) { SetStage(s.state, 0, kSelectArg1); },
         [](Case& s) { Values(s, 0)[ts::COLORARG2] = kTemp, Values(s, 0)[ts::COLORARG0] = kSpecular; }},
        {"the last stage writes CURRENT anyway", two, [](Case& s) { Values(s, 1)[ts::RESULTARG] = kTemp; }},
        {"CURRENT is diffuse at first", one,
         [](Case& s) { Values(s, 0)[ts::COLORARG2] = Values(s, 0)[ts::ALPHAARG2] = kDiffuse; }},
        {"CURRENT is diffuse after a stage that wrote TEMP",
         [&](Case& s) { two(s), Values(s, 0)[ts::RESULTARG] = kTemp; },
         [](Case& s) { Values(s, 1)[ts::COLORARG2] = kDiffuse; }},
        {"alpha replicated in an alpha argument", one, [](Case& s) { Values(s, 0)[ts::ALPHAARG1] |= kAlphaReplicate; }},
        {"a colour argument without a texture ends the chain",
         [&](Case& s) { two(s), s.state.stages[1].sampler = SamplerKind::None; },
         [](Case& s) { Values(s, 1)[ts::COLOROP] = 1; }},
        {"bump with nothing to displace", [](Case& s) { SetStage(s.state, 0, kBumpEnvMap); },
         [](Case& s) { Values(s, 0)[ts::COLOROP] = 1, Values(s, 0)[ts::ALPHAOP] = 1; }},
        {"coordinates of a stage that samples nothing",
         [](Case& s) { SetStage(s.state, 0, kModulate, kDiffuse, kFactor); },
         [](Case& s) { Values(s, 0)[ts::TEXCOORDINDEX] = 3u << 16, Values(s, 0)[ts::TRANSFORMFLAGS] = 0x103; }},
        {"COUNT1 is no transform", one, [](Case& s) { Values(s, 0)[ts::TRANSFORMFLAGS] = 1; }},
        {"colours, factors, references and matrices are values", one,
         [](Case& s) {
             s.state.render[rs::TEXTUREFACTOR] = 5, s.state.render[rs::FOGCOLOR] = 6, s.state.render[rs::ALPHAREF] = 7;
             Values(s, 0)[ts::CONSTANT] = 8, s.state.stages[0].transform[3] = 9, s.state.world[5] = 10,
                       s.state.view[1] = 3;
         }},
        {"vertex fog behind pixel fog",
         [](Case& s) { s.state.render[rs::FOGENABLE] = 1, s.state.render[rs::FOGTABLEMODE] = 1; },
         [](Case& s) { s.state.render[rs::FOGVERTEXMODE] = 3, s.state.render[rs::RANGEFOGENABLE] = 1; }},
        {"a test that always passes", one, [](Case& s) { s.state.render[rs::ALPHATESTENABLE] = 1; }},
        {"light while lighting is off", one,
         [](Case& s) { s.state.lights[0].enabled = true, s.state.render[rs::AMBIENTMATERIALSOURCE] = 2; }},
        {"which of the lights is on, and where", lit,
         [](Case& s) {
             s.state.lights[5] = s.state.lights[2], s.state.lights[2].enabled = false;
             s.state.lights[5].diffuse[1] = 0.5f, s.state.lights[5].direction[2] = 9;
         }},
        {"colour sources without colours in the vertex",
         [&](Case& s) { lit(s), s.features.diffuse = s.features.specular = false; },
         [](Case& s) { s.state.render[rs::COLORVERTEX] = 0, s.state.render[rs::AMBIENTMATERIALSOURCE] = 1; }},
        {"normals that nothing reads", one,
         [](Case& s) { s.features.normal = false, s.state.render[rs::NORMALIZENORMALS] = 1; }},
        {"lighting, transforms and planes of pixel-space vertices",
         [&](Case& s) { one(s), s.features.preTransformed = true; },
         [](Case& s) {
             LightUp(s, 1), s.state.render[rs::CLIPPLANEENABLE] = 3, Values(s, 0)[ts::TRANSFORMFLAGS] = 2;
             Values(s, 0)[ts::TEXCOORDINDEX] = 1u << 16;
         }},
        {"point states of triangles", one,
         [](Case& s) { s.state.render[rs::POINTSPRITEENABLE] = s.state.render[rs::POINTSCALEENABLE] = 1; }},
    };
    for (auto const& row : rows) {
        Case a, b;
        row.common(a), row.common(b);
        row.change(b);
        EXPECT_TRUE(SameFragment(a, b)) << row.what << " (fragment)";
        EXPECT_TRUE(SameVertex(a, b)) << row.what << " (vertex)";
    }
}

TEST(FixedFunctionKey, DiffersWhereThePictureDoes) {
    auto const one = [](Case& s) { SetStage(s.state, 0, kModulate); };
    struct {
        Row row;
        bool vertex, fragment; // which side needs another program
    } const rows[] = {
        {{"operation", one, [](Case& s) { Values(s, 0)[ts::COLOROP] = kAdd; }}, false, true},
        {{"kind of texture", one, [](Case& s) { s.state.stages[0].sampler = SamplerKind::Cube; }}, false, true},
        {{"alpha of a missing texture",
          [](Case& s) { SetStage(s.state, 0, kModulate, kDiffuse), Values(s, 0)[ts::ALPHAARG1] = kTexture; },
          [](Case& s) { s.state.stages[0].sampler = SamplerKind::None; }},
         true,
         true},
        {{"TEMP in the middle", [&](Case& s) { one(s), SetStage(s.state, 1, kAdd, kTexture, kTemp); },
          [](Case& s) { Values(s, 0)[ts::RESULTARG] = kTemp; }},
         false,
         true},
        {{"components of a set that is transformed", [&](Case& s) { one(s), Values(s, 0)[ts::TRANSFORMFLAGS] = 2; },
          [](Case& s) { s.features.texCoordSize[0] = 2; }},
         true,
         false},
        {{"highlights", [](Case& s) { LightUp(s, 3); }, [](Case& s) { s.state.render[rs::SPECULARENABLE] = 1; }},
         true,
         true},
        {{"fog by w or by z", [](Case& s) { s.state.render[rs::FOGENABLE] = s.state.render[rs::FOGTABLEMODE] = 1; },
          [](Case& s) { s.state.projection[11] = 1, s.state.projection[15] = 0; }},
         true,
         false},
        {{"sprite", [&](Case& s) { one(s), s.state.points = true; },
          [](Case& s) { s.state.render[rs::POINTSPRITEENABLE] = 1; }},
         true,
         true},
        {{"a program of the user's behind", one, [](Case& s) { s.otherFixed = false; }}, true, false},
        {{"flat beside a program of the user's", [](Case& s) { s.state.render[rs::SHADEMODE] = 1; },
          [](Case& s) { s.otherFixed = false; }},
         true,
         true},
    };
    for (auto const& [row, vertex, fragment] : rows) {
        Case a, b;
        row.common(a), row.common(b);
        row.change(b);
        EXPECT_EQ(SameVertex(a, b), !vertex) << row.what << " (vertex)";
        EXPECT_EQ(SameFragment(a, b), !fragment) << row.what << " (fragment)";
    }
}
