// FixedFunctionFixture.h: a plain state, a vertex and a rig, from which each test departs.
#pragma once

#include "FixedFunctionRig.h"

#include <string>

#include <gtest/gtest.h>

using namespace qk3d::gl;
using namespace qk3d::gltest;

inline constexpr double kNear = 2e-3; // floats of the device, and 8 bits of weight where a texture is filtered

class FixedFunction : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_NE(Rig::Get(), nullptr) << "no OpenGL 4.5 device without a display";
        rig = Rig::Get();
        rig->UseBytes(false);
    }
    Rig* rig = nullptr;
    FixedState s = PlainState();
    VertexFeatures f = AllFeatures();
    Vertex v;
};

inline void ExpectColour(Colour const& got, Colour const& wanted, std::string const& what, double tolerance = kNear) {
    for (std::size_t c = 0; c < 4; ++c) EXPECT_NEAR(got[c], wanted[c], tolerance) << what << ", channel " << c;
}
