// QK3DCameraConvert.cpp: the way between pixels of the screen and points of the space.
#include "QK3DCamera.h"

namespace qk3d {
namespace {
int ToPixel(float value) { return std::fabs(value) < 2147483648.0f ? static_cast<int>(value) : 0; }

unsigned int Distance(int a, int b) {
    return a > b ? static_cast<unsigned int>(a) - static_cast<unsigned int>(b)
                 : static_cast<unsigned int>(b) - static_cast<unsigned int>(a);
}

} // namespace

void CCamera::DevicePointToScreen(Vector3 point, unsigned int screenWidth, unsigned int screenHeight, int& x,
                                  int& y) const {
    Vector3 const p = point * m_view;
    x = ToPixel((p.x / p.z * m_projection.m[0] + 1) * static_cast<float>(screenWidth) * 0.5f);
    y = ToPixel((1 - p.y / p.z * m_projection.m[5]) * static_cast<float>(screenHeight) * 0.5f);
}

void CCamera::DevicePointToScreen(float px, float py, float pz, unsigned int screenWidth, unsigned int screenHeight,
                                  int& x, int& y) const {
    DevicePointToScreen({px, py, pz}, screenWidth, screenHeight, x, y);
}

void CCamera::ScreenPointToDevice(float sx, float sy, float z, unsigned int screenWidth, unsigned int screenHeight,
                                  float& x, float& y) const {
    Vector3 n, f;
    GetPixelRay(sx, sy, screenWidth, screenHeight, n, f);
    float const t = (z - n.z) / (f.z - n.z);
    x = n.x + t * (f.x - n.x);
    y = n.y + t * (f.y - n.y);
}

void CCamera::ScreenPointToDevice(Vector3& point, unsigned int screenWidth, unsigned int screenHeight, float& x,
                                  float& y) const {
    ScreenPointToDevice(point.x, point.y, point.z, screenWidth, screenHeight, x, y);
}

void CCamera::ScreenPointToDeviceWithDeviceX(float sx, float sy, float deviceX, unsigned int screenWidth,
                                             unsigned int screenHeight, float& y, float& z) const {
    Vector3 n, f;
    GetPixelRay(sx, sy, screenWidth, screenHeight, n, f);
    Vector3 const d = f - n;
    z = deviceX - n.x * d.z / d.x + n.z;
    y = (z - n.z) / d.z * d.y + n.y;
}

void CCamera::ScreenPointToDeviceWithDeviceY(float sx, float sy, float deviceY, unsigned int screenWidth,
                                             unsigned int screenHeight, float& x, float& z) const {
    Vector3 n, f;
    GetPixelRay(sx, sy, screenWidth, screenHeight, n, f);
    Vector3 const d = f - n;
    z = deviceY - n.y * d.z / d.y + n.z;
    x = (z - n.z) / d.z * d.x + n.x;
}

float CCamera::GetZWithScreenXYAndDeviceX(float sx, float sy, float deviceX, unsigned int screenWidth,
                                          unsigned int screenHeight) const {
    float y, z;
    ScreenPointToDeviceWithDeviceX(sx, sy, deviceX, screenWidth, screenHeight, y, z);
    return z;
}

float CCamera::GetZWithScreenXYAndDeviceY(float sx, float sy, float deviceY, unsigned int screenWidth,
                                          unsigned int screenHeight) const {
    float x, z;
    ScreenPointToDeviceWithDeviceY(sx, sy, deviceY, screenWidth, screenHeight, x, z);
    return z;
}

float CCamera::ScreenWidthToDevice(float sy, float z, float width, unsigned int screenWidth,
                                   unsigned int screenHeight) const {
    float left, right, y;
    ScreenPointToDevice(0, sy, z, screenWidth, screenHeight, left, y);
    ScreenPointToDevice(width, sy, z, screenWidth, screenHeight, right, y);
    return std::fabs(right - left);
}

float CCamera::ScreenHeightToDevice(float sx, float z, float height, unsigned int screenWidth,
                                    unsigned int screenHeight) const {
    float x, top, bottom;
    ScreenPointToDevice(sx, 0, z, screenWidth, screenHeight, x, top);
    ScreenPointToDevice(sx, height, z, screenWidth, screenHeight, x, bottom);
    return std::fabs(bottom - top);
}

unsigned int CCamera::DeviceWidthToScreen(float y, float z, float width, unsigned int screenWidth,
                                          unsigned int screenHeight) const {
    int left, right, pixelY;
    DevicePointToScreen(0, y, z, screenWidth, screenHeight, left, pixelY);
    DevicePointToScreen(width, y, z, screenWidth, screenHeight, right, pixelY);
    return Distance(left, right);
}

unsigned int CCamera::DeviceHeightToScreen(float x, float z, float height, unsigned int screenWidth,
                                           unsigned int screenHeight) const {
    int pixelX, top, bottom;
    DevicePointToScreen(x, 0, z, screenWidth, screenHeight, pixelX, top);
    DevicePointToScreen(x, height, z, screenWidth, screenHeight, pixelX, bottom);
    return Distance(top, bottom);
}

void CCamera::ScreenMatrixToDevice(Matrix33 const& m, float z, unsigned int screenWidth, unsigned int screenHeight,
                                   Matrix44& out) const {
    // The screen counts y downwards, so whatever crosses between x and y changes its sign.
    float tx = 0, ty = 0;
    if (m.m[6] != 0) tx = std::copysign(ScreenWidthToDevice(0, z, m.m[6], screenWidth, screenHeight), m.m[6]);
    if (m.m[7] != 0) ty = std::copysign(ScreenHeightToDevice(0, z, m.m[7], screenWidth, screenHeight), -m.m[7]);
    out.SetElements(m.m[0], -m.m[1], 0, 0, -m.m[3], m.m[4], 0, 0, 0, 0, 1, 0, tx, ty, 0, 1);
}

// The points where the ray through a pixel crosses the near and the far plane.
void CCamera::GetPixelRay(float sx, float sy, unsigned int screenWidth, unsigned int screenHeight, Vector3& nearPoint,
                          Vector3& farPoint) const {
    float const nx = (2 * sx / static_cast<float>(screenWidth) - 1) / m_projection.m[0];
    float const ny = (2 * sy / static_cast<float>(screenHeight) - 1) / m_projection.m[5];
    Matrix44 const inverse = m_view.GetInverse();
    nearPoint = Vector3(nx * m_near, -ny * m_near, m_near) * inverse;
    farPoint = Vector3(nx * m_far, -ny * m_far, m_far) * inverse;
}
} // namespace qk3d
