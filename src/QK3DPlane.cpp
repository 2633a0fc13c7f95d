// QK3DPlane.cpp: planes from points, and what they meet.
#include "QK3DPlane.h"
#include <ostream>

namespace qk3d {
Plane::Plane(Vector3 const& p1, Vector3 const& p2, Vector3 const& p3)
    : Plane(VecCross((p2 - p1).GetNormalized(), (p3 - p1).GetNormalized()).GetNormalized(), p1) {}

Plane const& Plane::Normalize() {
    Vector3 normal(a, b, c);
    float const length = normal.Length();
    if (length == 0.0f) return *this;

    normal.Normalize();
    return *this = Plane(normal.x, normal.y, normal.z, d / length);
}

Plane const& PlaneTransform(Plane& plane, Matrix44 const& m) {
    Vector4 const v = Vector4(plane.a, plane.b, plane.c, plane.d) * m;
    return plane = Plane(v.x, v.y, v.z, v.w);
}

Vector3 PlaneLineIntersection(Plane const& plane, Vector3 const& p1, Vector3 const& p2) {
    float const d1 = PlaneDotVec(plane, p1);
    float const d2 = PlaneDotVec(plane, p2);
    float const t = d1 / (d1 - d2);
    return p1 * (1.0f - t) + p2 * t;
}

std::ostream& operator<<(std::ostream& out, Plane const& plane) {
    out << std::fixed << '[' << plane.a << ',' << plane.b << ',' << plane.c << ',' << plane.d << ']';
    out.unsetf(std::ios_base::floatfield);
    return out;
}
} // namespace qk3d
