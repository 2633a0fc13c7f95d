// QK3DTextureDescription.cpp: what a texture says about itself: its setters, its script, its coordinates.
#include "QK3DTexture.h"

#include "QK3DRenderSystem.h"
#include "QK3DTexelInternal.h"
#include "QK3DText.h"
#include "QKJson.h"
#include "QKText.h"
#include <limits>

namespace qk3d {

constinit StateNameMap<10> CTexture::stringTextureUsageMap({{
    {"DEFAULT", TU_DEFAULT},
    {"STATIC", TU_STATIC},
    {"DYNAMIC", TU_DYNAMIC},
    {"WRITEONLY", TU_WRITEONLY},
    {"STATICWRITEONLY", TU_STATIC_WRITEONLY},
    {"DYNAMICWRITEONLY", TU_DYNAMIC_WRITEONLY},
    {"DYNAMICWRITEONLYDISCARDABLE", TU_DYNAMIC_WRITEONLY_DISCARDABLE},
    {"AUTOMIPMAP", TU_AUTOMIPMAP},
    {"RENDERTARGET", TU_RENDERTARGET},
    {"DEPTHSTENCIL", TU_DEPTHSTENCIL},
}});

void CTexture::InitStringTextureUsageMap() { stringTextureUsageMap.Fill(); }
void CTexture::ClearStringTextureUsageMap() { stringTextureUsageMap.Clear(); }

CTexture::ETextureUsage CTexture::_StringToTextureUsage(string& name) {
    name = qklib::ToUpperAscii(qklib::TrimBlanks(name));
    return static_cast<ETextureUsage>(stringTextureUsageMap.Find(name));
}

// Stores the size of one side and notes whether the image decides it.
void CTexture::_SetSide(unsigned int& side, unsigned int autoBit, unsigned int size) {
    if (m_loadingState == LOADSTATE_LOADED) return;
    side = size;
    bool const isAuto = size == 0 || size == std::numeric_limits<unsigned int>::max();
    m_autoSize = isAuto ? m_autoSize | autoBit : m_autoSize & ~autoBit;
}

void CTexture::SetWidth(unsigned int width) {
    if (width != m_width) _SetSide(m_width, AUTO_WIDTH, width);
}
void CTexture::SetHeight(unsigned int height) {
    if (height != m_height) _SetSide(m_height, AUTO_HEIGHT, height);
}
void CTexture::SetPixelFormat(EPixelFormat format) {
    if (m_loadingState != LOADSTATE_LOADED) m_pixelFormat = format;
}
void CTexture::SetUsage(ETextureUsage usage) {
    if (m_loadingState != LOADSTATE_LOADED) m_usage = usage;
}
void CTexture::SetIsUseSystemMemoryToCreateHWPixelBuf(bool useSystemMemory) {
    if (m_loadingState != LOADSTATE_LOADED) m_useSystemMemory = useSystemMemory;
}
void CTexture::SetMipLevels(unsigned int mipLevels) {
    if (m_loadingState != LOADSTATE_LOADED) m_mipLevels = mipLevels;
}
void CTexture::SetFilter(EFilter filter) {
    if (m_loadingState != LOADSTATE_LOADED) m_filter = filter;
}
void CTexture::SetMipFilter(EFilter filter) {
    if (m_loadingState != LOADSTATE_LOADED) m_mipFilter = filter;
}
void CTexture::SetColorKey(color const& colorKey) {
    if (m_loadingState != LOADSTATE_LOADED) m_colorKey = colorKey;
}

bool CTexture::SetFromParameter(Json::Value const& value) {
    using qklib::JsonMember;
    if (!value.isObject()) return false;

    unsigned int number = 0;
    if (qklib::ReadUInt(value, "Width", number)) SetWidth(number);
    if (qklib::ReadUInt(value, "Height", number)) SetHeight(number);
    auto const readText = [&](char const* key, auto take) {
        Json::Value const& member = JsonMember(value, key);
        if (!member.isString()) return;
        string text = JsonToAnsi(member);
        take(text);
    };
    readText("PixelFormat", [&](string const& text) { SetPixelFormat(StringToPixelFormat(text)); });
    readText("Usage", [&](string& text) { SetUsage(_StringToTextureUsage(text)); });
    if (int levels = 0; qklib::ReadInt(value, "MipLevels", levels)) SetMipLevels(static_cast<unsigned int>(levels));
    readText("Filter", [&](string const& text) { SetFilter(StringToFilterMode(text)); });
    readText("MipFilter", [&](string const& text) { SetMipFilter(StringToFilterMode(text)); });

    Json::Value const& key = JsonMember(value, "ColorKey");
    int channels[4];
    bool isColor = key.isArray();
    for (unsigned int i = 0; i < 4; ++i) isColor = isColor && qklib::ReadInt(qklib::JsonElement(key, i), channels[i]);
    if (isColor) {
        auto const channel = [&](unsigned int i) { return static_cast<unsigned char>(channels[i]); };
        SetColorKey(color(channel(0), channel(1), channel(2), channel(3)));
    }
    return true;
}

bool CTexture::FormatToParameter(Json::Value&) const { return true; }

// With a pixel buffer the surface that the device made decides, without one the description.
#define FORWARD(Function, argument, own) return m_pixelBuffer.IsNull() ? (own) : m_pixelBuffer->Function(argument)

float CTexture::ConvertToU(int x) const { FORWARD(ConvertToU, x, PixelToTexel(x, kTexelCorrection, m_width)); }
float CTexture::ConvertToU(float u) const {
    FORWARD(ConvertToU, u, RelativeToTexel(u, m_width, kTexelCorrection, m_width));
}
float CTexture::ConvertToV(int y) const { FORWARD(ConvertToV, y, PixelToTexel(y, kTexelCorrection, m_height)); }
float CTexture::ConvertToV(float v) const {
    FORWARD(ConvertToV, v, RelativeToTexel(v, m_height, kTexelCorrection, m_height));
}
float CTexture::ConvertToUWithoutCorrection(int x) const {
    FORWARD(ConvertToUWithoutCorrection, x, PixelToTexel(x, 0, m_width));
}
float CTexture::ConvertToUWithoutCorrection(float u) const {
    FORWARD(ConvertToUWithoutCorrection, u, RelativeToTexel(u, m_width, 0, m_width));
}
float CTexture::ConvertToVWithoutCorrection(int y) const {
    FORWARD(ConvertToVWithoutCorrection, y, PixelToTexel(y, 0, m_height));
}
float CTexture::ConvertToVWithoutCorrection(float v) const {
    FORWARD(ConvertToVWithoutCorrection, v, RelativeToTexel(v, m_height, 0, m_height));
}
float CTexture::GetCorrectionU() const { FORWARD(GetCorrectionU, , PixelToTexel(0, kTexelCorrection, m_width)); }
float CTexture::GetCorrectionV() const { FORWARD(GetCorrectionV, , PixelToTexel(0, kTexelCorrection, m_height)); }
#undef FORWARD
} // namespace qk3d
