// QK3DQuaternion.cpp: quaternions from matrices and angles, and the way between two of them.
#include "QK3DQuaternion.h"
#include "QK3DTableSineInternal.h"
#include <ostream>

namespace qk3d {
namespace {
// `m(row, col)` reads the rotation part of either matrix.
template <class Matrix>
Quaternion FromRotation(Matrix const& m) {
    float const trace = m(0, 0) + m(1, 1) + m(2, 2);
    if (trace > 0) {
        float const s = std::sqrt(trace + 1.0f);
        float const t = 0.5f / s;
        return {(m(1, 2) - m(2, 1)) * t, (m(2, 0) - m(0, 2)) * t, (m(0, 1) - m(1, 0)) * t, s * 0.5f};
    }

    // The largest element of the diagonal gives the largest part of the quaternion, which is safe to divide by.
    int i = 0;
    if (m(1, 1) > m(0, 0)) i = 1;
    if (m(2, 2) > m(i, i)) i = 2;
    int const j = (i + 1) % 3;
    int const k = (i + 2) % 3;

    float const s = std::sqrt(m(i, i) - (m(k, k) + m(j, j)) + 1.0f);
    float const t = 0.5f / s;
    float q[3];
    q[i] = s * 0.5f;
    q[j] = (m(i, j) + m(j, i)) * t;
    q[k] = (m(i, k) + m(k, i)) * t;
    return {q[0], q[1], q[2], (m(j, k) - m(k, j)) * t};
}
} // namespace

Quaternion::Quaternion(Matrix33 const& a) : Quaternion(FromRotation(a)) {}
Quaternion::Quaternion(Matrix44 const& a) : Quaternion(FromRotation(a)) {}

Quaternion QuatBuildRotationAxis(Vector3 const& axis, float angle) {
    auto const [s, c] = SampleSineCosine(angle * 0.5f);
    Vector3 const v = axis.GetNormalized() * s;
    return {v.x, v.y, v.z, c};
}

Quaternion QuatBuildRotationYawPitchRoll(float yaw, float pitch, float roll) {
    auto const [sy, cy] = SampleSineCosine(yaw * 0.5f);
    auto const [sp, cp] = SampleSineCosine(pitch * 0.5f);
    auto const [sr, cr] = SampleSineCosine(roll * 0.5f);
    return {cr * sp * cy + sr * cp * sy, cr * cp * sy - sr * sp * cy, sr * cp * cy - cr * sp * sy,
            sr * sp * sy + cr * cp * cy};
}

Quaternion QuatSlerp(Quaternion const& q1, Quaternion const& q2, float t) {
    Quaternion end = q2;
    float dot = QuatDot(q1, q2);
    if (0 > dot) {
        end = -q2;
        dot = -dot;
    }

    // Close together the sine is too small to divide by, and a straight line is as good.
    float k1 = 1.0f - t;
    float k2 = t;
    if (1.0f - dot > 0.0001f) {
        float const theta = std::acos(dot);
        float const s = SampleSineCosine(theta).sine;
        k1 = SampleSineCosine((1.0f - t) * theta).sine / s;
        k2 = SampleSineCosine(theta * t).sine / s;
    }
    return k2 * end + k1 * q1;
}

std::ostream& operator<<(std::ostream& out, Quaternion const& q) {
    out << std::fixed << '[' << q.w << ",(" << q.x << ',' << q.y << ',' << q.z << ")]";
    out.unsetf(std::ios_base::floatfield);
    return out;
}
} // namespace qk3d
