// FixedFunctionTest.cpp: the device against the pipeline in plain C++ over random states, and the edges of its formulas.
#include "FixedFunctionTwin.h"
#include "GLTestDevice.h"

#include <cstdlib>
#include <limits>

using namespace qk3d;
using namespace qk3d::gl;
using namespace qk3d::gltest;

namespace {
Matrix44 ToMatrix44(Matrix const& m) {
    Matrix44 out;
    std::memcpy(out.m, m.data(), sizeof m);
    return out;
}

/// Sets operation and arguments of a stage, colour and alpha alike.
void SetStage(FixedState& state, unsigned stage, unsigned op, unsigned arg1 = kTexture, unsigned arg2 = kCurrent) {
    auto& v = state.stages[stage].values;
    v[ts::COLOROP] = v[ts::ALPHAOP] = op;
    v[ts::COLORARG1] = v[ts::ALPHAARG1] = arg1;
    v[ts::COLORARG2] = v[ts::ALPHAARG2] = arg2;
    state.stages[stage].sampler = arg1 == kTexture ? SamplerKind::Flat : SamplerKind::None;
}

/// Draws into targets of 32 bits a channel, so that nothing is rounded. What is drawn is told by `s`, `f` and `v`: at
/// first stages, lights and fog are off, matrices do nothing, and a vertex has every field. The seed of what is random is
/// printed, and QK3D_SEED repeats a run.
class FixedFunction : public GLTest {
protected:
    void SetUp() override {
        GLTest::SetUp();
        m_floats = MakeTargetTexture("floats", 1, 1, PF_FLOAT32_RGBA);
        for (int i = 1; i <= CRenderState::LAST_STATE; ++i)
            plain.render[static_cast<unsigned>(i)] =
                static_cast<std::uint32_t>(System().GetDefaultRenderState()->GetState(CRenderState::EState(i)));
        plain.render[rs::LIGHTING] = plain.render[rs::ZENABLE] = 0;
        plain.render[rs::CULLMODE] = 1;
        for (unsigned i = 0; i < kFixedStages; ++i) {
            SetStage(plain, i, 1);
            plain.stages[i].sampler = SamplerKind::None;
            auto& values = plain.stages[i].values;
            values[ts::COLORARG0] = values[ts::ALPHAARG0] = values[ts::RESULTARG] = kCurrent;
            values[ts::TEXCOORDINDEX] = i;
        }
        f.normal = f.diffuse = f.specular = true;
        f.texCoordSets = 8;
        f.texCoordSize.fill(4);
        s = plain;
        char const* const chosen = std::getenv("QK3D_SEED");
        auto const seed = chosen ? static_cast<unsigned>(std::atol(chosen)) : std::random_device{}();
        std::printf("seed %u\n", seed);
        m_random.seed(seed);
    }

    /// What a texture of the tests shows: one colour, with waves of a height over it.
    Colour Sample(unsigned stage, double x, double y) const {
        Colour const waves = {x, y, x - y, x + y};
        Float4 const& t = m_tints[stage];
        return Colour{t[0], t[1], t[2], t[3]} + m_height * std::sin(6.283185307179586 * waves);
    }
    void SetTextures(double height, std::vector<Float4> const& tints) {
        m_height = height, m_tints = tints;
        constexpr unsigned kSide = 64;
        for (unsigned stage = 0; stage < tints.size(); ++stage) {
            m_textures.push_back(MakeTexture(kSide, kSide, PF_FLOAT32_RGBA));
            std::vector<float> texels;
            for (unsigned i = 0; i < kSide * kSide; ++i)
                for (double const channel : Sample(stage, (i % kSide + 0.5) / kSide, (i / kSide + 0.5) / kSide))
                    texels.push_back(static_cast<float>(channel));
            WriteBytes(*m_textures[stage], texels.data());
            System().SetMinFilter(stage, 2);
            System().SetMagFilter(stage, 2);
        }
    }

    /// Draws the vertex as a point.
    void Draw() {
        for (int i = 1; i <= CRenderState::LAST_STATE; ++i)
            (System().*CRenderState::GetDeviceSetter(i))(s.render[static_cast<unsigned>(i)]);
        System().SetWorldMatrix(ToMatrix44(s.world));
        System().SetViewMatrix(ToMatrix44(s.view));
        System().SetProjectionMatrix(ToMatrix44(s.projection));
        for (unsigned stage = 0; stage < kFixedStages; ++stage) {
            auto const& [values, transform, sampler] = s.stages[stage];
            for (unsigned i = 1; i <= CTextureState::LAST_STATE; ++i)
                if (i != ts::TRANSFORMMATRIX)
                    (System().*CTextureState::GetDeviceSetter(static_cast<int>(i)))(stage, StageValue(values[i]));
            Matrix44 matrix = ToMatrix44(transform);
            System().SetTransformMatrix(stage, &matrix);
            bool const textured = sampler != SamplerKind::None;
            System().SetTexture(stage, textured, textured ? m_textures[stage].get() : nullptr);
        }
        SendLights();
        Shape::Fields fields;
        std::vector<float> data;
        auto const add = [&](int size, EVertexElementSemantic semantic, float const* from) {
            data.insert(data.end(), from, from + size);
            if (size) fields.emplace_back(static_cast<EVertexElementType>(size), semantic);
        };
        add(f.preTransformed ? 4 : 3, VES_POSITION, v.position);
        add(f.normal * 3, VES_NORMAL, v.normal);
        add(f.diffuse * 4, VES_DIFFUSE, v.diffuse);
        add(f.specular * 4, VES_SPECULAR, v.specular);
        add(f.pointSize, VES_POINTSIZE, &v.pointSize);
        for (unsigned i = 0; i < f.texCoordSets; ++i) add(f.texCoordSize[i], VES_TEXCOORD, v.texCoord[i]);
        Shape(System(), ST_POINTLIST, fields, data.data(), data.size() * sizeof(float)).Draw();
    }

    /// Looks at what the vertex gives to a pixel of floats, drawn as a large point.
    void ExpectShade(Pixel const& wanted, double tolerance, std::string const& what) {
        Activate(*m_floats->GetRenderTexture());
        constexpr std::uint32_t kNothing = 0x4D37291B;
        Clear(kNothing);
        s.render[rs::POINTSIZE] = FloatBits(8);
        Draw();
        Float4 pixel;
        std::memcpy(pixel.data(), ReadBytes(*m_floats).data(), sizeof pixel);
        EXPECT_EQ(std::abs(pixel[0] * 255 - (kNothing >> 16 & 255)) > 1e-3f, wanted.drawn) << what;
        for (std::size_t c = 0; c < 4 && wanted.drawn; ++c)
            EXPECT_NEAR(pixel[c], wanted.colour[c], tolerance) << what << ", channel " << c;
    }

    unsigned Below(unsigned n) { return static_cast<unsigned>(m_random() % n); }
    bool OneIn(unsigned n) { return Below(n) == 0; }
    float Between(float low, float high) { return low + (high - low) * static_cast<float>(Below(65536)) / 65535.0f; }
    std::uint32_t Word() { return static_cast<std::uint32_t>(m_random()); }
    Float4 Four(float low = 0, float high = 1) {
        return {Between(low, high), Between(low, high), Between(low, high), Between(low, high)};
    }

    /// A rotation with some scale and a shift, other for each axis.
    Matrix RandomMatrix(float shift) {
        Matrix m = kIdentity;
        for (std::size_t i = 0; i < 11; ++i)
            if (i % 4 < 3) m[i] += Between(-0.4f, 0.4f);
        for (std::size_t c = 12; c < 15; ++c) m[c] = Between(-shift, shift);
        return m;
    }

    void SetCamera(bool perspective) {
        s.world = RandomMatrix(0.3f);
        s.view = RandomMatrix(0.3f);
        s.view[14] = 3;
        s.projection = perspective ? Matrix{0.5f, 0, 0, 0, 0, 0.5f, 0, 0, 0, 0, 1.25f, 1, 0, 0, -1.25f, 0}
                                   : Matrix{0.1f, 0, 0, 0, 0, 0.1f, 0, 0, 0, 0, 0.05f, 0, 0, 0, 0.1f, 1};
    }

    /// Draws random states, as `choose` makes them, with one random vertex each. The tolerance is for a channel of 0 to 1.
    template <class Choose>
    void Agree(unsigned rounds, double tolerance, Choose const& choose) {
        unsigned compared = 0;
        for (unsigned round = 0; round < rounds && !HasFailure(); ++round) {
            s = plain;
            for (int c = 0; c < 4; ++c)
                v.position[c] = Between(0, 1), v.diffuse[c] = Between(0, 1), v.specular[c] = Between(0, 1);
            for (float& number : v.normal) number = Between(-1, 1);
            for (auto& set : v.texCoord)
                for (float& number : set) number = Between(0.5f, 2);
            choose();
            Pixel const wanted = FixedFunctionTwin(s, f, v).Evaluate(
                [this](unsigned stage, double x, double y) { return Sample(stage, x, y); });
            if (wanted.undecided) continue;
            ++compared;
            ExpectShade(wanted, tolerance, "state " + std::to_string(round));
        }
        EXPECT_GT(compared, HasFailure() ? 0 : rounds / 2);
    }

    FixedState plain, s;
    VertexFeatures f;
    Vertex v;

private:
    void SendLights() {
        auto const list = [](Float4 const& numbers) {
            Json::Value out;
            for (float const number : numbers) out.append(number);
            return out;
        };
        Json::Value in;
        for (unsigned i = 0; i < kLights; ++i) {
            auto const& light = s.lights[i];
            in["Index"] = i, in["Enable"] = light.enabled;
            in["Type"] = light.type == 1 ? "POINT" : light.type == 2 ? "SPOT" : "DIRECTIONAL";
            in["Diffuse"] = list(light.diffuse), in["Specular"] = list(light.specular);
            in["Ambient"] = list(light.ambient), in["Attenuation"] = list(light.attenuation);
            in["Position"] = list(light.position), in["Direction"] = list(light.direction);
            in["Range"] = light.range, in["Falloff"] = light.falloff;
            in["Theta"] = light.theta, in["Phi"] = light.phi;
            ASSERT_TRUE(System().UnusualCall("SetLight", &in, nullptr));
        }
        in = Json::Value();
        in["Diffuse"] = list(s.surface.diffuse), in["Ambient"] = list(s.surface.ambient);
        in["Specular"] = list(s.surface.specular), in["Emissive"] = list(s.surface.emissive);
        in["Power"] = s.surface.power;
        ASSERT_TRUE(System().UnusualCall("SetMaterial", &in, nullptr));
    }

    _ResourceSharePtr<CTexture> m_floats;
    std::vector<std::unique_ptr<CTexture>> m_textures;
    std::vector<Float4> m_tints;
    double m_height = 0;
    std::mt19937 m_random;
};

} // namespace

// Textures of one colour, so that nothing but the arithmetic is compared. Both sides compute in floats or better, and
// eight stages multiply an error by 4 at most each.
TEST_F(FixedFunction, AgreesOnRandomStageChains) {
    SetTextures(0, {Four(), Four(), Four(), Four(), Four(), Four(), Four(), Four()});
    Agree(30, 1e-3, [this] {
        f.diffuse = !OneIn(4), f.specular = !OneIn(3);
        unsigned const count = 1 + Below(8);
        for (unsigned i = 0; i < count; ++i) {
            auto& values = s.stages[i].values;
            for (unsigned const argument :
                 {ts::COLORARG0, ts::COLORARG1, ts::COLORARG2, ts::ALPHAARG0, ts::ALPHAARG1, ts::ALPHAARG2})
                values[argument] = Below(7) | (OneIn(3) ? 16 : 0) | (OneIn(4) ? 32 : 0);
            values[ts::COLOROP] = 2 + Below(25);
            values[ts::ALPHAOP] = 1 + Below(26);
            values[ts::RESULTARG] = OneIn(3) ? kTemp : kCurrent;
            values[ts::CONSTANT] = Word();
            s.stages[i].sampler = OneIn(6) ? SamplerKind::None : SamplerKind::Flat;
        }
        s.render[rs::TEXTUREFACTOR] = Word();
        s.render[rs::SPECULARENABLE] = OneIn(2);
        s.render[rs::ALPHATESTENABLE] = OneIn(2);
        s.render[rs::ALPHAFUNC] = 1 + Below(8);
        s.render[rs::ALPHAREF] = Below(256);
    });
}

// Highlights of a high power are the steepest function here: 12 times the error of a float's cosine.
TEST_F(FixedFunction, AgreesOnRandomLightingAndFog) {
    Agree(30, 2e-3, [this] {
        SetCamera(OneIn(2));
        f.diffuse = OneIn(2), f.specular = OneIn(2), f.normal = !OneIn(6);
        SetStage(s, 0, OneIn(2) ? kSelectArg1 : kAdd, kDiffuse, kSpecular);
        s.render[rs::LIGHTING] = !OneIn(4);
        for (unsigned const state : {rs::SPECULARENABLE, rs::LOCALVIEWER, rs::NORMALIZENORMALS, rs::COLORVERTEX,
                                     rs::FOGENABLE, rs::RANGEFOGENABLE})
            s.render[state] = OneIn(2);
        for (unsigned const state : {rs::DIFFUSEMATERIALSOURCE, rs::SPECULARMATERIALSOURCE, rs::AMBIENTMATERIALSOURCE,
                                     rs::EMISSIVEMATERIALSOURCE})
            s.render[state] = Below(3);
        s.render[rs::AMBIENT] = Word();
        s.surface = {Four(), Four(), Four(), Four(), Between(1, 12)};
        // clang-format off
        for (auto& light : s.lights)
            light = {OneIn(3), 1 + static_cast<int>(Below(3)), Four(), Four(), Four(), Four(-4, 4), Four(-1, 1), Between(2, 12),
                     Between(0.5f, 3), {Between(0.5f, 1.5f), Between(0, 0.5f), Between(0, 0.1f)}, Between(0.1f, 0.6f), Between(0.7f, 2.5f)};
        // clang-format on
        s.render[rs::FOGCOLOR] = Word();
        s.render[rs::FOGTABLEMODE] = OneIn(2) ? Below(4) : 0;
        s.render[rs::FOGVERTEXMODE] = Below(4);
        float const nan = std::numeric_limits<float>::quiet_NaN();
        s.render[rs::FOGSTART] = FloatBits(OneIn(8) ? nan : Between(0, 4));
        s.render[rs::FOGEND] = OneIn(8) ? s.render[rs::FOGSTART] : FloatBits(Between(4, 9));
        s.render[rs::FOGDENSITY] = FloatBits(OneIn(8) ? nan : Between(0, 0.4f));
    });
}

// Filtered sampling, whose weights the device may cut to 8 bits: a texel's difference of up to 0.05 times 1/256, and the
// waves between texels, scaled by what coordinates are stretched and by the sums of a few stages.
TEST_F(FixedFunction, AgreesOnRandomCoordinates) {
    SetTextures(0.25, {Four(), Four(), Four()});
    Agree(40, 1.5e-2, [this] {
        SetCamera(true);
        f.texCoordSets = static_cast<std::uint8_t>(1 + Below(8));
        for (auto& size : f.texCoordSize) size = static_cast<std::uint8_t>(1 + Below(4));
        f.preTransformed = OneIn(5);
        s.render[rs::NORMALIZENORMALS] = OneIn(2);
        unsigned const count = 1 + Below(3);
        for (unsigned i = 0; i < count; ++i) {
            bool const bump = i + 1 < count && OneIn(3);
            SetStage(s, i, bump ? kBumpEnvMap + Below(2) : i == 0 ? unsigned{kSelectArg1} : unsigned{kAddSigned});
            auto& values = s.stages[i].values;
            values[ts::TEXCOORDINDEX] = Below(8) | (OneIn(2) ? (1 + Below(3)) << 16 : 0);
            values[ts::TRANSFORMFLAGS] = Below(5) | (OneIn(3) ? 0x100 : 0);
            for (unsigned const state : {ts::BUMPENVMAT00, ts::BUMPENVMAT01, ts::BUMPENVMAT10, ts::BUMPENVMAT11})
                values[state] = FloatBits(Between(-0.5f, 0.5f));
            values[ts::BUMPENVLSCALE] = FloatBits(Between(0, 1.5f)),
            values[ts::BUMPENVLOFFSET] = FloatBits(Between(-0.2f, 0.5f));
            auto& matrix = s.stages[i].transform = RandomMatrix(0.5f);
            for (std::size_t r = 0; r < 3; ++r) matrix[r * 4 + 3] = Between(-0.2f, 0.2f);
            matrix[15] = 2;
        }
        if (f.preTransformed) v.position[0] = v.position[1] = v.position[2] = 0.5f, v.position[3] = 0.7f;
    });
}

TEST_F(FixedFunction, LightStaysANumberAtItsEdges) {
    s.render[rs::LIGHTING] = s.render[rs::NORMALIZENORMALS] = 1;
    s.render[rs::COLORVERTEX] = 0;
    s.surface.diffuse = {0.5f, 1, 1, 0.25f};
    s.surface.emissive = {0.1f, 0, 0, 0}; // would go down with a sum that is no number
    auto& light = s.lights[0];
    light.enabled = true, light.type = 1, light.range = 9;
    light.position = {0, 0, -1.5f, 1}; // 2 away, straight ahead
    v.normal[2] = -1, v.position[2] = 0.5f;
    auto const state = s;
    ExpectShade({.colour = {0.6, 1, 1, 0.25}}, 2e-3, "straight ahead");
    light.attenuation = {};
    ExpectShade({.colour = {1, 1, 1, 0.25}}, 2e-3, "no attenuation at all saturates");
    light.position[2] = 0.5f;
    ExpectShade({.colour = {0.1, 0, 0, 0.25}}, 2e-3, "within the vertex");
    s = state;
    light.type = 3, s.world[10] = 0;
    ExpectShade({.colour = {0.6, 1, 1, 0.25}}, 2e-3, "flattened by the matrix, the one normal left");
    v.normal[2] = 0;
    ExpectShade({.colour = {0.1, 0, 0, 0.25}}, 2e-3, "a normal of length 0");
}

TEST_F(FixedFunction, AlphaTestComparesWhatTheTargetCanHold) {
    s.render[rs::ALPHATESTENABLE] = 1, s.render[rs::ALPHAREF] = 128, s.render[rs::ALPHAFUNC] = 3;
    auto const expect = [this](bool drawn, EPixelFormat format, float alpha, char const* what) {
        auto target = MakeTargetTexture(what, 1, 1, format);
        Activate(*target->GetRenderTexture());
        Clear(0);
        v.diffuse[3] = alpha;
        Draw();
        EXPECT_EQ(ReadTarget(*target->GetRenderTexture()).At(0, 0) & 0xFF, drawn ? 0xFFu : 0) << what;
    };
    expect(true, PF_A8R8G8B8, 128.4f / 255, "eight bits, rounds to the same");
    expect(false, PF_A8R8G8B8, 128.6f / 255, "eight bits, the next step");
    expect(true, PF_A4R4G4B4, 0.52f, "four bits, rounds to the same");
    expect(true, PF_FLOAT32_RGBA, 128 / 255.0f, "float, exact");
    expect(false, PF_FLOAT32_RGBA, 128.3f / 255, "float, a bit off");
}

TEST_F(FixedFunction, PointsHaveTheSizeOfVertexStateAndDistance) {
    auto const countPixels = [&] {
        Clear();
        Draw();
        auto const pixels = Read().pixels;
        return std::count(pixels.begin(), pixels.end(), kWhite);
    };
    v.position[2] = 0.5f, v.pointSize = 12, f.pointSize = true;
    s.render[rs::POINTSIZEMAX] = FloatBits(8);
    EXPECT_EQ(countPixels(), 8 * 8) << "the largest size";
    s = plain;
    EXPECT_EQ(countPixels(), 12 * 12);
    f.pointSize = false;
    s.render[rs::POINTSIZE] = FloatBits(0.5f), s.render[rs::POINTSCALEENABLE] = 1;
    s.render[rs::POINTSCALEA] = s.render[rs::POINTSCALEB] = FloatBits(2), s.render[rs::POINTSCALEC] = FloatBits(4);
    EXPECT_EQ(countPixels(), 16 * 16) << "0.5 of 64 rows over the square root of a + b * 0.5 + c * 0.25";
}
