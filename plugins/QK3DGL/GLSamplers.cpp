// GLSamplers.cpp: sampler states of a stage as a sampler object.
#include "GLPipeline.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace qk3d::gl {
namespace {
GLint AddressOf(std::uint32_t value) {
    constexpr GLint kModes[] = {GL_REPEAT, GL_MIRRORED_REPEAT, GL_CLAMP_TO_EDGE, GL_CLAMP_TO_BORDER,
                                GL_MIRROR_CLAMP_TO_EDGE};
    return value >= 1 && value <= 5 ? kModes[value - 1] : GL_REPEAT;
}

// 0 none and 1 point are sharp, all the others smooth.
bool IsSmooth(std::uint32_t filter) { return filter >= 2; }
constexpr std::uint32_t kAnisotropic = 3;

GLint MinFilterOf(std::uint32_t filter, std::uint32_t mipFilter) {
    bool const smooth = IsSmooth(filter);
    if (mipFilter == 0) return smooth ? GL_LINEAR : GL_NEAREST;
    if (mipFilter == 1) return smooth ? GL_LINEAR_MIPMAP_NEAREST : GL_NEAREST_MIPMAP_NEAREST;
    return smooth ? GL_LINEAR_MIPMAP_LINEAR : GL_NEAREST_MIPMAP_LINEAR;
}
} // namespace

void GLPipeline::ApplySampler(Unit& unit) {
    unit.samplerDirty = false;
    ++m_device->Count().stateCalls;
    auto const& values = unit.values;
    GLuint const sampler = unit.sampler;
    glSamplerParameteri(sampler, GL_TEXTURE_WRAP_S, AddressOf(values[CSamplerState::ADDRESSU]));
    glSamplerParameteri(sampler, GL_TEXTURE_WRAP_T, AddressOf(values[CSamplerState::ADDRESSV]));
    glSamplerParameteri(sampler, GL_TEXTURE_WRAP_R, AddressOf(values[CSamplerState::ADDRESSW]));

    auto const min = values[CSamplerState::MINFILTER], mag = values[CSamplerState::MAGFILTER];
    glSamplerParameteri(sampler, GL_TEXTURE_MIN_FILTER, MinFilterOf(min, values[CSamplerState::MIPFILTER]));
    glSamplerParameteri(sampler, GL_TEXTURE_MAG_FILTER, IsSmooth(mag) ? GL_LINEAR : GL_NEAREST);
    if (m_device->GetMaxAnisotropy() > 1) {
        bool const wanted = min == kAnisotropic || mag == kAnisotropic;
        float const asked = static_cast<float>(values[CSamplerState::MAXANISOTROPY]);
        glSamplerParameterf(sampler, GL_TEXTURE_MAX_ANISOTROPY_EXT,
                            wanted ? std::clamp(asked, 1.0f, m_device->GetMaxAnisotropy()) : 1.0f);
    }
    float const bias = std::bit_cast<float>(values[CSamplerState::MIPMAPLODBIAS]);
    glSamplerParameterf(sampler, GL_TEXTURE_LOD_BIAS, std::isfinite(bias) ? bias : 0.0f);
    // "Max mip level" is the largest level that may be used, that is the smallest number.
    glSamplerParameterf(sampler, GL_TEXTURE_MIN_LOD,
                        static_cast<float>(std::min(values[CSamplerState::MAXMIPLEVEL], 1000u)));

    auto const border = values[CSamplerState::BORDERCOLOR];
    auto const channel = [border](int shift) { return static_cast<float>(border >> shift & 255) / 255.0f; };
    Float4 const colour = {channel(16), channel(8), channel(0), channel(24)};
    glSamplerParameterfv(sampler, GL_TEXTURE_BORDER_COLOR, colour.data());
}
} // namespace qk3d::gl
