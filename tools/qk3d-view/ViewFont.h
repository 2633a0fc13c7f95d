// ViewFont.h: text as pixels, by FreeType.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace view {
/// A picture in memory: rows from the top, each pixel 0xAARRGGBB, colours not multiplied by their alpha.
struct Pixels {
    unsigned int width, height;
    std::vector<std::uint32_t> argb;

    Pixels(unsigned int w, unsigned int h, std::uint32_t colour)
        : width(w), height(h), argb(std::size_t{w} * h, colour) {}

    /// Puts a rectangle in place of what is there; what lies outside is cut off.
    void Fill(int left, int top, int right, int bottom, std::uint32_t colour);

    /// Lays a colour over a pixel, as strongly as `coverage` says, from 0 to 255.
    void Cover(int x, int y, std::uint32_t colour, unsigned int coverage);
};

/// One font file. Sizes are in pixels, from the baseline of a line to that of the next about 1.2 of them.
class CViewFont {
public:
    /// An empty name takes a font of the system. Failure if there is none, or the file is none.
    explicit CViewFont(std::string const& file);
    ~CViewFont();

    /// Draws one line of UTF-8 text that starts at `left`, with its letters standing on `baseline`.
    void Draw(Pixels& pixels, std::string const& text, int left, int baseline, unsigned int size, std::uint32_t colour);

    /// How far the line reaches.
    int WidthOf(std::string const& text, unsigned int size);

private:
    struct Library; // FreeType's

    /// Calls `visit(glyph, x)` for each character, and returns where the next one would stand.
    template <class Visit>
    int Walk(std::string const& text, unsigned int size, Visit&& visit);

    std::unique_ptr<Library> m_library;
};
} // namespace view
