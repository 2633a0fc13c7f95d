// TraceTargets.h: the windows and render textures of the recording back-end.
#pragma once

#include "QK3DRenderTexture.h"
#include "QK3DRenderWindow.h"
#include "TraceBuffers.h"

namespace qk3d {
/// Both kinds of target can be cleared and copied; pixels are what their clears left.
class CTraceSurface {
public:
    virtual ~CTraceSurface() = default;

    /// Null while there are no pixels.
    virtual CTracePixelBuffer* GetSurface() = 0;
};

/// A window that nobody sees: a block of memory of its size.
class CTraceRenderWindow : public CRenderWindow, public CTraceSurface {
public:
    CTraceRenderWindow(std::shared_ptr<CTraceJournal> journal, CRenderSystem* system, string const& name,
                       unsigned int width, unsigned int height, EPixelFormat format, bool fullScreen);

    CTracePixelBuffer* GetSurface() override { return m_surface.get(); }

protected:
    bool _CreateImpl() override;
    bool _ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) override;
    bool _CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions) override;
    bool _CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                 Vector2* positions) override;

    bool _MakeSurface(unsigned int width, unsigned int height, EPixelFormat format);

    std::shared_ptr<CTraceJournal> m_journal;
    std::unique_ptr<CTracePixelBuffer> m_surface;
};

/// Draws into the pixel buffer of its texture.
class CTraceRenderTexture : public CRenderTexture, public CTraceSurface {
public:
    CTraceRenderTexture(std::shared_ptr<CTraceJournal> journal, CRenderSystem* system,
                        _ResourceSharePtr<CTexture>& texture);

    CTracePixelBuffer* GetSurface() override;

protected:
    bool _CreateImpl() override;
    bool _ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) override;
    bool _CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions) override;
    bool _CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                 Vector2* positions) override;
    void _NotifyTextureLoad() override;
    void _NotifyTextureUnload() override;

    std::shared_ptr<CTraceJournal> m_journal;
};
} // namespace qk3d
