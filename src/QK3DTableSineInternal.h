// QK3DTableSineInternal.h: the one way from an angle to its sine and cosine.
#pragma once

#include "QKMath.h"
#include <cmath>

namespace qk3d {
struct SineCosine {
    float sine;
    float cosine;
};

/// Samples the tables of the base library, 1024 steps a turn with linear interpolation. A negative angle extends the
/// segment above its truncated step backwards. Beyond 32-bit steps, some 13 million radians, whole turns are taken off
/// first; an angle that is not finite gives NaN.
inline SineCosine SampleSineCosine(float angle) {
    float scaled = static_cast<float>(qklib::_Radian2Size) * angle;
    if (!(std::fabs(scaled) < 2147483648.0f))
        scaled = static_cast<float>(std::fmod(qklib::_Radian2Size * angle, 1024.0));
    if (scaled != scaled) return {scaled, scaled};

    int const step = static_cast<int>(scaled);
    double const fraction = scaled - static_cast<float>(step);
    int const index = step & 1023; // two's complement wraps negative steps too
    auto const sample = [&](double const* map) {
        return static_cast<float>((map[index + 1] - map[index]) * fraction + map[index]);
    };
    return {sample(qklib::_sinMap), sample(qklib::_cosMap)};
}
} // namespace qk3d
