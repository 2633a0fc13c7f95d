// QK3DMatrix.cpp: transposes, inverses, rotations from quaternions and text forms of the matrices.
#include "QK3DMatrix.h"
#include "QK3DQuaternion.h"
#include <ostream>
#include <utility>

namespace qk3d {
namespace {
// Below this size a determinant counts as zero: the spacing of floats at 1.
constexpr float kSmallestDeterminant = 1.1920929e-7f;

void WriteRows(std::ostream& out, float const* m, int size) {
    out << std::fixed;
    for (int row = 0; row < size; ++row) {
        if (row) out << '\n';
        for (int col = 0; col < size; ++col) out << (col ? "\t" : "") << m[row * size + col];
    }
    out.unsetf(std::ios_base::floatfield);
}

#ifdef QK3D_MATH_SSE2
// a x b in the first three lanes: (a.y * b.z - a.z * b.y, ...), one rounding after each product as in the plain form.
__m128 Cross(__m128 a, __m128 b) {
    __m128 const a_yzx = _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 0, 2, 1)),
                 a_zxy = _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 1, 0, 2));
    __m128 const b_yzx = _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 0, 2, 1)),
                 b_zxy = _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 1, 0, 2));
    return _mm_sub_ps(_mm_mul_ps(a_yzx, b_zxy), _mm_mul_ps(a_zxy, b_yzx));
}
#endif
} // namespace

Matrix33::Matrix33(Quaternion const& q) {
    float const x2 = q.x + q.x, y2 = q.y + q.y, z2 = q.z + q.z;
    float const xx = q.x * x2, xy = q.x * y2, xz = q.x * z2;
    float const yy = q.y * y2, yz = q.y * z2, zz = q.z * z2;
    float const wx = q.w * x2, wy = q.w * y2, wz = q.w * z2;
    SetElements(1 - (yy + zz), xy + wz, xz - wy, //
                xy - wz, 1 - (xx + zz), yz + wx, //
                xz + wy, yz - wx, 1 - (xx + yy));
}

Matrix44::Matrix44(Quaternion const& q) : Matrix44(Matrix33(q)) {}

Matrix33 const& Matrix33::Transpose() {
    std::swap(m[1], m[3]);
    std::swap(m[2], m[6]);
    std::swap(m[5], m[7]);
    return *this;
}

Matrix44 const& Matrix44::Transpose() {
    for (int row = 1; row < 4; ++row)
        for (int col = 0; col < row; ++col) std::swap((*this)(row, col), (*this)(col, row));
    return *this;
}

Matrix33 const& Matrix33::Invert() {
    float const determinant = Determinant();
    if (std::fabs(determinant) < kSmallestDeterminant) return SetIdentity();

    float const s = 1.0f / determinant;
    Matrix33 const a = *this;
    SetElements((a.m[4] * a.m[8] - a.m[5] * a.m[7]) * s, (a.m[2] * a.m[7] - a.m[1] * a.m[8]) * s,
                (a.m[1] * a.m[5] - a.m[2] * a.m[4]) * s, (a.m[5] * a.m[6] - a.m[3] * a.m[8]) * s,
                (a.m[0] * a.m[8] - a.m[2] * a.m[6]) * s, (a.m[2] * a.m[3] - a.m[0] * a.m[5]) * s,
                (a.m[3] * a.m[7] - a.m[4] * a.m[6]) * s, (a.m[1] * a.m[6] - a.m[0] * a.m[7]) * s,
                (a.m[0] * a.m[4] - a.m[1] * a.m[3]) * s);
    return *this;
}

#ifdef QK3D_MATH_SSE2
// The columns of the adjugate are cross products of the rows.
Matrix44 const& Matrix44::Invert() {
    float const determinant = Determinant();
    if (std::fabs(determinant) < kSmallestDeterminant) return SetIdentity();

    __m128 const row0 = _mm_loadu_ps(m), row1 = _mm_loadu_ps(m + 4), row2 = _mm_loadu_ps(m + 8);
    __m128 const scale = _mm_set1_ps(1.0f / determinant);
    __m128 r0 = _mm_mul_ps(Cross(row1, row2), scale);
    __m128 r1 = _mm_mul_ps(Cross(row2, row0), scale);
    __m128 r2 = _mm_mul_ps(Cross(row0, row1), scale);
    __m128 r3 = _mm_setzero_ps();
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);

    // -(t.x * row0 + t.y * row1 + t.z * row2); a sign flip, so that an all zero sum stays as the plain form has it.
    __m128 const t = _mm_loadu_ps(m + 12);
    __m128 sum = _mm_mul_ps(_mm_shuffle_ps(t, t, _MM_SHUFFLE(0, 0, 0, 0)), r0);
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(t, t, _MM_SHUFFLE(1, 1, 1, 1)), r1));
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(t, t, _MM_SHUFFLE(2, 2, 2, 2)), r2));

    // The crosses carry rubbish in their fourth lane, which the transpose moved to r3; the fourth lanes of r0 to r2
    // are the zeros it started from.
    _mm_storeu_ps(m, r0);
    _mm_storeu_ps(m + 4, r1);
    _mm_storeu_ps(m + 8, r2);
    _mm_storeu_ps(m + 12, _mm_xor_ps(sum, _mm_set1_ps(-0.0f)));
    m[15] = 1;
    return *this;
}
#else
Matrix44 const& Matrix44::Invert() {
    float const determinant = Determinant();
    if (std::fabs(determinant) < kSmallestDeterminant) return SetIdentity();

    Matrix33 r(m[0], m[1], m[2], m[4], m[5], m[6], m[8], m[9], m[10]);
    r.Invert();
    Vector3 const t = -(Vector3(m[12], m[13], m[14]) * r);
    *this = Matrix44(r);
    m[12] = t.x, m[13] = t.y, m[14] = t.z;
    return *this;
}
#endif

std::ostream& operator<<(std::ostream& out, Matrix33 const& a) {
    WriteRows(out, a.m, 3);
    return out << '\n';
}

std::ostream& operator<<(std::ostream& out, Matrix44 const& a) {
    WriteRows(out, a.m, 4);
    return out;
}
} // namespace qk3d
