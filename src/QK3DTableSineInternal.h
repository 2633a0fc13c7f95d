// QK3DTableSineInternal.h: the one way from an angle to its sine and cosine.
#pragma once

#include "QK3DMatrix.h" // which says whether there are four-wide vectors
#include "QKMath.h"
#include <cmath>

namespace qk3d {
struct SineCosine {
    float sine;
    float cosine;
};

/// An angle in table steps, 1024 to a turn, without the whole turns. The way for angles beyond 32-bit steps, some 13 million
/// radians; one that is not finite gives NaN.
inline float ToStepsWithoutTurns(float angle) {
    return static_cast<float>(std::fmod(qklib::_Radian2Size * angle, 1024.0));
}

// Samples the tables of the base library with linear interpolation in double precision. A negative angle extends the
// segment above its truncated step backwards; negative steps wrap round by two's complement.
#ifdef QK3D_MATH_SSE2
/// (sine, cosine, 0, 0). All in vectors, so that nothing but the index goes to another register file.
inline __m128 SampleTables(float angle) {
    constexpr int kNoStep = -0x7FFF'FFFF - 1; // the answer for what has no 32-bit step
    __m128 scaled = _mm_mul_ps(_mm_set1_ps(static_cast<float>(qklib::_Radian2Size)), _mm_set1_ps(angle));
    __m128i steps = _mm_cvttps_epi32(scaled);
    if (_mm_cvtsi128_si32(steps) == kNoStep) [[unlikely]] {
        scaled = _mm_set1_ps(ToStepsWithoutTurns(angle));
        steps = _mm_cvttps_epi32(scaled);
    }
    int const index = _mm_cvtsi128_si32(steps) & 1023;
    __m128d const fraction = _mm_cvtps_pd(_mm_sub_ps(scaled, _mm_cvtepi32_ps(steps)));
    __m128d const sines = _mm_loadu_pd(qklib::_sinMap + index), cosines = _mm_loadu_pd(qklib::_cosMap + index);
    __m128d const here = _mm_unpacklo_pd(sines, cosines), next = _mm_unpackhi_pd(sines, cosines);
    return _mm_cvtpd_ps(_mm_add_pd(_mm_mul_pd(_mm_sub_pd(next, here), fraction), here));
}

inline SineCosine SampleSineCosine(float angle) {
    __m128 const both = SampleTables(angle);
    return {_mm_cvtss_f32(both), _mm_cvtss_f32(_mm_shuffle_ps(both, both, 0x55))};
}
#else
inline SineCosine SampleSineCosine(float angle) {
    float scaled = static_cast<float>(qklib::_Radian2Size) * angle;
    if (!(std::fabs(scaled) < 2147483648.0f)) scaled = ToStepsWithoutTurns(angle);
    if (scaled != scaled) return {scaled, scaled};

    int const step = static_cast<int>(scaled);
    int const index = step & 1023;
    double const fraction = scaled - static_cast<float>(step);
    auto const sample = [&](double const* map) {
        return static_cast<float>((map[index + 1] - map[index]) * fraction + map[index]);
    };
    return {sample(qklib::_sinMap), sample(qklib::_cosMap)};
}
#endif
} // namespace qk3d
