// GLFixedFunctionKey.cpp: brings fixed-function state to one form, so that what draws alike shares a program.
#include "GLFixedFunctionKey.h"

#include <algorithm>

namespace qk3d::gl {
namespace {
constexpr std::uint32_t kCountMask = 0xFF, kProjected = 0x100;
constexpr std::uint32_t kSetMask = 0xFFFF, kGeneratedShift = 16;

std::uint32_t OpOf(FixedState::Stage const& stage, unsigned which) {
    std::uint32_t const op = stage.values[which];
    return op >= kKeep && op <= kLerp ? op
                                      : std::uint32_t{kKeep}; // a number that names no operation is as good as none
}

std::uint8_t ArgOf(FixedState::Stage const& stage, unsigned which) {
    std::uint32_t const arg = stage.values[which];
    std::uint32_t const source = (arg & kArgMask) <= kConstant ? arg & kArgMask : std::uint32_t{kCurrent};
    return static_cast<std::uint8_t>(source | (arg & (kComplement | kAlphaReplicate)));
}

bool IsSource(std::uint8_t arg, Arg source) { return (arg & kArgMask) == source; }

bool IsBump(unsigned op) { return op == kBumpEnvMap || op == kBumpEnvMapLuminance; }

bool ReadsTextureAlpha(unsigned op) { return op == kBlendTextureAlpha || op == kBlendTextureAlphaPm; }

bool AnyUsed(std::uint8_t const (&args)[3], unsigned op, Arg source) {
    for (unsigned i = 0; i < 3; ++i) {
        if ((UsedArguments(op) >> i & 1) && IsSource(args[i], source)) return true;
    }
    return false;
}

void ReadArguments(FixedState::Stage const& stage, StageKey& key) {
    constexpr unsigned colour[] = {ts::COLORARG0, ts::COLORARG1, ts::COLORARG2};
    constexpr unsigned alpha[] = {ts::ALPHAARG0, ts::ALPHAARG1, ts::ALPHAARG2};
    for (unsigned i = 0; i < 3; ++i) {
        if (UsedArguments(key.colourOp) >> i & 1) key.colourArgs[i] = ArgOf(stage, colour[i]);
        // An alpha argument is one number, so spreading it over all channels says nothing unless they are looked at.
        std::uint8_t const flags = key.alphaOp == kDotProduct3 ? 0xFF : static_cast<std::uint8_t>(~kAlphaReplicate);
        if (UsedArguments(key.alphaOp) >> i & 1) key.alphaArgs[i] = ArgOf(stage, alpha[i]) & flags;
    }
}

// The chain of stages that is on, with operations and arguments.
void ReadChain(FixedState const& state, FragmentKey& key) {
    for (auto const& stage : state.stages) {
        StageKey& out = key.stages[key.stageNum];
        out.colourOp = static_cast<std::uint8_t>(OpOf(stage, ts::COLOROP));
        if (stage.values[ts::COLOROP] != out.colourOp || out.colourOp == kKeep) break;
        out.alphaOp = static_cast<std::uint8_t>(OpOf(stage, ts::ALPHAOP));
        if (out.colourOp == kDotProduct3 || IsBump(out.alphaOp)) out.alphaOp = kKeep;
        ReadArguments(stage, out);
        if (stage.sampler == SamplerKind::None && AnyUsed(out.colourArgs, out.colourOp, kTexture)) break;
        out.toTemp = stage.values[ts::RESULTARG] == kTemp;
        ++key.stageNum;
    }
    if (key.stageNum < kFixedStages) key.stages[key.stageNum] = {};
}

// Whether anything of the stage's own texture is looked at, the displacement of the next stage aside.
bool UsesTexture(StageKey const& key) {
    return AnyUsed(key.colourArgs, key.colourOp, kTexture) || AnyUsed(key.alphaArgs, key.alphaOp, kTexture) ||
           ReadsTextureAlpha(key.colourOp) || ReadsTextureAlpha(key.alphaOp);
}

// Decides from the last stage to the first which textures are sampled: a displacement is worth its price only if the
// next stage samples one.
void FindSamplers(FixedState const& state, FragmentKey& key) {
    for (unsigned i = key.stageNum; i-- > 0;) {
        StageKey& stage = key.stages[i];
        StageKey* const next = i + 1 < key.stageNum ? &key.stages[i + 1] : nullptr;
        auto const bound = [&](unsigned at) { return state.stages[at].sampler != SamplerKind::None; };
        bool const premodulates = stage.colourOp == kPremodulate || stage.alphaOp == kPremodulate;
        if (premodulates && next) next->sampler = static_cast<std::uint8_t>(state.stages[i + 1].sampler);
        if (IsBump(stage.colourOp) && !(next && next->sampler && bound(i))) stage.colourOp = kKeep;
        if (UsesTexture(stage) || IsBump(stage.colourOp))
            stage.sampler = static_cast<std::uint8_t>(state.stages[i].sampler);
    }
}

// Before anything is written to it, CURRENT is the diffuse colour; and the end of the chain is always read from it.
void SettleRegisters(FragmentKey& key) {
    auto const changes = [](StageKey const& stage) {
        return (stage.colourOp != kKeep && !IsBump(stage.colourOp)) || stage.alphaOp != kKeep;
    };
    unsigned last = key.stageNum;
    while (last > 0 && !changes(key.stages[last - 1])) --last;
    if (last > 0) key.stages[last - 1].toTemp = 0;
    while (key.stageNum > last && !key.stages[key.stageNum - 1].sampler) key.stages[--key.stageNum] = {};
    bool written = false;
    for (unsigned i = 0; i < key.stageNum; ++i) {
        StageKey& stage = key.stages[i];
        if (!written) {
            auto const replace = [](std::uint8_t(&args)[3], unsigned op) {
                for (unsigned a = 0; a < 3; ++a) {
                    bool const current = (UsedArguments(op) >> a & 1) && IsSource(args[a], kCurrent);
                    if (current) args[a] = static_cast<std::uint8_t>((args[a] & ~kArgMask) | kDiffuse);
                }
            };
            replace(stage.colourArgs, stage.colourOp);
            replace(stage.alphaArgs, stage.alphaOp);
            if (stage.colourOp == kBlendCurrentAlpha) stage.colourOp = kBlendDiffuseAlpha;
            if (stage.alphaOp == kBlendCurrentAlpha) stage.alphaOp = kBlendDiffuseAlpha;
        }
        if (!changes(stage)) stage.toTemp = 0;
        written |= changes(stage) && !stage.toTemp;
    }
}

// Stages of a fragment program; the rest of the key is untouched.
void ReadStages(FixedState const& state, FragmentKey& key) {
    ReadChain(state, key);
    FindSamplers(state, key);
    SettleRegisters(key);
}

bool IsSprite(FixedState const& state) { return state.points && state.render[rs::POINTSPRITEENABLE]; }

bool IsFlat(FixedState const& state) { return state.render[rs::SHADEMODE] == 1; }

bool IsLit(FixedState const& state, VertexFeatures const& features) {
    return state.render[rs::LIGHTING] && !features.preTransformed;
}

// A pixel mode switches the vertex mode off.
Fog FogOf(FixedState const& state, VertexFeatures const& features) {
    auto const known = [](std::uint32_t mode) { return mode >= 1 && mode <= 3; };
    if (!state.render[rs::FOGENABLE]) return Fog::Off;
    if (known(state.render[rs::FOGTABLEMODE])) return Fog::InPixel;
    std::uint32_t const mode = state.render[rs::FOGVERTEXMODE];
    if (features.preTransformed || !known(mode)) return Fog::SpecularAlpha;
    return static_cast<Fog>(mode);
}

CoordKey CoordOf(FixedState::Stage const& stage, VertexFeatures const& features) {
    CoordKey key;
    std::uint32_t const index = stage.values[ts::TEXCOORDINDEX];
    std::uint32_t const generated = features.preTransformed ? 0 : index >> kGeneratedShift;
    if (generated >= 1 && generated <= 3) {
        key.source = static_cast<std::uint8_t>(CoordKey::Normal + generated - 1);
        key.size = 3;
    } else if ((index & kSetMask) < features.texCoordSets && (index & kSetMask) < kTexCoordSets) {
        key.source = static_cast<std::uint8_t>(CoordKey::Set0 + (index & kSetMask));
        key.size = std::clamp<std::uint8_t>(features.texCoordSize[index & kSetMask], 1, 4);
    } else {
        return key;
    }
    std::uint32_t const count = stage.values[ts::TRANSFORMFLAGS] & kCountMask;
    if (count >= 2 && count <= 4 && !features.preTransformed) key.count = static_cast<std::uint8_t>(count);
    return key;
}

// The component that projected coordinates are divided by. Without a count it is the last one of a source that has
// more than two; what a program of the user's sends has four.
std::uint8_t DivisorOf(FixedState::Stage const& stage, VertexFeatures const& features, bool fixedVertex) {
    std::uint32_t const flags = stage.values[ts::TRANSFORMFLAGS];
    if (!(flags & kProjected) || stage.sampler != SamplerKind::Flat) return 0;
    std::uint32_t const count = flags & kCountMask;
    if (count >= 2 && count <= 4) return static_cast<std::uint8_t>(count);
    if (!fixedVertex) return 4;
    std::uint8_t const size = CoordOf(stage, features).size;
    return size > 2 ? size : 0;
}

bool IsAffine(Matrix const& m) { return m[3] == 0 && m[7] == 0 && m[11] == 0 && m[15] == 1; }

bool ReadsSpecular(FragmentKey const& key) {
    if (key.addSpecular) return true;
    for (unsigned i = 0; i < key.stageNum; ++i) {
        auto const& stage = key.stages[i];
        if (AnyUsed(stage.colourArgs, stage.colourOp, kSpecular) || AnyUsed(stage.alphaArgs, stage.alphaOp, kSpecular))
            return true;
    }
    return false;
}

std::uint8_t SourceOf(FixedState const& state, unsigned which, VertexFeatures const& features) {
    if (!state.render[rs::COLORVERTEX]) return kFromMaterial;
    if (state.render[which] == 1 && features.diffuse) return kFromDiffuse;
    if (state.render[which] == 2 && features.specular) return kFromSpecular;
    return kFromMaterial;
}

void ReadLighting(FixedState const& state, VertexFeatures const& features, VertexKey& key) {
    key.lighting = 1;
    key.diffuseSource = SourceOf(state, rs::DIFFUSEMATERIALSOURCE, features);
    key.ambientSource = SourceOf(state, rs::AMBIENTMATERIALSOURCE, features);
    if (key.writeSpecular) key.specularSource = SourceOf(state, rs::SPECULARMATERIALSOURCE, features);
    key.emissiveSource = SourceOf(state, rs::EMISSIVEMATERIALSOURCE, features);
    for (auto const& light : state.lights) {
        if (!light.enabled) continue;
        if (light.type == 3) ++key.lights[0];
        if (light.type == 1) ++key.lights[1];
        if (light.type == 2) ++key.lights[2];
    }
    bool const anyLight = key.lights[0] + key.lights[1] + key.lights[2] > 0;
    key.localViewer = anyLight && key.writeSpecular && state.render[rs::LOCALVIEWER];
}
} // namespace

unsigned UsedArguments(unsigned op) {
    switch (op) {
    case 0:
    case kKeep:
    case kBumpEnvMap:
    case kBumpEnvMapLuminance: return 0;
    case kSelectArg1:
    case kPremodulate: return 1u << 1;
    case kSelectArg2: return 1u << 2;
    case kMultiplyAdd:
    case kLerp: return 7;
    default: return 1u << 1 | 1u << 2;
    }
}

FragmentKey MakeFragmentKey(FixedState const& state, VertexFeatures const& features, bool fixedVertex) {
    FragmentKey key;
    ReadStages(state, key);
    key.sprite = IsSprite(state);
    for (unsigned i = 0; i < key.stageNum; ++i) {
        bool const divides = key.stages[i].sampler && !key.sprite;
        if (divides) key.stages[i].divisor = DivisorOf(state.stages[i], features, fixedVertex);
    }
    bool anySampler = false;
    for (auto const& stage : key.stages) anySampler |= stage.sampler != 0;
    key.sprite &= anySampler;

    Fog const fog = FogOf(state, features);
    if (fog != Fog::Off) key.fog = 1;
    if (fog == Fog::InPixel) key.fog = static_cast<std::uint8_t>(1 + state.render[rs::FOGTABLEMODE]);
    key.addSpecular = state.render[rs::SPECULARENABLE] != 0;
    std::uint32_t const func = state.render[rs::ALPHAFUNC];
    if (state.render[rs::ALPHATESTENABLE] && func >= 1 && func < 8) key.alphaFunc = static_cast<std::uint8_t>(func);
    key.flat = fixedVertex && IsFlat(state);
    return key;
}

VertexKey MakeVertexKey(FixedState const& state, VertexFeatures const& features, bool fixedFragment) {
    FragmentKey const fragment = MakeFragmentKey(state, features, true);
    VertexKey key;
    key.preTransformed = features.preTransformed;
    key.diffuse = features.diffuse;
    key.writeSpecular = !fixedFragment || ReadsSpecular(fragment);
    if (IsLit(state, features)) ReadLighting(state, features, key);

    Fog const fog = FogOf(state, features);
    key.fog = static_cast<std::uint8_t>(fog);
    key.rangeFog = fog >= Fog::Exp && fog <= Fog::Linear && state.render[rs::RANGEFOGENABLE];
    key.affine = fog == Fog::InPixel && IsAffine(state.projection);
    key.flat = fixedFragment && IsFlat(state);

    key.points = state.points || state.render[rs::FILLMODE] == 1;
    key.pointScale = key.points && state.render[rs::POINTSCALEENABLE] && !features.preTransformed;
    key.pointSize = key.points && features.pointSize;
    if (!features.preTransformed) key.clipPlanes = state.render[rs::CLIPPLANEENABLE] & ((1u << kClipPlanes) - 1);

    bool readsNormal = key.lights[0] + key.lights[1] + key.lights[2] > 0;
    for (unsigned i = 0; i < kFixedStages; ++i) {
        bool const wanted = fixedFragment ? fragment.stages[i].sampler && !fragment.sprite : true;
        if (wanted) key.coords[i] = CoordOf(state.stages[i], features);
        readsNormal |= key.coords[i].source == CoordKey::Normal || key.coords[i].source == CoordKey::Reflection;
    }
    key.normal = readsNormal && features.normal;
    key.normalize = key.normal && state.render[rs::NORMALIZENORMALS];
    // A lit vertex reads its colours only where a source names them; fog without a mode reads the specular one.
    auto const reads = [&](ColourSource source) {
        return key.diffuseSource == source || key.ambientSource == source || key.specularSource == source ||
               key.emissiveSource == source;
    };
    if (key.lighting) key.diffuse = reads(kFromDiffuse);
    bool const readsSpecular = key.lighting ? reads(kFromSpecular) : key.writeSpecular != 0;
    key.specular = features.specular && (readsSpecular || fog == Fog::SpecularAlpha);
    return key;
}
} // namespace qk3d::gl
