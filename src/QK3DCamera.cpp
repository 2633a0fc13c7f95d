// QK3DCamera.cpp: the parameters of a camera and the view it makes of them.
#include "QK3DCamera.h"

namespace qk3d {
namespace {
// Angles up to this size leave the view as it is: the spacing of floats at 1.
constexpr float kSmallestAngle = 1.1920929e-7f;

// Cuts to a whole number; what no int can hold moves nothing.
float Truncated(float value) { return std::fabs(value) < 2147483648.0f ? std::trunc(value) : 0.0f; }
} // namespace

CCamera::CCamera(string const& name) : CMovableObject(name) {}

string CCamera::GetTypeName() { return "CCamera"; }

void CCamera::SetViewParams(Vector4 const& position, Vector4 const& lookAt, Vector4 const& up) {
    // By way of copies: the arguments may be vectors of this camera.
    Vector4 const params[] = {position, lookAt, up};
    m_position = params[0], m_lookAt = params[1], m_up = params[2];
    m_direction = m_lookAt - m_position;
    m_right = Vector4(VecCross(m_up, m_direction));
    m_view = MatBuildLookAtLH(m_position, m_lookAt, m_up);
    UpdateViewProjection();
}

void CCamera::SetViewParams(Vector3 const& position, Vector3 const& lookAt, Vector3 const& up) {
    SetViewParams(Vector4(position), Vector4(lookAt), Vector4(up));
}

void CCamera::SetProjParams(float fov, float aspect, float nearPlane, float farPlane) {
    m_projType = PT_PERSPECTIVE;
    m_fov = fov, m_aspect = aspect, m_near = nearPlane, m_far = farPlane;
    SetProjectionMatrix(MatBuildPerspectiveFovLH(nearPlane, farPlane, fov, aspect));
}

void CCamera::SetOrthoProjParams(float width, float height, float nearPlane, float farPlane) {
    m_projType = PT_ORTHO;
    m_width = width, m_height = height, m_near = nearPlane, m_far = farPlane;
    m_aspect = width / height;
    SetProjectionMatrix(MatBuildOrthoLH(width, height, nearPlane, farPlane));
}

void CCamera::SetProjectionMatrix(Matrix44 const& projection) {
    m_projection = projection;
    UpdateViewProjection();
}

void CCamera::SetViewMatrix(Matrix44 const& view) {
    m_view = view;
    UpdateViewProjection();
}

void CCamera::Set2DCamera(float width, float height, float nearPlane, float farPlane) {
    m_view = Matrix44::IDENTITY;
    SetOrthoProjParams(width, height, nearPlane, farPlane);
}

void CCamera::Set2DCameraFillScreen(float x, float y, float contentWidth, float contentHeight, float screenWidth,
                                    float screenHeight, float, float) {
    m_view = MatBuildTranslation(-Truncated(x - (screenWidth - contentWidth) * 0.5f),
                                 Truncated(y - (screenHeight - contentHeight) * 0.5f), 0);
    SetOrthoProjParams((contentWidth / screenWidth) * screenWidth, (contentHeight / screenHeight) * screenHeight, 0, 1);
    // Only the product keeps the mapping.
    m_view = Matrix44::IDENTITY;
    m_projection = Matrix44::IDENTITY;
}

void CCamera::Clone(CCamera* const other) {
    if (!other) return;
    SetViewParams(other->m_position, other->m_lookAt, other->m_up);
    if (other->m_projType == PT_PERSPECTIVE)
        SetProjParams(other->m_fov, other->m_aspect, other->m_near, other->m_far);
    else if (other->m_projType == PT_ORTHO)
        SetOrthoProjParams(other->m_width, other->m_height, other->m_near, other->m_far);
    SetTransform(other->m_transform);
    m_movePending = false;
}

void CCamera::Rotation(Vector2 from, Vector2 to) {
    m_yaw += (to.x - from.x) * 0.001f;
    m_pitch += (to.y - from.y) * 0.001f;
}

void CCamera::MoveKeepDirection(float x, float y, float z) {
    m_moveOffset += Vector3(x, y, z);
    m_movePending = true;
}

void CCamera::GetBillBoardMatrix(Matrix44*) const {}

void CCamera::_UpdateImpl(bool) {
    Vector4 position = m_position, lookAt = m_lookAt, up = m_up;
    if (Matrix44 const& world = GetWorldTransform(); !world.IsIdentity()) {
        position *= world;
        lookAt *= world;
    }
    if (std::fabs(m_yaw) > kSmallestAngle || std::fabs(m_pitch) > kSmallestAngle) {
        Matrix44 const rotation = MatBuildRotationYawPitchRoll(m_yaw, m_pitch, 0);
        lookAt *= rotation;
        up *= rotation;
    }
    if (std::fabs(m_roll) > kSmallestAngle) up *= MatBuildRotationZ(m_roll);
    if (m_movePending) {
        position += Vector4(m_moveOffset.x, m_moveOffset.y, m_moveOffset.z, 0);
        m_movePending = false;
    }
    m_view = MatBuildLookAtLH(position, lookAt, up);
    UpdateViewProjection();
}
} // namespace qk3d
