// GLFixedFunctionBlocks.cpp: the values of the fixed-function state, as uniform blocks.
#include "GLFixedFunctionKey.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace qk3d::gl {
namespace {
constexpr char kFrameText[] = R"(
layout(std140, binding = 0) uniform Frame {
    vec4 viewport;
    vec4 fogColour;
    vec4 fog;
    vec4 ambient;
    vec4 pointSize;
    vec4 pointScale;
    vec4 clipPlanes[6];
} frame;
)";

constexpr char kObjectText[] = R"(
struct Light {
    vec4 diffuse, specular, ambient;
    vec4 position;
    vec4 direction;
    vec4 attenuation;
    vec4 cone;
};
layout(std140, binding = 1) uniform Object {
    mat4 worldViewProjection;
    mat4 worldView;
    mat4 normal;
    mat4 projection;
    Light lights[8];
} object;
)";

constexpr char kMaterialText[] = R"(
layout(std140, binding = 2) uniform Material {
    vec4 diffuse, ambient, specular, emissive;
    vec4 power;
    vec4 textureFactor;
    vec4 alphaTest;
    vec4 constants[8];
    vec4 bumpMatrix[8];
    vec4 bumpLuminance[8];
    mat4 textureMatrix[8];
} material;
)";

static_assert(kClipPlanes == 6 && kLights == 8 && kFixedStages == 8 && kFrameBinding == 0 && kObjectBinding == 1 &&
                  kMaterialBinding == 2,
              "the texts above have these numbers in them");
static_assert(sizeof(FrameBlock) == 16 * 12 && sizeof(LightBlock) == 16 * 7 &&
              sizeof(ObjectBlock) == 64 * 4 + sizeof(LightBlock) * kLights &&
              sizeof(MaterialBlock) == 16 * (7 + 3 * kFixedStages) + 64 * kFixedStages);

// Stands for 1 / 0 where a product with 0 has to stay 0.
constexpr float kHuge = 1e20f;

float AsFloat(std::uint32_t bits) { return std::bit_cast<float>(bits); }

Float4 AsColour(std::uint32_t argb) {
    auto const channel = [&](unsigned shift) { return static_cast<float>(argb >> shift & 255) / 255.0f; };
    return {channel(16), channel(8), channel(0), channel(24)};
}

Matrix Multiply(Matrix const& a, Matrix const& b) {
    Matrix product;
    for (std::size_t r = 0; r < 4; ++r) {
        for (std::size_t c = 0; c < 4; ++c) {
            float sum = 0;
            for (std::size_t i = 0; i < 4; ++i) sum += a[r * 4 + i] * b[i * 4 + c];
            product[r * 4 + c] = sum;
        }
    }
    return product;
}

// A row of three times the upper 3x3.
Float4 Rotate(Float4 const& v, Matrix const& m) {
    Float4 out = {0, 0, 0, 0};
    for (std::size_t c = 0; c < 3; ++c) out[c] = v[0] * m[c] + v[1] * m[4 + c] + v[2] * m[8 + c];
    return out;
}

Float4 Transform(Float4 const& point, Matrix const& m) {
    Float4 out = Rotate(point, m);
    for (std::size_t c = 0; c < 3; ++c) out[c] += m[12 + c];
    return out;
}

// A vector without length, or with one that is no number, becomes 0.
Float4 Normalize(Float4 const& v) {
    double const length = std::sqrt(double{v[0]} * v[0] + double{v[1]} * v[1] + double{v[2]} * v[2]);
    if (!(length > 0) || !std::isfinite(length)) return {0, 0, 0, 0};
    return {static_cast<float>(v[0] / length), static_cast<float>(v[1] / length), static_cast<float>(v[2] / length), 0};
}

// Inverse transpose of the upper 3x3: its cofactors over the determinant. Of a flattening matrix the cofactors alone
// still point along the one normal that is left.
Matrix NormalMatrix(Matrix const& m) {
    double cofactors[3][3];
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) {
            auto const at = [&](std::size_t dr, std::size_t dc) { return double{m[(r + dr) % 3 * 4 + (c + dc) % 3]}; };
            cofactors[r][c] = at(1, 1) * at(2, 2) - at(1, 2) * at(2, 1);
        }
    }
    double const determinant = m[0] * cofactors[0][0] + m[1] * cofactors[0][1] + m[2] * cofactors[0][2];
    double const scale = determinant != 0 && std::isfinite(1 / determinant) ? 1 / determinant : 1;
    Matrix normal = kIdentity;
    for (std::size_t r = 0; r < 3; ++r) {
        for (std::size_t c = 0; c < 3; ++c) normal[r * 4 + c] = static_cast<float>(cofactors[r][c] * scale);
    }
    return normal;
}

// A plane of world space in camera space, for a view of rotation, scale and translation. The normal goes as normals
// do; the distance follows from a point of the plane.
Float4 PlaneToCamera(Float4 const& plane, Matrix const& view) {
    Float4 const normal = Rotate(plane, NormalMatrix(view));
    float const moved = normal[0] * view[12] + normal[1] * view[13] + normal[2] * view[14];
    return {normal[0], normal[1], normal[2], plane[3] - moved};
}

LightBlock ToBlock(Light const& light, Matrix const& view) {
    LightBlock out{light.diffuse, light.specular, light.ambient, {}, {}, light.attenuation, {}};
    out.position = Transform(light.position, view);
    out.position[3] = light.range;
    Float4 const direction = Normalize(Rotate(light.direction, view));
    float const sign = light.type == 3 ? -1.0f : 1.0f;
    out.direction = {direction[0] * sign, direction[1] * sign, direction[2] * sign, light.falloff};
    float const inner = std::cos(light.theta / 2), outer = std::cos(light.phi / 2);
    out.cone = {inner, outer, inner > outer ? 1 / (inner - outer) : 0, 0};
    return out;
}
} // namespace

std::string WithBlocks(std::string const& text) {
    auto const reads = [&](char const* block) { return text.find(block) != std::string::npos; };
    std::string out = "#version 450 core\n";
    if (reads("frame.")) out += kFrameText;
    if (reads("object.")) out += kObjectText;
    if (reads("material.")) out += kMaterialText;
    return out + text;
}

void Fill(FrameBlock& block, FixedState const& state) {
    auto const value = [&](unsigned which) { return AsFloat(state.render[which]); };
    auto const& viewport = state.viewport;
    block.viewport = {viewport[0], viewport[1], viewport[2] > 0 ? 2 / viewport[2] : 0,
                      viewport[3] > 0 ? 2 / viewport[3] : 0};
    block.fogColour = AsColour(state.render[rs::FOGCOLOR]);
    float const start = value(rs::FOGSTART), end = value(rs::FOGEND);
    // Equal ends are a wall: clear before it, full behind it.
    block.fog = {start, end, value(rs::FOGDENSITY), start == end ? kHuge : 1 / (end - start)};
    block.ambient = AsColour(state.render[rs::AMBIENT]);
    block.pointSize = {value(rs::POINTSIZE), value(rs::POINTSIZEMIN), value(rs::POINTSIZEMAX),
                       viewport[3] * viewport[3]};
    block.pointScale = {value(rs::POINTSCALEA), value(rs::POINTSCALEB), value(rs::POINTSCALEC), 0};
    for (std::size_t i = 0; i < kClipPlanes; ++i) block.clipPlanes[i] = PlaneToCamera(state.clipPlanes[i], state.view);
}

void Fill(ObjectBlock& block, FixedState const& state) {
    block.worldView = Multiply(state.world, state.view);
    block.worldViewProjection = Multiply(block.worldView, state.projection);
    block.normal = NormalMatrix(block.worldView);
    block.projection = state.projection;
    std::size_t count = 0;
    for (int const type : {3, 1, 2}) { // in the order that the shaders walk them
        for (auto const& light : state.lights) {
            if (light.enabled && light.type == type) block.lights[count++] = ToBlock(light, state.view);
        }
    }
    std::fill(block.lights.begin() + static_cast<std::ptrdiff_t>(count), block.lights.end(), LightBlock{});
}

void Fill(MaterialBlock& block, FixedState const& state) {
    block.diffuse = state.surface.diffuse;
    block.ambient = state.surface.ambient;
    block.specular = state.surface.specular;
    block.emissive = state.surface.emissive;
    block.power = {state.surface.power, 0, 0, 0};
    block.textureFactor = AsColour(state.render[rs::TEXTUREFACTOR]);
    float const reference = static_cast<float>(state.render[rs::ALPHAREF] & 255) / 255.0f;
    float const levels = std::max(state.alphaLevels, 0.0f);
    block.alphaTest = {levels > 0 ? std::floor(reference * levels + 0.5f) : reference, levels, 0, 0};
    for (std::size_t i = 0; i < kFixedStages; ++i) {
        auto const& stage = state.stages[i];
        auto const value = [&](unsigned which) { return AsFloat(stage.values[which]); };
        block.constants[i] = AsColour(stage.values[ts::CONSTANT]);
        block.bumpMatrix[i] = {value(ts::BUMPENVMAT00), value(ts::BUMPENVMAT01), value(ts::BUMPENVMAT10),
                               value(ts::BUMPENVMAT11)};
        block.bumpLuminance[i] = {value(ts::BUMPENVLSCALE), value(ts::BUMPENVLOFFSET), 0, 0};
        block.textureMatrix[i] = stage.transform;
    }
}
} // namespace qk3d::gl
