// QK3DRenderWindow.h: the render target of a window.
#pragma once

#include "QK3DRenderTarget.h"

namespace qk3d {

class QK3D_API CRenderWindow : public CRenderTarget {
public:
    ~CRenderWindow() override;

    /// True, with no work done, for a window that fills the screen already. Otherwise as Reset; if the back-end
    /// refuses, the window does not count as full screen.
    bool ResetToFullScreen(unsigned int width, unsigned int height, EPixelFormat format);

    bool IsFullScreen() const { return m_isFullScreen; }

protected:
    CRenderWindow(CRenderSystem* renderSystem, string const& name, unsigned int width, unsigned int height,
                  EPixelFormat format, bool fullScreen);

    bool m_isFullScreen;
};
} // namespace qk3d
