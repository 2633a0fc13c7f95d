// QK3DStateWords.h: the words that stand for state values in scripts, one array for each kind of word.
#pragma once

#include <cstdint>
#include <string_view>

namespace qk3d {
/// One word of a script and the value that it stands for. Words are upper case; scripts may write them in any case.
struct StateWord {
    std::string_view word;
    std::uint32_t value;
};

inline constexpr StateWord kZEnableWords[] = {{"FALSE", 0}, {"TRUE", 1}, {"USEW", 2}};
inline constexpr StateWord kFillModeWords[] = {{"POINT", 1}, {"WIREFRAME", 2}, {"SOLID", 3}};
inline constexpr StateWord kShadeModeWords[] = {{"FLAT", 1}, {"GOURAUD", 2}, {"PHONG", 3}};
inline constexpr StateWord kBlendWords[] = {
    {"ZERO", 1},         {"ONE", 2},           {"SRCCOLOR", 3},         {"INVSRCCOLOR", 4}, {"SRCALPHA", 5},
    {"INVSRCALPHA", 6},  {"DESTALPHA", 7},     {"INVDESTALPHA", 8},     {"DESTCOLOR", 9},   {"INVDESTCOLOR", 10},
    {"SRCALPHASAT", 11}, {"BOTHSRCALPHA", 12}, {"BOTHINVSRCALPHA", 13},
};
inline constexpr StateWord kCullModeWords[] = {{"NONE", 1}, {"CLOCKWISE", 2}, {"COUNTERCLOCKWISE", 3}};
inline constexpr StateWord kCompareWords[] = {
    {"NEVER", 1},   {"LESS", 2},     {"EQUAL", 3},        {"LESSEQUAL", 4},
    {"GREATER", 5}, {"NOTEQUAL", 6}, {"GREATEREQUAL", 7}, {"ALWAYS", 8},
};
inline constexpr StateWord kStencilWords[] = {
    {"KEEP", 1}, {"ZERO", 2}, {"REPLACE", 3}, {"INCRSAT", 4}, {"DECRSAT", 5}, {"INVERT", 6}, {"INCR", 7}, {"DECR", 8},
};
inline constexpr StateWord kFogModeWords[] = {{"NONE", 0}, {"EXP", 1}, {"EXP2", 2}, {"LINEAR", 3}};
inline constexpr StateWord kMaterialSourceWords[] = {{"MATERIAL", 0}, {"COLOR1", 1}, {"COLOR2", 2}};
inline constexpr StateWord kVertexBlendWords[] = {
    {"DISABLE", 0}, {"1WEIGHTS", 1}, {"2WEIGHTS", 2}, {"3WEIGHTS", 3}, {"TWEENING", 255}, {"0WEIGHTS", 256},
};
// One plane only: the values are bits, but a script names a single one.
inline constexpr StateWord kClipPlaneWords[] = {
    {"CLIPPLANE0", 1}, {"CLIPPLANE1", 2}, {"CLIPPLANE2", 4}, {"CLIPPLANE3", 8}, {"CLIPPLANE4", 16}, {"CLIPPLANE5", 32},
};
inline constexpr StateWord kPatchEdgeWords[] = {{"DISCRETE", 0}, {"CONTINUOUS", 1}};
inline constexpr StateWord kDebugMonitorWords[] = {{"ENABLE", 0}, {"DISABLE", 1}};
inline constexpr StateWord kBlendOpWords[] = {{"ADD", 1}, {"SUBTRACT", 2}, {"REVSUBTRACT", 3}, {"MIN", 4}, {"MAX", 5}};
inline constexpr StateWord kDegreeWords[] = {{"LINEAR", 1}, {"QUADRATIC", 2}, {"CUBIC", 3}, {"QUINTIC", 5}};
// Flags: a script joins them with "|".
inline constexpr StateWord kColorWriteWords[] = {{"RED", 1}, {"GREEN", 2}, {"BLUE", 4}, {"ALPHA", 8}};
inline constexpr StateWord kWrapWords[] = {{"U", 1}, {"V", 16}, {"W", 17}};

inline constexpr StateWord kAddressWords[] = {
    {"WRAP", 1}, {"MIRROR", 2}, {"CLAMP", 3}, {"BORDER", 4}, {"MIRRORONCE", 5},
};
inline constexpr StateWord kFilterWords[] = {
    {"NONE", 0}, {"POINT", 1}, {"LINEAR", 2}, {"ANISOTROPIC", 3}, {"FLATCUBIC", 4}, {"GAUSSIANCUBIC", 5},
};

inline constexpr StateWord kTextureOpWords[] = {
    {"DISABLE", 1},
    {"SELECTARG1", 2},
    {"SELECTARG2", 3},
    {"MODULATE", 4},
    {"MODULATE2X", 5},
    {"MODULATE4X", 6},
    {"ADD", 7},
    {"ADDSIGNED", 8},
    {"ADDSIGNED2X", 9},
    {"SUBTRACT", 10},
    {"ADDSMOOTH", 11},
    {"BLENDDIFFUSEALPHA", 12},
    {"BLENDTEXTUREALPHA", 13},
    {"BLENDFACTORALPHA", 14},
    {"BLENDTEXTUREALPHAPM", 15},
    {"BLENDCURRENTALPHA", 16},
    {"PREMODULATE", 17},
    {"MODULATEALPHAADDCOLOR", 18},
    {"MODULATECOLORADDALPHA", 19},
    {"MODULATEINVALPHAADDCOLOR", 20},
    {"MODULATEINVCOLORADDALPHA", 21},
    {"BUMPENVMAP", 22},
    {"BUMPENVMAPLUMINANCE", 23},
    {"DOTPRODUCT3", 24},
    {"MULTIPLYADD", 25},
    {"LERP", 26},
};
inline constexpr StateWord kTextureArgWords[] = {
    {"DIFFUSE", 0}, {"CURRENT", 1},  {"TEXTURE", 2},     {"TFACTOR", 3},     {"SPECULAR", 4},
    {"TEMP", 5},    {"CONSTANT", 6}, {"SELECTMASK", 15}, {"COMPLEMENT", 16}, {"ALPHAREPLICATE", 32},
};
inline constexpr StateWord kTexCoordWords[] = {
    {"PASSTHRU", 0},
    {"CAMERASPACENORMAL", 0x10000},
    {"CAMERASPACEPOSITION", 0x20000},
    {"CAMERASPACEREFLECTIONVECTOR", 0x30000},
};
// Flags: a script joins them with "|".
inline constexpr StateWord kTransformFlagWords[] = {
    {"DISABLE", 0}, {"COUNT1", 1}, {"COUNT2", 2}, {"COUNT3", 3}, {"COUNT4", 4}, {"PROJECTED", 0x100},
};
} // namespace qk3d
