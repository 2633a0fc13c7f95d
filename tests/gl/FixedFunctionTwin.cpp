// FixedFunctionTwin.cpp: written from the meaning of the states, without a look at how shaders are generated.
#include "FixedFunctionTwin.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace qk3d::gltest {
namespace {
enum RenderStateNumber : unsigned {
#define ROW(number, name, ...) RS_##name = number,
#include "QK3DRenderStateTable.inl"
};
enum TextureStateNumber : unsigned {
#define ROW(number, name, ...) TS_##name = number,
#include "QK3DTextureStateTable.inl"
};

struct V3 {
    double x = 0, y = 0, z = 0;
};
V3 operator+(V3 a, V3 b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
V3 operator-(V3 a, V3 b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
V3 operator*(V3 a, double s) { return {a.x * s, a.y * s, a.z * s}; }
double Dot(V3 a, V3 b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
V3 Unit(V3 a) {
    double const length = std::sqrt(Dot(a, a));
    return length > 0 ? a * (1 / length) : V3{};
}

Colour RowTimes(Colour const& v, gl::Matrix const& m) {
    Colour out = {};
    for (std::size_t c = 0; c < 4; ++c) {
        for (std::size_t r = 0; r < 4; ++r) out[c] += v[r] * m[r * 4 + c];
    }
    return out;
}

V3 Point(V3 p, gl::Matrix const& m) {
    Colour const out = RowTimes({p.x, p.y, p.z, 1}, m);
    return {out[0], out[1], out[2]};
}

V3 Direction(V3 p, gl::Matrix const& m) {
    Colour const out = RowTimes({p.x, p.y, p.z, 0}, m);
    return {out[0], out[1], out[2]};
}

// A normal n goes through m so that it stays at right angles to the surface: solve x * transpose(m) = n.
V3 NormalThrough(V3 n, gl::Matrix const& m) {
    double rows[3][4];
    double const wanted[3] = {n.x, n.y, n.z};
    for (int i = 0; i < 3; ++i) {
        for (int k = 0; k < 3; ++k) rows[i][k] = m[static_cast<std::size_t>(i * 4 + k)];
        rows[i][3] = wanted[i];
    }
    for (int i = 0; i < 3; ++i) {
        int best = i;
        for (int k = i + 1; k < 3; ++k) best = std::abs(rows[k][i]) > std::abs(rows[best][i]) ? k : best;
        std::swap(rows[i], rows[best]);
        for (int k = 0; k < 3; ++k) {
            double const factor = k == i ? 0 : rows[k][i] / rows[i][i];
            for (int c = 0; c < 4; ++c) rows[k][c] -= factor * rows[i][c];
        }
    }
    return {rows[0][3] / rows[0][0], rows[1][3] / rows[1][1], rows[2][3] / rows[2][2]};
}

double Clamp(double v) { return std::min(std::max(v, 0.0), 1.0); }
Colour Clamp(Colour const& c) { return {Clamp(c[0]), Clamp(c[1]), Clamp(c[2]), Clamp(c[3])}; }
Colour ToColour(gl::Float4 const& f) { return {f[0], f[1], f[2], f[3]}; }
Colour ToColour(float const (&f)[4]) { return {f[0], f[1], f[2], f[3]}; }
Colour Unpack(std::uint32_t argb) {
    return {(argb >> 16 & 255) / 255.0, (argb >> 8 & 255) / 255.0, (argb & 255) / 255.0, (argb >> 24) / 255.0};
}
double Float(std::uint32_t bits) { return std::bit_cast<float>(bits); }

double FogFactor(gl::FixedState const& s, std::uint32_t mode, double depth) {
    double const start = Float(s.render[RS_FOGSTART]), end = Float(s.render[RS_FOGEND]);
    double const density = Float(s.render[RS_FOGDENSITY]);
    double factor = 1;
    if (mode == 1) factor = std::exp(-density * depth);
    if (mode == 2) factor = std::exp(-(density * depth) * (density * depth));
    if (mode == 3) factor = start == end ? (depth < end ? 1 : 0) : (end - depth) / (end - start);
    return std::isnan(factor) ? 1 : Clamp(factor);
}

void Light(gl::FixedState const& s, gl::VertexFeatures const& f, Vertex const& v, V3 position, V3 normal,
           Varyings& out) {
    auto const source = [&](unsigned which, gl::Float4 const& material) {
        std::uint32_t const value = s.render[RS_COLORVERTEX] ? s.render[which] : 0;
        if (value == 1 && f.diffuse) return ToColour(v.diffuse);
        if (value == 2 && f.specular) return ToColour(v.specular);
        return ToColour(material);
    };
    Colour const diffuse = source(RS_DIFFUSEMATERIALSOURCE, s.surface.diffuse);
    Colour const ambient = source(RS_AMBIENTMATERIALSOURCE, s.surface.ambient);
    Colour const specular = source(RS_SPECULARMATERIALSOURCE, s.surface.specular);
    Colour const emissive = source(RS_EMISSIVEMATERIALSOURCE, s.surface.emissive);

    Colour const global = Unpack(s.render[RS_AMBIENT]);
    double ambientSum[3] = {global[0], global[1], global[2]}, diffuseSum[3] = {}, specularSum[3] = {};
    V3 const eye = s.render[RS_LOCALVIEWER] ? Unit(position * -1.0) : V3{0, 0, -1};
    for (auto const& light : s.lights) {
        if (!light.enabled) continue;
        V3 const at = Point({light.position[0], light.position[1], light.position[2]}, s.view);
        V3 const goes = Unit(Direction({light.direction[0], light.direction[1], light.direction[2]}, s.view));
        V3 towards = goes * -1.0;
        double strength = 1;
        if (light.type != 3) {
            double const distance = std::sqrt(Dot(at - position, at - position));
            towards = Unit(at - position);
            double const fade =
                light.attenuation[0] + light.attenuation[1] * distance + light.attenuation[2] * distance * distance;
            strength = distance > light.range ? 0 : 1 / std::max(fade, 1e-20);
        }
        if (light.type == 2) {
            double const rho = Dot(towards * -1.0, goes), inner = std::cos(light.theta / 2.0),
                         outer = std::cos(light.phi / 2.0);
            if (rho <= outer) {
                strength = 0;
            } else if (rho <= inner) {
                strength *= std::pow((rho - outer) / (inner - outer), light.falloff);
            }
        }
        double const facing = Dot(normal, towards);
        double const mirrored = Dot(normal, Unit(towards + eye));
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

void Coordinates(gl::FixedState const& s, gl::VertexFeatures const& f, Vertex const& v, V3 position, V3 normal,
                 Varyings& out) {
    for (unsigned i = 0; i < gl::kFixedStages; ++i) {
        auto const& stage = s.stages[i];
        std::uint32_t const index = stage.values[TS_TEXCOORDINDEX], kind = f.preTransformed ? 0 : index >> 16;
        std::uint32_t const set = index & 0xFFFF;
        Colour in = {0, 0, 0, 1};
        int size = 3;
        V3 const ray = Unit(position);
        V3 const mirrored = ray - normal * (2 * Dot(normal, ray));
        if (kind == 1) {
            in = {normal.x, normal.y, normal.z, 1};
        } else if (kind == 2) {
            in = {position.x, position.y, position.z, 1};
        } else if (kind == 3) {
            in = {mirrored.x, mirrored.y, mirrored.z, 1};
        } else if (set < f.texCoordSets) {
            size = f.texCoordSize[set];
            for (int c = 0; c < size; ++c) in[static_cast<std::size_t>(c)] = v.texCoord[set][c];
        } else {
            continue;
        }
        out.coordSize[i] = size;
        std::uint32_t const count = stage.values[TS_TRANSFORMFLAGS] & 0xFF;
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

// What the argument of a stage reads, with its flags.
struct Reader {
    gl::FixedState const& state;
    Varyings const& varyings;
    Colour const &current, &temp, &texel;
    unsigned stage;

    Colour operator()(unsigned which) const {
        std::uint32_t const arg = state.stages[stage].values[which];
        Colour value = current;
        switch (arg & 15) {
        case 0: value = varyings.diffuse; break;
        case 2: value = texel; break;
        case 3: value = Unpack(state.render[RS_TEXTUREFACTOR]); break;
        case 4: value = varyings.specular; break;
        case 5: value = temp; break;
        case 6: value = Unpack(state.stages[stage].values[TS_CONSTANT]); break;
        }
        if (arg & 16) value = {1 - value[0], 1 - value[1], 1 - value[2], 1 - value[3]};
        if (arg & 32) value = {value[3], value[3], value[3], value[3]};
        return value;
    }
};

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
        double sum = 0;
        for (std::size_t k = 0; k < 3; ++k) sum += (in.a1[k] - 0.5) * (in.a2[k] - 0.5);
        return Clamp(4 * sum);
    }
    case 25: return Clamp(a0 + a1 * a2);
    case 26: return a0 * a1 + (1 - a0) * a2;
    }
    return 0;
}

bool Reads(std::uint32_t op, std::uint32_t arg0, std::uint32_t arg1, std::uint32_t arg2, std::uint32_t source) {
    bool const uses0 = op == 25 || op == 26, uses1 = op != 3, uses2 = op != 2 && op != 17;
    if (op == 22 || op == 23) return false;
    return (uses0 && (arg0 & 15) == source) || (uses1 && (arg1 & 15) == source) || (uses2 && (arg2 & 15) == source);
}

} // namespace

Varyings EvaluateVertex(gl::FixedState const& s, gl::VertexFeatures const& f, Vertex const& v) {
    Varyings out;
    V3 position, normal;
    if (f.preTransformed) {
        double const w = v.position[3] == 0 ? 1 : 1 / static_cast<double>(v.position[3]);
        double const x = (v.position[0] - s.viewport[0]) * 2 / s.viewport[2] - 1;
        double const y = 1 - (v.position[1] - s.viewport[1]) * 2 / s.viewport[3];
        out.clip = {x * w, y * w, v.position[2] * w, w};
    } else {
        V3 const world = Point({v.position[0], v.position[1], v.position[2]}, s.world);
        position = Point(world, s.view);
        out.clip = RowTimes({position.x, position.y, position.z, 1}, s.projection);
        V3 const own = f.normal ? V3{v.normal[0], v.normal[1], v.normal[2]} : V3{};
        normal = NormalThrough(NormalThrough(own, s.world), s.view);
        if (s.render[RS_NORMALIZENORMALS]) normal = Unit(normal);
    }

    if (s.render[RS_LIGHTING] && !f.preTransformed) {
        Light(s, f, v, position, normal, out);
    } else {
        out.diffuse = f.diffuse ? Clamp(ToColour(v.diffuse)) : Colour{1, 1, 1, 1};
        out.specular = f.specular ? Clamp(ToColour(v.specular)) : Colour{0, 0, 0, 1};
    }

    double const distance = std::sqrt(Dot(position, position));
    std::uint32_t const mode = f.preTransformed ? 0 : s.render[RS_FOGVERTEXMODE];
    bool const affine = s.projection[3] == 0 && s.projection[7] == 0 && s.projection[11] == 0 && s.projection[15] == 1;
    out.fog = mode ? FogFactor(s, mode, s.render[RS_RANGEFOGENABLE] ? distance : std::abs(position.z))
                   : (f.specular ? Clamp(double{v.specular[3]}) : 1);
    out.depth = affine ? out.clip[2] : out.clip[3];

    Coordinates(s, f, v, position, normal, out);
    return out;
}

Pixel EvaluatePixel(gl::FixedState const& s, gl::VertexFeatures const&, Varyings const& in, Sampler const& sample) {
    // How long the chain is.
    unsigned length = 0;
    for (; length < gl::kFixedStages; ++length) {
        auto const& stage = s.stages[length];
        auto const& v = stage.values;
        if (v[TS_COLOROP] <= 1) break;
        bool const textured = Reads(v[TS_COLOROP], v[TS_COLORARG0], v[TS_COLORARG1], v[TS_COLORARG2], 2);
        if (textured && stage.sampler == gl::SamplerKind::None) break;
    }

    // All texels, with the displacement that the stage before asks for.
    std::array<Colour, 8> texels;
    texels.fill({1, 1, 1, 1});
    for (unsigned i = 0; i < length; ++i) {
        auto const& stage = s.stages[i];
        if (stage.sampler == gl::SamplerKind::None) continue;
        std::uint32_t const flags = stage.values[TS_TRANSFORMFLAGS], count = flags & 0xFF;
        std::size_t const counted = count >= 2 && count <= 4 ? count
                                    : in.coordSize[i] > 2    ? static_cast<std::size_t>(in.coordSize[i])
                                                             : 0;
        double const divisor =
            (flags & 0x100) && counted && stage.sampler == gl::SamplerKind::Flat ? in.coords[i][counted - 1] : 1;
        double u = in.coords[i][0] / divisor, v = in.coords[i][1] / divisor;
        std::uint32_t const before = i > 0 ? s.stages[i - 1].values[TS_COLOROP] : 0;
        bool const bumped = (before == 22 || before == 23) && s.stages[i - 1].sampler != gl::SamplerKind::None;
        auto const bump = [&](unsigned which) { return Float(s.stages[i - 1].values[which]); };
        if (bumped) {
            double const du = texels[i - 1][0], dv = texels[i - 1][1];
            u += bump(TS_BUMPENVMAT00) * du + bump(TS_BUMPENVMAT10) * dv;
            v += bump(TS_BUMPENVMAT01) * du + bump(TS_BUMPENVMAT11) * dv;
        }
        texels[i] = sample(i, u, v, in.coords[i][2]);
        double const light =
            bumped && before == 23 ? Clamp(texels[i - 1][2] * bump(TS_BUMPENVLSCALE) + bump(TS_BUMPENVLOFFSET)) : 1;
        for (std::size_t c = 0; c < 3; ++c) texels[i][c] *= light;
    }

    Colour current = in.diffuse, temp = {0, 0, 0, 0};
    unsigned lastWriter = length;
    for (unsigned i = 0; i < length; ++i) {
        auto const& v = s.stages[i].values;
        bool const bump = v[TS_COLOROP] == 22 || v[TS_COLOROP] == 23;
        bool const alpha = v[TS_ALPHAOP] > 1 && v[TS_ALPHAOP] != 22 && v[TS_ALPHAOP] != 23;
        if (!bump || alpha) lastWriter = i;
    }
    for (unsigned i = 0; i < length; ++i) {
        auto const& v = s.stages[i].values;
        Reader const read{s, in, current, temp, texels[i], i};
        Colour const next = i + 1 < length ? texels[i + 1] : Colour{1, 1, 1, 1};
        Colour const factor = Unpack(s.render[RS_TEXTUREFACTOR]);
        Inputs const colour{
            read(TS_COLORARG0), read(TS_COLORARG1), read(TS_COLORARG2), texels[i], next, in.diffuse, factor, current};
        Inputs const alpha{
            read(TS_ALPHAARG0), read(TS_ALPHAARG1), read(TS_ALPHAARG2), texels[i], next, in.diffuse, factor, current};
        Colour& result = v[TS_RESULTARG] == 5 && i != lastWriter ? temp : current;
        Colour made = result;
        std::uint32_t const colourOp = v[TS_COLOROP], alphaOp = v[TS_ALPHAOP];
        if (colourOp != 22 && colourOp != 23) {
            for (std::size_t c = 0; c < 3; ++c) made[c] = Combine(colourOp, c, colour);
        }
        if (colourOp == 24) {
            made[3] = Combine(colourOp, 3, colour);
        } else if (alphaOp > 1 && alphaOp != 22 && alphaOp != 23) {
            made[3] = Combine(alphaOp, 3, alpha);
        }
        result = made;
    }

    Pixel out;
    out.colour = current;
    if (s.render[RS_SPECULARENABLE]) {
        for (std::size_t c = 0; c < 3; ++c) out.colour[c] = Clamp(out.colour[c] + in.specular[c]);
    }
    if (s.render[RS_FOGENABLE]) {
        Colour const fog = Unpack(s.render[RS_FOGCOLOR]);
        std::uint32_t const mode = s.render[RS_FOGTABLEMODE];
        double const factor = mode ? FogFactor(s, mode, in.depth) : in.fog;
        for (std::size_t c = 0; c < 3; ++c) out.colour[c] = fog[c] + (out.colour[c] - fog[c]) * factor;
    }
    if (s.render[RS_ALPHATESTENABLE]) {
        double const levels = s.alphaLevels;
        double const raw = Clamp(current[3]) * levels, wanted = (s.render[RS_ALPHAREF] & 255) / 255.0 * levels;
        double const a = std::floor(raw + 0.5), r = std::floor(wanted + 0.5);
        bool const passes[] = {true, false, a<r, a == r, a <= r, a> r, a != r, a >= r, true};
        out.discarded = !passes[s.render[RS_ALPHAFUNC]];
        out.undecided = std::abs(raw + 0.5 - std::round(raw + 0.5)) < 1e-2;
    }
    return out;
}
} // namespace qk3d::gltest
