// QK3DKeepActiveInternal.h: remembers what is active on a render system while another target is drawn in between.
#pragma once

namespace qk3d {
class CRenderSystem;
class CRenderTarget;
class CViewport;

/// Lies on the stack. What it remembers may be destroyed meanwhile; the render system tells it.
class CKeepActive {
public:
    explicit CKeepActive(CRenderSystem& renderSystem);
    CKeepActive(CKeepActive const&) = delete;
    CKeepActive& operator=(CKeepActive const&) = delete;
    ~CKeepActive();

    /// Makes the remembered target and viewport active again.
    void Restore();

private:
    friend class CRenderSystem;

    CRenderSystem& m_renderSystem;
    CKeepActive* m_outer;
    CRenderTarget* m_target;
    CViewport* m_viewport;
};
} // namespace qk3d
