// GLBlit.cpp: copies between surfaces, as raw texels where they match and through framebuffers where they do not.
#include "GLBlit.h"

#include "QK3DBox.h"
#include "QK3DVector.h"

#include <algorithm>
#include <cmath>

namespace qk3d::gl {
namespace {
struct Copy {
    long long x, y, width, height, toX, toY;

    // Cuts the copy to both surfaces.
    void Clip(PixelSurface const& source, PixelSurface const& dest) {
        Cut(x, toX, width, source.width, dest.width);
        Cut(y, toY, height, source.height, dest.height);
    }
    bool IsEmpty() const { return width <= 0 || height <= 0; }

private:
    static void Cut(long long& from, long long& to, long long& length, long long fromSize, long long toSize) {
        auto const before = std::max({0ll, -from, -to});
        from += before;
        to += before;
        length = std::min({length - before, fromSize - from, toSize - to});
    }
};

// What a blit looks at besides its arguments.
class BlitState {
public:
    BlitState() : m_scissor(glIsEnabled(GL_SCISSOR_TEST)), m_srgb(glIsEnabled(GL_FRAMEBUFFER_SRGB)) {
        glDisable(GL_SCISSOR_TEST);
        glDisable(GL_FRAMEBUFFER_SRGB);
        glCreateFramebuffers(2, m_framebuffers);
    }
    ~BlitState() {
        glDeleteFramebuffers(2, m_framebuffers);
        if (m_scissor) glEnable(GL_SCISSOR_TEST);
        if (m_srgb) glEnable(GL_FRAMEBUFFER_SRGB);
    }
    BlitState(BlitState const&) = delete;
    BlitState& operator=(BlitState const&) = delete;

    bool Attach(PixelSurface const& source, PixelSurface const& dest) {
        GLenum const point = source.depth ? GL_DEPTH_ATTACHMENT : GL_COLOR_ATTACHMENT0;
        glNamedFramebufferTexture(m_framebuffers[0], point, source.texture, 0);
        glNamedFramebufferTexture(m_framebuffers[1], point, dest.texture, 0);
        if (source.depth)
            for (GLuint const framebuffer : m_framebuffers) {
                glNamedFramebufferDrawBuffer(framebuffer, GL_NONE);
                glNamedFramebufferReadBuffer(framebuffer, GL_NONE);
            }
        return glCheckNamedFramebufferStatus(m_framebuffers[0], GL_READ_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE &&
               glCheckNamedFramebufferStatus(m_framebuffers[1], GL_DRAW_FRAMEBUFFER) == GL_FRAMEBUFFER_COMPLETE;
    }

    void Blit(long long x, long long y, long long width, long long height, long long toX, long long toY,
              long long toWidth, long long toHeight, GLbitfield mask, GLenum filter) const {
        auto const number = [](long long value) { return static_cast<GLint>(value); };
        glBlitNamedFramebuffer(m_framebuffers[0], m_framebuffers[1], number(x), number(y), number(x + width),
                               number(y + height), number(toX), number(toY), number(toX + toWidth),
                               number(toY + toHeight), mask, filter);
    }

private:
    bool m_scissor, m_srgb;
    GLuint m_framebuffers[2] = {};
};

bool CanBlit(PixelSurface const& source, PixelSurface const& dest) {
    return source.depth == dest.depth && !source.compressed && !dest.compressed && source.texture != dest.texture;
}
} // namespace

PixelSurface MakeSurface(GLuint texture, FormatRow const& row, unsigned width, unsigned height) {
    return {texture, row.internalFormat, IsDepthFormat(row), row.blockBytes != 0, width, height};
}

bool StretchRectangle(PixelSurface const& source, CBox const& from, PixelSurface const& dest, CBox const& to,
                      bool smooth) {
    if (!CanBlit(source, dest)) return false;
    BlitState state;
    if (!state.Attach(source, dest)) return false;
    bool const depth = source.depth;
    state.Blit(from.x, from.y, from.width, from.height, to.x, to.y, to.width, to.height,
               depth ? GL_DEPTH_BUFFER_BIT : GL_COLOR_BUFFER_BIT, smooth && !depth ? GL_LINEAR : GL_NEAREST);
    return true;
}

bool CopyRectangles(PixelSurface const& source, PixelSurface const& dest, CBox const* boxes, unsigned count,
                    Vector2 const* positions) {
    auto const whole = [](PixelSurface const& surface) {
        return CBox(0, 0, static_cast<int>(surface.width), static_cast<int>(surface.height));
    };
    bool const sameSize = source.width == dest.width && source.height == dest.height;
    if (!boxes || !count) {
        if (!sameSize) return StretchRectangle(source, whole(source), dest, whole(dest), true);
        boxes = nullptr;
        count = 1;
    }
    auto const copyAt = [&](unsigned i) {
        CBox const box = boxes ? boxes[i] : whole(source);
        Copy copy = {box.x, box.y, box.width, box.height, box.x, box.y};
        if (boxes && positions) {
            auto const pixel = [](float value) { return std::isfinite(value) ? std::clamp(value, -1e9f, 1e9f) : 0; };
            copy.toX = static_cast<long long>(pixel(positions[i].x));
            copy.toY = static_cast<long long>(pixel(positions[i].y));
        }
        copy.Clip(source, dest);
        return copy;
    };

    if (source.internalFormat == dest.internalFormat && source.texture != dest.texture) {
        for (unsigned i = 0; i < count; ++i) {
            Copy const copy = copyAt(i);
            if (copy.IsEmpty()) continue;
            // Blocks are copied whole or, at the far edges, to the end.
            if (source.compressed && ((copy.x | copy.y | copy.toX | copy.toY) % 4 != 0 ||
                                      (copy.width % 4 != 0 && copy.x + copy.width != source.width) ||
                                      (copy.height % 4 != 0 && copy.y + copy.height != source.height)))
                return false;
            glCopyImageSubData(source.texture, GL_TEXTURE_2D, 0, static_cast<GLint>(copy.x), static_cast<GLint>(copy.y),
                               0, dest.texture, GL_TEXTURE_2D, 0, static_cast<GLint>(copy.toX),
                               static_cast<GLint>(copy.toY), 0, static_cast<GLsizei>(copy.width),
                               static_cast<GLsizei>(copy.height), 1);
        }
        return true;
    }

    if (!CanBlit(source, dest)) return false;
    BlitState state;
    if (!state.Attach(source, dest)) return false;
    for (unsigned i = 0; i < count; ++i) {
        Copy const copy = copyAt(i);
        if (!copy.IsEmpty())
            state.Blit(copy.x, copy.y, copy.width, copy.height, copy.toX, copy.toY, copy.width, copy.height,
                       source.depth ? GL_DEPTH_BUFFER_BIT : GL_COLOR_BUFFER_BIT, GL_NEAREST);
    }
    return true;
}
} // namespace qk3d::gl
