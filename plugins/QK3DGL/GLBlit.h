// GLBlit.h: copies rectangles between surfaces on the device.
#pragma once

#include "GLPixelFormat.h"

namespace qk3d {
class CBox;
struct Vector2;
} // namespace qk3d

namespace qk3d::gl {

/// One level of a texture, as the source or destination of a copy. Not multisampled.
struct PixelSurface {
    GLuint texture = 0;
    GLenum internalFormat = 0;
    bool depth = false;
    bool compressed = false;
    unsigned width = 0, height = 0;
};

PixelSurface MakeSurface(GLuint texture, FormatRow const& row, unsigned width, unsigned height);

/// Copies `count` rectangles to `positions`, or to the same places if that is null; what lies outside of either surface
/// is cut off. No boxes at all stretch the whole of one over the whole of the other. False if the formats cannot be
/// copied to each other. The context is current; no state of it is changed.
bool CopyRectangles(PixelSurface const& source, PixelSurface const& dest, CBox const* boxes, unsigned count,
                    Vector2 const* positions);

/// Copies one rectangle to another of any size, with a smooth or a sharp filter.
bool StretchRectangle(PixelSurface const& source, CBox const& sourceBox, PixelSurface const& dest, CBox const& destBox,
                      bool smooth);

} // namespace qk3d::gl
