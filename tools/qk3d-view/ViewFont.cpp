// ViewFont.cpp: finding a font, and drawing its glyphs.
#include "ViewFont.h"

#include "QK3DText.h"
#include "ViewText.h"
#include <algorithm>
#include <filesystem>
#include <ft2build.h>
#include FT_FREETYPE_H

namespace view {
namespace {
// Debian's package fonts-dejavu-core, and where other systems keep the same font.
char const* const kSystemFonts[] = {
    "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
    "/usr/share/fonts/TTF/DejaVuSans.ttf",
    "/usr/share/fonts/dejavu-sans-fonts/DejaVuSans.ttf",
};

std::string FindFont(std::string const& asked) {
    if (!asked.empty()) return asked;
    for (char const* file : kSystemFonts)
        if (std::error_code error; std::filesystem::is_regular_file(file, error)) return file;
    throw Failure(std::string("there is no font to write with; name one with --font, or install the one at ") +
                  kSystemFonts[0]);
}
} // namespace

void Pixels::Fill(int left, int top, int right, int bottom, std::uint32_t colour) {
    for (int y = std::max(top, 0); y < std::min(bottom, static_cast<int>(height)); ++y)
        for (int x = std::max(left, 0); x < std::min(right, static_cast<int>(width)); ++x)
            argb[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)] = colour;
}

void Pixels::Cover(int x, int y, std::uint32_t colour, unsigned int coverage) {
    if (x < 0 || y < 0 || x >= static_cast<int>(width) || y >= static_cast<int>(height)) return;
    std::uint32_t& under = argb[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)];
    std::uint32_t const over = (colour >> 24) * std::min(coverage, 255u) / 255;
    std::uint32_t const rest = (under >> 24) * (255 - over) / 255, alpha = over + rest;
    if (alpha == 0) return;
    std::uint32_t mixed = alpha << 24;
    for (int shift = 0; shift < 24; shift += 8)
        mixed |= ((colour >> shift & 255) * over + (under >> shift & 255) * rest) / alpha << shift;
    under = mixed;
}

struct CViewFont::Library {
    FT_Library library = nullptr;
    FT_Face face = nullptr;

    ~Library() {
        if (face) FT_Done_Face(face);
        if (library) FT_Done_FreeType(library);
    }
};

CViewFont::CViewFont(std::string const& file) : m_library(std::make_unique<Library>()) {
    std::string const path = FindFont(file);
    if (FT_Init_FreeType(&m_library->library) != 0 ||
        FT_New_Face(m_library->library, path.c_str(), 0, &m_library->face) != 0)
        throw Failure("the font cannot be read: " + path);
}

CViewFont::~CViewFont() = default;

template <class Visit>
int CViewFont::Walk(std::string const& text, unsigned int size, Visit&& visit) {
    FT_Face const face = m_library->face;
    if (FT_Set_Pixel_Sizes(face, 0, std::max(size, 1u)) != 0) return 0;
    FT_Pos x = 0; // in 64ths of a pixel
    FT_UInt before = 0;
    for (wchar_t const unit : qk3d::Utf8ToWide(reinterpret_cast<unsigned char const*>(text.data()), text.size())) {
        FT_UInt const index = FT_Get_Char_Index(face, static_cast<FT_ULong>(unit));
        FT_Vector kerning{};
        if (before && FT_Get_Kerning(face, before, index, FT_KERNING_DEFAULT, &kerning) == 0) x += kerning.x;
        before = index;
        if (FT_Load_Glyph(face, index, FT_LOAD_RENDER | FT_LOAD_TARGET_LIGHT) != 0) continue;
        visit(*face->glyph, static_cast<int>(x >> 6));
        x += face->glyph->advance.x;
    }
    return static_cast<int>(x >> 6);
}

void CViewFont::Draw(Pixels& pixels, std::string const& text, int left, int baseline, unsigned int size,
                     std::uint32_t colour) {
    Walk(text, size, [&](FT_GlyphSlotRec const& glyph, int x) {
        FT_Bitmap const& bitmap = glyph.bitmap;
        if (bitmap.pixel_mode != FT_PIXEL_MODE_GRAY) return; // a font of ready pictures
        for (unsigned int row = 0; row < bitmap.rows; ++row)
            for (unsigned int column = 0; column < bitmap.width; ++column)
                pixels.Cover(left + x + glyph.bitmap_left + static_cast<int>(column),
                             baseline - glyph.bitmap_top + static_cast<int>(row), colour,
                             bitmap.buffer[static_cast<int>(row) * bitmap.pitch + static_cast<int>(column)]);
    });
}

int CViewFont::WidthOf(std::string const& text, unsigned int size) {
    return Walk(text, size, [](auto const&, int) {});
}
} // namespace view
