// QK3DTextureManager.cpp: makes and finds textures, and lets go of those that nobody holds.
#include "QK3DTextureManager.h"

#include "QK3DLogInternal.h"

namespace qk3d {

CTextureManager::~CTextureManager() { QK_LOG(LOG_INFO, "CTextureManager Destroy"); }

string CTextureManager::GetResourceTypeName() const { return "CTexture"; }

CResource* CTextureManager::_CreateResourceImpl(string const& path, string const& name, bool isManual,
                                                CSharePtr<CResourceLoader>& loader) {
    return new CTexture(this, path, name, isManual, loader, nullptr, CTexture::TU_DEFAULT, false);
}

_ResourceSharePtr<CTexture> CTextureManager::CreateTexture(string const& path, string const& name, unsigned int width,
                                                           unsigned int height, EPixelFormat format,
                                                           CRenderSystem* renderSystem, CTexture::ETextureUsage usage,
                                                           bool useSystemMemory, bool isManual,
                                                           CSharePtr<CResourceLoader>& loader) {
    _ResourceSharePtr<CTexture> texture = CreateResource(path, name, isManual, loader);
    if (!texture) return texture;
    texture->SetRenderSystem(renderSystem);
    texture->SetWidth(width);
    texture->SetHeight(height);
    texture->SetPixelFormat(format);
    texture->SetUsage(usage);
    texture->SetIsUseSystemMemoryToCreateHWPixelBuf(useSystemMemory);
    return texture;
}

_ResourceSharePtr<CTexture> CTextureManager::GetTexture(string const& name) { return GetResource(name); }

void CTextureManager::_NotifyResourceRelease(ResourceSharePtr const& resource, int refCount) {
    CResource const* const texture = resource;
    if (!texture || refCount > 1) return;
    if (refCount == 1) {
        _DropResource(resource, !texture->IsManual());
        return;
    }
    QK_LOG(LOG_ERROR, "Auto Destroy Texture [Something Wrong] -> %s, %d", texture->GetName().c_str(), refCount);
    _EraseEntry(resource);
}
} // namespace qk3d
