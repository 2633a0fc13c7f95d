// QK3DQuaternion.h: rotations as quaternions, the scalar part last.
#pragma once

#include "QK3DMatrix.h"

namespace qk3d {
/// x, y, z and the scalar w. All zero by default, not the identity. `q1 * q2` is the Hamilton product, which composes
/// the other way round than matrices: `Matrix44(q1 * q2)` is `Matrix44(q2) * Matrix44(q1)`.
struct Quaternion {
    float x = 0;
    float y = 0;
    float z = 0;
    float w = 0;

    static Quaternion const ZERO;
    static Quaternion const IDENTITY;

    constexpr Quaternion() = default;
    constexpr Quaternion(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}
    /// The rotation of a matrix without scale. The result is not normalised.
    QK3D_API Quaternion(Matrix33 const& a);
    /// Reads the upper left 3x3 only.
    QK3D_API Quaternion(Matrix44 const& a);

    constexpr bool operator==(Quaternion const& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    constexpr Quaternion operator+() const { return *this; }
    constexpr Quaternion operator-() const { return {-x, -y, -z, -w}; }
    constexpr Quaternion& operator+=(Quaternion const& o) { return x += o.x, y += o.y, z += o.z, w += o.w, *this; }
    constexpr Quaternion& operator-=(Quaternion const& o) { return x -= o.x, y -= o.y, z -= o.z, w -= o.w, *this; }
    constexpr Quaternion& operator*=(float s) { return x *= s, y *= s, z *= s, w *= s, *this; }
    constexpr Quaternion& operator/=(float s) { return *this *= 1.0f / s; }
    constexpr Quaternion& operator*=(Quaternion const& other);

    Quaternion const& SetIdentity() { return *this = IDENTITY; }
    bool IsIdentity() const { return *this == IDENTITY; }
    float Length() const { return std::sqrt(x * x + y * y + z * z + w * w); }
    /// Brings the length to 1, in place. A quaternion of length 0 stays as it is.
    Quaternion const& Normalize() {
        float const length = Length();
        if (length != 0.0f) *this *= 1.0f / length;
        return *this;
    }
    Quaternion GetNormalize() const { return Quaternion(*this).Normalize(); }
};

inline constexpr Quaternion Quaternion::ZERO{0, 0, 0, 0};
inline constexpr Quaternion Quaternion::IDENTITY{0, 0, 0, 1};

constexpr Quaternion operator+(Quaternion a, Quaternion const& b) { return a += b; }
constexpr Quaternion operator-(Quaternion a, Quaternion const& b) { return a -= b; }
constexpr Quaternion operator*(Quaternion q, float s) { return q *= s; }
constexpr Quaternion operator*(float s, Quaternion q) { return q *= s; }
constexpr Quaternion operator/(Quaternion q, float s) { return q /= s; }
/// The same value as `q / s`.
constexpr Quaternion operator/(float s, Quaternion q) { return q /= s; }

constexpr Quaternion operator*(Quaternion const& a, Quaternion const& b) {
    return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, a.w * b.y + a.y * b.w + a.z * b.x - a.x * b.z,
            a.w * b.z + a.z * b.w + a.x * b.y - a.y * b.x, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}
constexpr Quaternion& Quaternion::operator*=(Quaternion const& other) { return *this = *this * other; }

constexpr float QuatDot(Quaternion const& a, Quaternion const& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w;
}

/// The same rotation as `MatBuildRotationAxis`. A zero axis gives no rotation of length 1: (0, 0, 0, cos(angle / 2)).
QK3D_API Quaternion QuatBuildRotationAxis(Vector3 const& axis, float angle);
/// The same rotation as `MatBuildRotationYawPitchRoll`.
QK3D_API Quaternion QuatBuildRotationYawPitchRoll(float yaw, float pitch, float roll);
/// From q1 at t = 0 to q2 at t = 1, the shorter way round. The result is not normalised.
QK3D_API Quaternion QuatSlerp(Quaternion const& q1, Quaternion const& q2, float t);

/// "[w,(x,y,z)]" in fixed notation.
QK3D_API std::ostream& operator<<(std::ostream& out, Quaternion const& q);
} // namespace qk3d
