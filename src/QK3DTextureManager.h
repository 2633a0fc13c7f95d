// QK3DTextureManager.h: the resource manager of textures.
#pragma once

#include "QK3DResourceManager.h"
#include "QK3DTexture.h"

namespace qk3d {

class QK3D_API CTextureManager : public CResourceManager {
public:
    CTextureManager() = default;
    ~CTextureManager() override;

    string GetResourceTypeName() const override;

    /// CreateResource, and the description set at once. An empty pointer if that refused.
    _ResourceSharePtr<CTexture> CreateTexture(string const& path, string const& name, unsigned int width,
                                              unsigned int height, EPixelFormat format, CRenderSystem* renderSystem,
                                              CTexture::ETextureUsage usage, bool useSystemMemory, bool isManual,
                                              qklib::CSharePtr<CResourceLoader>& loader);
    _ResourceSharePtr<CTexture> GetTexture(string const& name);

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                   qklib::CSharePtr<CResourceLoader>& loader) override;
    void _NotifyResourceRelease(ResourceSharePtr const& resource, int refCount) override;
};
} // namespace qk3d
