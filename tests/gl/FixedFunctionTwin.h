// FixedFunctionTwin.h: the fixed-function pipeline in plain C++, one vertex and one pixel at a time, straight from the state.
#pragma once

#include "GLFixedFunction.h"

#include <array>
#include <functional>

namespace qk3d::gltest {
using Colour = std::array<double, 4>; // red, green, blue, alpha

/// One vertex, with every field there is; the features of the draw say which ones count. The layout is that of the
/// vertex buffer of the tests.
struct Vertex {
    float position[4] = {0, 0, 0, 1};
    float normal[3] = {0, 0, 0};
    float diffuse[4] = {1, 1, 1, 1};
    float specular[4] = {0, 0, 0, 1};
    float pointSize = 1;
    float texCoord[8][4] = {};
};

/// What a vertex hands to its pixels.
struct Varyings {
    Colour clip = {};
    Colour diffuse = {}, specular = {};
    double fog = 1;   // factor of a vertex fog mode
    double depth = 0; // what a pixel fog mode measures
    std::array<Colour, 8> coords = {};
    std::array<int, 8> coordSize = {}; // components that the source of the coordinates has
};

struct Pixel {
    bool discarded = false;
    bool undecided = false; // the alpha test hangs on the last bits
    Colour colour = {};
};

/// Gives the texel at (u, v, w) of a stage's texture.
using Sampler = std::function<Colour(unsigned stage, double u, double v, double w)>;

Varyings EvaluateVertex(gl::FixedState const& state, gl::VertexFeatures const& features, Vertex const& vertex);
Pixel EvaluatePixel(gl::FixedState const& state, gl::VertexFeatures const& features, Varyings const& varyings,
                    Sampler const& sample);
} // namespace qk3d::gltest
