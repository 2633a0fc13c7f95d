// GLStateApply.cpp: targets, viewports and the render states that OpenGL has a counterpart for.
#include "GLPipeline.h"

#include "GLPixelFormat.h"
#include "GLRenderTarget.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace qk3d::gl {
namespace {
void Enable(GLenum what, bool on) {
    if (on)
        glEnable(what);
    else
        glDisable(what);
}

// The comparisons of both worlds stand in the same order.
GLenum CompareOf(std::uint32_t value) {
    return value >= 1 && value <= 8 ? GL_NEVER + value - 1 : static_cast<GLenum>(GL_ALWAYS);
}

GLenum StencilOperationOf(std::uint32_t value) {
    constexpr GLenum kOperations[] = {GL_KEEP, GL_ZERO,   GL_REPLACE,   GL_INCR,
                                      GL_DECR, GL_INVERT, GL_INCR_WRAP, GL_DECR_WRAP};
    return value >= 1 && value <= 8 ? kOperations[value - 1] : static_cast<GLenum>(GL_KEEP);
}

GLenum FactorOf(std::uint32_t value) {
    constexpr GLenum kFactors[] = {GL_ZERO,
                                   GL_ONE,
                                   GL_SRC_COLOR,
                                   GL_ONE_MINUS_SRC_COLOR,
                                   GL_SRC_ALPHA,
                                   GL_ONE_MINUS_SRC_ALPHA,
                                   GL_DST_ALPHA,
                                   GL_ONE_MINUS_DST_ALPHA,
                                   GL_DST_COLOR,
                                   GL_ONE_MINUS_DST_COLOR,
                                   GL_SRC_ALPHA_SATURATE,
                                   GL_SRC_ALPHA,
                                   GL_ONE_MINUS_SRC_ALPHA,
                                   GL_CONSTANT_COLOR,
                                   GL_ONE_MINUS_CONSTANT_COLOR};
    return value >= 1 && value <= 15 ? kFactors[value - 1] : static_cast<GLenum>(GL_ONE);
}

struct Factors {
    GLenum source, dest;
};

// The two "both" words, given for the source, settle the destination as well.
Factors FactorsOf(std::uint32_t source, std::uint32_t dest) {
    constexpr std::uint32_t kBothAlpha = 12, kBothInverseAlpha = 13;
    if (source == kBothAlpha) return {GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA};
    if (source == kBothInverseAlpha) return {GL_ONE_MINUS_SRC_ALPHA, GL_SRC_ALPHA};
    return {FactorOf(source), FactorOf(dest)};
}

GLenum BlendOperationOf(std::uint32_t value) {
    constexpr GLenum kOperations[] = {GL_FUNC_ADD, GL_FUNC_SUBTRACT, GL_FUNC_REVERSE_SUBTRACT, GL_MIN, GL_MAX};
    return value >= 1 && value <= 5 ? kOperations[value - 1] : static_cast<GLenum>(GL_FUNC_ADD);
}

int Clamped(long long value) { return static_cast<int>(std::clamp(value, 0ll, 0x7FFFFFFFll)); }
} // namespace

void GLPipeline::GetTargetSize(unsigned& width, unsigned& height) const {
    width = m_targets[0] ? m_targets[0]->GetSurfaceWidth() : 0;
    height = m_targets[0] ? m_targets[0]->GetSurfaceHeight() : 0;
}

PixelRange GLPipeline::GetViewportRange() const {
    if (m_hasViewport) return m_viewport;
    unsigned width = 0, height = 0;
    GetTargetSize(width, height);
    return {0, 0, static_cast<int>(width), static_cast<int>(height)};
}

bool GLPipeline::ApplyTarget() {
    if (!(m_dirty & kUseTarget)) return m_targets[0] && m_targets[0]->IsComplete();
    GLTarget* const first = m_targets[0];
    if (!first || !first->IsComplete()) return false;
    bool const srgb = Render(CRenderState::SRGBWRITEENABLE) != 0;
    bool const several = std::any_of(m_targets.begin() + 1, m_targets.end(),
                                     [](GLTarget const* target) { return target && target->IsComplete(); });
    GLuint framebuffer = first->GetFramebuffer(srgb);
    if (several) {
        if (!m_multiFramebuffer) glCreateFramebuffers(1, &m_multiFramebuffer);
        framebuffer = m_multiFramebuffer;
        GLenum buffers[kMaxTargets];
        for (unsigned i = 0; i < kMaxTargets; ++i) {
            auto const attachments = m_targets[i] ? m_targets[i]->GetAttachments(srgb) : GLTarget::Attachments();
            glNamedFramebufferTexture(framebuffer, GL_COLOR_ATTACHMENT0 + i, attachments.colour, 0);
            buffers[i] = attachments.colour ? GL_COLOR_ATTACHMENT0 + i : static_cast<GLenum>(GL_NONE);
            if (i == 0)
                glNamedFramebufferRenderbuffer(framebuffer, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER,
                                               attachments.depthBuffer);
        }
        glNamedFramebufferDrawBuffers(framebuffer, kMaxTargets, buffers);
        if (glCheckNamedFramebufferStatus(framebuffer, GL_DRAW_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) return false;
    }
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, framebuffer);
    Enable(GL_FRAMEBUFFER_SRGB, srgb);
    float const levels = GetAlphaLevels(first->GetSurfaceFormat());
    if (m_fixed.alphaLevels != levels) {
        m_fixed.alphaLevels = levels;
        m_dirty |= kUseMaterial;
    }
    m_dirty &= ~kUseTarget;
    ++m_device->Count().stateCalls;
    return true;
}

void GLPipeline::ApplyViewport() {
    m_dirty &= ~kUseViewport;
    PixelRange const range = GetViewportRange();
    Float4 const viewport = {static_cast<float>(range.left), static_cast<float>(range.top),
                             static_cast<float>(range.width), static_cast<float>(range.height)};
    float const shift = m_isViewportShifted ? kPixelCentre : 0;
    glViewportIndexedf(0, viewport[0] + shift, viewport[1] + shift, viewport[2], viewport[3]);
    m_fixed.viewport = viewport;
    m_engineValuesOld = true;
    m_dirty |= kUseFrame | kUseScissor;
    ++m_device->Count().stateCalls;
}

void GLPipeline::ApplyState() {
    using Apply = void (GLPipeline::*)();
    constexpr struct {
        std::uint32_t bit;
        Apply apply;
    } kParts[] = {
        {kUseDepth, &GLPipeline::ApplyDepth},           {kUseBlend, &GLPipeline::ApplyBlend},
        {kUseStencil, &GLPipeline::ApplyStencil},       {kUseRaster, &GLPipeline::ApplyRaster},
        {kUseColorMask, &GLPipeline::ApplyColorMasks},  {kUseScissor, &GLPipeline::ApplyScissor},
        {kUseClipPlanes, &GLPipeline::ApplyClipPlanes},
    };
    for (auto const& [bit, apply] : kParts) {
        if (!(m_dirty & bit)) continue;
        m_dirty &= ~bit;
        (this->*apply)();
        ++m_device->Count().stateCalls;
    }
}

void GLPipeline::ApplyDepth() {
    Enable(GL_DEPTH_TEST, Render(CRenderState::ZENABLE) != 0);
    glDepthMask(Render(CRenderState::ZWRITEENABLE) != 0 ? GL_TRUE : GL_FALSE);
    glDepthFunc(CompareOf(Render(CRenderState::ZFUNC)));
}

void GLPipeline::ApplyBlend() {
    Enable(GL_BLEND, Render(CRenderState::ALPHABLENDENABLE) != 0);
    auto const colour = FactorsOf(Render(CRenderState::SRCBLEND), Render(CRenderState::DESTBLEND));
    GLenum const operation = BlendOperationOf(Render(CRenderState::BLENDOP));
    if (Render(CRenderState::SEPARATEALPHABLENDENABLE) != 0) {
        auto const alpha = FactorsOf(Render(CRenderState::SRCBLENDALPHA), Render(CRenderState::DESTBLENDALPHA));
        glBlendFuncSeparate(colour.source, colour.dest, alpha.source, alpha.dest);
        glBlendEquationSeparate(operation, BlendOperationOf(Render(CRenderState::BLENDOPALPHA)));
    } else {
        glBlendFunc(colour.source, colour.dest);
        glBlendEquation(operation);
    }
    auto const factor = Render(CRenderState::BLENDFACTOR);
    auto const channel = [factor](int shift) { return static_cast<float>(factor >> shift & 255) / 255.0f; };
    glBlendColor(channel(16), channel(8), channel(0), channel(24));
}

void GLPipeline::ApplyStencil() {
    Enable(GL_STENCIL_TEST, Render(CRenderState::STENCILENABLE) != 0);
    auto const reference = static_cast<GLint>(Render(CRenderState::STENCILREF) & 0xFF);
    GLuint const mask = Render(CRenderState::STENCILMASK);
    glStencilMask(Render(CRenderState::STENCILWRITEMASK));
    auto const face = [&](GLenum which, CRenderState::EState function, CRenderState::EState fail,
                          CRenderState::EState depthFail, CRenderState::EState pass) {
        glStencilFuncSeparate(which, CompareOf(Render(function)), reference, mask);
        glStencilOpSeparate(which, StencilOperationOf(Render(fail)), StencilOperationOf(Render(depthFail)),
                            StencilOperationOf(Render(pass)));
    };
    bool const twoSided = Render(CRenderState::TWOSIDEDSTENCILMODE) != 0;
    // Clockwise faces are the front ones.
    face(twoSided ? GL_FRONT : GL_FRONT_AND_BACK, CRenderState::STENCILFUNC, CRenderState::STENCILFAIL,
         CRenderState::STENCILZFAIL, CRenderState::STENCILPASS);
    if (twoSided)
        face(GL_BACK, CRenderState::CCWSTENCILFUNC, CRenderState::CCWSTENCILFAIL, CRenderState::CCWSTENCILZFAIL,
             CRenderState::CCWSTENCILPASS);
}

void GLPipeline::ApplyRaster() {
    constexpr std::uint32_t kCullClockwise = 2, kCullCounterclockwise = 3;
    auto const cull = Render(CRenderState::CULLMODE);
    Enable(GL_CULL_FACE, cull == kCullClockwise || cull == kCullCounterclockwise);
    glCullFace(cull == kCullClockwise ? GL_FRONT : GL_BACK);

    auto const fill = Render(CRenderState::FILLMODE);
    glPolygonMode(GL_FRONT_AND_BACK, fill == 1 ? GL_POINT : fill == 2 ? GL_LINE : GL_FILL);

    auto const finite = [](float value) { return std::isfinite(value) ? value : 0.0f; };
    float const bias = finite(RenderFloat(CRenderState::DEPTHBIAS));
    float const slope = finite(RenderFloat(CRenderState::SLOPESCALEDEPTHBIAS));
    for (GLenum const kind : {GL_POLYGON_OFFSET_FILL, GL_POLYGON_OFFSET_LINE, GL_POLYGON_OFFSET_POINT})
        Enable(kind, bias != 0 || slope != 0);
    glPolygonOffset(slope, bias / m_depthStep); // a bias is in units of depth

    Enable(GL_LINE_SMOOTH, Render(CRenderState::ANTIALIASEDLINEENABLE) != 0);
    // What is given in pixels fills pixels. Its edges lie on their centres, where samples would halve each of them.
    Enable(GL_MULTISAMPLE, Render(CRenderState::MULTISAMPLEANTIALIAS) != 0 && !m_features.preTransformed);
    Enable(GL_DITHER, Render(CRenderState::DITHERENABLE) != 0);
    Enable(GL_DEPTH_CLAMP, Render(CRenderState::CLIPPING) == 0);
    // A mask on a target with one sample would hide everything, which is not what it is for.
    bool const sampled = m_targets[0] && m_targets[0]->GetSamples() > 1;
    Enable(GL_SAMPLE_MASK, sampled);
    glSampleMaski(0, Render(CRenderState::MULTISAMPLEMASK));
}

void GLPipeline::ApplyColorMasks() {
    constexpr CRenderState::EState kMasks[kMaxTargets] = {
        CRenderState::COLORWRITEENABLE, CRenderState::COLORWRITEENABLE1, CRenderState::COLORWRITEENABLE2,
        CRenderState::COLORWRITEENABLE3};
    for (GLuint i = 0; i < kMaxTargets; ++i) {
        auto const mask = Render(kMasks[i]);
        auto const bit = [mask](unsigned which) -> GLboolean { return mask & which ? GL_TRUE : GL_FALSE; };
        glColorMaski(i, bit(1), bit(2), bit(4), bit(8));
    }
}

void GLPipeline::ApplyScissor() {
    // Always on: points and lines at the border of a viewport would reach over it otherwise.
    PixelRange const viewport = GetViewportRange();
    long long left = viewport.left, top = viewport.top;
    long long right = left + viewport.width, bottom = top + viewport.height;
    if (Render(CRenderState::SCISSORTESTENABLE) != 0) {
        left = std::max<long long>(left, m_scissor.left);
        top = std::max<long long>(top, m_scissor.top);
        right = std::min<long long>(right, static_cast<long long>(m_scissor.left) + m_scissor.width);
        bottom = std::min<long long>(bottom, static_cast<long long>(m_scissor.top) + m_scissor.height);
    }
    left = std::max(left, 0ll);
    top = std::max(top, 0ll);
    glEnable(GL_SCISSOR_TEST);
    glScissor(Clamped(left), Clamped(top), Clamped(right - left), Clamped(bottom - top));
}

void GLPipeline::ApplyClipPlanes() {
    // Where no distances are written, vertices would be cut by whatever they happen to be: so it is with programs of the
    // host that know nothing of planes, and with vertices in pixels, which have no place in the world.
    GLProgram const* const last = m_programs[static_cast<std::size_t>(Stage::Geometry)]
                                      ? m_programs[static_cast<std::size_t>(Stage::Geometry)]
                                      : m_programs[static_cast<std::size_t>(Stage::Vertex)];
    bool const written = last ? last->WritesClipDistances() : !m_features.preTransformed;
    auto const planes = Render(CRenderState::CLIPPLANEENABLE);
    for (unsigned i = 0; i < kClipPlanes; ++i) Enable(GL_CLIP_DISTANCE0 + i, written && (planes >> i & 1) != 0);
}

void GLPipeline::Clear(bool colour, std::uint32_t argb, bool depth, float depthValue, bool stencil,
                       unsigned stencilValue) {
    if (!UseDevice() || !ApplyTarget()) return;
    PixelRange const range = GetViewportRange();
    glEnable(GL_SCISSOR_TEST);
    glScissor(range.left, range.top, std::max(range.width, 0), std::max(range.height, 0));
    glDisable(GL_FRAMEBUFFER_SRGB); // a colour is cleared to as it is given
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glDepthMask(GL_TRUE);
    glStencilMask(~0u);
    m_dirty |= kUseScissor | kUseTarget | kUseColorMask | kUseDepth | kUseStencil;

    GLint bound = 0;
    glGetIntegerv(GL_DRAW_FRAMEBUFFER_BINDING, &bound);
    auto const framebuffer = static_cast<GLuint>(bound);
    if (colour) {
        auto const channel = [argb](int shift) { return static_cast<float>(argb >> shift & 255) / 255.0f; };
        Float4 const value = {channel(16), channel(8), channel(0), channel(24)};
        for (GLint i = 0; i < static_cast<GLint>(kMaxTargets); ++i)
            if (GLTarget const* const target = m_targets[static_cast<std::size_t>(i)];
                target && target->IsComplete() && target->HasColour())
                glClearNamedFramebufferfv(framebuffer, GL_COLOR, i, value.data());
    }
    float const nearest = depthValue >= 0 && depthValue <= 1 ? depthValue : depthValue < 0 ? 0.0f : 1.0f;
    auto const reference = static_cast<GLint>(stencilValue & 0xFF);
    bool const hasStencil = m_targets[0]->HasColour();
    if (depth && stencil && hasStencil)
        glClearNamedFramebufferfi(framebuffer, GL_DEPTH_STENCIL, 0, nearest, reference);
    else if (depth)
        glClearNamedFramebufferfv(framebuffer, GL_DEPTH, 0, &nearest);
    else if (stencil && hasStencil)
        glClearNamedFramebufferiv(framebuffer, GL_STENCIL, 0, &reference);
    for (GLTarget* const target : m_targets)
        if (target) target->MarkDrawn();
}
} // namespace qk3d::gl
