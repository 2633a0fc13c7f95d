// BaselineStates.h: the states of a device that was just made, as every back-end of ours reports them.
#pragma once

#include "QK3DMatrix.h"
#include "QK3DRenderState.h"
#include "QK3DSamplerState.h"
#include "QK3DTextureState.h"
#include <bit>
#include <cstdint>

namespace qk3d {
/// A state and its value; floats as their bits.
struct BaselineState {
    int state;
    std::uint32_t value;
};

constexpr std::uint32_t BaselineFloat(float value) { return std::bit_cast<std::uint32_t>(value); }

/// What is not listed is 0: off, the first word, no colour, 0.0.
inline constexpr BaselineState kRenderBaseline[] = {
    {CRenderState::ZENABLE, 1},
    {CRenderState::ZWRITEENABLE, 1},
    {CRenderState::ZFUNC, 4},     // LESSEQUAL
    {CRenderState::FILLMODE, 3},  // SOLID
    {CRenderState::SHADEMODE, 2}, // GOURAUD
    {CRenderState::CULLMODE, 3},  // COUNTERCLOCKWISE
    {CRenderState::LASTPIXEL, 1},
    {CRenderState::SRCBLEND, 2},  // ONE
    {CRenderState::DESTBLEND, 1}, // ZERO
    {CRenderState::BLENDOP, 1},   // ADD
    {CRenderState::SRCBLENDALPHA, 2},
    {CRenderState::DESTBLENDALPHA, 1},
    {CRenderState::BLENDOPALPHA, 1},
    {CRenderState::BLENDFACTOR, 0xFFFFFFFF},
    {CRenderState::ALPHAFUNC, 8}, // ALWAYS
    {CRenderState::FOGEND, BaselineFloat(1)},
    {CRenderState::FOGDENSITY, BaselineFloat(1)},
    {CRenderState::STENCILFAIL, 1}, // KEEP
    {CRenderState::STENCILZFAIL, 1},
    {CRenderState::STENCILPASS, 1},
    {CRenderState::STENCILFUNC, 8},
    {CRenderState::STENCILMASK, 0xFFFFFFFF},
    {CRenderState::STENCILWRITEMASK, 0xFFFFFFFF},
    {CRenderState::CCWSTENCILFAIL, 1},
    {CRenderState::CCWSTENCILZFAIL, 1},
    {CRenderState::CCWSTENCILPASS, 1},
    {CRenderState::CCWSTENCILFUNC, 8},
    {CRenderState::TEXTUREFACTOR, 0xFFFFFFFF},
    {CRenderState::CLIPPING, 1},
    {CRenderState::LIGHTING, 1},
    {CRenderState::COLORVERTEX, 1},
    {CRenderState::LOCALVIEWER, 1},
    {CRenderState::DIFFUSEMATERIALSOURCE, 1},  // COLOR1
    {CRenderState::SPECULARMATERIALSOURCE, 2}, // COLOR2
    {CRenderState::POINTSIZE, BaselineFloat(1)},
    {CRenderState::POINTSIZEMIN, BaselineFloat(1)},
    {CRenderState::POINTSIZEMAX, BaselineFloat(64)},
    {CRenderState::POINTSCALEA, BaselineFloat(1)},
    {CRenderState::MULTISAMPLEANTIALIAS, 1},
    {CRenderState::MULTISAMPLEMASK, 0xFFFFFFFF},
    {CRenderState::COLORWRITEENABLE, 15},
    {CRenderState::COLORWRITEENABLE1, 15},
    {CRenderState::COLORWRITEENABLE2, 15},
    {CRenderState::COLORWRITEENABLE3, 15},
    {CRenderState::POSITIONDEGREE, 3}, // CUBIC
    {CRenderState::NORMALDEGREE, 1},   // LINEAR
    {CRenderState::MINTESSELLATIONLEVEL, BaselineFloat(1)},
    {CRenderState::MAXTESSELLATIONLEVEL, BaselineFloat(1)},
    {CRenderState::ADAPTIVETESSZ, BaselineFloat(1)},
};

inline constexpr BaselineState kSamplerBaseline[] = {
    {CSamplerState::ADDRESSU, 1},                                                                    // WRAP
    {CSamplerState::ADDRESSV, 1},  {CSamplerState::ADDRESSW, 1},      {CSamplerState::MAGFILTER, 1}, // POINT
    {CSamplerState::MINFILTER, 1}, {CSamplerState::MAXANISOTROPY, 1},
};

/// Of every stage but for the operations, which the first stage alone has on. TEXCOORDINDEX is the stage's own number.
inline constexpr BaselineState kTextureBaseline[] = {
    {CTextureState::COLORARG0, 1}, // CURRENT
    {CTextureState::COLORARG1, 2}, // TEXTURE
    {CTextureState::COLORARG2, 1}, {CTextureState::ALPHAARG0, 1}, {CTextureState::ALPHAARG1, 2},
    {CTextureState::ALPHAARG2, 1}, {CTextureState::RESULTARG, 1},
};

/// Set every state of a block. The three blocks together are what a back-end answers for its baseline.
inline void FillBaseline(CRenderState& block) {
    for (int state = 1; state <= 103; ++state) block.SetState(static_cast<CRenderState::EState>(state), 0);
    for (auto const& row : kRenderBaseline) block.SetState(static_cast<CRenderState::EState>(row.state), row.value);
}

inline void FillBaseline(CSamplerState& block) {
    for (int state = 1; state <= 13; ++state) block.SetState(static_cast<CSamplerState::EState>(state), 0);
    for (auto const& row : kSamplerBaseline) block.SetState(static_cast<CSamplerState::EState>(row.state), row.value);
}

inline void FillBaseline(CTextureState& block, unsigned int stage) {
    auto const set = [&](int state, std::uint32_t value) {
        block.SetState(static_cast<CTextureState::EState>(state),
                       reinterpret_cast<void*>(static_cast<std::uintptr_t>(value)));
    };
    for (int state = 1; state <= 19; ++state) set(state, 0);
    for (auto const& row : kTextureBaseline) set(row.state, row.value);
    set(CTextureState::COLOROP, stage == 0 ? 4 : 1); // MODULATE, DISABLE
    set(CTextureState::ALPHAOP, stage == 0 ? 2 : 1); // SELECTARG1, DISABLE
    set(CTextureState::TEXCOORDINDEX, stage);
    block.SetTransformMatrix(Matrix44::IDENTITY);
}
} // namespace qk3d
