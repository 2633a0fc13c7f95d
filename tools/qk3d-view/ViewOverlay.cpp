// ViewOverlay.cpp: one item as large as the target, with the panels below it.
#include "ViewOverlay.h"

#include "QK3DMain.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderWindow.h"
#include "QK3DTexture.h"
#include "QKJson.h"
#include "ViewEngine.h"
#include <algorithm>
#include <cstring>

namespace view {
using namespace qk3d;

namespace {
constexpr char kLayerName[] = "view";
}

bool ShowPixels(COverlayItem& item, Pixels const& pixels) {
    _ResourceSharePtr<CTexture> texture = item.GetTexture();
    if (!texture || texture->GetPixelBuffer().IsNull()) return false;
    CHardwarePixelBuffer& buffer = *texture->GetPixelBuffer();
    if (buffer.GetWidth() != pixels.width || buffer.GetHeight() != pixels.height) return false;
    CBox const all(0, 0, static_cast<int>(pixels.width), static_cast<int>(pixels.height));
    CPixelBox const& box = buffer.Lock(all, CHardwareBuffer::LM_DISCARD);
    bool const isLocked = box.m_data && box.m_format == PF_A8R8G8B8;
    for (std::size_t y = 0; isLocked && y < pixels.height; ++y)
        std::memcpy(static_cast<char*>(box.m_data) + y * box.m_rowPitch, &pixels.argb[y * pixels.width],
                    pixels.width * std::size_t{4});
    buffer.Unlock();
    return isLocked;
}

CViewOverlay::CViewOverlay(CViewEngine& engine, CDrawCounter& counter, std::string font)
    : m_engine(engine), m_counter(counter), m_fontFile(std::move(font)) {
    CRenderWindow& target = engine.Target();
    m_layer = CQK3DMain::GetOverlayManager().CreateOverlayItem(kLayerName, 0, 0, static_cast<int>(target.GetWidth()),
                                                               static_cast<int>(target.GetHeight()), 0);
    target.AddOverlayItem(m_layer);
}

CViewOverlay::~CViewOverlay() { CQK3DMain::GetOverlayManager().DestroyOverlayItem(kLayerName); }

COverlayItem& CViewOverlay::AddPanel(std::string const& file) {
    // Read by ourselves, out of a package too, and not by the overlay manager, which would only log what is wrong.
    return AddPanel(StemOf(file), m_engine.Files().ReadJson(file));
}

COverlayItem& CViewOverlay::AddPanel(std::string const& name, Json::Value const& script) {
    COverlayItem* const panel = m_layer->CreateSubItem(ToNarrow(name));
    if (!panel) throw Failure("there are two panels of this name: " + name);
    panel->SetFromParameter(script);
    m_counter.Watch(*panel, script);
    return *panel;
}

void CViewOverlay::UseDevice(COverlayItem& item) { item.SetRenderSystem(&m_engine.Device()); }

void CViewOverlay::SetLine(COverlayItem& item, TextLine const& line) {
    auto const found =
        std::find_if(m_lines.begin(), m_lines.end(), [&](Line const& other) { return other.item == &item; });
    if (found == m_lines.end()) {
        UseDevice(item);
        m_lines.push_back({&item, line, nullptr});
    } else if (found->line != line) {
        found->line = line;
        found->drawnInto = nullptr;
    }
}

// A line whose item is hidden has no texture to go to, and waits.
bool CViewOverlay::Draw(Line& line) {
    _ResourceSharePtr<CTexture> const texture = line.item->GetTexture();
    if (!texture) return false;
    if (!m_font) m_font.emplace(m_fontFile);
    TextLine const& text = line.line;
    Pixels pixels(texture->GetWidth(), texture->GetHeight(), text.colour & 0x00FFFFFF);
    // Capitals are about three quarters of the size high.
    int const baseline = (static_cast<int>(pixels.height) + static_cast<int>(text.size) * 3 / 4) / 2;
    m_font->Draw(pixels, text.left, 0, baseline, text.size, text.colour);
    if (!text.right.empty())
        m_font->Draw(pixels, text.right, static_cast<int>(pixels.width) - m_font->WidthOf(text.right, text.size) - 1,
                     baseline, text.size, text.colour);
    return ShowPixels(*line.item, pixels);
}

void CViewOverlay::Advance() {
    CRenderWindow& target = m_engine.Target();
    m_layer->SetSize(static_cast<int>(target.GetWidth()), static_cast<int>(target.GetHeight()));
    CQK3DMain::GetOverlayManager().Update();
    for (Line& line : m_lines) {
        CTexture const* const texture = line.item->GetTexture();
        if (texture != line.drawnInto || !texture) line.drawnInto = Draw(line) ? texture : nullptr;
    }
}
} // namespace view
