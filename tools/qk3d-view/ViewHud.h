// ViewHud.h: the frame panel: what a frame costs, in numbers and as a curve.
#pragma once

#include <string>
#include <vector>

namespace qk3d {
class COverlayItem;
}

namespace view {
class CDrawCounter;
class CViewEngine;
class CViewOverlay;

/// The panel's overlay script.
extern char const* const kHudScript;

/// Shows the frame before this one: its time, draws, state calls that they ask for, those of them that the
/// engine's filter kept from the device, resources, and memory in buffers. Numbers stand for a while, so that they can be read.
class CViewHud {
public:
    CViewHud(CViewEngine& engine, CViewOverlay& overlay, CDrawCounter const& counter);

    void SetVisible(bool visible);
    bool IsVisible() const;

    /// Once a frame, after it was drawn.
    void TakeFrame(double milliseconds);

private:
    struct Counts {
        double draws = 0, asked = 0, sent = 0;
        bool isKnown = false; // the device told
    };

    Counts ReadCounts() const;
    void ShowNumbers();
    void ShowGraph();
    void Show(char const* row, std::string const& value);

    CViewEngine& m_engine;
    CViewOverlay& m_overlay;
    CDrawCounter const& m_counter;
    qk3d::COverlayItem& m_panel; // the overlay's
    std::vector<double> m_times; // milliseconds of the last frames
    Counts m_before;             // at the start of the frames that the numbers are about
    unsigned int m_frames = 0;   // since then
    bool m_hasNumbers = false;
    bool m_hasBack = false;
};
} // namespace view
