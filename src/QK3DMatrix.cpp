// QK3DMatrix.cpp: transposes, inverses, rotations from quaternions and text forms of the matrices.
#include "QK3DMatrix.h"
#include "QK3DQuaternion.h"
#include <ostream>
#include <utility>

namespace qk3d {
namespace {
void WriteRows(std::ostream& out, float const* m, int size) {
    out << std::fixed;
    for (int row = 0; row < size; ++row) {
        if (row) out << '\n';
        for (int col = 0; col < size; ++col) out << (col ? "\t" : "") << m[row * size + col];
    }
    out.unsetf(std::ios_base::floatfield);
}

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
    if (std::fabs(determinant) < detail::kSmallestDeterminant) return SetIdentity();

    float const s = 1.0f / determinant;
    Matrix33 const a = *this;
    SetElements((a.m[4] * a.m[8] - a.m[5] * a.m[7]) * s, (a.m[2] * a.m[7] - a.m[1] * a.m[8]) * s,
                (a.m[1] * a.m[5] - a.m[2] * a.m[4]) * s, (a.m[5] * a.m[6] - a.m[3] * a.m[8]) * s,
                (a.m[0] * a.m[8] - a.m[2] * a.m[6]) * s, (a.m[2] * a.m[3] - a.m[0] * a.m[5]) * s,
                (a.m[3] * a.m[7] - a.m[4] * a.m[6]) * s, (a.m[1] * a.m[6] - a.m[0] * a.m[7]) * s,
                (a.m[0] * a.m[4] - a.m[1] * a.m[3]) * s);
    return *this;
}

#ifndef QK3D_MATH_SSE2
Matrix44 Matrix44::GetInverse() const {
    if (std::fabs(Determinant()) < detail::kSmallestDeterminant) return IDENTITY;

    Matrix33 const r = Matrix33(m[0], m[1], m[2], m[4], m[5], m[6], m[8], m[9], m[10]).GetInverse();
    Vector3 const t = -(Vector3(m[12], m[13], m[14]) * r);
    Matrix44 result(r);
    result.m[12] = t.x, result.m[13] = t.y, result.m[14] = t.z;
    return result;
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
