// FixedFunctionRig.h: draws with generated programs, straight from a state and without the engine around them.
#pragma once

#include "FixedFunctionTwin.h"

#include "GLContext.h"
#include "GLFixedFunctionKey.h"

#include <bit>
#include <memory>
#include <vector>

namespace qk3d::gltest {
namespace rs = gl::rs;
namespace ts = gl::ts;

inline std::uint32_t Bits(float value) { return std::bit_cast<std::uint32_t>(value); }

/// A state in which nothing is switched on: stages off, no light, no fog, identity matrices.
gl::FixedState PlainState();

/// A vertex with every field, and the features that say so.
gl::VertexFeatures AllFeatures();

/// Sets operation and arguments of a stage, colour and alpha alike.
void SetStage(gl::FixedState& state, unsigned stage, unsigned op, unsigned arg1 = gl::kTexture,
              unsigned arg2 = gl::kCurrent, unsigned arg0 = gl::kCurrent);

/// A texture of 32-bit floats; `texels` has width times height of them, rows from the top down. Coordinates wrap.
struct Texture {
    unsigned width = 0, height = 0;
    std::vector<gl::Float4> texels;
    bool linear = false;
};

/// A texture that gives its own coordinates back as red and green, for coordinates from 0.01 to 0.99.
Texture CoordTexture();

/// The texel that a device would find, in plain C++.
Colour Sample(Texture const& texture, double u, double v);

/// Draws into targets of 32 bits a channel, so that nothing is rounded.
class Rig {
public:
    static constexpr unsigned kSize = 64;

    /// The one rig of the process; null if there is no device, which is a failure of the caller's test.
    static Rig* Get();
    ~Rig();

    /// Clears the target to `colour` and the depth to 1.
    void Clear(gl::Float4 const& colour);
    void SetTexture(unsigned stage, Texture const& texture);
    /// A cube whose faces have one colour each, in the order of +x, -x, +y, -y, +z, -z.
    void SetCube(unsigned stage, std::array<gl::Float4, 6> const& faces);

    void Draw(GLenum mode, gl::FixedState const& state, gl::VertexFeatures const& features,
              std::vector<Vertex> const& vertices);

    /// The colour that one vertex alone gives to a pixel, drawn as a point. `drawn` is false if nothing arrives.
    Colour Shade(gl::FixedState state, gl::VertexFeatures const& features, Vertex const& vertex, bool& drawn);
    Colour Shade(gl::FixedState const& state, gl::VertexFeatures const& features, Vertex const& vertex);

    Colour At(unsigned x, unsigned y);
    std::vector<Colour> All(); // row by row from the top

private:
    Rig() = default;
    bool Open();

    std::unique_ptr<gl::GLContext> m_context;
    std::unique_ptr<gl::FixedFunctionShaders> m_shaders;
    GLuint m_target = 0, m_colour = 0, m_depth = 0;
    GLuint m_pipeline = 0, m_layout = 0, m_vertices = 0, m_blocks[3] = {}, m_textures[8] = {};
};
} // namespace qk3d::gltest
