// ViewHud.cpp: where the numbers of the frame panel come from.
#include "ViewHud.h"

#include "QK3DHardwareBufferManager.h"
#include "QK3DMain.h"
#include "QK3DOverlayItem.h"
#include "QK3DRenderSystem.h"
#include "QK3DResourceManager.h"
#include "QK3DResourceSystem.h"
#include "QK3DTexture.h"
#include "QKJson.h"
#include "ViewCounter.h"
#include "ViewEngine.h"
#include "ViewOverlay.h"
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <numeric>

namespace view {
using namespace qk3d;

namespace {
constexpr std::uint32_t kBackColour = 0xC0101820, kTextColour = 0xFFE8F0F8, kGoodColour = 0xFF58D0A0,
                        kSlowColour = 0xFFF0A040, kLineColour = 0x60FFFFFF;
constexpr unsigned int kFramesPerNumber = 20; // a third of a second
constexpr double kSixtieth = 1000.0 / 60;

std::string Format(char const* format, double value) {
    char text[64];
    std::snprintf(text, sizeof text, format, value);
    return text;
}

std::size_t CountResources() {
    std::size_t count = 0;
    for (char const* type :
         {"CMesh", "CTexture", "CMaterial", "CRenderState", "CTextureState", "CSamplerState", "CGPUProgram"})
        if (CResourceManager* const manager = CQK3DMain::GetResourceSystem().GetResourceManager(type))
            count += static_cast<std::size_t>(std::distance(manager->EnumResourceBegin(), manager->EnumResourceEnd()));
    return count;
}
} // namespace

CViewHud::CViewHud(CViewEngine& engine, CViewOverlay& overlay, CDrawCounter const& counter)
    : m_engine(engine),
      m_overlay(overlay),
      m_counter(counter),
      m_panel(overlay.AddPanel("hud", ParseJsonObject(kHudScript, "hud.json"))),
      m_before(ReadCounts()) {
    m_panel.SetZOrder(1000); // over the panels of any scene
    for (char const* name : {"back", "graph"})
        if (COverlayItem* const item = m_panel.GetSubItem(name)) m_overlay.UseDevice(*item);
    for (char const* row : {"frame", "draws", "states", "filtered", "resources", "buffers"}) Show(row, "");
}

void CViewHud::SetVisible(bool visible) { m_panel.SetVisible(visible); }
bool CViewHud::IsVisible() const { return m_panel.IsVisible(); }

CViewHud::Counts CViewHud::ReadCounts() const {
    Counts counts;
    Json::Value statistics;
    unsigned int draws = 0, sent = 0;
    counts.isKnown = m_engine.Call("GetStatistics", Json::Value(Json::objectValue), &statistics) &&
                     qklib::ReadUInt(statistics, "Draws", draws) && qklib::ReadUInt(statistics, "StateSetters", sent);
    counts.draws = draws;
    counts.sent = sent;
    counts.asked = static_cast<double>(m_counter.GetStateCalls());
    return counts;
}

void CViewHud::TakeFrame(double milliseconds) {
    m_times.push_back(milliseconds);
    ++m_frames;
    if (!IsVisible()) return;
    ShowGraph();
    if (m_hasNumbers && m_frames < kFramesPerNumber) return;
    ShowNumbers();
    m_before = ReadCounts();
    m_frames = 0;
    m_hasNumbers = true;
}

void CViewHud::Show(char const* row, std::string const& value) {
    TextLine line;
    line.left = row;
    line.right = value;
    line.size = 14;
    line.colour = kTextColour;
    if (COverlayItem* const item = m_panel.GetSubItem(std::string("rows.") + row)) m_overlay.SetLine(*item, line);
}

void CViewHud::ShowNumbers() {
    auto const recent = std::min<std::size_t>(m_times.size(), m_frames);
    double const sum = std::accumulate(m_times.end() - static_cast<std::ptrdiff_t>(recent), m_times.end(), 0.0);
    Show("frame", Format("%.2f ms", sum / static_cast<double>(std::max<std::size_t>(recent, 1))));

    Counts const now = ReadCounts();
    auto const perFrame = [&](double count) { return Format("%.0f", count / std::max(m_frames, 1u)); };
    double const asked = now.asked - m_before.asked, sent = now.sent - m_before.sent;
    Show("draws", now.isKnown ? perFrame(now.draws - m_before.draws) : "?");
    Show("states", perFrame(asked));
    Show("filtered", now.isKnown ? perFrame(std::max(asked - sent, 0.0)) : "?");
    Show("resources", std::to_string(CountResources()));
    CHardwareBufferManager* const buffers = m_engine.Device().GetHardwareBufferManager();
    double const bytes = buffers ? static_cast<double>(buffers->GetMemorySizeTotalHarewareBufferUsed()) : 0;
    Show("buffers", Format("%.1f MiB", bytes / (1024 * 1024)));
}

// A column a frame, the latest on the right; the line marks a sixtieth of a second, the upper edge two of them.
void CViewHud::ShowGraph() {
    COverlayItem* const back = m_panel.GetSubItem("back");
    COverlayItem* const graph = m_panel.GetSubItem("graph");
    if (!m_hasBack && back && back->GetTexture()) {
        _ResourceSharePtr<CTexture> const texture = back->GetTexture();
        m_hasBack = ShowPixels(*back, Pixels(texture->GetWidth(), texture->GetHeight(), kBackColour));
    }
    if (!graph || !graph->GetTexture()) return;
    _ResourceSharePtr<CTexture> const texture = graph->GetTexture();
    Pixels pixels(texture->GetWidth(), texture->GetHeight(), 0x30FFFFFF);
    if (m_times.size() > pixels.width)
        m_times.erase(m_times.begin(), m_times.end() - static_cast<std::ptrdiff_t>(pixels.width));
    auto const height = static_cast<int>(pixels.height);
    int column = static_cast<int>(pixels.width) - static_cast<int>(m_times.size());
    for (double const time : m_times) {
        int const length = std::clamp(static_cast<int>(time / (2 * kSixtieth) * height), 1, height);
        pixels.Fill(column, height - length, column + 1, height, time <= kSixtieth ? kGoodColour : kSlowColour);
        ++column;
    }
    for (int x = 0; x < static_cast<int>(pixels.width); ++x) pixels.Cover(x, height / 2, kLineColour, 255);
    ShowPixels(*graph, pixels);
}
} // namespace view
