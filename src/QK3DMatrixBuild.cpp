// QK3DMatrixBuild.cpp: builders of transforms, views and projections.
#include "QK3DMatrix.h"
#include "QK3DTableSineInternal.h"

namespace qk3d {
namespace {
Matrix44 WithTranslation(Matrix44 m, float x, float y, float z) {
    m.m[12] = x, m.m[13] = y, m.m[14] = z;
    return m;
}

Matrix33 With2DTranslation(Matrix33 m, float x, float y) {
    m.m[6] = x, m.m[7] = y;
    return m;
}

Matrix44 RotationX(SineCosine a) { return {1, 0, 0, 0, 0, a.cosine, a.sine, 0, 0, -a.sine, a.cosine, 0, 0, 0, 0, 1}; }
Matrix44 RotationY(SineCosine a) { return {a.cosine, 0, -a.sine, 0, 0, 1, 0, 0, a.sine, 0, a.cosine, 0, 0, 0, 0, 1}; }
#ifdef QK3D_MATH_SSE2
// Written in whole rows: who copies a matrix reads rows, and would wait for elements that were written singly.
Matrix44 RotationZ(float angle) {
    __m128 const both = SampleTables(angle);
    Matrix44 result = Matrix44::IDENTITY;
    _mm_storeu_ps(result.m, _mm_shuffle_ps(both, both, _MM_SHUFFLE(3, 2, 0, 1)));
    _mm_storeu_ps(result.m + 4, _mm_xor_ps(both, _mm_set_ss(-0.0f)));
    return result;
}
#else
Matrix44 RotationZ(float angle) {
    auto const a = SampleSineCosine(angle);
    return {a.cosine, a.sine, 0, 0, -a.sine, a.cosine, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
}
#endif
Matrix33 Rotation2D(SineCosine a) { return {a.cosine, a.sine, 0, -a.sine, a.cosine, 0, 0, 0, 1}; }

// The left and the right hand differ in the third axis alone.
Matrix44 LookAlong(Vector3 z, Vector3 const& eye, Vector3 const& up) {
    z.Normalize();
    Vector3 const x = VecCross(up, z).GetNormalized();
    Vector3 const y = VecCross(z, x);
    return {x.x, y.x, z.x, 0, x.y, y.y, z.y, 0, x.z, y.z, z.z, 0, -VecDot(x, eye), -VecDot(y, eye), -VecDot(z, eye), 1};
}

// m10, m11 and m14 of the perspectives.
struct Depth {
    float scale;
    float w;
    float offset;
};
Depth LeftHanded(float zn, float zf) { return {zf / (zf - zn), 1, zn * zf / (zn - zf)}; }
Depth RightHanded(float zn, float zf) { return {zf / (zn - zf), -1, zn * zf / (zn - zf)}; }

Matrix44 Perspective(float m0, float m5, Depth const& depth, float m8 = 0, float m9 = 0) {
    return {m0, 0, 0, 0, 0, m5, 0, 0, m8, m9, depth.scale, depth.w, 0, 0, depth.offset, 0};
}

Matrix44 PerspectiveFov(float fovY, float aspect, Depth const& depth) {
    float const scale = 1.0f / (std::tan(fovY * 0.5f) * aspect);
    return Perspective(scale, scale * aspect, depth);
}
} // namespace

Matrix44 MatBuildTranslation(float x, float y, float z) { return WithTranslation(Matrix44::IDENTITY, x, y, z); }

Matrix44 MatBuildScale(float sx, float sy, float sz) { return {sx, 0, 0, 0, 0, sy, 0, 0, 0, 0, sz, 0, 0, 0, 0, 1}; }

Matrix44 MatBuildScale(Vector3 const& p, float sx, float sy, float sz) {
    return WithTranslation(MatBuildScale(sx, sy, sz), p.x - p.x * sx, p.y - p.y * sy, p.z - p.z * sz);
}

Matrix44 MatBuildRotationX(float angle) { return RotationX(SampleSineCosine(angle)); }
Matrix44 MatBuildRotationY(float angle) { return RotationY(SampleSineCosine(angle)); }
Matrix44 MatBuildRotationZ(float angle) { return RotationZ(angle); }

Matrix44 MatBuildRotationX(Vector3 const& p, float angle) {
    auto const a = SampleSineCosine(angle);
    return WithTranslation(RotationX(a), 0, p.y - p.y * a.cosine + p.z * a.sine, p.z - p.y * a.sine - p.z * a.cosine);
}

Matrix44 MatBuildRotationY(Vector3 const& p, float angle) {
    auto const a = SampleSineCosine(angle);
    return WithTranslation(RotationY(a), p.x - p.x * a.cosine - p.z * a.sine, 0, p.z + p.x * a.sine - p.z * a.cosine);
}

Matrix44 MatBuildRotationZ(Vector3 const& p, float angle) {
    Matrix44 const turn = RotationZ(angle);
    SineCosine const a{turn.m[1], turn.m[0]};
    return WithTranslation(turn, p.x - p.x * a.cosine + p.y * a.sine, p.y - p.x * a.sine - p.y * a.cosine, 0);
}

Matrix44 MatBuildRotationX_Interest(Vector3 const& p, float angle) {
    auto const a = SampleSineCosine(angle);
    return WithTranslation(RotationX(a), 0, p.y - p.y * a.cosine + p.z * a.sine, p.z + p.y * a.sine - p.z * a.cosine);
}

Matrix44 MatBuildRotationY_Interest(Vector3 const& p, float angle) {
    auto const a = SampleSineCosine(angle);
    return WithTranslation(RotationY(a), p.x + p.x * a.cosine - p.z * a.sine, 0, p.z + p.x * a.sine - p.z * a.cosine);
}

Matrix44 MatBuildRotationAxis(Vector3 axis, float angle) {
    axis.Normalize();
    auto const [s, c] = SampleSineCosine(angle);
    float const u = 1.0f - c;
    float const x = axis.x, y = axis.y, z = axis.z;
    // clang-format off
    return {x * x * u + c,     x * y * u + z * s, x * z * u - y * s, 0, //
            x * y * u - z * s, y * y * u + c,     y * z * u + x * s, 0, //
            x * z * u + y * s, y * z * u - x * s, z * z * u + c,     0, //
            0,                 0,                 0,                 1};
    // clang-format on
}

Matrix44 MatBuildRotationAxis(Vector3 const& p1, Vector3 const& p2, float angle) {
    Matrix44 const r = MatBuildRotationAxis(p2 - p1, angle);
    return WithTranslation(r, p1.x - (p1.x * r.m[0] + p1.y * r.m[4] + p1.z * r.m[8]),
                           p1.y - (p1.x * r.m[1] + p1.y * r.m[5] + p1.z * r.m[9]),
                           p1.z - (p1.x * r.m[2] + p1.y * r.m[6] + p1.z * r.m[10]));
}

Matrix44 MatBuildRotationYawPitchRoll(float yaw, float pitch, float roll) {
    auto const [sy, cy] = SampleSineCosine(yaw);
    auto const [sp, cp] = SampleSineCosine(pitch);
    auto const [sr, cr] = SampleSineCosine(roll);
    // clang-format off
    return {sy * sp * sr + cr * cy, sr * cp, sr * sp * cy - cr * sy, 0, //
            cr * sp * sy - sr * cy, cr * cp, cy * sp * cr + sr * sy, 0, //
            sy * cp,                -sp,     cy * cp,                0, //
            0,                      0,       0,                      1};
    // clang-format on
}

Matrix44 MatBuildShear(float a, float b) { return MatBuildShear(a, 0, b, 0, 0, 0); }

Matrix44 MatBuildShear(Vector3 const& p, float a, float b) {
    return WithTranslation(MatBuildShear(a, b), -(a * p.y), -(b * p.x), 0);
}

Matrix44 MatBuildShear(float a, float b, float c, float d, float e, float f) {
    return {1, c, e, 0, a, 1, f, 0, b, d, 1, 0, 0, 0, 0, 1};
}

Matrix44 MatBuildShear(Vector3 const& p, float a, float b, float c, float d, float e, float f) {
    return WithTranslation(MatBuildShear(a, b, c, d, e, f), -(a * p.y) - (b * p.z), -(c * p.x) - (d * p.z),
                           -(e * p.x) - (f * p.y));
}

Matrix33 MatBuild2DTranslation(float x, float y) { return With2DTranslation(Matrix33::IDENTITY, x, y); }

Matrix33 MatBuild2DScale(float sx, float sy) { return {sx, 0, 0, 0, sy, 0, 0, 0, 1}; }

Matrix33 MatBuild2DScale(Vector2 const& p, float sx, float sy) {
    return With2DTranslation(MatBuild2DScale(sx, sy), p.x - p.x * sx, p.y - p.y * sy);
}

Matrix33 MatBuild2DRotation(float angle) { return Rotation2D(SampleSineCosine(angle)); }

Matrix33 MatBuild2DRotation(Vector2 const& p, float angle) {
    auto const a = SampleSineCosine(angle);
    return With2DTranslation(Rotation2D(a), p.x - p.x * a.cosine + p.y * a.sine, p.y - p.x * a.sine - p.y * a.cosine);
}

Matrix33 MatBuild2DShear(float a, float b) { return {1, b, 0, a, 1, 0, 0, 0, 1}; }

Matrix33 MatBuild2DShear(Vector2 const& p, float a, float b) {
    return With2DTranslation(MatBuild2DShear(a, b), -(a * p.y), -(b * p.x));
}

Matrix44 MatBuildLookAtLH(Vector3 const& eye, Vector3 const& at, Vector3 const& up) {
    return LookAlong(at - eye, eye, up);
}

Matrix44 MatBuildLookAtRH(Vector3 const& eye, Vector3 const& at, Vector3 const& up) {
    return LookAlong(eye - at, eye, up);
}

Matrix44 MatBuildOrthoLH(float w, float h, float zn, float zf) {
    return {2 / w, 0, 0, 0, 0, 2 / h, 0, 0, 0, 0, 1 / (zf - zn), 0, 0, 0, zn / (zn - zf), 1};
}

Matrix44 MatBuildOrthoRH(float w, float h, float zn, float zf) {
    return {2 / w, 0, 0, 0, 0, 2 / h, 0, 0, 0, 0, 1 / (zn - zf), 0, 0, 0, zn / (zn - zf), 1};
}

Matrix44 MatBuildPerspectiveLH(float w, float h, float zn, float zf) {
    return Perspective(2 * zn / w, 2 * zn / h, LeftHanded(zn, zf));
}

Matrix44 MatBuildPerspectiveRH(float w, float h, float zn, float zf) {
    return Perspective(2 * zn / w, 2 * zn / h, RightHanded(zn, zf));
}

Matrix44 MatBuildPerspectiveFovLH(float zn, float zf, float fovY, float aspect) {
    return PerspectiveFov(fovY, aspect, LeftHanded(zn, zf));
}

Matrix44 MatBuildPerspectiveFovRH(float zn, float zf, float fovY, float aspect) {
    return PerspectiveFov(fovY, aspect, RightHanded(zn, zf));
}

Matrix44 MatBuildPerspectiveOffCenterLH(float l, float r, float b, float t, float zn, float zf) {
    return Perspective(2 * zn / (r - l), 2 * zn / (t - b), LeftHanded(zn, zf), (l + r) / (l - r), (t + b) / (b - t));
}

Matrix44 MatBuildPerspectiveOffCenterRH(float l, float r, float b, float t, float zn, float zf) {
    return Perspective(2 * zn / (r - l), 2 * zn / (t - b), RightHanded(zn, zf), (l + r) / (r - l), (t + b) / (t - b));
}
} // namespace qk3d
