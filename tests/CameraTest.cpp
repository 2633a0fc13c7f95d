// CameraTest.cpp: views, projections, free look, and the way between pixels and points.
#include "QK3D.h"
#include <gtest/gtest.h>
#include <random>

using namespace qk3d;

namespace {
Vector3 const kEye(1, 2, -5), kAt(1, 2, 3), kUp(0, 1, 0);

bool Near(Matrix44 const& a, Matrix44 const& b) {
    return std::equal(a.m, std::end(a.m), b.m, [](float x, float y) { return std::fabs(x - y) <= 1e-5f; });
}

// 640 by 480, looking along z.
class Camera : public ::testing::Test {
protected:
    Camera() {
        m_camera.SetViewParams(kEye, kAt, kUp);
        m_camera.SetProjParams(1.0f, 4.0f / 3, 1, 100);
    }
    CCamera m_camera{"camera"};
};
} // namespace

TEST_F(Camera, FillsTheScreenInWholePixels) {
    m_camera.Set2DCameraFillScreen(10.7f, 3, 320, 240, 640, 480, 0, 0); // -(10.7 - 160) and 3 - 120, cut
    EXPECT_TRUE(
        Near(m_camera.GetViewProjectionMatrix(), MatBuildTranslation(149, -117, 0) * MatBuildOrthoLH(320, 240, 0, 1)));
    m_camera.Set2DCameraFillScreen(NAN, 3e38f, 320, 240, 0, 480, 0, 0); // nothing to map, but nothing undefined either
}

TEST_F(Camera, MovesWithItsNodeAndItsOwnTransform) {
    CSceneNode root("root", nullptr);
    root.AttachMovableObject(&m_camera);
    root.Translation(10, 0, 0);
    m_camera.RotateY(0.5f);
    root.Update(true, true);
    Matrix44 const world = MatBuildRotationY(0.5f) * MatBuildTranslation(10, 0, 0);
    Vector4 const eye = Vector4(kEye) * world, at = Vector4(kAt) * world;
    EXPECT_EQ(m_camera.GetViewMatrix(), MatBuildLookAtLH(eye, at, kUp)); // up is not turned
    root.DetachAllObjects();
}

TEST_F(Camera, FreeLookAddsUp) {
    m_camera.Pitch(0.1f);
    m_camera.Pitch(0.1f);
    m_camera.Rotation({0, 0}, {300, 0}); // 0.3 of yaw
    m_camera.Roll(0.2f);
    m_camera.Update(false);
    m_camera.Update(false); // nothing wears off
    Matrix44 const turn = MatBuildRotationYawPitchRoll(0.3f, 0.2f, 0);
    Vector4 const at = Vector4(kAt) * turn, up = Vector4(kUp) * turn * MatBuildRotationZ(0.2f);
    EXPECT_TRUE(Near(m_camera.GetViewMatrix(), MatBuildLookAtLH(kEye, at, up)));
}

TEST_F(Camera, AMoveEntersOneUpdateWithAllThatWasMovedBefore) {
    auto const view = [](float offset) { return MatBuildLookAtLH(kEye + Vector3(offset, 0, 0), kAt, kUp); };
    for (float expected : {5.0f, 10.0f}) {
        m_camera.MoveXKeepDirection(5);
        m_camera.Update(false);
        EXPECT_EQ(m_camera.GetViewMatrix(), view(expected));
        m_camera.Update(false);
        EXPECT_EQ(m_camera.GetViewMatrix(), view(0));
    }
}

TEST_F(Camera, PixelsAndPointsAreInversesOfEachOther) {
    unsigned int const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    auto const number = [&](float low, float high) { return std::uniform_real_distribution<float>(low, high)(random); };
    m_camera.SetViewParams(Vector3(3, 4, -5), Vector3(3.5f, 3, 8), Vector3(0.1f, 1, 0));
    for (int round = 0; round < 1000; ++round) {
        float const sx = number(0, 640), sy = number(0, 480), z = number(2, 40);
        Vector3 pixel(sx, sy, z);
        float x, y;
        m_camera.ScreenPointToDevice(pixel, 640, 480, x, y);
        int px, py;
        m_camera.DevicePointToScreen(x, y, z, 640, 480, px, py);
        ASSERT_NEAR(static_cast<float>(px) + 0.5f, sx, 0.6) << z; // cut to whole pixels
        ASSERT_NEAR(static_cast<float>(py) + 0.5f, sy, 0.6) << z;
    }
    int x, y;
    m_camera.DevicePointToScreen(Vector3(3, 4, -5), 640, 480, x, y); // the eye: no depth to divide by
    EXPECT_EQ(std::pair(x, y), std::pair(0, 0));
}
