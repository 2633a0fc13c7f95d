// QK3DMatrix.h: 3x3 and 4x4 matrices, products with vectors, and the builders of transforms and projections.
#pragma once

#include "QK3DVector.h"
#if defined(__SSE2__) || defined(_M_X64)
#define QK3D_MATH_SSE2 1
#include <emmintrin.h>
#endif

namespace qk3d {
struct Quaternion;

/// Nine floats by row: row r, column c is `m[3 * r + c]`. All zero by default, not the identity. As a 2D transform it
/// works on (x, y, 1), with the translation in the last row. Indices are not tested anywhere.
struct Matrix33 {
    float m[9] = {};

    static Matrix33 const IDENTITY;

    constexpr Matrix33() = default;
    constexpr Matrix33(float m0, float m1, float m2, float m3, float m4, float m5, float m6, float m7, float m8)
        : m{m0, m1, m2, m3, m4, m5, m6, m7, m8} {}
    /// Copies nine floats.
    explicit Matrix33(float const* elements);
    /// The rotation of a quaternion of length 1.
    QK3D_API Matrix33(Quaternion const& q);
    /// A 4x4 matrix is no run of nine floats, though it converts to a pointer.
    Matrix33(Matrix44 const&) = delete;

    bool operator==(Matrix33 const& other) const;
    Matrix33 const& operator+=(Matrix33 const& other);
    Matrix33 const& operator-=(Matrix33 const& other);
    Matrix33 const& operator*=(Matrix33 const& other);

    /// The i-th of all elements, not a row.
    constexpr float& operator[](int i) { return m[i]; }
    constexpr float operator[](int i) const { return m[i]; }
    constexpr float& operator()(int row, int col) { return m[3 * row + col]; }
    constexpr float operator()(int row, int col) const { return m[3 * row + col]; }
    constexpr operator float*() { return m; }
    constexpr operator float const*() const { return m; }

    Vector3 GetRow(int i) const { return {m[3 * i], m[3 * i + 1], m[3 * i + 2]}; }
    Vector3 GetCol(int i) const { return {m[i], m[i + 3], m[i + 6]}; }
    void SetRow(int i, Vector3 const& v) { m[3 * i] = v.x, m[3 * i + 1] = v.y, m[3 * i + 2] = v.z; }
    void SetCol(int i, Vector3 const& v) { m[i] = v.x, m[i + 3] = v.y, m[i + 6] = v.z; }
    void SetElements(float m0, float m1, float m2, float m3, float m4, float m5, float m6, float m7, float m8) {
        *this = Matrix33(m0, m1, m2, m3, m4, m5, m6, m7, m8);
    }

    Matrix33 const& SetIdentity() { return *this = IDENTITY; }
    bool IsIdentity() const { return *this == IDENTITY; }
    QK3D_API Matrix33 const& Transpose();
    Matrix33 GetTranspose() const { return Matrix33(*this).Transpose(); }
    constexpr float Determinant() const {
        return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6]) +
               m[2] * (m[3] * m[7] - m[4] * m[6]);
    }
    /// Becomes its inverse, or the identity when the determinant is below 1.1920929e-7 in size.
    QK3D_API Matrix33 const& Invert();
    Matrix33 GetInverse() const { return Matrix33(*this).Invert(); }
};

/// Sixteen floats by row: row r, column c is `m[4 * r + c]`, the translation lies in `m[12]` to `m[14]`. All zero by
/// default, not the identity. `A * B` applies A first.
struct Matrix44 {
    float m[16] = {};

    static Matrix44 const IDENTITY;

    constexpr Matrix44() = default;
    constexpr Matrix44(float m0, float m1, float m2, float m3, float m4, float m5, float m6, float m7, float m8,
                       float m9, float m10, float m11, float m12, float m13, float m14, float m15)
        : m{m0, m1, m2, m3, m4, m5, m6, m7, m8, m9, m10, m11, m12, m13, m14, m15} {}
    /// Copies sixteen floats.
    explicit Matrix44(float const* elements);
    /// The upper left 3x3; the rest is that of the identity. The translation of a 2D transform stays in the third row.
    Matrix44(Matrix33 const& a)
        : m{a.m[0], a.m[1], a.m[2], 0, a.m[3], a.m[4], a.m[5], 0, a.m[6], a.m[7], a.m[8], 0, 0, 0, 0, 1} {}
    /// The rotation of a quaternion of length 1.
    QK3D_API Matrix44(Quaternion const& q);

    bool operator==(Matrix44 const& other) const;
    Matrix44 const& operator+=(Matrix44 const& other);
    Matrix44 const& operator-=(Matrix44 const& other);
    Matrix44 const& operator*=(Matrix44 const& other);
    Matrix44 const& operator*=(Matrix33 const& other);

    /// The i-th of all elements, not a row.
    constexpr float& operator[](int i) { return m[i]; }
    constexpr float operator[](int i) const { return m[i]; }
    constexpr float& operator()(int row, int col) { return m[4 * row + col]; }
    constexpr float operator()(int row, int col) const { return m[4 * row + col]; }
    constexpr operator float*() { return m; }
    constexpr operator float const*() const { return m; }

    Vector4 GetRow(int i) const { return {m[4 * i], m[4 * i + 1], m[4 * i + 2], m[4 * i + 3]}; }
    Vector4 GetCol(int i) const { return {m[i], m[i + 4], m[i + 8], m[i + 12]}; }
    void SetRow(int i, Vector4 const& v) { m[4 * i] = v.x, m[4 * i + 1] = v.y, m[4 * i + 2] = v.z, m[4 * i + 3] = v.w; }
    void SetCol(int i, Vector4 const& v) { m[i] = v.x, m[i + 4] = v.y, m[i + 8] = v.z, m[i + 12] = v.w; }
    void SetElements(float m0, float m1, float m2, float m3, float m4, float m5, float m6, float m7, float m8, float m9,
                     float m10, float m11, float m12, float m13, float m14, float m15) {
        *this = Matrix44(m0, m1, m2, m3, m4, m5, m6, m7, m8, m9, m10, m11, m12, m13, m14, m15);
    }

    Matrix44 const& SetIdentity() { return *this = IDENTITY; }
    /// What is not the identity mostly moves something, so that is looked at first: it is asked for every node and object.
    bool IsIdentity() const { return m[12] == 0 && m[13] == 0 && m[14] == 0 && *this == IDENTITY; }
    QK3D_API Matrix44 const& Transpose();
    Matrix44 GetTranspose() const { return Matrix44(*this).Transpose(); }
    /// The determinant of the upper left 3x3, not of all 16 elements.
    constexpr float Determinant() const {
        return m[0] * (m[5] * m[10] - m[6] * m[9]) - m[1] * (m[4] * m[10] - m[6] * m[8]) +
               m[2] * (m[4] * m[9] - m[5] * m[8]);
    }
    /// Becomes the inverse of an affine transform: the right column is taken as (0, 0, 0, 1) whatever it holds, so this
    /// does not invert a projection. The identity when the determinant is below 1.1920929e-7 in size.
    Matrix44 const& Invert() { return *this = GetInverse(); }
    Matrix44 GetInverse() const;
};

inline constexpr Matrix33 Matrix33::IDENTITY{1, 0, 0, 0, 1, 0, 0, 0, 1};
inline constexpr Matrix44 Matrix44::IDENTITY{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};

inline Matrix33::Matrix33(float const* elements) {
    for (int i = 0; i < 9; ++i) m[i] = elements[i];
}
inline Matrix44::Matrix44(float const* elements) {
    for (int i = 0; i < 16; ++i) m[i] = elements[i];
}

inline bool Matrix33::operator==(Matrix33 const& other) const {
    for (int i = 0; i < 9; ++i)
        if (!(m[i] == other.m[i])) return false;
    return true;
}
inline Matrix33 const& Matrix33::operator+=(Matrix33 const& other) {
    for (int i = 0; i < 9; ++i) m[i] += other.m[i];
    return *this;
}
inline Matrix33 const& Matrix33::operator-=(Matrix33 const& other) {
    for (int i = 0; i < 9; ++i) m[i] -= other.m[i];
    return *this;
}

inline Matrix33 operator+(Matrix33 a, Matrix33 const& b) { return a += b; }
inline Matrix33 operator-(Matrix33 a, Matrix33 const& b) { return a -= b; }
inline Matrix33 operator*(Matrix33 a, float s) {
    for (float& element : a.m) element *= s;
    return a;
}
inline Matrix33 operator*(float s, Matrix33 const& a) { return a * s; }
inline Matrix33 operator*(Matrix33 const& a, Matrix33 const& b) {
    Matrix33 result;
    for (int r = 0; r < 9; r += 3)
        for (int c = 0; c < 3; ++c)
            result.m[r + c] = a.m[r] * b.m[c] + a.m[r + 1] * b.m[c + 3] + a.m[r + 2] * b.m[c + 6];
    return result;
}
inline Matrix33 const& Matrix33::operator*=(Matrix33 const& other) { return *this = *this * other; }

namespace detail {
/// Below this size a determinant counts as zero: the spacing of floats at 1.
inline constexpr float kSmallestDeterminant = 1.1920929e-7f;
} // namespace detail

// The 4x4 operations work on whole rows. Four-wide or plain, each element is the same sum in the same order.
#ifdef QK3D_MATH_SSE2
namespace detail {
/// x * row0 + y * row1 + z * row2 + w * row3, added from left to right.
inline __m128 RowTimesMatrix(float const* row, __m128 b0, __m128 b1, __m128 b2, __m128 b3) {
    __m128 const a = _mm_loadu_ps(row);
    __m128 sum = _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(0, 0, 0, 0)), b0);
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(1, 1, 1, 1)), b1));
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(2, 2, 2, 2)), b2));
    return _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 3, 3, 3)), b3));
}
} // namespace detail

inline bool Matrix44::operator==(Matrix44 const& other) const {
    __m128 equal = _mm_cmpeq_ps(_mm_loadu_ps(m), _mm_loadu_ps(other.m));
    equal = _mm_and_ps(equal, _mm_cmpeq_ps(_mm_loadu_ps(m + 4), _mm_loadu_ps(other.m + 4)));
    equal = _mm_and_ps(equal, _mm_cmpeq_ps(_mm_loadu_ps(m + 8), _mm_loadu_ps(other.m + 8)));
    equal = _mm_and_ps(equal, _mm_cmpeq_ps(_mm_loadu_ps(m + 12), _mm_loadu_ps(other.m + 12)));
    return _mm_movemask_ps(equal) == 0xF;
}

inline Matrix44 operator*(Matrix44 const& a, Matrix44 const& b) {
    __m128 const b0 = _mm_loadu_ps(b.m), b1 = _mm_loadu_ps(b.m + 4), b2 = _mm_loadu_ps(b.m + 8),
                 b3 = _mm_loadu_ps(b.m + 12);
    Matrix44 result;
    _mm_storeu_ps(result.m, detail::RowTimesMatrix(a.m, b0, b1, b2, b3));
    _mm_storeu_ps(result.m + 4, detail::RowTimesMatrix(a.m + 4, b0, b1, b2, b3));
    _mm_storeu_ps(result.m + 8, detail::RowTimesMatrix(a.m + 8, b0, b1, b2, b3));
    _mm_storeu_ps(result.m + 12, detail::RowTimesMatrix(a.m + 12, b0, b1, b2, b3));
    return result;
}

inline Vector4 operator*(Vector4 const& v, Matrix44 const& a) {
    Vector4 result;
    _mm_storeu_ps(&result.x, detail::RowTimesMatrix(&v.x, _mm_loadu_ps(a.m), _mm_loadu_ps(a.m + 4),
                                                    _mm_loadu_ps(a.m + 8), _mm_loadu_ps(a.m + 12)));
    return result;
}

namespace detail {
/// (x, y, z, 1) times the matrix.
inline __m128 PointTimesMatrix(Vector3 const& v, Matrix44 const& a) {
    __m128 sum = _mm_mul_ps(_mm_set1_ps(v.x), _mm_loadu_ps(a.m));
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_set1_ps(v.y), _mm_loadu_ps(a.m + 4)));
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_set1_ps(v.z), _mm_loadu_ps(a.m + 8)));
    return _mm_add_ps(sum, _mm_loadu_ps(a.m + 12));
}

inline Vector3 FirstThree(__m128 v) {
    return {_mm_cvtss_f32(v), _mm_cvtss_f32(_mm_shuffle_ps(v, v, _MM_SHUFFLE(1, 1, 1, 1))),
            _mm_cvtss_f32(_mm_movehl_ps(v, v))};
}

/// The first three elements one place on, in a circle: (y, z, x).
inline __m128 Roll(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(3, 0, 2, 1)); }

/// a x b in the first three lanes: (a.y * b.z - a.z * b.y, ...), one rounding after each product as in the plain form.
inline __m128 Cross(__m128 a, __m128 rolledA, __m128 b, __m128 rolledB) {
    return Roll(_mm_sub_ps(_mm_mul_ps(a, rolledB), _mm_mul_ps(rolledA, b)));
}
} // namespace detail

inline Vector3 const& Vector3::operator*=(Matrix44 const& a) {
    return *this = detail::FirstThree(detail::PointTimesMatrix(*this, a));
}

/// The point (x, y, z, 1) times the matrix, divided by the resulting w.
inline Vector3 operator*(Vector3 const& v, Matrix44 const& a) {
    __m128 const product = detail::PointTimesMatrix(v, a);
    __m128 const w = _mm_shuffle_ps(product, product, _MM_SHUFFLE(3, 3, 3, 3));
    return detail::FirstThree(_mm_mul_ps(product, _mm_div_ps(_mm_set1_ps(1), w)));
}

// The columns of the adjugate are cross products of the rows, and the first of them is what the determinant needs.
inline Matrix44 Matrix44::GetInverse() const {
    __m128 const row0 = _mm_loadu_ps(m), row1 = _mm_loadu_ps(m + 4), row2 = _mm_loadu_ps(m + 8);
    __m128 const rolled0 = detail::Roll(row0), rolled1 = detail::Roll(row1), rolled2 = detail::Roll(row2);
    __m128 const cross0 = detail::Cross(row1, rolled1, row2, rolled2);
    __m128 const products = _mm_mul_ps(row0, cross0); // their sum from left to right is the determinant
    __m128 determinant = _mm_add_ss(products, _mm_shuffle_ps(products, products, _MM_SHUFFLE(1, 1, 1, 1)));
    determinant = _mm_add_ss(determinant, _mm_movehl_ps(products, products));
    if (std::fabs(_mm_cvtss_f32(determinant)) < detail::kSmallestDeterminant) return IDENTITY;

    __m128 const factor = _mm_div_ss(_mm_set_ss(1), determinant);
    __m128 const scale = _mm_shuffle_ps(factor, factor, _MM_SHUFFLE(0, 0, 0, 0));
    __m128 r0 = _mm_mul_ps(cross0, scale);
    __m128 r1 = _mm_mul_ps(detail::Cross(row2, rolled2, row0, rolled0), scale);
    __m128 r2 = _mm_mul_ps(detail::Cross(row0, rolled0, row1, rolled1), scale);
    __m128 r3 = _mm_setzero_ps();
    _MM_TRANSPOSE4_PS(r0, r1, r2, r3);

    // -(t.x * row0 + t.y * row1 + t.z * row2); a sign flip, so that an all zero sum stays as the plain form has it.
    __m128 const t = _mm_loadu_ps(m + 12);
    __m128 sum = _mm_mul_ps(_mm_shuffle_ps(t, t, _MM_SHUFFLE(0, 0, 0, 0)), r0);
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(t, t, _MM_SHUFFLE(1, 1, 1, 1)), r1));
    sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(t, t, _MM_SHUFFLE(2, 2, 2, 2)), r2));
    __m128 const lastRow = _mm_xor_ps(sum, _mm_set1_ps(-0.0f));
    __m128 const zAndOne = _mm_unpackhi_ps(lastRow, _mm_set1_ps(1)); // z in the first lane, 1 in the second

    // The crosses carry rubbish in their fourth lane, which the transpose moved to r3; the fourth lanes of r0 to r2
    // are the zeros it started from.
    Matrix44 result;
    _mm_storeu_ps(result.m, r0);
    _mm_storeu_ps(result.m + 4, r1);
    _mm_storeu_ps(result.m + 8, r2);
    _mm_storeu_ps(result.m + 12, _mm_movelh_ps(lastRow, zAndOne));
    return result;
}
#else
inline bool Matrix44::operator==(Matrix44 const& other) const {
    for (int i = 0; i < 16; ++i)
        if (!(m[i] == other.m[i])) return false;
    return true;
}

inline Vector4 operator*(Vector4 const& v, Matrix44 const& a) {
    return {v.x * a.m[0] + v.y * a.m[4] + v.z * a.m[8] + v.w * a.m[12],
            v.x * a.m[1] + v.y * a.m[5] + v.z * a.m[9] + v.w * a.m[13],
            v.x * a.m[2] + v.y * a.m[6] + v.z * a.m[10] + v.w * a.m[14],
            v.x * a.m[3] + v.y * a.m[7] + v.z * a.m[11] + v.w * a.m[15]};
}

inline Matrix44 operator*(Matrix44 const& a, Matrix44 const& b) {
    Matrix44 result;
    for (int r = 0; r < 4; ++r) result.SetRow(r, a.GetRow(r) * b);
    return result;
}

inline Vector3 const& Vector3::operator*=(Matrix44 const& a) {
    return *this = {x * a.m[0] + y * a.m[4] + z * a.m[8] + a.m[12], x * a.m[1] + y * a.m[5] + z * a.m[9] + a.m[13],
                    x * a.m[2] + y * a.m[6] + z * a.m[10] + a.m[14]};
}
/// The point (x, y, z, 1) times the matrix, divided by the resulting w.
inline Vector3 operator*(Vector3 const& v, Matrix44 const& a) {
    float const w = 1.0f / (v.x * a.m[3] + v.y * a.m[7] + v.z * a.m[11] + a.m[15]);
    Vector3 result = v;
    result *= a;
    return result * w;
}
#endif

inline Matrix44 const& Matrix44::operator+=(Matrix44 const& other) {
    for (int i = 0; i < 16; ++i) m[i] += other.m[i];
    return *this;
}
inline Matrix44 const& Matrix44::operator-=(Matrix44 const& other) {
    for (int i = 0; i < 16; ++i) m[i] -= other.m[i];
    return *this;
}
inline Matrix44 operator+(Matrix44 a, Matrix44 const& b) { return a += b; }
inline Matrix44 operator-(Matrix44 a, Matrix44 const& b) { return a -= b; }
inline Matrix44 operator*(Matrix44 a, float s) {
    for (float& element : a.m) element *= s;
    return a;
}
inline Matrix44 operator*(float s, Matrix44 const& a) { return a * s; }
inline Matrix44 const& Matrix44::operator*=(Matrix44 const& other) { return *this = *this * other; }

/// The 3x3 works on the first three elements of each of the four rows; the right column of `a` stays.
inline Matrix44 operator*(Matrix44 const& a, Matrix33 const& b) {
    Matrix44 result = a;
    for (int r = 0; r < 16; r += 4)
        for (int c = 0; c < 3; ++c)
            result.m[r + c] = a.m[r] * b.m[c] + a.m[r + 1] * b.m[c + 3] + a.m[r + 2] * b.m[c + 6];
    return result;
}
inline Matrix44 const& Matrix44::operator*=(Matrix33 const& other) { return *this = *this * other; }

inline Vector2 operator*(Vector2 const& v, Matrix33 const& a) {
    return {v.x * a.m[0] + v.y * a.m[3] + a.m[6], v.x * a.m[1] + v.y * a.m[4] + a.m[7]};
}
inline Vector3 operator*(Vector3 const& v, Matrix33 const& a) {
    return {v.x * a.m[0] + v.y * a.m[3] + v.z * a.m[6], v.x * a.m[1] + v.y * a.m[4] + v.z * a.m[7],
            v.x * a.m[2] + v.y * a.m[5] + v.z * a.m[8]};
}
inline Vector2 const& Vector2::operator*=(Matrix33 const& a) { return *this = *this * a; }
inline Vector2 const& Vector2::operator*=(Matrix44 const& a) {
    return *this = {x * a.m[0] + y * a.m[4] + a.m[8], x * a.m[1] + y * a.m[5] + a.m[9]};
}
inline Vector3 const& Vector3::operator*=(Matrix33 const& a) { return *this = *this * a; }
inline Vector4 const& Vector4::operator*=(Matrix44 const& a) { return *this = *this * a; }

inline void VecTransform(Vector2& v, Matrix33 const& a) { v *= a; }
inline void VecTransform(Vector2& v, Matrix44 const& a) { v *= a; }
inline void VecTransform(Vector3& v, Matrix33 const& a) { v *= a; }
/// Divides by the resulting w, as `v * a` does.
inline void VecTransform(Vector3& v, Matrix44 const& a) { v = v * a; }
inline void VecTransform(Vector4& v, Matrix44 const& a) { v *= a; }

/// Rows of elements parted by tabs, in fixed notation; the last row ends the line for a 3x3, but not for a 4x4.
QK3D_API std::ostream& operator<<(std::ostream& out, Matrix33 const& a);
QK3D_API std::ostream& operator<<(std::ostream& out, Matrix44 const& a);

// Builders. Angles are radians and go through the sine table of the base library, 1024 steps a turn with linear
// interpolation. A positive angle turns x towards y about z, y towards z about x, z towards x about y. An angle that is
// not finite gives NaN elements. `p` is a point that stays where it is.

QK3D_API Matrix44 MatBuildTranslation(float x, float y, float z);
QK3D_API Matrix44 MatBuildScale(float sx, float sy, float sz);
QK3D_API Matrix44 MatBuildScale(Vector3 const& p, float sx, float sy, float sz);
QK3D_API Matrix44 MatBuildRotationX(float angle);
QK3D_API Matrix44 MatBuildRotationY(float angle);
QK3D_API Matrix44 MatBuildRotationZ(float angle);
QK3D_API Matrix44 MatBuildRotationX(Vector3 const& p, float angle);
QK3D_API Matrix44 MatBuildRotationY(Vector3 const& p, float angle);
QK3D_API Matrix44 MatBuildRotationZ(Vector3 const& p, float angle);
/// As the form with a point, but for the sign of p.y in the z translation: p does not stay in place.
QK3D_API Matrix44 MatBuildRotationX_Interest(Vector3 const& p, float angle);
/// As the form with a point, but for the sign of p.x * cos in the x translation: p does not stay in place.
QK3D_API Matrix44 MatBuildRotationY_Interest(Vector3 const& p, float angle);
/// About an axis through the origin; the axis needs no length of 1.
QK3D_API Matrix44 MatBuildRotationAxis(Vector3 axis, float angle);
/// About the line from p1 through p2.
QK3D_API Matrix44 MatBuildRotationAxis(Vector3 const& p1, Vector3 const& p2, float angle);
/// Roll about z first, then pitch about x, then yaw about y.
QK3D_API Matrix44 MatBuildRotationYawPitchRoll(float yaw, float pitch, float roll);
/// x' = x + a * y, y' = y + b * x.
QK3D_API Matrix44 MatBuildShear(float a, float b);
QK3D_API Matrix44 MatBuildShear(Vector3 const& p, float a, float b);
/// x' = x + a * y + b * z, y' = y + c * x + d * z, z' = z + e * x + f * y.
QK3D_API Matrix44 MatBuildShear(float a, float b, float c, float d, float e, float f);
QK3D_API Matrix44 MatBuildShear(Vector3 const& p, float a, float b, float c, float d, float e, float f);

QK3D_API Matrix33 MatBuild2DTranslation(float x, float y);
QK3D_API Matrix33 MatBuild2DScale(float sx, float sy);
QK3D_API Matrix33 MatBuild2DScale(Vector2 const& p, float sx, float sy);
QK3D_API Matrix33 MatBuild2DRotation(float angle);
QK3D_API Matrix33 MatBuild2DRotation(Vector2 const& p, float angle);
QK3D_API Matrix33 MatBuild2DShear(float a, float b);
QK3D_API Matrix33 MatBuild2DShear(Vector2 const& p, float a, float b);

/// A view matrix that looks along +z (LH) or -z (RH) from `eye` to `at`.
QK3D_API Matrix44 MatBuildLookAtLH(Vector3 const& eye, Vector3 const& at, Vector3 const& up);
QK3D_API Matrix44 MatBuildLookAtRH(Vector3 const& eye, Vector3 const& at, Vector3 const& up);

// Projections. Depth runs from 0 at `zn` to 1 at `zf`. No argument is tested: equal planes or a width of 0 give
// infinities.
QK3D_API Matrix44 MatBuildOrthoLH(float w, float h, float zn, float zf);
QK3D_API Matrix44 MatBuildOrthoRH(float w, float h, float zn, float zf);
/// `w` and `h` are the size of the view at the near plane.
QK3D_API Matrix44 MatBuildPerspectiveLH(float w, float h, float zn, float zf);
QK3D_API Matrix44 MatBuildPerspectiveRH(float w, float h, float zn, float zf);
/// `fovY` is the whole vertical angle, `aspect` width by height. The planes come first here.
QK3D_API Matrix44 MatBuildPerspectiveFovLH(float zn, float zf, float fovY, float aspect);
QK3D_API Matrix44 MatBuildPerspectiveFovRH(float zn, float zf, float fovY, float aspect);
QK3D_API Matrix44 MatBuildPerspectiveOffCenterLH(float l, float r, float b, float t, float zn, float zf);
QK3D_API Matrix44 MatBuildPerspectiveOffCenterRH(float l, float r, float b, float t, float zn, float zf);
} // namespace qk3d
