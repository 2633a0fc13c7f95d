// GLFixedFunctionKey.h: the part of the fixed-function state that decides which program is needed, brought to one form.
#pragma once

#include "GLFixedFunction.h"

#include <cstring>
#include <string>
#include <type_traits>

namespace qk3d::gl {

/// State numbers, from the engine's own rows.
namespace rs {
enum RenderStateNumber : unsigned {
#define ROW(number, name, ...) name = number,
#include "QK3DRenderStateTable.inl"
};
} // namespace rs
namespace ts {
enum TextureStateNumber : unsigned {
#define ROW(number, name, ...) name = number,
#include "QK3DTextureStateTable.inl"
};
} // namespace ts

/// Stage operations, as numbered in scripts. In a key, `Keep` stands for every operation that changes nothing.
enum Op : std::uint8_t {
    kKeep = 1,
    kSelectArg1 = 2,
    kSelectArg2,
    kModulate,
    kModulate2x,
    kModulate4x,
    kAdd,
    kAddSigned,
    kAddSigned2x,
    kSubtract,
    kAddSmooth,
    kBlendDiffuseAlpha,
    kBlendTextureAlpha,
    kBlendFactorAlpha,
    kBlendTextureAlphaPm,
    kBlendCurrentAlpha,
    kPremodulate,
    kModulateAlphaAddColor,
    kModulateColorAddAlpha,
    kModulateInvAlphaAddColor,
    kModulateInvColorAddAlpha,
    kBumpEnvMap,
    kBumpEnvMapLuminance,
    kDotProduct3,
    kMultiplyAdd,
    kLerp,
};

/// Sources of an argument and the two flags that may stand with them.
enum Arg : std::uint8_t {
    kDiffuse,
    kCurrent,
    kTexture,
    kFactor,
    kSpecular,
    kTemp,
    kConstant,
    kArgMask = 15,
    kComplement = 16,
    kAlphaReplicate = 32,
};

/// Keys are bytes without gaps, so they are hashed and compared as such.
struct StageKey {
    std::uint8_t colourOp = 0, alphaOp = 0;
    std::uint8_t colourArgs[3] = {}, alphaArgs[3] = {}; // 0, 1, 2; those that the operation does not use are 0
    std::uint8_t toTemp = 0;
    std::uint8_t sampler = 0; // SamplerKind; None if nothing of the texture is used
    std::uint8_t divisor = 0; // component that projected coordinates are divided by: 2, 3, 4; 0: none
};

enum class Fog : std::uint8_t { Off, Exp, Exp2, Linear, SpecularAlpha, InPixel };

struct FragmentKey {
    std::uint8_t stageNum = 0;
    StageKey stages[kFixedStages];
    std::uint8_t fog = 0; // 0 off, 1 the finished factor, 2 exp, 3 exp2, 4 linear from the depth
    std::uint8_t addSpecular = 0;
    std::uint8_t alphaFunc = 0; // 0: no test
    std::uint8_t sprite = 0;
    std::uint8_t flat = 0;
};

/// Where the coordinates of a stage come from.
struct CoordKey {
    enum Source : std::uint8_t { Off, Set0 = 1, Normal = 9, Position = 10, Reflection = 11 };
    std::uint8_t source = Off;
    std::uint8_t size = 0;  // components of the set that are there
    std::uint8_t count = 0; // components after the transform: 2, 3, 4; 0: no transform
};

enum ColourSource : std::uint8_t { kFromMaterial, kFromDiffuse, kFromSpecular };

struct VertexKey {
    std::uint8_t preTransformed = 0;
    std::uint8_t normal = 0, diffuse = 0, specular = 0, pointSize = 0; // what a vertex has
    std::uint8_t lighting = 0;
    std::uint8_t lights[3] = {}; // directional, point, spot
    std::uint8_t diffuseSource = 0, ambientSource = 0, specularSource = 0, emissiveSource = 0;
    std::uint8_t normalize = 0, localViewer = 0;
    std::uint8_t writeSpecular = 0;
    std::uint8_t fog = 0; // of type Fog
    std::uint8_t rangeFog = 0;
    std::uint8_t affine = 0; // pixel fog takes z instead of w
    std::uint8_t flat = 0;
    std::uint8_t points = 0, pointScale = 0;
    std::uint8_t clipPlanes = 0; // bits
    CoordKey coords[kFixedStages];
};

template <class Key>
bool IsSameKey(Key const& a, Key const& b) {
    static_assert(std::has_unique_object_representations_v<Key>);
    return std::memcmp(&a, &b, sizeof(Key)) == 0;
}

/// Equal pictures should give equal keys: what the state cannot reach is zeroed.
FragmentKey MakeFragmentKey(FixedState const& state, VertexFeatures const& features, bool fixedVertex);
VertexKey MakeVertexKey(FixedState const& state, VertexFeatures const& features, bool fixedFragment);

/// GLSL of a key.
std::string WriteFragmentShader(FragmentKey const& key);
std::string WriteVertexShader(VertexKey const& key);

/// The whole source of a shader from its text, with those uniform blocks before it that the text reads: a block that is
/// declared has to be bound, read or not.
std::string WithBlocks(std::string const& text);

/// Which of the three arguments an operation reads: bit n is argument n.
unsigned UsedArguments(unsigned op);
} // namespace qk3d::gl
