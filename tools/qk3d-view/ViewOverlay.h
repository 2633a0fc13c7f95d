// ViewOverlay.h: the 2D layer over the scene: panels from overlay scripts, and texts drawn into their items.
#pragma once

#include "ViewCounter.h"
#include "ViewFont.h"
#include <list>
#include <optional>

namespace qk3d {
class COverlayItem;
class CTexture;
} // namespace qk3d

namespace view {
class CViewEngine;

/// One line for an item whose texture is "Blank": texts at its left and right edges, in the middle of its height.
struct TextLine {
    std::string left, right; ///< UTF-8
    unsigned int size = 16;  ///< pixels
    std::uint32_t colour = 0xFFFFFFFF;

    bool operator==(TextLine const&) const = default;
};

/// Puts the picture into the texture of an item that is "Blank". False while the item has none, or one of another size.
bool ShowPixels(qk3d::COverlayItem& item, Pixels const& pixels);

class CViewOverlay {
public:
    /// `font` may be empty. The layer covers the engine's target.
    CViewOverlay(CViewEngine& engine, CDrawCounter& counter, std::string font);
    CViewOverlay(CViewOverlay const&) = delete;
    CViewOverlay& operator=(CViewOverlay const&) = delete;
    ~CViewOverlay();

    /// A panel is laid out in the box of the whole target. Failure if the file is missing or no script.
    qk3d::COverlayItem& AddPanel(std::string const& file);
    qk3d::COverlayItem& AddPanel(std::string const& name, Json::Value const& script);

    /// Draws a line into the item, a sub-item of a panel, from the next frame on. The item is pointed at from then on.
    void SetLine(qk3d::COverlayItem& item, TextLine const& line);

    /// Gives an item its "Blank" texture ahead of the first drawing, so that there is something to draw into.
    void UseDevice(qk3d::COverlayItem& item);

    /// Once a frame, before drawing: lays everything out and writes what has changed.
    void Advance();

private:
    struct Line {
        qk3d::COverlayItem* item; // of the layer
        TextLine line;
        qk3d::CTexture const* drawnInto; // only compared; null: not drawn yet
    };

    bool Draw(Line& line);

    CViewEngine& m_engine;
    CDrawCounter& m_counter;
    std::string m_fontFile;
    std::optional<CViewFont> m_font; // read when the first line is drawn
    qk3d::COverlayItem* m_layer;     // the engine's overlay manager's
    std::list<Line> m_lines;
};
} // namespace view
