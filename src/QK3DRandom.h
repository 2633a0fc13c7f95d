// QK3DRandom.h: random vectors in a box.
#pragma once

#include "QK3DVector.h"

namespace qk3d {
/// A vector whose every element lies between the same elements of `a` and `b`, both ends reachable, in whichever order
/// they come. Draws from the generator of the C library, one number an element from the last to the first, and none
/// at all when `a` equals `b`.
QK3D_API Vector2 RandomNumber(Vector2 const& a, Vector2 const& b);
QK3D_API Vector3 RandomNumber(Vector3 const& a, Vector3 const& b);
QK3D_API Vector4 RandomNumber(Vector4 const& a, Vector4 const& b);
} // namespace qk3d
