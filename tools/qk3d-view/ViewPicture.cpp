// ViewPicture.cpp: target to texture, texture to memory, memory to file.
#include "ViewPicture.h"

#include "ImageDecoder.h"
#include "QK3DHardwarePixelBuffer.h"
#include "QK3DMain.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceSystem.h"
#include "QK3DTextureManager.h"
#include "ViewEngine.h"
#include <filesystem>
#include <fstream>

namespace view {
using namespace qk3d;

void SavePicture(CViewEngine& engine, std::string const& utf8) {
    CRenderWindow& target = engine.Target();
    auto* const manager = static_cast<CTextureManager*>(CQK3DMain::GetResourceSystem().GetResourceManager("CTexture"));
    qklib::CSharePtr<CResourceLoader> noLoader;
    auto texture = manager->CreateTexture("", "", target.GetWidth(), target.GetHeight(), target.GetPixelFormat(),
                                          &engine.Device(), CTexture::TU_DEFAULT, false, false, noLoader);
    if (!texture || !texture->Load() || !target.CopyToTexture(texture, nullptr, 0, nullptr))
        throw Failure("the picture cannot be copied from the target");

    CHardwarePixelBuffer& buffer = *texture->GetPixelBuffer();
    CBox const all(0, 0, static_cast<int>(buffer.GetWidth()), static_cast<int>(buffer.GetHeight()));
    CPixelBox const& pixels = buffer.Lock(all, CHardwareBuffer::LM_READONLY);
    if (!pixels.m_data) throw Failure("the picture cannot be read from the device");
    std::vector<std::uint8_t> file;
    // The alpha of what was drawn is of no meaning to whoever looks at it.
    bool const isEncoded =
        image::EncodePng(pixels.m_data, buffer.GetWidth(), buffer.GetHeight(), pixels.m_rowPitch, PF_X8R8G8B8, file);
    buffer.Unlock();

    std::ofstream out(std::filesystem::path(std::u8string(utf8.begin(), utf8.end())), std::ios::binary);
    out.write(reinterpret_cast<char const*>(file.data()), static_cast<std::streamsize>(file.size()));
    if (!isEncoded || !out.flush()) throw Failure("the picture cannot be written: " + utf8);
}
} // namespace view
