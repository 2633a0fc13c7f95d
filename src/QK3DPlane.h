// QK3DPlane.h: the plane a * x + b * y + c * z + d = 0.
#pragma once

#include "QK3DMatrix.h"

namespace qk3d {
/// The normal (a, b, c) and d. All zero by default. Distances are in units of the normal's length.
struct Plane {
    float a = 0;
    float b = 0;
    float c = 0;
    float d = 0;

    constexpr Plane() = default;
    constexpr Plane(float a_, float b_, float c_, float d_) : a(a_), b(b_), c(c_), d(d_) {}
    constexpr Plane(Plane const& other) = default;
    /// The normal is stored as it is, not normalised.
    constexpr Plane(Vector3 const& normal, Vector3 const& point)
        : a(normal.x), b(normal.y), c(normal.z), d(-VecDot(normal, point)) {}
    /// The plane of three points, with the normal along (p2 - p1) x (p3 - p1), of length 1. Points that coincide or
    /// lie on one line give an all zero plane.
    QK3D_API Plane(Vector3 const& p1, Vector3 const& p2, Vector3 const& p3);

    constexpr Plane& operator=(Plane const& other) = default;
    constexpr bool operator==(Plane const& o) const { return a == o.a && b == o.b && c == o.c && d == o.d; }
    constexpr operator float*() { return &a; }
    constexpr operator float const*() const { return &a; }

    /// Brings the normal to length 1 and d along. A zero normal changes nothing.
    QK3D_API Plane const& Normalize();
    Plane GetNormalized() const { return Plane(*this).Normalize(); }
    /// Signed: positive on the side that the normal points to.
    constexpr float PointDistance(Vector3 const& point) const;
};

constexpr float PlaneDotVec(Plane const& p, Vector3 const& v) { return p.a * v.x + p.b * v.y + p.c * v.z + p.d; }
constexpr float PlaneDotVec(Plane const& p, Vector4 const& v) { return p.a * v.x + p.b * v.y + p.c * v.z + p.d * v.w; }
constexpr float PlaneDotNormal(Plane const& p, Vector3 const& v) { return p.a * v.x + p.b * v.y + p.c * v.z; }
constexpr float Plane::PointDistance(Vector3 const& point) const { return PlaneDotVec(*this, point); }

/// Multiplies (a, b, c, d) by the matrix as a row of four, in place. To move a plane by a transform, pass the transposed
/// inverse of that transform.
QK3D_API Plane const& PlaneTransform(Plane& plane, Matrix44 const& m);

/// Where the endless line through p1 and p2 meets the plane. A line parallel to the plane gives no finite point.
QK3D_API Vector3 PlaneLineIntersection(Plane const& plane, Vector3 const& p1, Vector3 const& p2);

/// "[a,b,c,d]" in fixed notation.
QK3D_API std::ostream& operator<<(std::ostream& out, Plane const& plane);
} // namespace qk3d
