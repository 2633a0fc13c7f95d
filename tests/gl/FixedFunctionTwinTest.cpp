// FixedFunctionTwinTest.cpp: generated programs against the pipeline in plain C++, over random states.
#include "FixedFunctionRig.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>

#include <gtest/gtest.h>

using namespace qk3d::gl;
using namespace qk3d::gltest;

namespace {
// Everything random of a test comes from here; the seed is printed, and QK3D_SEED repeats a run.
class Dice {
public:
    Dice() {
        char const* const chosen = std::getenv("QK3D_SEED");
        unsigned const seed =
            chosen ? static_cast<unsigned>(std::strtoul(chosen, nullptr, 10)) : std::random_device{}();
        std::printf("seed %u\n", seed);
        m_random.seed(seed);
    }
    unsigned Below(unsigned n) { return static_cast<unsigned>(m_random() % n); }
    bool OneIn(unsigned n) { return Below(n) == 0; }
    float Between(float low, float high) {
        return low + (high - low) * static_cast<float>(m_random() & 0xFFFF) / 65535.0f;
    }
    std::uint32_t Word() { return static_cast<std::uint32_t>(m_random()); }
    Float4 Colour() { return {Between(0, 1), Between(0, 1), Between(0, 1), Between(0, 1)}; }

private:
    std::mt19937 m_random;
};

std::uint32_t RandomArg(Dice& dice) {
    return dice.Below(7) | (dice.OneIn(3) ? std::uint32_t{kComplement} : 0) |
           (dice.OneIn(4) ? std::uint32_t{kAlphaReplicate} : 0);
}

void RandomStages(Dice& dice, FixedState& s, unsigned most, bool bump) {
    unsigned const count = 1 + dice.Below(most);
    for (unsigned i = 0; i < count; ++i) {
        auto& v = s.stages[i].values;
        do v[ts::COLOROP] = 2 + dice.Below(25);
        while (!bump && (v[ts::COLOROP] == kBumpEnvMap || v[ts::COLOROP] == kBumpEnvMapLuminance));
        do v[ts::ALPHAOP] = 1 + dice.Below(26);
        while (!bump && (v[ts::ALPHAOP] == kBumpEnvMap || v[ts::ALPHAOP] == kBumpEnvMapLuminance));
        for (unsigned const arg :
             {ts::COLORARG0, ts::COLORARG1, ts::COLORARG2, ts::ALPHAARG0, ts::ALPHAARG1, ts::ALPHAARG2})
            v[arg] = RandomArg(dice);
        v[ts::RESULTARG] = dice.OneIn(3) ? kTemp : kCurrent;
        v[ts::CONSTANT] = dice.Word();
        s.stages[i].sampler = dice.OneIn(6) ? SamplerKind::None : SamplerKind::Flat;
    }
}

void RandomFog(Dice& dice, FixedState& s) {
    s.render[rs::FOGENABLE] = dice.OneIn(2);
    s.render[rs::FOGCOLOR] = dice.Word();
    s.render[rs::FOGTABLEMODE] = dice.OneIn(2) ? dice.Below(4) : 0;
    s.render[rs::FOGVERTEXMODE] = dice.Below(4);
    s.render[rs::RANGEFOGENABLE] = dice.OneIn(2);
    s.render[rs::FOGSTART] = Bits(dice.Between(0, 4));
    s.render[rs::FOGEND] = Bits(dice.Between(4, 9));
    s.render[rs::FOGDENSITY] = Bits(dice.Between(0, 0.4f));
}

// A rotation with some scale and a shift, with eyes of its own for each axis.
Matrix RandomMatrix(Dice& dice, float shift) {
    Matrix m = kIdentity;
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) m[r * 4 + c] = dice.Between(-0.4f, 0.4f) + (r == c ? 1.0f : 0.0f);
    }
    for (std::size_t c = 0; c < 3; ++c) m[12 + c] = dice.Between(-shift, shift);
    return m;
}

void RandomLighting(Dice& dice, FixedState& s) {
    s.render[rs::LIGHTING] = !dice.OneIn(4);
    s.render[rs::AMBIENT] = dice.Word();
    s.render[rs::SPECULARENABLE] = dice.OneIn(2);
    s.render[rs::LOCALVIEWER] = dice.OneIn(2);
    s.render[rs::NORMALIZENORMALS] = dice.OneIn(2);
    s.render[rs::COLORVERTEX] = !dice.OneIn(3);
    for (unsigned const which :
         {rs::DIFFUSEMATERIALSOURCE, rs::SPECULARMATERIALSOURCE, rs::AMBIENTMATERIALSOURCE, rs::EMISSIVEMATERIALSOURCE})
        s.render[which] = dice.Below(3);
    s.surface = {dice.Colour(), dice.Colour(), dice.Colour(), dice.Colour(), dice.Between(1, 12)};
    for (auto& light : s.lights) {
        light.enabled = dice.OneIn(3);
        light.type = 1 + static_cast<int>(dice.Below(3));
        light.diffuse = dice.Colour(), light.specular = dice.Colour(), light.ambient = dice.Colour();
        light.position = {dice.Between(-4, 4), dice.Between(-4, 4), dice.Between(-4, 4), 1};
        light.direction = {dice.Between(-1, 1), dice.Between(-1, 1), dice.Between(-1, 1), 0};
        light.range = dice.Between(2, 12);
        light.attenuation = {dice.Between(0.5f, 1.5f), dice.Between(0, 0.5f), dice.Between(0, 0.1f), 0};
        light.theta = dice.Between(0.1f, 1.2f), light.phi = light.theta + dice.Between(0.1f, 1.5f);
        light.falloff = dice.Between(0.5f, 3);
    }
}

Vertex RandomVertex(Dice& dice, float setLow, float setHigh) {
    Vertex v;
    for (int c = 0; c < 3; ++c) v.position[c] = dice.Between(0, 1);
    float square = 0;
    for (float& c : v.normal) c = dice.Between(-1, 1), square += c * c;
    for (float& c : v.normal) c /= std::sqrt(square + 1e-6f);
    for (int c = 0; c < 4; ++c) v.diffuse[c] = dice.Between(0, 1), v.specular[c] = dice.Between(0, 1);
    for (auto& set : v.texCoord) {
        for (float& c : set) c = dice.Between(setLow, setHigh);
    }
    return v;
}

// Each state is drawn with some vertices and compared; `tolerance` is for a channel of 0 to 1.
void Compare(FixedState const& s, VertexFeatures const& f, Vertex const& vertex, std::array<Texture, 8> const& textures,
             double tolerance, unsigned round) {
    FixedState seen = s; // what the rig makes of it: the twin needs the same target
    seen.viewport = {0, 0, 1, 1};
    Varyings const varyings = EvaluateVertex(seen, f, vertex);
    Pixel const wanted = EvaluatePixel(
        seen, f, varyings, [&](unsigned i, double u, double v, double) { return Sample(textures[i], u, v); });
    auto const& clip = varyings.clip;
    bool const inside =
        clip[3] > 0 && std::abs(clip[0]) < clip[3] && std::abs(clip[1]) < clip[3] && clip[2] > 0 && clip[2] < clip[3];
    if (wanted.undecided || !inside) return;
    bool drawn = false;
    Colour const got = Rig::Get()->Shade(s, f, vertex, drawn);
    EXPECT_EQ(drawn, !wanted.discarded) << "state " << round;
    for (std::size_t c = 0; drawn && c < 4; ++c)
        EXPECT_NEAR(got[c], wanted.colour[c], tolerance) << "state " << round << ", channel " << c;
    if (!testing::Test::HasFailure()) return;
    std::printf("vertex shader of state %u:\n%s\nfragment shader:\n%s\n", round,
                WriteVertexShader(MakeVertexKey(s, f, true)).c_str(),
                WriteFragmentShader(MakeFragmentKey(s, f, true)).c_str());
}

class FixedFunctionTwin : public testing::Test {
protected:
    void SetUp() override { ASSERT_NE(Rig::Get(), nullptr) << "no OpenGL 4.5 device without a display"; }
    void Bind() {
        for (unsigned i = 0; i < 8; ++i) Rig::Get()->SetTexture(i, textures[i]);
    }
    std::array<Texture, 8> textures;
    Dice dice;
};
} // namespace

// Textures of one texel, so that nothing but the arithmetic is compared. Both sides compute in floats or better, and
// eight stages multiply an error by 4 at most each.
TEST_F(FixedFunctionTwin, AgreesOnRandomStageChains) {
    for (auto& texture : textures) texture = {1, 1, {dice.Colour()}};
    Bind();
    for (unsigned round = 0; round < 80 && !HasFailure(); ++round) {
        FixedState s = PlainState();
        VertexFeatures f = AllFeatures();
        f.diffuse = !dice.OneIn(4), f.specular = !dice.OneIn(3);
        RandomStages(dice, s, 8, true);
        s.render[rs::TEXTUREFACTOR] = dice.Word();
        s.render[rs::SPECULARENABLE] = dice.OneIn(2);
        s.render[rs::ALPHATESTENABLE] = dice.OneIn(2);
        s.render[rs::ALPHAFUNC] = 1 + dice.Below(8);
        s.render[rs::ALPHAREF] = dice.Below(256);
        for (int i = 0; i < 2; ++i) Compare(s, f, RandomVertex(dice, 0, 1), textures, 1e-3, round);
    }
}

// Highlights of a high power are the steepest function here: 12 times the error of a float's cosine.
TEST_F(FixedFunctionTwin, AgreesOnRandomLightingAndFog) {
    for (unsigned round = 0; round < 60 && !HasFailure(); ++round) {
        FixedState s = PlainState();
        VertexFeatures f = AllFeatures();
        f.diffuse = dice.OneIn(2), f.specular = dice.OneIn(2), f.normal = !dice.OneIn(6);
        RandomLighting(dice, s);
        RandomFog(dice, s);
        s.world = RandomMatrix(dice, 0.3f);
        s.view = RandomMatrix(dice, 0.3f);
        s.view[14] = 5;
        bool const perspective = dice.OneIn(2);
        s.projection = perspective ? Matrix{0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1.25f, 1, 0, 0, -1.25f, 0}
                                   : Matrix{0.1f, 0, 0, 0, 0, 0.1f, 0, 0, 0, 0, 0.05f, 0, 0, 0, 0.1f, 1};
        SetStage(s, 0, dice.OneIn(2) ? kSelectArg1 : kAdd, kDiffuse, kSpecular);
        s.stages[0].sampler = SamplerKind::None;
        for (int i = 0; i < 3; ++i) Compare(s, f, RandomVertex(dice, 0, 1), textures, 2e-3, round);
    }
}

// Bilinear sampling, whose weights the device may cut to 8 bits: a texel's difference of up to 0.2 times 1/256, scaled
// by what coordinates are stretched and by the sums of a few stages.
TEST_F(FixedFunctionTwin, AgreesOnRandomCoordinates) {
    for (auto& texture : textures) {
        texture = {16, 16, {}, true};
        Float4 const phase = dice.Colour();
        for (unsigned i = 0; i < 256; ++i) {
            float const u = (static_cast<float>(i % 16) + 0.5f) / 16, v = (static_cast<float>(i / 16) + 0.5f) / 16;
            auto const wave = [&](float x) { return 0.5f + 0.25f * std::sin(6.2831853f * x); };
            texture.texels.push_back(
                {wave(u + phase[0]), wave(v + phase[1]), wave(u - v + phase[2]), wave(u + v + phase[3])});
        }
    }
    Bind();
    for (unsigned round = 0; round < 120 && !HasFailure(); ++round) {
        FixedState s = PlainState();
        VertexFeatures f = AllFeatures();
        f.texCoordSets = static_cast<std::uint8_t>(1 + dice.Below(8));
        for (auto& size : f.texCoordSize) size = static_cast<std::uint8_t>(1 + dice.Below(4));
        f.preTransformed = dice.OneIn(5);
        s.world = RandomMatrix(dice, 0.3f);
        s.view = RandomMatrix(dice, 0.3f);
        s.view[14] = 5;
        s.projection = {0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1.25f, 1, 0, 0, -1.25f, 0};
        s.render[rs::NORMALIZENORMALS] = dice.OneIn(2);
        unsigned const count = 1 + dice.Below(3);
        for (unsigned i = 0; i < count; ++i) {
            unsigned const op = i == 0 ? unsigned{kSelectArg1} : unsigned{kAddSigned};
            SetStage(s, i, i + 1 < count && dice.OneIn(3) ? kBumpEnvMap + dice.Below(2) : op);
            auto& v = s.stages[i].values;
            v[ts::TEXCOORDINDEX] = dice.OneIn(2) ? (1 + dice.Below(3)) << 16 | dice.Below(8) : dice.Below(8);
            v[ts::TRANSFORMFLAGS] = dice.Below(5) | (dice.OneIn(3) ? 0x100u : 0);
            s.stages[i].transform = RandomMatrix(dice, 0.5f);
            for (std::size_t r = 0; r < 4; ++r)
                s.stages[i].transform[r * 4 + 3] = r == 3 ? 2.0f : dice.Between(-0.2f, 0.2f);
            for (unsigned const which : {ts::BUMPENVMAT00, ts::BUMPENVMAT01, ts::BUMPENVMAT10, ts::BUMPENVMAT11})
                v[which] = Bits(dice.Between(-0.5f, 0.5f));
            v[ts::BUMPENVLSCALE] = Bits(dice.Between(0, 1.5f)), v[ts::BUMPENVLOFFSET] = Bits(dice.Between(-0.2f, 0.5f));
        }
        Vertex vertex = RandomVertex(dice, 0.5f, 2);
        if (f.preTransformed)
            vertex.position[0] = vertex.position[1] = vertex.position[2] = 0.5f, vertex.position[3] = 0.7f;
        // Coordinates that run away to the horizon say nothing about the formula.
        Varyings const varyings = EvaluateVertex(s, f, vertex);
        bool sound = true;
        for (unsigned i = 0; i < count; ++i) {
            std::uint32_t const flags = s.stages[i].values[ts::TRANSFORMFLAGS], counted = flags & 0xFF;
            std::size_t const last =
                counted >= 2 && counted <= 4 ? counted : static_cast<std::size_t>(std::max(varyings.coordSize[i], 1));
            sound &= !(flags & 0x100) || std::abs(varyings.coords[i][last - 1]) > 0.3;
        }
        if (sound) Compare(s, f, vertex, textures, 1.5e-2, round);
    }
}
