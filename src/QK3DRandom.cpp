// QK3DRandom.cpp: random vectors from the generator of the C library.
#include "QK3DRandom.h"
#include <algorithm>
#include <cstdlib>

namespace qk3d {
namespace {
// 0 to 32767 on every platform: the top bits of what rand gives, one call a number.
int Draw() { return std::rand() / (RAND_MAX / 32768 + 1); }

float Between(float a, float b) {
    auto const [low, high] = std::minmax(a, b);
    float const span = high - low;
    return static_cast<float>(Draw() / 32767.0 * span + static_cast<double>(low));
}
} // namespace

// The elements are drawn from the last to the first: each has a line of its own, since the order inside a call is open.
Vector2 RandomNumber(Vector2 const& a, Vector2 const& b) {
    if (a == b) return b;
    Vector2 result;
    result.y = Between(a.y, b.y);
    result.x = Between(a.x, b.x);
    return result;
}

Vector3 RandomNumber(Vector3 const& a, Vector3 const& b) {
    if (a == b) return b;
    Vector3 result;
    result.z = Between(a.z, b.z);
    result.y = Between(a.y, b.y);
    result.x = Between(a.x, b.x);
    return result;
}

Vector4 RandomNumber(Vector4 const& a, Vector4 const& b) {
    if (a == b) return b;
    Vector4 result;
    result.w = Between(a.w, b.w);
    result.z = Between(a.z, b.z);
    result.y = Between(a.y, b.y);
    result.x = Between(a.x, b.x);
    return result;
}
} // namespace qk3d
