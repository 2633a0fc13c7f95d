// QK3DTexture.h: the resource that stands for an image on the device.
#pragma once

#include "QK3DColor.h"
#include "QK3DHardwarePixelBuffer.h"
#include "QK3DResource.h"
#include "QK3DSharePtr.h"
#include "QK3DStateNames.h"

namespace qk3d {
class CRenderSystem;
class CRenderTexture;

/// Keeps the description of an image, and its pixel buffer while it is loaded. It is filled from a file, from file
/// bytes in memory, or left blank; it can move to another render system with its pixels, and be drawn into.
///
/// The description can be set in every state but loaded; setters are ignored then.
class QK3D_API CTexture : public CResource {
public:
    /// A set of bits; those below 256 are CHardwareBuffer::EUsage.
    enum ETextureUsage : unsigned int {
        TU_DEFAULT = 0,
        TU_STATIC = 1,
        TU_DYNAMIC = 2,
        TU_WRITEONLY = 4,
        TU_STATIC_WRITEONLY = 5,
        TU_DYNAMIC_WRITEONLY = 6,
        TU_DYNAMIC_WRITEONLY_DISCARDABLE = 14,
        TU_AUTOMIPMAP = 256,
        TU_RENDERTARGET = 512,
        TU_DEPTHSTENCIL = 1024
    };

    /// Usage words of scripts. They count between the two operations below, which the engine root calls.
    static StateNameMap<10> stringTextureUsageMap;
    static void InitStringTextureUsageMap();
    static void ClearStringTextureUsageMap();

    CTexture(CResourceManager* manager, string const& path, string const& name, bool isManual,
             qklib::CSharePtr<CResourceLoader>& loader, CRenderSystem* renderSystem, ETextureUsage usage,
             bool useSystemMemory);
    ~CTexture() override;

    /// 0 and 4294967295 mean that the image decides.
    void SetWidth(unsigned int width);
    void SetHeight(unsigned int height);
    void SetPixelFormat(EPixelFormat format);
    void SetUsage(ETextureUsage usage);
    void SetIsUseSystemMemoryToCreateHWPixelBuf(bool useSystemMemory);
    void SetMipLevels(unsigned int mipLevels);
    void SetFilter(EFilter filter);
    void SetMipFilter(EFilter filter);
    void SetColorKey(color const& colorKey);

    /// Moves the texture to another system: what can be read again is loaded there, pixels that exist on the device
    /// alone are copied over. Its render texture stays behind and is destroyed. Null unloads. Always true.
    bool SetRenderSystem(CRenderSystem* renderSystem);

    /// Makes the texture ready for a draw on that system: moved there, loaded, and, if it is drawn into and on auto
    /// update, drawn now, with the active target and viewport as before afterwards.
    void PrepareForRender(CRenderSystem* renderSystem, long long time);

    /// Whether `PrepareForRender` on that system has nothing to do, as for nearly every draw.
    bool IsReadyForRender(CRenderSystem const* renderSystem) const {
        return m_renderSystem == renderSystem && renderSystem && m_loadingState == LOADSTATE_LOADED &&
               !IsRenderTexture();
    }

    /// The target that draws into this texture; made, and the texture loaded, at the first call. Null without usage
    /// TU_RENDERTARGET, without a render system, or if the back-end makes none. The render system owns it.
    CRenderTexture* GetRenderTexture();

    bool IsRenderTexture() const { return (m_usage & TU_RENDERTARGET) != 0; }
    bool HasAlpha() const { return IsPixelFormatHasAlpha(m_pixelFormat); }
    unsigned int GetWidth() const { return m_width; }
    unsigned int GetHeight() const { return m_height; }
    EPixelFormat GetPixelFormat() const { return m_pixelFormat; }
    ETextureUsage GetUsage() const { return m_usage; }
    bool GetIsUseSystemMemoryToCreateHWPixelBuf() const { return m_useSystemMemory; }
    unsigned int GetMipLevels() const { return m_mipLevels; }
    EFilter GetFilter() const { return m_filter; }
    EFilter GetMipFilter() const { return m_mipFilter; }
    color GetColorKey() const { return m_colorKey; }
    CRenderSystem* GetRenderSystem() const { return m_renderSystem; }

    /// Empty while the texture is not loaded.
    qklib::CSharePtr<CHardwarePixelBuffer>& GetPixelBuffer() { return m_pixelBuffer; }
    qklib::CSharePtr<CHardwarePixelBuffer> const& GetPixelBuffer() const { return m_pixelBuffer; }

    /// As in CHardwarePixelBuffer; without a pixel buffer by the size of the description.
    float ConvertToU(int x) const;
    float ConvertToU(float u) const;
    float ConvertToV(int y) const;
    float ConvertToV(float v) const;
    float ConvertToUWithoutCorrection(int x) const;
    float ConvertToUWithoutCorrection(float u) const;
    float ConvertToVWithoutCorrection(int y) const;
    float ConvertToVWithoutCorrection(float v) const;
    float GetCorrectionU() const;
    float GetCorrectionV() const;

    /// Takes the keys "Width", "Height", "PixelFormat", "Usage", "MipLevels", "Filter", "MipFilter" and "ColorKey".
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;

    /// The render texture dies.
    void _NotifyRenderTextureDestroy() { m_renderTexture = nullptr; }

protected:
    void _CopyImpl(CResource* target) override;
    bool _PrepareImpl() override;
    bool _UnPrepareImpl() override;
    bool _LoadImpl() override;
    bool _UnloadImpl() override;

    static constexpr unsigned int AUTO_WIDTH = 1;
    static constexpr unsigned int AUTO_HEIGHT = 2;

    /// The usage of a script word, which is trimmed and put in upper case in place. Unknown words give TU_DEFAULT.
    static ETextureUsage _StringToTextureUsage(string& name);

    unsigned int m_width = 0;
    unsigned int m_height = 0;
    unsigned int m_autoSize = AUTO_WIDTH | AUTO_HEIGHT; ///< the sides that come from the image
    EPixelFormat m_pixelFormat = PF_UNKNOWN;
    ETextureUsage m_usage;
    bool m_useSystemMemory;
    unsigned int m_mipLevels = 1;
    EFilter m_filter = FILTER_NONE;
    EFilter m_mipFilter = FILTER_NONE;
    color m_colorKey;
    CRenderTexture* m_renderTexture = nullptr; ///< the render system's
    CRenderSystem* m_renderSystem;             ///< not owned
    qklib::CSharePtr<CHardwarePixelBuffer> m_pixelBuffer;

private:
    friend class CRenderTexture;

    qklib::CSharePtr<CHardwarePixelBuffer> _MakePixelBuffer();
    bool _FillPixelBuffer();
    void _TakeAutoSize(CHardwarePixelBuffer const& buffer);
    void _SetSide(unsigned int& side, unsigned int autoBit, unsigned int size);
    void _MovePixels(CRenderSystem* renderSystem);
};
} // namespace qk3d
