// QK3DCamera.h: a view and a projection, and the way between pixels of the screen and points of the space.
#pragma once

#include "QK3DMovableObject.h"

namespace qk3d {
/// A movable object that looks. It has no matrices until it was given parameters: all of them are zero then. Its scene
/// manager owns it. In the conversions a screen point is a pixel, counted from the upper left corner with y downwards,
/// a device point is a point of the space that the view matrix works on, and `screenWidth` and `screenHeight` are the
/// size of the screen in pixels. Nothing tests for sizes or planes of 0: these give infinities, which conversions to
/// whole numbers answer with 0.
class QK3D_API CCamera : public CMovableObject {
public:
    enum EProjType { PT_PERSPECTIVE = 0, PT_ORTHO = 1, PT_NONE = 2 };

    explicit CCamera(string const& name);

    string GetTypeName() override;

    /// Looks from `position` to `lookAt`, left-handed. The camera's own transform and the node it hangs on move both
    /// points at the next update.
    void SetViewParams(Vector4 const& position, Vector4 const& lookAt, Vector4 const& up);
    void SetViewParams(Vector3 const& position, Vector3 const& lookAt, Vector3 const& up);
    /// A left-handed perspective with depth from 0 to 1. `fov` is the whole vertical angle in radians, `aspect` width by
    /// height.
    void SetProjParams(float fov, float aspect, float nearPlane, float farPlane);
    /// A left-handed parallel projection of a view of this size, depth from 0 to 1.
    void SetOrthoProjParams(float width, float height, float nearPlane, float farPlane);
    /// Neither the projection type nor the parameters change.
    void SetProjectionMatrix(Matrix44 const& projection);
    /// Holds until the next update, which makes the view from the parameters again.
    void SetViewMatrix(Matrix44 const& view);
    void Set2DCamera(float width, float height, float nearPlane, float farPlane);
    /// Puts content of some size in the middle of the screen, moved by whole pixels. Only the view-projection matrix
    /// holds the result, until the next update; the view and the projection become the identity. The last two arguments
    /// have no use.
    void Set2DCameraFillScreen(float x, float y, float contentWidth, float contentHeight, float screenWidth,
                               float screenHeight, float, float);
    /// Takes over view, projection and local transform of `other`, but not its angles and offset. A camera that has no
    /// projection yet hands none on. Null is ignored.
    void Clone(CCamera* const other);

    // Free look. The angles, in radians, and the offset add up; nothing resets them.
    void Yaw(float angle) { m_yaw += angle; }
    void Pitch(float angle) { m_pitch += angle; }
    void Roll(float angle) { m_roll += angle; }
    /// A mouse drag in pixels: 0.001 radians of yaw and pitch each.
    void Rotation(Vector2 from, Vector2 to);
    /// Adds to the offset of the eye. Each call lets the whole offset enter the next update, and only that one.
    void MoveKeepDirection(float x, float y, float z);
    void MoveXKeepDirection(float x) { MoveKeepDirection(x, 0, 0); }
    void MoveYKeepDirection(float y) { MoveKeepDirection(0, y, 0); }
    void MoveZKeepDirection(float z) { MoveKeepDirection(0, 0, z); }

    EProjType GetProjType() const { return m_projType; }
    Vector4 const& GetPosition() const { return m_position; }
    Vector4 const& GetLookAt() const { return m_lookAt; }
    Vector4 const& GetUp() const { return m_up; }
    Vector4 const& GetRight() const { return m_right; }
    Matrix44 const& GetViewMatrix() const { return m_view; }
    Matrix44 const& GetProjectionMatrix() const { return m_projection; }
    Matrix44 const& GetViewProjectionMatrix() const { return m_viewProjection; }
    float GetFOV() const { return m_fov; }
    float GetAspect() const { return m_aspect; }
    float GetNear() const { return m_near; }
    float GetFar() const { return m_far; }
    float GetWidth() const { return m_width; }
    float GetHeight() const { return m_height; }
    /// Leaves `out` as it is.
    void GetBillBoardMatrix(Matrix44* out) const;

    /// Exact for a perspective.
    void DevicePointToScreen(Vector3 point, unsigned int screenWidth, unsigned int screenHeight, int& x, int& y) const;
    void DevicePointToScreen(float px, float py, float pz, unsigned int screenWidth, unsigned int screenHeight, int& x,
                             int& y) const;
    /// Where the ray through a pixel crosses the plane of this z.
    void ScreenPointToDevice(float sx, float sy, float z, unsigned int screenWidth, unsigned int screenHeight, float& x,
                             float& y) const;
    void ScreenPointToDevice(Vector3& point, unsigned int screenWidth, unsigned int screenHeight, float& x,
                             float& y) const;
    /// Where the ray through a pixel has this device x, by the formula of `GetZWithScreenXYAndDeviceX`.
    void ScreenPointToDeviceWithDeviceX(float sx, float sy, float deviceX, unsigned int screenWidth,
                                        unsigned int screenHeight, float& y, float& z) const;
    void ScreenPointToDeviceWithDeviceY(float sx, float sy, float deviceY, unsigned int screenWidth,
                                        unsigned int screenHeight, float& x, float& z) const;
    /// deviceX - N.x * dz / dx + N.z, with N the ray's point on the near plane and d its direction.
    float GetZWithScreenXYAndDeviceX(float sx, float sy, float deviceX, unsigned int screenWidth,
                                     unsigned int screenHeight) const;
    float GetZWithScreenXYAndDeviceY(float sx, float sy, float deviceY, unsigned int screenWidth,
                                     unsigned int screenHeight) const;
    /// Sizes, never negative: of `width` pixels from the left side of the line `sy`, seen at this z, and so on.
    float ScreenWidthToDevice(float sy, float z, float width, unsigned int screenWidth,
                              unsigned int screenHeight) const;
    float ScreenHeightToDevice(float sx, float z, float height, unsigned int screenWidth,
                               unsigned int screenHeight) const;
    unsigned int DeviceWidthToScreen(float y, float z, float width, unsigned int screenWidth,
                                     unsigned int screenHeight) const;
    unsigned int DeviceHeightToScreen(float x, float z, float height, unsigned int screenWidth,
                                      unsigned int screenHeight) const;
    /// Turns a 2D transform in pixels into one of the device space at this z.
    void ScreenMatrixToDevice(Matrix33 const& m, float z, unsigned int screenWidth, unsigned int screenHeight,
                              Matrix44& out) const;

protected:
    /// Makes the view from the parameters, the world transform, the angles and a pending offset.
    void _UpdateImpl(bool changed) override;

    EProjType m_projType = PT_NONE; // until a projection was set
    Vector4 m_position{0, 0, 0, 1};
    Vector4 m_lookAt{0, 0, 1, 1};
    Vector4 m_up{0, 1, 0, 1};
    Vector4 m_right{1, 0, 0, 1};
    Vector4 m_direction;
    Matrix44 m_view;
    Matrix44 m_projection;
    Matrix44 m_viewProjection;
    float m_fov = 0;
    float m_aspect = 0;
    float m_near = 0;
    float m_far = 0;
    float m_width = 0;
    float m_height = 0;
    float m_yaw = 0;
    float m_pitch = 0;
    float m_roll = 0;
    bool m_movePending = false;
    Vector3 m_moveOffset;

private:
    void UpdateViewProjection() { m_viewProjection = m_view * m_projection; }
    void GetPixelRay(float sx, float sy, unsigned int screenWidth, unsigned int screenHeight, Vector3& nearPoint,
                     Vector3& farPoint) const;
};
} // namespace qk3d
