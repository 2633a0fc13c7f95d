// QK3DRenderTexture.cpp: the tie between a render target and the texture it draws into.
#include "QK3DRenderTexture.h"

#include "QK3DTexture.h"

namespace qk3d {

CRenderTexture::CRenderTexture(CRenderSystem* renderSystem, _ResourceSharePtr<CTexture>& texture)
    : CRenderTarget(renderSystem, texture ? texture->GetName() : string(), texture ? texture->GetWidth() : 0,
                    texture ? texture->GetHeight() : 0, texture ? texture->GetPixelFormat() : PF_UNKNOWN) {
    m_targetType = RTT_TEXTURE;
    m_texture = texture;
    if (texture) texture->m_renderTexture = this;
}

CRenderTexture::~CRenderTexture() {
    // The texture may name another target by now, and it may die when the last handle goes.
    if (m_texture && m_texture->m_renderTexture == this) m_texture->_NotifyRenderTextureDestroy();
    m_texture.Release();
}

void CRenderTexture::_NotifyTextureDestroy() { m_texture.Forget(); }
} // namespace qk3d
