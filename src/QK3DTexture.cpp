// QK3DTexture.cpp: how a texture is loaded, moved between render systems, and drawn into.
#include "QK3DTexture.h"

#include "QK3DFileSystem.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DKeepActiveInternal.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderTexture.h"
#include "QK3DResourceManager.h"
#include <cstdlib>
#include <limits>
#include <memory>

namespace qk3d {
namespace {
// Both mean that the image decides.
bool IsAutoSize(unsigned int size) { return size == 0 || size == std::numeric_limits<unsigned int>::max(); }
} // namespace

CTexture::CTexture(CResourceManager* manager, string const& path, string const& name, bool isManual,
                   CSharePtr<CResourceLoader>& loader, CRenderSystem* renderSystem, ETextureUsage usage,
                   bool useSystemMemory)
    : CResource(manager, path, name, isManual, loader),
      m_usage(usage),
      m_useSystemMemory(useSystemMemory),
      m_renderSystem(renderSystem) {}

CTexture::~CTexture() {
    if (m_renderTexture) m_renderTexture->_NotifyTextureDestroy();
}

bool CTexture::_PrepareImpl() {
    if (!m_path.empty()) _Locate();
    return true;
}

bool CTexture::_UnPrepareImpl() {
    std::free(m_data);
    m_data = nullptr;
    m_dataSize = 0;
    return true;
}

bool CTexture::_LoadImpl() {
    bool const hasBytes = m_data && m_dataSize != 0;
    if (!m_renderSystem || (m_path.empty() && !hasBytes && (m_width == 0 || m_height == 0))) return false;
    m_pixelBuffer.Release();
    m_pixelBuffer = _MakePixelBuffer();
    if (m_pixelBuffer.IsNull() || !_FillPixelBuffer()) return false;
    m_filter = m_pixelBuffer->GetFilter(); // the back-end may have chosen another
    _TakeAutoSize(*m_pixelBuffer);
    if (m_renderTexture) m_renderTexture->_NotifyTextureLoad();
    return true;
}

// A buffer of the present system, described but not created; empty if the system makes none.
CSharePtr<CHardwarePixelBuffer> CTexture::_MakePixelBuffer() {
    CHardwareBufferManager* const manager = m_renderSystem->GetHardwareBufferManager();
    if (!manager) return {};
    bool const hasImage = !m_path.empty() || (m_data && m_dataSize != 0); // without one nothing else knows the size
    if (hasImage && (m_autoSize & AUTO_WIDTH)) m_width = 0;
    if (hasImage && (m_autoSize & AUTO_HEIGHT)) m_height = 0;
    CSharePtr<CHardwarePixelBuffer> buffer = manager->CreatePixelBuffer(
        m_width, m_height, m_pixelFormat, static_cast<CHardwareBuffer::EUsage>(m_usage), m_useSystemMemory, false);
    if (buffer.IsNull()) return buffer;
    buffer->SetMipLevels(m_mipLevels);
    buffer->SetFilter(m_filter);
    buffer->SetMipFilter(m_mipFilter);
    buffer->SetColorKey(m_colorKey);
    return buffer;
}

bool CTexture::_FillPixelBuffer() {
    if (m_data && m_dataSize != 0) {
        m_pixelBuffer->CreateFromFileInMemory(m_data, m_dataSize); // the owner's bytes stay for the next device
    } else if (m_path.empty()) {
        m_pixelBuffer->Create();
    } else {
        unsigned char* bytes = nullptr;
        unsigned long long const size = m_fileSystem ? m_fileSystem->ReadFileAsBinary(m_path, &bytes) : 0;
        std::unique_ptr<unsigned char, decltype(&std::free)> const owner(bytes, &std::free);
        if (bytes && size != 0)
            m_pixelBuffer->CreateFromFileInMemory(bytes, size);
        else
            m_pixelBuffer->CreateFromFile(m_path); // the back-end may know a way to the file
    }
    return m_pixelBuffer->IsCreated();
}

void CTexture::_TakeAutoSize(CHardwarePixelBuffer const& buffer) {
    if (IsAutoSize(m_width)) m_width = buffer.GetWidth();
    if (IsAutoSize(m_height)) m_height = buffer.GetHeight();
}

bool CTexture::_UnloadImpl() {
    if (m_pixelBuffer.IsNull()) return true;
    if (m_renderTexture) m_renderTexture->_NotifyTextureUnload();
    m_pixelBuffer.Release();
    return true;
}

void CTexture::_CopyImpl(CResource* target) {
    auto* const copy = dynamic_cast<CTexture*>(target);
    if (!copy || copy == this) return;
    copy->UnPrepare();
    copy->m_width = m_width;
    copy->m_height = m_height;
    copy->m_pixelFormat = m_pixelFormat;
    copy->m_usage = m_usage;
    copy->m_mipLevels = m_mipLevels;
    copy->m_filter = m_filter;
    copy->m_mipFilter = m_mipFilter;
    copy->m_colorKey = m_colorKey;
    copy->m_renderSystem = m_renderSystem;
    if (copy->MakeSureLoaded() && !copy->m_pixelBuffer.IsNull() && !m_pixelBuffer.IsNull())
        copy->m_pixelBuffer->BlitEx(m_pixelBuffer, nullptr, 0, nullptr);
}

bool CTexture::SetRenderSystem(CRenderSystem* renderSystem) {
    if (renderSystem == m_renderSystem) return true;
    if (!renderSystem) {
        // The render texture stays tied: its system, which is about to go, destroys it.
        Unload();
        m_renderSystem = nullptr;
        return true;
    }

    // What is destroyed below may hold the last other handle.
    ResourceSharePtr keep = m_manager ? m_manager->GetResource(m_name) : nullptr;
    if (m_renderTexture) {
        m_renderTexture->GetRenderSystem()->DestroyRenderTarget(m_renderTexture->GetName());
        if (m_renderTexture) m_renderTexture = nullptr; // it is being drawn, and dies a little later
    }
    if (m_loadingState == LOADSTATE_LOADED && m_path.empty() && !m_pixelBuffer.IsNull()) {
        _MovePixels(renderSystem);
    } else {
        bool const isLoaded = m_loadingState == LOADSTATE_LOADED;
        if (isLoaded) Unload();
        m_renderSystem = renderSystem;
        if (isLoaded) Load();
    }
    return true;
}

// The pixels exist on the old device alone. Where the new one takes no buffer they stay there, and the texture with them
// names a system that can't draw it.
void CTexture::_MovePixels(CRenderSystem* renderSystem) {
    m_renderSystem = renderSystem;
    CSharePtr<CHardwarePixelBuffer> old = m_pixelBuffer;
    unsigned int const width = m_width;
    unsigned int const height = m_height;
    CSharePtr<CHardwarePixelBuffer> made = _MakePixelBuffer();
    if (!made.IsNull()) {
        m_pixelBuffer = made;
        if (_FillPixelBuffer()) {
            _TakeAutoSize(*made);
            made->Blit(old);
            return;
        }
    }
    m_pixelBuffer = old;
    m_width = width; // an automatic side was cleared on the way
    m_height = height;
}

CRenderTexture* CTexture::GetRenderTexture() {
    if (!IsRenderTexture() || m_renderTexture || !m_renderSystem) return m_renderTexture;
    if (!MakeSureLoaded()) return nullptr;
    CRenderTexture* const made = m_renderSystem->CreateRenderTexture(this);
    m_renderTexture = made;
    return made;
}

void CTexture::PrepareForRender(CRenderSystem* renderSystem, long long time) {
    SetRenderSystem(renderSystem);
    if (!renderSystem || !MakeSureLoaded()) return;
    CRenderTexture* const target = GetRenderTexture();
    if (!target || !target->IsAutoUpdate() || !target->IsNeedToUpdate(CRenderTarget::kForceUpdateTime)) return;
    CKeepActive before(*renderSystem);
    target->Update(time); // draws once per time, and not inside itself
    before.Restore();
}
} // namespace qk3d
