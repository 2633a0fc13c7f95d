// QKMath.h: the sine and cosine tables under all angles of the engine.
#pragma once

#include "QKExport.h"

namespace qklib {
/// Table steps per radian: 1024 steps make a full turn.
inline constexpr double _Radian2Size = 1024.0 / 6.283185307179586476925286766559;

/// Entry i holds the sine (cosine) of 2 pi i / 1024, correctly rounded as far as a long double tells. The last entry
/// closes the turn, so that i + 1 can be read for every step i. Zeros and ones are exact.
QKLIB_API extern double const _sinMap[1025];
QKLIB_API extern double const _cosMap[1025];
} // namespace qklib
