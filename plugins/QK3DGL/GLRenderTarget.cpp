// GLRenderTarget.cpp: makes the framebuffers of targets, copies from them and shows them.
#include "GLRenderTarget.h"

#include "GLLog.h"
#include "GLPixelBuffer.h"
#include "GLRenderSystem.h"

#include "QK3DTexture.h"

#include <algorithm>

namespace qk3d::gl {
namespace {
// A view of the same texels with another format.
GLuint MakeView(GLenum kind, GLuint texture, GLenum format) {
    GLuint view = 0;
    glGenTextures(1, &view);
    glTextureView(view, kind, texture, format, 0, 1, 0, 1);
    return view;
}

GLuint MakeColour(GLenum format, unsigned width, unsigned height, unsigned samples) {
    GLuint texture = 0;
    auto const w = static_cast<GLsizei>(width), h = static_cast<GLsizei>(height);
    glCreateTextures(samples > 1 ? GL_TEXTURE_2D_MULTISAMPLE : GL_TEXTURE_2D, 1, &texture);
    if (samples > 1)
        glTextureStorage2DMultisample(texture, static_cast<GLsizei>(samples), format, w, h, GL_TRUE);
    else
        glTextureStorage2D(texture, 1, format, w, h);
    return texture;
}
} // namespace

GLTarget::~GLTarget() {
    m_system->ForgetTargetSurface(this);
    DropSurfaces();
}

void GLTarget::DropNames() {
    GLuint const textures[] = {m_sampledView, m_pictureView, m_sampled, m_picture};
    glDeleteTextures(4, textures);
    m_sampledView = m_pictureView = m_sampled = m_picture = 0;
    glDeleteRenderbuffers(1, &m_depthBuffer);
    m_depthBuffer = 0;
    glDeleteFramebuffers(2, m_framebuffers.data());
    m_framebuffers = {};
}

void GLTarget::DropSurfaces() {
    if (UseDevice()) DropNames();
    m_buffer = nullptr;
}

bool GLTarget::MakeSurfaces(unsigned width, unsigned height, EPixelFormat format, unsigned samples,
                            GLPixelBuffer* buffer) {
    GLDevice* const device = UseDevice();
    FormatRow const* row = FindFormat(format);
    if (!device || !width || !height || width > device->GetMaxTextureSize() || height > device->GetMaxTextureSize())
        return false;
    DropNames();
    // A window of a format that nothing can be drawn into is one of the usual format.
    if (!buffer && (!row || row->blockBytes || row->spread || IsDepthFormat(*row) || row->swizzle)) {
        format = PF_A8R8G8B8;
        row = FindFormat(format);
    }
    if (!row) return false;
    m_buffer = buffer;
    m_isDepth = IsDepthFormat(*row);
    m_surfaceWidth = width;
    m_surfaceHeight = height;
    m_surfaceFormat = format;
    m_samples = buffer ? 1 : std::clamp(samples, 1u, std::max(device->GetMaxSamples(), 1u));
    m_isUnresolved = false;

    while (glGetError() != GL_NO_ERROR) {}
    if (!buffer) {
        m_picture = MakeColour(row->internalFormat, width, height, 1);
        if (m_samples > 1) m_sampled = MakeColour(row->internalFormat, width, height, m_samples);
    }
    if (!m_isDepth) {
        glCreateRenderbuffers(1, &m_depthBuffer);
        auto const w = static_cast<GLsizei>(width), h = static_cast<GLsizei>(height);
        if (m_samples > 1)
            glNamedRenderbufferStorageMultisample(m_depthBuffer, static_cast<GLsizei>(m_samples), GL_DEPTH24_STENCIL8,
                                                  w, h);
        else
            glNamedRenderbufferStorage(m_depthBuffer, GL_DEPTH24_STENCIL8, w, h);
    }
    if (glGetError() != GL_NO_ERROR || !MakeFramebuffer(false)) {
        GL_LOG(LOG_WARNING, "The device cannot draw into a surface of %u x %u pixels of format %u", width, height,
               static_cast<unsigned>(format));
        DropNames();
        return false;
    }
    // A new picture is black, not what the memory held before.
    constexpr GLfloat kBlack[4] = {0, 0, 0, 0};
    if (!buffer) glClearNamedFramebufferfv(m_framebuffers[0], GL_COLOR, 0, kBlack);
    glClearNamedFramebufferfi(m_framebuffers[0], GL_DEPTH_STENCIL, 0, 1, 0);
    m_isUnresolved = m_samples > 1;
    m_system->OnTargetSurfaceChanged(this);
    return true;
}

GLTarget::Attachments GLTarget::GetAttachments(bool srgb) {
    Attachments result;
    if (m_isDepth) {
        result.depthTexture = m_buffer ? m_buffer->GetTargetTexture(false) : 0;
        return result;
    }
    result.depthBuffer = m_depthBuffer;
    if (m_buffer) {
        result.colour = m_buffer->GetTargetTexture(srgb);
        return result;
    }
    GLuint const plain = m_sampled ? m_sampled : m_picture;
    GLuint& view = m_sampled ? m_sampledView : m_pictureView;
    GLenum const srgbFormat = FindFormat(m_surfaceFormat)->srgbFormat;
    if (srgb && srgbFormat && !view)
        view = MakeView(m_sampled ? GL_TEXTURE_2D_MULTISAMPLE : GL_TEXTURE_2D, plain, srgbFormat);
    result.colour = srgb && srgbFormat ? view : plain;
    return result;
}

bool GLTarget::MakeFramebuffer(bool srgb) {
    GLuint& framebuffer = m_framebuffers[srgb];
    glCreateFramebuffers(1, &framebuffer);
    auto const attachments = GetAttachments(srgb);
    if (m_isDepth) {
        glNamedFramebufferTexture(framebuffer, GL_DEPTH_ATTACHMENT, attachments.depthTexture, 0);
        glNamedFramebufferDrawBuffer(framebuffer, GL_NONE);
        glNamedFramebufferReadBuffer(framebuffer, GL_NONE);
    } else {
        glNamedFramebufferTexture(framebuffer, GL_COLOR_ATTACHMENT0, attachments.colour, 0);
        glNamedFramebufferRenderbuffer(framebuffer, GL_DEPTH_STENCIL_ATTACHMENT, GL_RENDERBUFFER,
                                       attachments.depthBuffer);
    }
    return glCheckNamedFramebufferStatus(framebuffer, GL_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
}

GLuint GLTarget::GetFramebuffer(bool srgb) {
    if (!m_framebuffers[0]) return 0;
    if (srgb && !m_framebuffers[1] && !MakeFramebuffer(true)) return m_framebuffers[0];
    return m_framebuffers[srgb];
}

void GLTarget::MarkDrawn() {
    m_isUnresolved = m_samples > 1;
    if (m_buffer) m_buffer->MarkWrittenByDevice();
}

PixelSurface GLTarget::GetResolvedSurface() {
    FormatRow const* const row = FindFormat(m_surfaceFormat);
    if (!IsComplete() || !row) return {};
    if (m_buffer) return m_buffer->GetSurface();
    PixelSurface const picture = MakeSurface(m_picture, *row, m_surfaceWidth, m_surfaceHeight);
    if (m_isUnresolved) {
        m_isUnresolved = false;
        PixelSurface const sampled = MakeSurface(m_sampled, *row, m_surfaceWidth, m_surfaceHeight);
        CBox const whole(0, 0, static_cast<int>(m_surfaceWidth), static_cast<int>(m_surfaceHeight));
        StretchRectangle(sampled, whole, picture, whole, false);
    }
    return picture;
}

void GLTarget::MarkCopiedTo() {
    if (m_buffer) m_buffer->MarkWrittenByDevice();
    if (!m_sampled || !UseDevice()) return;
    FormatRow const& row = *FindFormat(m_surfaceFormat);
    CBox const whole(0, 0, static_cast<int>(m_surfaceWidth), static_cast<int>(m_surfaceHeight));
    StretchRectangle(MakeSurface(m_picture, row, m_surfaceWidth, m_surfaceHeight), whole,
                     MakeSurface(m_sampled, row, m_surfaceWidth, m_surfaceHeight), whole, false);
}

bool GLTarget::CopyTo(CTexture* texture, CBox const* boxes, unsigned count, Vector2 const* positions) {
    if (!UseDevice() || !texture->MakeSureLoaded()) return false;
    GLPixelBuffer* const to = GLPixelBuffer::From(texture->GetPixelBuffer());
    if (!to || to == m_buffer || !to->IsOf(*m_device) || to->IsLocked() || !to->GetRow()) return false;
    if (!CopyRectangles(GetResolvedSurface(), to->GetSurface(), boxes, count, positions)) return false;
    to->MarkWrittenByDevice();
    return true;
}

bool GLTarget::CopyTo(CRenderTarget* target, CBox const* boxes, unsigned count, Vector2 const* positions) {
    auto* const to = dynamic_cast<GLTarget*>(target);
    if (!to || to == this || to->m_device != m_device || !UseDevice()) return false;
    if (!CopyRectangles(GetResolvedSurface(), to->GetResolvedSurface(), boxes, count, positions)) return false;
    to->MarkCopiedTo();
    return true;
}

GLRenderWindow::GLRenderWindow(GLRenderSystem& system, GLDevice& device, string const& name, unsigned int width,
                               unsigned int height, EPixelFormat format, bool fullScreen)
    : CRenderWindow(&system, name, width, height, format, fullScreen), GLTarget(device, system) {}

GLRenderWindow::~GLRenderWindow() {
    m_window.reset();
    if (m_device) m_device->Use();
}

bool GLRenderWindow::MakeOwnSurfaces(unsigned width, unsigned height, EPixelFormat format) {
    GLDevice* const device = UseDevice();
    if (!device || !MakeSurfaces(width, height, format, device->GetOptions().multisample, nullptr)) return false;
    if (!m_window && device->GetContext().HasWindows()) {
        m_window = device->GetContext().OpenWindow(m_name, width, height, m_isFullScreen);
        if (!m_window) GL_LOG(LOG_WARNING, "The window cannot be opened : %s", m_name.c_str());
        return m_window != nullptr;
    }
    return true;
}

bool GLRenderWindow::_CreateImpl() { return MakeOwnSurfaces(m_width, m_height, m_pixelFormat); }

bool GLRenderWindow::_ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) {
    GLDevice* const device = UseDevice();
    if (!device || !width || !height || width > device->GetMaxTextureSize() || height > device->GetMaxTextureSize())
        return false;
    if (m_window && !m_window->SetSize(width, height, m_isFullScreen)) return false;
    if (MakeOwnSurfaces(width, height, format)) return true;
    MakeOwnSurfaces(m_width, m_height, m_pixelFormat);
    return false;
}

void GLRenderWindow::_DropNames() {
    GLTarget::_DropNames();
    m_window.reset(); // its context goes with the device
    m_device->Use();
}

bool GLRenderWindow::_RestoreNames() { return !IsCreated() || MakeOwnSurfaces(m_width, m_height, m_pixelFormat); }

void GLRenderWindow::Present() {
    if (!m_window || !UseDevice()) return;
    PixelSurface const picture = GetResolvedSurface();
    if (picture.texture) m_window->Present(picture.texture, picture.width, picture.height);
    m_device->Use();
}

bool GLRenderWindow::TakeState(WindowState& state) {
    if (!m_window) return false;
    state = m_window->TakeState();
    return true;
}

bool GLRenderWindow::_CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions) {
    return CopyTo(texture, boxes, count, positions);
}

bool GLRenderWindow::_CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                             Vector2* positions) {
    return CopyTo(target, boxes, count, positions);
}

GLRenderTexture::GLRenderTexture(GLRenderSystem& system, GLDevice& device, _ResourceSharePtr<CTexture>& texture)
    : CRenderTexture(&system, texture), GLTarget(device, system) {}

bool GLRenderTexture::BindTexture() {
    CTexture* const texture = m_texture;
    GLPixelBuffer* const buffer = texture ? GLPixelBuffer::From(texture->GetPixelBuffer()) : nullptr;
    if (!buffer || !buffer->IsCreated() || !buffer->IsOf(*m_device)) return false;
    m_width = buffer->GetWidth();
    m_height = buffer->GetHeight();
    m_pixelFormat = buffer->GetPixelFormat();
    return MakeSurfaces(m_width, m_height, m_pixelFormat, 1, buffer);
}

bool GLRenderTexture::_CreateImpl() { return m_device && BindTexture(); }

bool GLRenderTexture::_ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) {
    CTexture* const texture = m_texture;
    if (!texture || !m_device || !width || !height) return false;
    auto const remake = [texture](unsigned w, unsigned h, EPixelFormat f) {
        if (!texture->Unload()) return false;
        texture->SetWidth(w);
        texture->SetHeight(h);
        texture->SetPixelFormat(f);
        return texture->Load(); // which tells this target to bind what it loaded
    };
    unsigned const oldWidth = m_width, oldHeight = m_height;
    EPixelFormat const oldFormat = m_pixelFormat;
    if (remake(width, height, format) && IsComplete()) return true;
    remake(oldWidth, oldHeight, oldFormat);
    return false;
}

bool GLRenderTexture::_CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions) {
    return CopyTo(texture, boxes, count, positions);
}

bool GLRenderTexture::_CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                              Vector2* positions) {
    return CopyTo(target, boxes, count, positions);
}

void GLRenderTexture::_NotifyTextureDestroy() {
    DropSurfaces();
    CRenderTexture::_NotifyTextureDestroy();
}

void GLRenderTexture::_NotifyTextureLoad() {
    if (IsCreated() && m_device) BindTexture();
}

void GLRenderTexture::_NotifyTextureUnload() { DropSurfaces(); }

bool GLRenderTexture::_RestoreNames() {
    ResetUpdateFlag(); // what was drawn is gone: draw it again, also at the same time
    return !IsCreated() || BindTexture();
}
} // namespace qk3d::gl
