// GLRenderTarget.h: the surfaces that frames are drawn into: windows and textures.
#pragma once

#include "GLBlit.h"
#include "GLDevice.h"

#include "QK3DRenderTexture.h"
#include "QK3DRenderWindow.h"

#include <array>

namespace qk3d::gl {
class GLPixelBuffer;
class GLRenderSystem;

/// The device's side of a target: what is attached to its framebuffer. The system hears when that changes.
class GLTarget : public GLObject {
public:
    struct Attachments {
        GLuint colour = 0;       // null for a target of depth alone
        GLuint depthTexture = 0; // of a target of depth alone
        GLuint depthBuffer = 0;  // renderbuffer with stencil, of every other target
    };

    ~GLTarget() override;

    /// What to draw into; `srgb` encodes on writing, where the format can. 0 if the target has no surface now.
    GLuint GetFramebuffer(bool srgb);
    Attachments GetAttachments(bool srgb);

    bool IsComplete() const { return m_framebuffers[0] != 0; }
    bool HasColour() const { return !m_isDepth; }
    unsigned GetSurfaceWidth() const { return m_surfaceWidth; }
    unsigned GetSurfaceHeight() const { return m_surfaceHeight; }
    EPixelFormat GetSurfaceFormat() const { return m_surfaceFormat; }
    unsigned GetSamples() const { return m_samples; }

    /// Something was drawn: copies and presenting have to bring the samples together first.
    void MarkDrawn();

    /// The finished picture, as a source or a destination of copies. A copy to it also reaches what is drawn over.
    PixelSurface GetResolvedSurface();
    void MarkCopiedTo();

protected:
    GLTarget(GLDevice& device, GLRenderSystem& system) : GLObject(device, Order::Targets), m_system(&system) {}

    /// Makes the surfaces of a target that has its own picture, or of one that draws into `buffer`.
    bool MakeSurfaces(unsigned width, unsigned height, EPixelFormat format, unsigned samples, GLPixelBuffer* buffer);
    void DropSurfaces();

    /// Copies for both kinds of target.
    bool CopyTo(CTexture* texture, CBox const* boxes, unsigned count, Vector2 const* positions);
    bool CopyTo(CRenderTarget* target, CBox const* boxes, unsigned count, Vector2 const* positions);

    void _DropNames() override { DropNames(); }
    void _OnDeviceEnd() override { m_buffer = nullptr; }

    GLPixelBuffer* m_buffer = nullptr; // not owned; of a texture that is drawn into

private:
    void DropNames();
    bool MakeFramebuffer(bool srgb);

    GLRenderSystem* m_system;
    unsigned m_surfaceWidth = 0, m_surfaceHeight = 0;
    EPixelFormat m_surfaceFormat = PF_UNKNOWN;
    unsigned m_samples = 1;
    bool m_isDepth = false;
    bool m_isUnresolved = false;
    GLuint m_picture = 0;     // finished, of a target with its own picture
    GLuint m_sampled = 0;     // multisampled, what is drawn into
    GLuint m_sampledView = 0; // the same as sRGB
    GLuint m_pictureView = 0;
    GLuint m_depthBuffer = 0;
    std::array<GLuint, 2> m_framebuffers = {}; // plain, sRGB
};

class GLRenderWindow final : public CRenderWindow, public GLTarget {
public:
    GLRenderWindow(GLRenderSystem& system, GLDevice& device, string const& name, unsigned int width,
                   unsigned int height, EPixelFormat format, bool fullScreen);
    ~GLRenderWindow() override;

    /// Shows the picture in the window, if there is one.
    void Present();

    /// False for a window without a screen.
    bool TakeState(WindowState& state);

protected:
    bool _CreateImpl() override;
    bool _ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) override;
    bool _CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions) override;
    bool _CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                 Vector2* positions) override;

private:
    void _DropNames() override;
    bool _RestoreNames() override;
    void _OnDeviceEnd() override { m_window.reset(); }
    bool MakeOwnSurfaces(unsigned width, unsigned height, EPixelFormat format);

    std::unique_ptr<GLWindow> m_window;
};

class GLRenderTexture final : public CRenderTexture, public GLTarget {
public:
    GLRenderTexture(GLRenderSystem& system, GLDevice& device, _ResourceSharePtr<CTexture>& texture);
    ~GLRenderTexture() override = default;

protected:
    bool _CreateImpl() override;
    bool _ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) override;
    bool _CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions) override;
    bool _CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                 Vector2* positions) override;
    void _NotifyTextureDestroy() override;
    void _NotifyTextureLoad() override;
    void _NotifyTextureUnload() override;

private:
    bool _RestoreNames() override;
    bool BindTexture();
};

} // namespace qk3d::gl
