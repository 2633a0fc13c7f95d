// FixedFunctionTwin.cpp: written from the meaning of the states, without a look at how shaders are generated.
#include "FixedFunctionTwin.h"

#include "QK3DVector.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace qk3d::gltest {
namespace {
Colour RowTimes(Colour const& v, gl::Matrix const& m) {
    Colour out = {};
    for (std::size_t i = 0; i < 16; ++i) out[i % 4] += v[i / 4] * m[i];
    return out;
}

// w is 1 for a point, 0 for a direction.
Vector3 Times(Vector3 p, double w, gl::Matrix const& m) {
    Colour const out = RowTimes({p.x, p.y, p.z, w}, m);
    return {static_cast<float>(out[0]), static_cast<float>(out[1]), static_cast<float>(out[2])};
}
Vector3 ToVector3(float const* f) { return {f[0], f[1], f[2]}; }

// A normal goes through m so that it stays at right angles to the surface: by the transpose of the inverse.
Vector3 NormalThrough(Vector3 n, gl::Matrix const& m) {
    Vector3 const rows[] = {ToVector3(&m[0]), ToVector3(&m[4]), ToVector3(&m[8])};
    Vector3 const x = VecCross(rows[1], rows[2]), y = VecCross(rows[2], rows[0]), z = VecCross(rows[0], rows[1]);
    return (x * n.x + y * n.y + z * n.z) / VecDot(rows[0], x);
}

double Clamp(double v) { return std::min(std::max(v, 0.0), 1.0); }
Colour Clamp(Colour const& c) { return {Clamp(c[0]), Clamp(c[1]), Clamp(c[2]), Clamp(c[3])}; }
Colour ToColour(gl::Float4 const& f) { return {f[0], f[1], f[2], f[3]}; }
Colour ToColour(float const (&f)[4]) { return {f[0], f[1], f[2], f[3]}; }
Colour Unpack(std::uint32_t argb) {
    return {(argb >> 16 & 255) / 255.0, (argb >> 8 & 255) / 255.0, (argb & 255) / 255.0, (argb >> 24) / 255.0};
}
double Float(std::uint32_t bits) { return std::bit_cast<float>(bits); }

// What a vertex hands to its pixel.
struct Varyings {
    Colour clip = {}, diffuse = {}, specular = {};
    double fog = 1;   // factor of a vertex fog mode
    double depth = 0; // what a pixel fog mode measures
    std::array<Colour, 8> coords = {};
    std::array<int, 8> coordSize = {}; // components that the source of the coordinates has
};

double FogFactor(gl::FixedState const& s, std::uint32_t mode, double depth) {
    double const start = Float(s.render[rs::FOGSTART]), end = Float(s.render[rs::FOGEND]);
    double const density = Float(s.render[rs::FOGDENSITY]);
    double factor = 1;
    if (mode == 1) factor = std::exp(-density * depth);
    if (mode == 2) factor = std::exp(-(density * depth) * (density * depth));
    if (mode == 3) factor = start == end ? (depth < end ? 1 : 0) : (end - depth) / (end - start);
    return std::isnan(factor) ? 1 : Clamp(factor);
}

void Light(gl::FixedState const& s, gl::VertexFeatures const& f, Vertex const& v, Vector3 position, Vector3 normal,
           Varyings& out) {
    auto const source = [&](unsigned which, gl::Float4 const& material) {
        std::uint32_t const value = s.render[rs::COLORVERTEX] ? s.render[which] : 0;
        if (value == 1 && f.diffuse) return ToColour(v.diffuse);
        if (value == 2 && f.specular) return ToColour(v.specular);
        return ToColour(material);
    };
    Colour const diffuse = source(rs::DIFFUSEMATERIALSOURCE, s.surface.diffuse);
    Colour const ambient = source(rs::AMBIENTMATERIALSOURCE, s.surface.ambient);
    Colour const specular = source(rs::SPECULARMATERIALSOURCE, s.surface.specular);
    Colour const emissive = source(rs::EMISSIVEMATERIALSOURCE, s.surface.emissive);

    Colour const global = Unpack(s.render[rs::AMBIENT]);
    double ambientSum[3] = {global[0], global[1], global[2]}, diffuseSum[3] = {}, specularSum[3] = {};
    Vector3 const eye = s.render[rs::LOCALVIEWER] ? (-position).GetNormalized() : Vector3{0, 0, -1};
    for (auto const& light : s.lights) {
        if (!light.enabled) continue;
        Vector3 const at = Times(ToVector3(light.position.data()), 1, s.view);
        Vector3 const goes = Times(ToVector3(light.direction.data()), 0, s.view).GetNormalized();
        Vector3 towards = -goes;
        double strength = 1;
        if (light.type != 3) {
            double const distance = std::sqrt(VecDot(at - position, at - position));
            towards = (at - position).GetNormalized();
            double const fade =
                light.attenuation[0] + light.attenuation[1] * distance + light.attenuation[2] * distance * distance;
            strength = distance > light.range ? 0 : 1 / std::max(fade, 1e-20);
        }
        if (light.type == 2) {
            double const rho = VecDot(-towards, goes), inner = std::cos(light.theta / 2.0),
                         outer = std::cos(light.phi / 2.0);
            if (rho <= inner) strength *= rho <= outer ? 0 : std::pow((rho - outer) / (inner - outer), light.falloff);
        }
        double const facing = VecDot(normal, towards);
        double const mirrored = VecDot(normal, (towards + eye).GetNormalized());
        for (std::size_t c = 0; c < 3; ++c) {
            ambientSum[c] += light.ambient[c] * strength;
            if (facing > 0) diffuseSum[c] += light.diffuse[c] * facing * strength;
            if (facing > 0 && mirrored > 0)
                specularSum[c] += light.specular[c] * std::pow(mirrored, s.surface.power) * strength;
        }
    }
    for (std::size_t c = 0; c < 3; ++c) {
        out.diffuse[c] = Clamp(emissive[c] + ambient[c] * ambientSum[c] + diffuse[c] * diffuseSum[c]);
        out.specular[c] = Clamp(specular[c] * specularSum[c]);
    }
    out.diffuse[3] = Clamp(diffuse[3]);
    out.specular[3] = Clamp(specular[3]);
}

void Coordinates(gl::FixedState const& s, gl::VertexFeatures const& f, Vertex const& v, Vector3 position,
                 Vector3 normal, Varyings& out) {
    for (unsigned i = 0; i < gl::kFixedStages; ++i) {
        auto const& stage = s.stages[i];
        std::uint32_t const index = stage.values[ts::TEXCOORDINDEX], kind = f.preTransformed ? 0 : index >> 16;
        std::uint32_t const set = index & 0xFFFF;
        Colour in = {0, 0, 0, 1};
        int size = 3;
        Vector3 const ray = position.GetNormalized();
        if (kind >= 1 && kind <= 3) {
            Vector3 const from = kind == 1 ? normal : kind == 2 ? position : ray - normal * (2 * VecDot(normal, ray));
            in = {from.x, from.y, from.z, 1};
        } else if (set < f.texCoordSets) {
            size = f.texCoordSize[set];
            std::copy_n(v.texCoord[set], size, in.begin());
        } else {
            continue;
        }
        out.coordSize[i] = size;
        std::uint32_t const count = stage.values[ts::TRANSFORMFLAGS] & 0xFF;
        if (count >= 2 && count <= 4 && !f.preTransformed) {
            if (size < 4) in[3] = size == 3 ? 1 : 0;
            if (size < 3) in[2] = size == 2 ? 1 : 0;
            if (size < 2) in[1] = 1;
            in = RowTimes(in, stage.transform);
            if (count < 4) in[3] = 1;
            if (count < 3) in[2] = 0;
        }
        out.coords[i] = in;
    }
}

struct Inputs {
    Colour a0, a1, a2, texel, next, diffuse, factor, current;
};

double Combine(std::uint32_t op, std::size_t c, Inputs const& in) {
    double const a0 = in.a0[c], a1 = in.a1[c], a2 = in.a2[c];
    auto const blend = [&](double f) { return a1 * f + a2 * (1 - f); };
    switch (op) {
    case 2: return a1;
    case 3: return a2;
    case 4: return Clamp(a1 * a2);
    case 5: return Clamp(2 * a1 * a2);
    case 6: return Clamp(4 * a1 * a2);
    case 7: return Clamp(a1 + a2);
    case 8: return Clamp(a1 + a2 - 0.5);
    case 9: return Clamp(2 * (a1 + a2 - 0.5));
    case 10: return Clamp(a1 - a2);
    case 11: return Clamp(a1 + a2 * (1 - a1));
    case 12: return blend(in.diffuse[3]);
    case 13: return blend(in.texel[3]);
    case 14: return blend(in.factor[3]);
    case 15: return Clamp(a1 + a2 * (1 - in.texel[3]));
    case 16: return blend(in.current[3]);
    case 17: return Clamp(a1 * in.next[c]);
    case 18: return Clamp(a1 + in.a1[3] * a2);
    case 19: return Clamp(a1 * a2 + in.a1[3]);
    case 20: return Clamp((1 - in.a1[3]) * a2 + a1);
    case 21: return Clamp((1 - a1) * a2 + in.a1[3]);
    case 24: {
        auto const product = [&](std::size_t k) { return (in.a1[k] - 0.5) * (in.a2[k] - 0.5); };
        return Clamp(4 * (product(0) + product(1) + product(2)));
    }
    case 25: return Clamp(a0 + a1 * a2);
    case 26: return a0 * a1 + (1 - a0) * a2;
    }
    return 0;
}

bool IsBump(std::uint32_t op) { return op == 22 || op == 23; }

bool ReadsTexture(std::array<std::uint32_t, 20> const& v) {
    std::uint32_t const op = v[ts::COLOROP];
    auto const isTexture = [&](unsigned argument) { return (v[argument] & 15) == 2; };
    return !IsBump(op) && (((op == 25 || op == 26) && isTexture(ts::COLORARG0)) ||
                           (op != 3 && isTexture(ts::COLORARG1)) || (op != 2 && op != 17 && isTexture(ts::COLORARG2)));
}

Varyings EvaluateVertex(gl::FixedState const& s, gl::VertexFeatures const& f, Vertex const& v) {
    Varyings out;
    Vector3 position, normal;
    if (f.preTransformed) {
        double const w = 1 / static_cast<double>(v.position[3]);
        out.clip = {0, 0, v.position[2] * w, w};
    } else {
        position = Times(Times(ToVector3(v.position), 1, s.world), 1, s.view);
        out.clip = RowTimes({position.x, position.y, position.z, 1}, s.projection);
        Vector3 const own = f.normal ? ToVector3(v.normal) : Vector3::ZERO;
        normal = NormalThrough(NormalThrough(own, s.world), s.view);
        if (s.render[rs::NORMALIZENORMALS]) normal.Normalize();
    }

    if (s.render[rs::LIGHTING] && !f.preTransformed) {
        Light(s, f, v, position, normal, out);
    } else {
        out.diffuse = f.diffuse ? Clamp(ToColour(v.diffuse)) : Colour{1, 1, 1, 1};
        out.specular = f.specular ? Clamp(ToColour(v.specular)) : Colour{0, 0, 0, 1};
    }

    double const distance = std::sqrt(VecDot(position, position));
    std::uint32_t const mode = f.preTransformed ? 0 : s.render[rs::FOGVERTEXMODE];
    bool const affine = s.projection[3] == 0 && s.projection[7] == 0 && s.projection[11] == 0 && s.projection[15] == 1;
    out.fog = mode ? FogFactor(s, mode, s.render[rs::RANGEFOGENABLE] ? distance : std::abs(position.z))
                   : (f.specular ? Clamp(double{v.specular[3]}) : 1);
    out.depth = affine ? out.clip[2] : out.clip[3];

    Coordinates(s, f, v, position, normal, out);
    return out;
}

} // namespace

Pixel Evaluate(gl::FixedState const& s, gl::VertexFeatures const& f, Vertex const& vertex, Sampler const& sample) {
    Varyings const in = EvaluateVertex(s, f, vertex);
    Pixel out;
    auto const& clip = in.clip;
    out.undecided = std::abs(clip[0]) >= clip[3] || std::abs(clip[1]) >= clip[3] || clip[2] <= 0 || clip[2] >= clip[3];

    // How long the chain is.
    unsigned length = 0;
    for (; length < gl::kFixedStages; ++length) {
        auto const& [values, transform, sampler] = s.stages[length];
        if (values[ts::COLOROP] <= 1 || (sampler == gl::SamplerKind::None && ReadsTexture(values))) break;
    }

    // All texels, with the displacement that the stage before asks for.
    std::array<Colour, 8> texels;
    texels.fill({1, 1, 1, 1});
    for (unsigned i = 0; i < length; ++i) {
        auto const& stage = s.stages[i];
        if (stage.sampler == gl::SamplerKind::None) continue;
        std::uint32_t const flags = stage.values[ts::TRANSFORMFLAGS], count = flags & 0xFF;
        std::size_t const counted = count >= 2 && count <= 4 ? count
                                    : in.coordSize[i] > 2    ? static_cast<std::size_t>(in.coordSize[i])
                                                             : 0;
        double const divisor = (flags & 0x100) && counted ? in.coords[i][counted - 1] : 1;
        double u = in.coords[i][0] / divisor, v = in.coords[i][1] / divisor;
        std::uint32_t const before = i > 0 ? s.stages[i - 1].values[ts::COLOROP] : 0;
        bool const bumped = IsBump(before) && s.stages[i - 1].sampler != gl::SamplerKind::None;
        auto const bump = [&](unsigned which) { return Float(s.stages[i - 1].values[which]); };
        if (bumped) {
            double const du = texels[i - 1][0], dv = texels[i - 1][1];
            u += bump(ts::BUMPENVMAT00) * du + bump(ts::BUMPENVMAT10) * dv;
            v += bump(ts::BUMPENVMAT01) * du + bump(ts::BUMPENVMAT11) * dv;
        }
        out.undecided |= std::abs(divisor) < 0.3;
        texels[i] = sample(i, u, v);
        double const light =
            bumped && before == 23 ? Clamp(texels[i - 1][2] * bump(ts::BUMPENVLSCALE) + bump(ts::BUMPENVLOFFSET)) : 1;
        for (std::size_t c = 0; c < 3; ++c) texels[i][c] *= light;
    }

    Colour const factor = Unpack(s.render[rs::TEXTUREFACTOR]);
    Colour current = in.diffuse, temp = {0, 0, 0, 0};
    unsigned lastWriter = length;
    for (unsigned i = 0; i < length; ++i) {
        auto const& v = s.stages[i].values;
        if (!IsBump(v[ts::COLOROP]) || (v[ts::ALPHAOP] > 1 && !IsBump(v[ts::ALPHAOP]))) lastWriter = i;
    }
    for (unsigned i = 0; i < length; ++i) {
        auto const& v = s.stages[i].values;
        auto const read = [&](unsigned which) {
            Colour const sources[] = {
                in.diffuse, current, texels[i], factor, in.specular, temp, Unpack(v[ts::CONSTANT])};
            Colour c = sources[v[which] & 15];
            if (v[which] & 16) c = {1 - c[0], 1 - c[1], 1 - c[2], 1 - c[3]};
            if (v[which] & 32) c.fill(c[3]);
            return c;
        };
        Colour const next = i + 1 < length ? texels[i + 1] : Colour{1, 1, 1, 1};
        auto const combine = [&](std::uint32_t op, std::size_t c, unsigned arg0, unsigned arg1, unsigned arg2) {
            return Combine(op, c, {read(arg0), read(arg1), read(arg2), texels[i], next, in.diffuse, factor, current});
        };
        Colour& result = v[ts::RESULTARG] == 5 && i != lastWriter ? temp : current;
        Colour made = result;
        std::uint32_t const colourOp = v[ts::COLOROP], alphaOp = v[ts::ALPHAOP];
        for (std::size_t c = 0; c < (colourOp == 24 ? 4 : 3) && !IsBump(colourOp); ++c)
            made[c] = combine(colourOp, c, ts::COLORARG0, ts::COLORARG1, ts::COLORARG2);
        if (colourOp != 24 && alphaOp > 1 && !IsBump(alphaOp))
            made[3] = combine(alphaOp, 3, ts::ALPHAARG0, ts::ALPHAARG1, ts::ALPHAARG2);
        result = made;
    }

    out.colour = current;
    if (s.render[rs::SPECULARENABLE]) {
        for (std::size_t c = 0; c < 3; ++c) out.colour[c] = Clamp(out.colour[c] + in.specular[c]);
    }
    if (s.render[rs::FOGENABLE]) {
        Colour const fog = Unpack(s.render[rs::FOGCOLOR]);
        std::uint32_t const mode = s.render[rs::FOGTABLEMODE];
        double const factor = mode ? FogFactor(s, mode, in.depth) : in.fog;
        for (std::size_t c = 0; c < 3; ++c) out.colour[c] = fog[c] + (out.colour[c] - fog[c]) * factor;
    }
    if (s.render[rs::ALPHATESTENABLE]) {
        double const a = current[3], r = (s.render[rs::ALPHAREF] & 255) / 255.0;
        bool const passes[] = {true, false, a<r, a == r, a <= r, a> r, a != r, a >= r, true};
        out.drawn = passes[s.render[rs::ALPHAFUNC]];
        out.undecided |= std::abs(a - r) < 2e-3;
    }
    return out;
}
} // namespace qk3d::gltest
