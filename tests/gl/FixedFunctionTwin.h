// FixedFunctionTwin.h: the fixed-function pipeline in plain C++, one vertex that becomes one pixel, straight from the state.
#pragma once

#include "GLFixedFunctionKey.h"

#include <array>
#include <functional>

namespace qk3d::gltest {
namespace rs = gl::rs;
namespace ts = gl::ts;

using Colour = std::array<double, 4>; // red, green, blue, alpha

/// One vertex, with every field there is; the features of the draw say which ones count.
struct Vertex {
    float position[4] = {0, 0, 0, 1};
    float normal[3] = {0, 0, 0};
    float diffuse[4] = {1, 1, 1, 1};
    float specular[4] = {0, 0, 0, 1};
    float pointSize = 1;
    float texCoord[8][4] = {};
};

struct Pixel {
    bool drawn = true;
    bool undecided = false; // hangs on the last bits: the alpha test, the border of clip space, a division by next to 0
    Colour colour = {};
};

/// Gives the texel at (u, v) of a stage's texture.
using Sampler = std::function<Colour(unsigned stage, double u, double v)>;

/// What the vertex drawn as a point gives to a pixel of a target of floats.
Pixel Evaluate(gl::FixedState const& state, gl::VertexFeatures const& features, Vertex const& vertex,
               Sampler const& sample);
} // namespace qk3d::gltest
