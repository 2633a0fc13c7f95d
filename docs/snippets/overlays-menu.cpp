#include "QK3D.h"
#include <cstdio>
using namespace qk3d;

// Fills an item whose texture is "Blank". A font library would draw letters here.
bool Paint(COverlayItem& item, unsigned int argb) {
    _ResourceSharePtr<CTexture> texture = item.GetTexture();
    if (!texture || texture->GetPixelBuffer().IsNull()) return false; // not drawn yet
    CHardwarePixelBuffer& pixels = *texture->GetPixelBuffer();
    CBox const all(0, 0, static_cast<int>(pixels.GetWidth()), static_cast<int>(pixels.GetHeight()));
    CPixelBox const& box = pixels.Lock(all, CHardwareBuffer::LM_DISCARD);
    for (int y = 0; box.m_data && y < all.height; ++y) {
        auto* row = reinterpret_cast<unsigned int*>(static_cast<char*>(box.m_data) +
                                                    static_cast<std::size_t>(y) * box.m_rowPitch);
        for (int x = 0; x < all.width; ++x) row[x] = argb;
    }
    pixels.Unlock(); // also after a lock that failed
    return true;
}

bool Show(CQK3DMain& engine) {
    CRenderSystem* device = engine.CreateRenderSystem("QK3DGL", "device");
    CRenderWindow* window = device ? device->CreateRenderWindow("window", 320, 240, PF_A8R8G8B8, false) : nullptr;
    if (!window) return false;

    COverlayManager& overlays = CQK3DMain::GetOverlayManager();
    overlays.AddOverlayScriptDirPath(QK3D_SNIPPET_DIR "/overlays");
    COverlayItem* menu = overlays.CreateOverlayItem("menu.json", "menu");
    COverlayItem* quit = overlays.GetOverlayItem("menu.quit");
    if (!quit) return false;
    window->AddOverlayItem(menu); // sub-items come along

    for (long long frame = 1; frame <= 3; ++frame) {
        overlays.Update(); // lays out; before the targets are drawn
        if (!device->UpdateAllRenderTarget(frame)) return false;
        if (frame > 1) continue;
        // From the first frame on the items have their textures.
        if (!Paint(*menu, 0xC0101820) || !Paint(*menu->GetSubItem("start"), 0xFF2080C0) || !Paint(*quit, 0xFFC04020))
            return false;
    }

    Vector2 const click(60, 75); // pixels of the window
    quit->SetAlpha(quit->IsPointInRange(click) ? 128 : 255);
    std::printf("%s\n", quit->GetAlpha() == 128 ? "quit was pressed" : "nothing was pressed");
    return quit->GetAlpha() == 128;
}

int main() {
    CQK3DMain& engine = CQK3DMain::GetQK3DMain();
    CQK3DMain::GetPluginManager().SetDirPath(QK3D_PLUGIN_DIR);
    bool const shown = engine.LoadPlugin("QK3DGL.so", nullptr, 0) && Show(engine);
    engine.Clear();
    return shown ? 0 : 1;
}
