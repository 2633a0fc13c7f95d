// QK3DVector.cpp: text forms of the vectors.
#include "QK3DVector.h"
#include <ostream>

namespace qk3d {
std::ostream& operator<<(std::ostream& out, Vector2 const& v) {
    out << std::fixed << '[' << v.x << ',' << v.y << ']';
    out.unsetf(std::ios_base::floatfield);
    return out;
}

std::ostream& operator<<(std::ostream& out, Vector3 const& v) {
    out << std::fixed << '[' << v.x << ',' << v.y << ',' << v.z << ']';
    out.unsetf(std::ios_base::floatfield);
    return out;
}

std::ostream& operator<<(std::ostream& out, Vector4 const& v) {
    out << std::fixed << '[' << v.x << ',' << v.y << ',' << v.z << ',' << v.w << ']';
    out.unsetf(std::ios_base::floatfield);
    return out;
}
} // namespace qk3d
