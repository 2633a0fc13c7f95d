// FixedFunctionTwin.h: the fixed-function pipeline in plain C++, one vertex that becomes one pixel. Written from the meaning
// of the states, without a look at how shaders are generated.
#pragma once

#include "GLFixedFunctionKey.h"

#include "QK3DVector.h"

#include <array>
#include <bit>
#include <cmath>
#include <valarray>

namespace qk3d::gltest {
namespace rs = gl::rs;
namespace ts = gl::ts;

using Colour = std::valarray<double>; // red, green, blue, alpha, or the x, y, z, w of a place

/// One vertex, with every field there is; the features of the draw say which ones count.
struct Vertex {
    float position[4] = {0, 0, 0, 1};
    float normal[3] = {0, 0, 0};
    float diffuse[4] = {1, 1, 1, 1};
    float specular[4] = {0, 0, 0, 1};
    float pointSize = 1;
    float texCoord[8][4] = {};
};

struct Pixel {
    bool drawn = true;
    bool undecided = false; // hangs on the last bits: the alpha test, the border of clip space, a division by next to 0
    Colour colour = {};
};

class FixedFunctionTwin {
public:
    FixedFunctionTwin(gl::FixedState const& state, gl::VertexFeatures const& features, Vertex const& vertex)
        : s(state), f(features), v(vertex) {}

    /// What the vertex drawn as a point gives to a pixel of a target of floats. `sample` gives the texel at a place of a
    /// stage's texture.
    Pixel Evaluate(auto const& sample) {
        RunVertex();
        Pixel out;
        out.undecided = std::abs(m_clip[0]) >= m_clip[3] || std::abs(m_clip[1]) >= m_clip[3] || m_clip[2] <= 0 ||
                        m_clip[2] >= m_clip[3];

        // How long the chain is.
        unsigned length = 0;
        for (; length < gl::kFixedStages; ++length) {
            auto const& [values, transform, sampler] = s.stages[length];
            if (values[ts::COLOROP] <= 1 || (sampler == gl::SamplerKind::None && ReadsTexture(values))) break;
        }

        // All texels, with the displacement that the stage before asks for.
        m_texels.fill(kWhite);
        for (unsigned i = 0; i < length; ++i) {
            auto const& stage = s.stages[i];
            if (stage.sampler == gl::SamplerKind::None) continue;
            std::uint32_t const flags = stage.values[ts::TRANSFORMFLAGS], count = flags & 0xFF;
            unsigned const counted = count >= 2 && count <= 4 ? count : m_coordSize[i] > 2 ? m_coordSize[i] : 0;
            double const divisor = (flags & 0x100) && counted ? m_coords[i][counted - 1] : 1;
            double x = m_coords[i][0] / divisor, y = m_coords[i][1] / divisor, light = 1;
            if (i > 0 && IsBump(s.stages[i - 1].values[ts::COLOROP]) &&
                s.stages[i - 1].sampler != gl::SamplerKind::None) {
                auto const& before = s.stages[i - 1].values;
                Colour const& bump = m_texels[i - 1];
                x += Float(before[ts::BUMPENVMAT00]) * bump[0] + Float(before[ts::BUMPENVMAT10]) * bump[1];
                y += Float(before[ts::BUMPENVMAT01]) * bump[0] + Float(before[ts::BUMPENVMAT11]) * bump[1];
                if (before[ts::COLOROP] == 23)
                    light = Clamp(bump[2] * Float(before[ts::BUMPENVLSCALE]) + Float(before[ts::BUMPENVLOFFSET]));
            }
            out.undecided |= std::abs(divisor) < 0.3;
            m_texels[i] = sample(i, x, y) * Colour{light, light, light, 1};
        }

        RunStages(length);
        out.colour = m_current;
        if (s.render[rs::SPECULARENABLE]) out.colour = Clamp(m_current + m_specular * kNoAlpha);
        if (s.render[rs::FOGENABLE]) {
            std::uint32_t const mode = s.render[rs::FOGTABLEMODE];
            double const factor = mode ? FogFactor(mode, m_depth) : m_fog;
            out.colour += (Unpack(s.render[rs::FOGCOLOR]) - out.colour) * kNoAlpha * (1 - factor);
        }
        if (s.render[rs::ALPHATESTENABLE]) {
            double const a = m_current[3], r = (s.render[rs::ALPHAREF] & 255) / 255.0;
            bool const passes[] = {true, false, a<r, a == r, a <= r, a> r, a != r, a >= r, true};
            out.drawn = passes[s.render[rs::ALPHAFUNC]];
            out.undecided |= std::abs(a - r) < 2e-3;
        }
        return out;
    }

private:
    inline static Colour const kWhite = {1, 1, 1, 1}, kNoAlpha = {1, 1, 1, 0};

    static Vector3 ToVector3(auto const& c) {
        return {static_cast<float>(c[0]), static_cast<float>(c[1]), static_cast<float>(c[2])};
    }
    static Colour ToColour(auto const& c, double w) { return {c[0], c[1], c[2], w}; }
    static Colour ToColour(auto const& c) { return ToColour(c, c[3]); }
    static Colour Times(Colour const& row, gl::Matrix const& m) {
        Colour out(4);
        for (std::size_t i = 0; i < 16; ++i) out[i % 4] += row[i / 4] * m[i];
        return out;
    }
    // A normal goes through m so that it stays at right angles to the surface: by the transpose of the inverse.
    static Vector3 NormalThrough(Vector3 n, gl::Matrix const& m) {
        Vector3 const rows[] = {ToVector3(&m[0]), ToVector3(&m[4]), ToVector3(&m[8])};
        Vector3 const x = VecCross(rows[1], rows[2]), y = VecCross(rows[2], rows[0]), z = VecCross(rows[0], rows[1]);
        return (x * n.x + y * n.y + z * n.z) / VecDot(rows[0], x);
    }
    static double Clamp(double number) { return std::min(std::max(number, 0.0), 1.0); }
    static Colour Clamp(Colour const& c) { return {Clamp(c[0]), Clamp(c[1]), Clamp(c[2]), Clamp(c[3])}; }
    static Colour Unpack(std::uint32_t argb) {
        return Colour{double(argb >> 16 & 255), double(argb >> 8 & 255), double(argb & 255), double(argb >> 24)} /
               255.0;
    }
    static double Float(std::uint32_t bits) { return std::bit_cast<float>(bits); }
    static bool IsBump(std::uint32_t op) { return op == 22 || op == 23; }
    static bool ReadsTexture(std::array<std::uint32_t, 20> const& values) {
        std::uint32_t const op = values[ts::COLOROP];
        auto const isTexture = [&](unsigned argument) { return (values[argument] & 15) == 2; };
        return !IsBump(op) &&
               (((op == 25 || op == 26) && isTexture(ts::COLORARG0)) || (op != 3 && isTexture(ts::COLORARG1)) ||
                (op != 2 && op != 17 && isTexture(ts::COLORARG2)));
    }

    double FogFactor(std::uint32_t mode, double depth) const {
        double const start = Float(s.render[rs::FOGSTART]), end = Float(s.render[rs::FOGEND]);
        double const density = Float(s.render[rs::FOGDENSITY]);
        double factor = mode == 1 ? std::exp(-density * depth) : std::exp(-(density * depth) * (density * depth));
        if (mode == 3) factor = start == end ? (depth < end ? 1 : 0) : (end - depth) / (end - start);
        return std::isnan(factor) ? 1 : Clamp(factor);
    }

    void RunVertex() {
        if (f.preTransformed) {
            double const w = 1 / static_cast<double>(v.position[3]);
            m_clip = {0, 0, v.position[2] * w, w};
        } else {
            m_position = ToVector3(Times(Times(ToColour(v.position, 1), s.world), s.view));
            m_clip = Times({m_position.x, m_position.y, m_position.z, 1}, s.projection);
            Vector3 const own = f.normal ? ToVector3(v.normal) : Vector3::ZERO;
            m_normal = NormalThrough(NormalThrough(own, s.world), s.view);
            if (s.render[rs::NORMALIZENORMALS]) m_normal.Normalize();
        }
        m_diffuse = f.diffuse ? Clamp(ToColour(v.diffuse)) : kWhite;
        m_specular = f.specular ? Clamp(ToColour(v.specular)) : Colour{0, 0, 0, 1};
        if (s.render[rs::LIGHTING] && !f.preTransformed) Light();

        std::uint32_t const mode = f.preTransformed ? 0 : s.render[rs::FOGVERTEXMODE];
        m_fog = f.specular ? Clamp(v.specular[3]) : 1;
        if (mode) m_fog = FogFactor(mode, s.render[rs::RANGEFOGENABLE] ? m_position.Length() : std::abs(m_position.z));
        auto const& p = s.projection;
        m_depth = m_clip[p[3] == 0 && p[7] == 0 && p[11] == 0 && p[15] == 1 ? 2 : 3];
        for (unsigned i = 0; i < gl::kFixedStages; ++i) FindCoordinates(i);
    }

    void Light() {
        auto const source = [&](unsigned which, gl::Float4 const& material) {
            std::uint32_t const value = s.render[rs::COLORVERTEX] ? s.render[which] : 0;
            if (value == 1 && f.diffuse) return ToColour(v.diffuse);
            if (value == 2 && f.specular) return ToColour(v.specular);
            return ToColour(material);
        };
        Colour const ofDiffuse = source(rs::DIFFUSEMATERIALSOURCE, s.surface.diffuse);
        Colour const ofSpecular = source(rs::SPECULARMATERIALSOURCE, s.surface.specular);
        Colour ambient = Unpack(s.render[rs::AMBIENT]), diffuse(4), specular(4);
        Vector3 const eye = s.render[rs::LOCALVIEWER] ? (-m_position).GetNormalized() : Vector3{0, 0, -1};
        for (auto const& light : s.lights) {
            if (!light.enabled) continue;
            Vector3 const away = ToVector3(Times(ToColour(light.position, 1), s.view)) - m_position;
            Vector3 const goes = ToVector3(Times(ToColour(light.direction, 0), s.view)).GetNormalized();
            Vector3 const towards = light.type == 3 ? -goes : away.GetNormalized();
            double const distance = away.Length();
            double strength = 1;
            if (light.type != 3) {
                auto const& a = light.attenuation;
                strength = distance > light.range
                               ? 0
                               : 1 / std::max(a[0] + a[1] * distance + a[2] * distance * distance, 1e-20);
            }
            if (light.type == 2) {
                double const rho = VecDot(-towards, goes), inner = std::cos(light.theta / 2.0),
                             outer = std::cos(light.phi / 2.0);
                if (rho <= inner)
                    strength *= rho <= outer ? 0 : std::pow((rho - outer) / (inner - outer), light.falloff);
            }
            double const facing = VecDot(m_normal, towards);
            double const mirrored = VecDot(m_normal, (towards + eye).GetNormalized());
            ambient += ToColour(light.ambient) * strength;
            if (facing > 0) diffuse += ToColour(light.diffuse) * (facing * strength);
            if (facing > 0 && mirrored > 0)
                specular += ToColour(light.specular) * (std::pow(mirrored, s.surface.power) * strength);
        }
        m_diffuse = source(rs::EMISSIVEMATERIALSOURCE, s.surface.emissive) +
                    source(rs::AMBIENTMATERIALSOURCE, s.surface.ambient) * ambient + ofDiffuse * diffuse;
        m_specular = ofSpecular * specular;
        m_diffuse[3] = ofDiffuse[3], m_specular[3] = ofSpecular[3];
        m_diffuse = Clamp(m_diffuse), m_specular = Clamp(m_specular);
    }

    void FindCoordinates(unsigned i) {
        auto const& stage = s.stages[i];
        std::uint32_t const index = stage.values[ts::TEXCOORDINDEX], kind = f.preTransformed ? 0 : index >> 16;
        std::uint32_t const set = index & 0xFFFF, count = stage.values[ts::TRANSFORMFLAGS] & 0xFF;
        Colour in = {0, 0, 0, 1};
        unsigned size = 3;
        Vector3 const ray = m_position.GetNormalized();
        if (kind >= 1 && kind <= 3) {
            Vector3 const from[] = {m_normal, m_position, ray - m_normal * (2 * VecDot(m_normal, ray))};
            in = {from[kind - 1].x, from[kind - 1].y, from[kind - 1].z, 1};
        } else if (set < f.texCoordSets) {
            size = f.texCoordSize[set];
            std::copy_n(v.texCoord[set], size, std::begin(in));
        } else {
            size = 0, in = 0.0;
        }
        m_coordSize[i] = size;
        if (size && count >= 2 && count <= 4 && !f.preTransformed) {
            if (size < 4) in[size] = 1; // so that the row below the components there are moves them
            if (size < 3) in[3] = 0;
            in = Times(in, stage.transform);
            if (count < 4) in[3] = 1;
            if (count < 3) in[2] = 0;
        }
        m_coords[i] = in;
    }

    // What an argument of a stage is.
    Colour Read(unsigned i, unsigned argument) const {
        auto const& values = s.stages[i].values;
        Colour const sources[] = {m_diffuse,
                                  m_current,
                                  m_texels[i],
                                  Unpack(s.render[rs::TEXTUREFACTOR]),
                                  m_specular,
                                  m_temp,
                                  Unpack(values[ts::CONSTANT])};
        Colour c = sources[values[argument] & 15];
        if (values[argument] & 16) c = 1.0 - c;
        return values[argument] & 32 ? Colour(c[3], 4) : c;
    }

    Colour Combine(unsigned i, std::uint32_t op, unsigned argument0, unsigned argument1, unsigned argument2) const {
        Colour const a0 = Read(i, argument0), a1 = Read(i, argument1), a2 = Read(i, argument2);
        double const texel = m_texels[i][3];
        auto const blend = [&](double share) -> Colour { return a1 * share + a2 * (1 - share); };
        switch (op) {
        case 2: return a1;
        case 3: return a2;
        case 4: return Clamp(a1 * a2);
        case 5: return Clamp(2.0 * a1 * a2);
        case 6: return Clamp(4.0 * a1 * a2);
        case 7: return Clamp(a1 + a2);
        case 8: return Clamp(a1 + a2 - 0.5);
        case 9: return Clamp(2.0 * (a1 + a2 - 0.5));
        case 10: return Clamp(a1 - a2);
        case 11: return Clamp(a1 + a2 * (1.0 - a1));
        case 12: return blend(m_diffuse[3]);
        case 13: return blend(texel);
        case 14: return blend(Unpack(s.render[rs::TEXTUREFACTOR])[3]);
        case 15: return Clamp(a1 + a2 * (1 - texel));
        case 16: return blend(m_current[3]);
        case 17: return Clamp(a1 * m_texels[i + 1]);
        case 18: return Clamp(a1 + a1[3] * a2);
        case 19: return Clamp(a1 * a2 + a1[3]);
        case 20: return Clamp((1 - a1[3]) * a2 + a1);
        case 21: return Clamp((1.0 - a1) * a2 + a1[3]);
        case 24: return Clamp(Colour(4 * ((a1 - 0.5) * (a2 - 0.5) * kNoAlpha).sum(), 4));
        case 25: return Clamp(a0 + a1 * a2);
        case 26: return a0 * a1 + (1.0 - a0) * a2;
        }
        return {0, 0, 0, 0};
    }

    void RunStages(unsigned length) {
        m_temp = {0, 0, 0, 0};
        m_current = m_diffuse;
        unsigned lastWriter = length;
        for (unsigned i = 0; i < length; ++i) {
            auto const& values = s.stages[i].values;
            if (!IsBump(values[ts::COLOROP]) || (values[ts::ALPHAOP] > 1 && !IsBump(values[ts::ALPHAOP])))
                lastWriter = i;
        }
        for (unsigned i = 0; i < length; ++i) {
            auto const& values = s.stages[i].values;
            std::uint32_t const colourOp = values[ts::COLOROP], alphaOp = values[ts::ALPHAOP];
            Colour const colour = Combine(i, colourOp, ts::COLORARG0, ts::COLORARG1, ts::COLORARG2);
            Colour const alpha = Combine(i, alphaOp, ts::ALPHAARG0, ts::ALPHAARG1, ts::ALPHAARG2);
            Colour& result = values[ts::RESULTARG] == 5 && i != lastWriter ? m_temp : m_current;
            if (!IsBump(colourOp)) result = ToColour(colour, colourOp == 24 ? colour[3] : result[3]);
            if (colourOp != 24 && alphaOp > 1 && !IsBump(alphaOp)) result[3] = alpha[3];
        }
    }

    gl::FixedState const& s;
    gl::VertexFeatures const& f;
    Vertex const& v;

    // What the vertex hands to its pixel.
    Vector3 m_position, m_normal;
    Colour m_clip, m_diffuse, m_specular;
    double m_fog = 1;   // factor of a vertex fog mode
    double m_depth = 0; // what a pixel fog mode measures
    std::array<Colour, 8> m_coords;
    std::array<unsigned, 8> m_coordSize = {}; // components that the source of the coordinates has

    std::array<Colour, 9> m_texels; // white behind the last stage
    Colour m_current, m_temp;       // of the stages
};
} // namespace qk3d::gltest
