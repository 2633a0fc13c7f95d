// QK3DRenderTexture.h: the render target that draws into a texture.
#pragma once

#include "QK3DRenderTarget.h"
#include "QK3DResourceSharePtr.h"

namespace qk3d {
class CTexture;

/// Made by CTexture::GetRenderTexture or CRenderSystem::CreateRenderTexture, owned by the system. It keeps its texture
/// alive; once the texture is destroyed all the same, the target lives on without one.
class QK3D_API CRenderTexture : public CRenderTarget {
public:
    ~CRenderTexture() override;

    _ResourceSharePtr<CTexture> const& GetTexture() const { return m_texture; }

protected:
    friend class CTexture;

    /// Name, size and format come from the texture.
    CRenderTexture(CRenderSystem* renderSystem, _ResourceSharePtr<CTexture>& texture);

    /// The texture is being destroyed: lets go of it.
    virtual void _NotifyTextureDestroy();

    /// The texture has a new pixel buffer, and is about to drop the one it has. The back-end binds its surface anew.
    virtual void _NotifyTextureLoad() = 0;
    virtual void _NotifyTextureUnload() = 0;

    /// A handle that can also forget a texture whose count is no longer to be touched, since the texture dies.
    class CTextureHandle : public _ResourceSharePtr<CTexture> {
    public:
        using _ResourceSharePtr<CTexture>::operator=;
        void Forget() {
            m_pointer = nullptr;
            m_ref = nullptr;
        }
    };
    CTextureHandle m_texture;
};
} // namespace qk3d
