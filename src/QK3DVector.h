// QK3DVector.h: vectors of two, three and four floats. They are row vectors: a matrix stands on their right.
#pragma once

#include "QK3DExport.h"
#include <cmath>
#include <iosfwd>

namespace qk3d {
struct Matrix33;
struct Matrix44;
struct Vector4;

/// Two floats, zero by default. Comparison is exact, as for all types of the mathematics.
struct Vector2 {
    float x = 0;
    float y = 0;

    static Vector2 const ZERO;
    static Vector2 const UNIT_X;
    static Vector2 const UNIT_Y;
    static Vector2 const NEGATIVE_UNIT_X;
    static Vector2 const NEGATIVE_UNIT_Y;
    static Vector2 const UNIT_SCALE;

    constexpr Vector2() = default;
    constexpr Vector2(float x_, float y_) : x(x_), y(y_) {}

    constexpr bool operator==(Vector2 const& other) const { return x == other.x && y == other.y; }
    constexpr Vector2 operator+() const { return *this; }
    constexpr Vector2 operator-() const { return {-x, -y}; }
    constexpr Vector2 const& operator+=(Vector2 const& other) { return x += other.x, y += other.y, *this; }
    constexpr Vector2 const& operator-=(Vector2 const& other) { return x -= other.x, y -= other.y, *this; }
    constexpr Vector2 const& operator*=(float s) { return x *= s, y *= s, *this; }
    constexpr Vector2 const& operator/=(float s) { return *this *= 1.0f / s; }

    /// The point (x, y, 1) times the matrix, with its translation row; no division.
    Vector2 const& operator*=(Matrix33 const& m);
    /// Adds the third row of the matrix, not its translation row: what the matrix does to the point (x, y, 1, 0).
    Vector2 const& operator*=(Matrix44 const& m);

    /// Brings the length to 1, in place. A vector of length 0 stays as it is.
    Vector2 const& Normalize();
    Vector2 GetNormalized() const { return Vector2(*this).Normalize(); }
    constexpr float SquaredLength() const { return x * x + y * y; }
    float Length() const { return std::sqrt(SquaredLength()); }
};

/// Three floats, zero by default.
struct Vector3 {
    float x = 0;
    float y = 0;
    float z = 0;

    static Vector3 const ZERO;
    static Vector3 const UNIT_X;
    static Vector3 const UNIT_Y;
    static Vector3 const UNIT_Z;
    static Vector3 const NEGATIVE_UNIT_X;
    static Vector3 const NEGATIVE_UNIT_Y;
    static Vector3 const NEGATIVE_UNIT_Z;
    static Vector3 const UNIT_SCALE;

    constexpr Vector3() = default;
    constexpr Vector3(float x_, float y_, float z_) : x(x_), y(y_), z(z_) {}
    /// Drops w; there is no division by it.
    constexpr Vector3(Vector4 const& v);

    constexpr bool operator==(Vector3 const& other) const { return x == other.x && y == other.y && z == other.z; }
    constexpr Vector3 operator+() const { return *this; }
    constexpr Vector3 operator-() const { return {-x, -y, -z}; }
    constexpr Vector3 const& operator+=(Vector3 const& o) { return x += o.x, y += o.y, z += o.z, *this; }
    constexpr Vector3 const& operator-=(Vector3 const& o) { return x -= o.x, y -= o.y, z -= o.z, *this; }
    constexpr Vector3 const& operator*=(float s) { return x *= s, y *= s, z *= s, *this; }
    constexpr Vector3 const& operator/=(float s) { return *this *= 1.0f / s; }

    Vector3 const& operator*=(Matrix33 const& m);
    /// The point (x, y, z, 1) times the matrix. Unlike `v * m` this does not divide by the resulting w.
    Vector3 const& operator*=(Matrix44 const& m);

    /// Brings the length to 1, in place. A vector of length 0 stays as it is.
    Vector3 const& Normalize();
    Vector3 GetNormalized() const { return Vector3(*this).Normalize(); }
    constexpr float SquaredLength() const { return x * x + y * y + z * z; }
    float Length() const { return std::sqrt(SquaredLength()); }
};

/// Four floats, zero by default, w too.
struct Vector4 {
    float x = 0;
    float y = 0;
    float z = 0;
    float w = 0;

    static Vector4 const ZERO;

    constexpr Vector4() = default;
    constexpr Vector4(float x_, float y_, float z_, float w_) : x(x_), y(y_), z(z_), w(w_) {}
    /// A point: w becomes 1.
    constexpr Vector4(Vector3 const& v) : x(v.x), y(v.y), z(v.z), w(1) {}

    constexpr bool operator==(Vector4 const& o) const { return x == o.x && y == o.y && z == o.z && w == o.w; }
    constexpr Vector4 operator+() const { return *this; }
    constexpr Vector4 operator-() const { return {-x, -y, -z, -w}; }
    constexpr Vector4 const& operator+=(Vector4 const& o) { return x += o.x, y += o.y, z += o.z, w += o.w, *this; }
    constexpr Vector4 const& operator-=(Vector4 const& o) { return x -= o.x, y -= o.y, z -= o.z, w -= o.w, *this; }
    constexpr Vector4 const& operator*=(float s) { return x *= s, y *= s, z *= s, w *= s, *this; }
    constexpr Vector4 const& operator/=(float s) { return *this *= 1.0f / s; }
    Vector4 const& operator*=(Matrix44 const& m);

    /// Brings the length over all four elements to 1, in place. A vector of length 0 stays as it is.
    Vector4 const& Normalize();
    Vector4 GetNormalized() const { return Vector4(*this).Normalize(); }
    constexpr float SquaredLength() const { return x * x + y * y + z * z + w * w; }
    float Length() const { return std::sqrt(SquaredLength()); }
};

inline constexpr Vector2 Vector2::ZERO{0, 0};
inline constexpr Vector2 Vector2::UNIT_X{1, 0};
inline constexpr Vector2 Vector2::UNIT_Y{0, 1};
inline constexpr Vector2 Vector2::NEGATIVE_UNIT_X{-1, 0};
inline constexpr Vector2 Vector2::NEGATIVE_UNIT_Y{0, -1};
inline constexpr Vector2 Vector2::UNIT_SCALE{1, 1};
inline constexpr Vector3 Vector3::ZERO{0, 0, 0};
inline constexpr Vector3 Vector3::UNIT_X{1, 0, 0};
inline constexpr Vector3 Vector3::UNIT_Y{0, 1, 0};
inline constexpr Vector3 Vector3::UNIT_Z{0, 0, 1};
inline constexpr Vector3 Vector3::NEGATIVE_UNIT_X{-1, 0, 0};
inline constexpr Vector3 Vector3::NEGATIVE_UNIT_Y{0, -1, 0};
inline constexpr Vector3 Vector3::NEGATIVE_UNIT_Z{0, 0, -1};
inline constexpr Vector3 Vector3::UNIT_SCALE{1, 1, 1};
inline constexpr Vector4 Vector4::ZERO{0, 0, 0, 0};

constexpr Vector3::Vector3(Vector4 const& v) : x(v.x), y(v.y), z(v.z) {}

inline Vector2 const& Vector2::Normalize() {
    float const length = Length();
    if (length != 0.0f) *this *= 1.0f / length;
    return *this;
}

inline Vector3 const& Vector3::Normalize() {
    float const length = Length();
    if (length != 0.0f) *this *= 1.0f / length;
    return *this;
}

inline Vector4 const& Vector4::Normalize() {
    float const length = Length();
    if (length != 0.0f) *this *= 1.0f / length;
    return *this;
}

constexpr Vector2 operator+(Vector2 const& a, Vector2 const& b) { return {a.x + b.x, a.y + b.y}; }
constexpr Vector2 operator-(Vector2 const& a, Vector2 const& b) { return {a.x - b.x, a.y - b.y}; }
constexpr Vector2 operator*(Vector2 const& v, float s) { return {v.x * s, v.y * s}; }
constexpr Vector2 operator*(float s, Vector2 const& v) { return v * s; }
constexpr Vector2 operator/(Vector2 const& v, float s) { return v * (1.0f / s); }
/// The same value as `v / s`.
constexpr Vector2 operator/(float s, Vector2 const& v) { return v * (1.0f / s); }

constexpr Vector3 operator+(Vector3 const& a, Vector3 const& b) { return {a.x + b.x, a.y + b.y, a.z + b.z}; }
constexpr Vector3 operator-(Vector3 const& a, Vector3 const& b) { return {a.x - b.x, a.y - b.y, a.z - b.z}; }
constexpr Vector3 operator*(Vector3 const& v, float s) { return {v.x * s, v.y * s, v.z * s}; }
constexpr Vector3 operator*(float s, Vector3 const& v) { return v * s; }
constexpr Vector3 operator/(Vector3 const& v, float s) { return v * (1.0f / s); }
/// The same value as `v / s`.
constexpr Vector3 operator/(float s, Vector3 const& v) { return v * (1.0f / s); }

constexpr Vector4 operator+(Vector4 const& a, Vector4 const& b) { return {a.x + b.x, a.y + b.y, a.z + b.z, a.w + b.w}; }
constexpr Vector4 operator-(Vector4 const& a, Vector4 const& b) { return {a.x - b.x, a.y - b.y, a.z - b.z, a.w - b.w}; }
constexpr Vector4 operator*(Vector4 const& v, float s) { return {v.x * s, v.y * s, v.z * s, v.w * s}; }
constexpr Vector4 operator*(float s, Vector4 const& v) { return v * s; }
constexpr Vector4 operator/(Vector4 const& v, float s) { return v * (1.0f / s); }
/// The same value as `v / s`.
constexpr Vector4 operator/(float s, Vector4 const& v) { return v * (1.0f / s); }

constexpr float VecDot(Vector2 const& a, Vector2 const& b) { return a.x * b.x + a.y * b.y; }
constexpr float VecDot(Vector3 const& a, Vector3 const& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr float VecDot(Vector4 const& a, Vector4 const& b) { return a.x * b.x + a.y * b.y + a.z * b.z + a.w * b.w; }

constexpr Vector3 VecCross(Vector3 const& a, Vector3 const& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
/// The cross product.
constexpr Vector3 operator*(Vector3 const& a, Vector3 const& b) { return VecCross(a, b); }

/// The centre of gravity of a triangle.
constexpr Vector2 GetBarycenter(Vector2 const& a, Vector2 const& b, Vector2 const& c) {
    return (a + b + c) * 0.33333334f;
}
constexpr Vector3 GetBarycenter(Vector3 const& a, Vector3 const& b, Vector3 const& c) {
    return (a + b + c) * 0.33333334f;
}
constexpr Vector4 GetBarycenter(Vector4 const& a, Vector4 const& b, Vector4 const& c) {
    return (a + b + c) * 0.33333334f;
}

/// The angle between two vectors in radians, 0 to pi. The cosine is not clamped: a vector of length 0, or rounding
/// at nearly parallel vectors, can give a NaN.
inline float GetAngle(Vector2 const& a, Vector2 const& b) {
    return std::acos(VecDot(a, b) / (b.Length() * a.Length()));
}
inline float GetAngle(Vector3 const& a, Vector3 const& b) {
    return std::acos(VecDot(a, b) / (b.Length() * a.Length()));
}
inline float GetAngle(Vector4 const& a, Vector4 const& b) {
    return std::acos(VecDot(a, b) / (b.Length() * a.Length()));
}

/// "[x,y]" in fixed notation. The stream's choice between fixed and scientific is reset afterwards.
QK3D_API std::ostream& operator<<(std::ostream& out, Vector2 const& v);
QK3D_API std::ostream& operator<<(std::ostream& out, Vector3 const& v);
QK3D_API std::ostream& operator<<(std::ostream& out, Vector4 const& v);
} // namespace qk3d
