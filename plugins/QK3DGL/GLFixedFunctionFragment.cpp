// GLFixedFunctionFragment.cpp: writes the fragment shader of a key.
#include "GLFixedFunctionKey.h"

namespace qk3d::gl {
namespace {
using std::to_string;

bool IsBump(unsigned op) { return op == kBumpEnvMap || op == kBumpEnvMapLuminance; }

void WriteInterface(FragmentKey const& key, bool readsSpecular, std::string& out) {
    auto const input = [&](GLuint location, char const* type, std::string const& name) {
        out += "layout(location = " + to_string(location) + ") " + type + " " + name + ";\n";
    };
    char const* const colour = key.flat ? "flat in vec4" : "in vec4";
    input(kDiffuseVarying, colour, "vDiffuse");
    if (readsSpecular) input(kSpecularVarying, colour, "vSpecular");
    if (key.fog) input(kFogVarying, "in vec2", "vFog");
    for (unsigned i = 0; i < key.stageNum; ++i) {
        auto const kind = static_cast<SamplerKind>(key.stages[i].sampler);
        if (kind == SamplerKind::None) continue;
        if (!key.sprite) input(kTexCoordVarying + i, "in vec4", "vTexCoord" + to_string(i));
        out += "layout(binding = " + to_string(i) + ") uniform " +
               (kind == SamplerKind::Cube ? "samplerCube" : "sampler2D") + " sampler" + to_string(i) + ";\n";
    }
    out += "layout(location = 0) out vec4 target;\n";
}

// Samples all textures before anything is combined: a displacement depends on samples alone.
void WriteSamples(FragmentKey const& key, std::string& out) {
    for (unsigned i = 0; i < key.stageNum; ++i) {
        auto const& stage = key.stages[i];
        if (!stage.sampler) continue;
        std::string const n = to_string(i);
        bool const cube = static_cast<SamplerKind>(stage.sampler) == SamplerKind::Cube;
        std::string coords = key.sprite ? (cube ? "vec3(gl_PointCoord, 0.0)" : "gl_PointCoord")
                                        : "vTexCoord" + n + (cube ? ".xyz" : ".xy");
        if (stage.divisor) coords += " / vTexCoord" + n + "." + "xyzw"[stage.divisor - 1];
        unsigned const before = i > 0 && IsBump(key.stages[i - 1].colourOp) ? key.stages[i - 1].colourOp : 0;
        std::string const m = before ? to_string(i - 1) : "";
        if (before) {
            std::string const shift =
                "mat2(material.bumpMatrix[" + m + "].xy, material.bumpMatrix[" + m + "].zw) * texel" + m + ".rg";
            coords += cube ? " + vec3(" + shift + ", 0.0)" : " + " + shift;
        }
        out += "    vec4 texel" + n + " = texture(sampler" + n + ", " + coords + ");\n";
        if (before == kBumpEnvMapLuminance) {
            out += "    texel" + n + ".rgb *= clamp(texel" + m + ".b * material.bumpLuminance[" + m +
                   "].x + material.bumpLuminance[" + m + "].y, 0.0, 1.0);\n";
        }
    }
}

// The four channels of an argument, flags applied.
std::string Argument(std::uint8_t arg, unsigned stage, StageKey const& key) {
    std::string text;
    switch (arg & kArgMask) {
    case kDiffuse: text = "vDiffuse"; break;
    case kCurrent: text = "current"; break;
    case kTexture:
        text = key.sampler ? "texel" + to_string(stage) : "vec4(1.0)";
        break; // alpha of a missing texture is 1
    case kFactor: text = "material.textureFactor"; break;
    case kSpecular: text = "vSpecular"; break;
    case kTemp: text = "temp"; break;
    default: text = "material.constants[" + to_string(stage) + "]";
    }
    if (arg & kComplement) text = "(1.0 - " + text + ")";
    if (arg & kAlphaReplicate) text += ".aaaa";
    return text;
}

// The result of an operation in the channels named by `channels` (".rgb", ".a" or none for all four).
std::string Operation(FragmentKey const& key, unsigned at, unsigned op, std::uint8_t const (&args)[3],
                      std::string const& channels) {
    StageKey const& stage = key.stages[at];
    std::string const all1 = Argument(args[1], at, stage), all2 = Argument(args[2], at, stage);
    std::string const a0 = Argument(args[0], at, stage) + channels, a1 = all1 + channels, a2 = all2 + channels;
    std::string const texel = stage.sampler ? "texel" + to_string(at) : "vec4(1.0)";
    auto const saturate = [](std::string const& text) { return "clamp(" + text + ", 0.0, 1.0)"; };
    auto const blend = [&](std::string const& factor) { return "mix(" + a2 + ", " + a1 + ", " + factor + ".a)"; };
    switch (op) {
    case kSelectArg1: return a1;
    case kSelectArg2: return a2;
    case kModulate: return saturate(a1 + " * " + a2);
    case kModulate2x: return saturate(a1 + " * " + a2 + " * 2.0");
    case kModulate4x: return saturate(a1 + " * " + a2 + " * 4.0");
    case kAdd: return saturate(a1 + " + " + a2);
    case kAddSigned: return saturate(a1 + " + " + a2 + " - 0.5");
    case kAddSigned2x: return saturate("(" + a1 + " + " + a2 + " - 0.5) * 2.0");
    case kSubtract: return saturate(a1 + " - " + a2);
    case kAddSmooth: return saturate(a1 + " + " + a2 + " - " + a1 + " * " + a2);
    case kBlendDiffuseAlpha: return blend("vDiffuse");
    case kBlendTextureAlpha: return blend(texel);
    case kBlendFactorAlpha: return blend("material.textureFactor");
    case kBlendTextureAlphaPm: return saturate(a1 + " + " + a2 + " * (1.0 - " + texel + ".a)");
    case kBlendCurrentAlpha: return blend("current");
    case kPremodulate: {
        // Multiplied by the texture of the next stage, if there is one.
        bool const next = at + 1 < key.stageNum && key.stages[at + 1].sampler;
        return next ? saturate(a1 + " * texel" + to_string(at + 1) + channels) : a1;
    }
    case kModulateAlphaAddColor: return saturate(a1 + " + " + all1 + ".a * " + a2);
    case kModulateColorAddAlpha: return saturate(a1 + " * " + a2 + " + " + all1 + ".a");
    case kModulateInvAlphaAddColor: return saturate("(1.0 - " + all1 + ".a) * " + a2 + " + " + a1);
    case kModulateInvColorAddAlpha: return saturate("(1.0 - " + a1 + ") * " + a2 + " + " + all1 + ".a");
    case kDotProduct3: {
        std::string const dot = saturate("4.0 * dot(" + all1 + ".rgb - 0.5, " + all2 + ".rgb - 0.5)");
        return channels == ".a" ? dot : "vec4(" + dot + ")" + channels;
    }
    case kMultiplyAdd: return saturate(a0 + " + " + a1 + " * " + a2);
    case kLerp: return "mix(" + a2 + ", " + a1 + ", " + a0 + ")";
    default: return "";
    }
}

// Whether colour and alpha come out of one operation on all four channels.
bool IsOneOperation(StageKey const& stage) {
    bool const crossesChannels =
        stage.colourOp >= kModulateAlphaAddColor && stage.colourOp <= kModulateInvColorAddAlpha;
    if (stage.colourOp != stage.alphaOp || crossesChannels) return false;
    for (unsigned i = 0; i < 3; ++i) {
        // Alpha replicated is alpha all the same in the alpha channel.
        if ((stage.colourArgs[i] & ~kAlphaReplicate) != stage.alphaArgs[i]) return false;
    }
    return true;
}

void WriteStage(FragmentKey const& key, unsigned at, std::string& out) {
    StageKey const& stage = key.stages[at];
    char const* const name = stage.toTemp ? "temp" : "current";
    bool const keepsColour = stage.colourOp == kKeep || IsBump(stage.colourOp), keepsAlpha = stage.alphaOp == kKeep;
    if (keepsColour && keepsAlpha) return;
    out += std::string("    ") + name;
    if (stage.colourOp == kDotProduct3 || (!keepsColour && IsOneOperation(stage))) {
        out += " = " + Operation(key, at, stage.colourOp, stage.colourArgs, "") + ";\n";
    } else if (keepsAlpha) {
        out += ".rgb = " + Operation(key, at, stage.colourOp, stage.colourArgs, ".rgb") + ";\n";
    } else if (keepsColour) {
        out += ".a = " + Operation(key, at, stage.alphaOp, stage.alphaArgs, ".a") + ";\n";
    } else {
        out += " = vec4(" + Operation(key, at, stage.colourOp, stage.colourArgs, ".rgb") + ", " +
               Operation(key, at, stage.alphaOp, stage.alphaArgs, ".a") + ");\n";
    }
}

void WriteFog(FragmentKey const& key, std::string& out) {
    if (!key.fog) return;
    if (key.fog == 1) out += "    float fog = vFog.x;\n";
    if (key.fog == 2) out += "    float fog = exp(-frame.fog.z * vFog.y);\n";
    if (key.fog == 3) out += "    float fog = exp(-frame.fog.z * vFog.y * (frame.fog.z * vFog.y));\n";
    if (key.fog == 4) out += "    float fog = (frame.fog.y - vFog.y) * frame.fog.w;\n";
    if (key.fog > 1) out += "    fog = isnan(fog) ? 1.0 : clamp(fog, 0.0, 1.0);\n";
    out += "    current.rgb = mix(frame.fogColour.rgb, current.rgb, fog);\n";
}

void WriteAlphaTest(FragmentKey const& key, std::string& out) {
    constexpr char const* failing[] = {"", "true", "a >= r", "a != r", "a > r", "a <= r", "a == r", "a < r"};
    if (!key.alphaFunc) return;
    // Both sides as the target can hold them, or an exact compare would see bits that are about to be dropped.
    out += "    float r = material.alphaTest.x, levels = material.alphaTest.y;\n"
           "    float a = levels > 0.0 ? floor(clamp(current.a, 0.0, 1.0) * levels + 0.5) : current.a;\n";
    out += std::string("    if (") + failing[key.alphaFunc] + ") discard;\n";
}
} // namespace

std::string WriteFragmentShader(FragmentKey const& key) {
    std::string body;
    WriteSamples(key, body);
    body += "    vec4 current = vDiffuse;\n    vec4 temp = vec4(0.0);\n";
    for (unsigned i = 0; i < key.stageNum; ++i) WriteStage(key, i, body);
    if (key.addSpecular) body += "    current.rgb = clamp(current.rgb + vSpecular.rgb, 0.0, 1.0);\n";
    WriteFog(key, body);
    WriteAlphaTest(key, body);
    body += "    target = current;\n";

    std::string out;
    WriteInterface(key, body.find("vSpecular") != std::string::npos, out);
    return WithBlocks(out + "void main() {\n" + body + "}\n");
}
} // namespace qk3d::gl
