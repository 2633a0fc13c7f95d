// QKMath.cpp: computes the sine and cosine tables while it is compiled, so that no static object is built too early.
#include "QKMath.h"

namespace qklib {
namespace {
constexpr int kTurn = 1024;
constexpr long double kStep = 6.283185307179586476925286766559006L / kTurn;

// Taylor series. For an eighth of a turn twelve terms are below the last bit of a long double.
constexpr long double Series(long double angle, long double term, int firstFactor) {
    long double sum = 0;
    for (int factor = firstFactor; factor < firstFactor + 24; factor += 2) {
        sum += term;
        term *= -angle * angle / ((factor + 1) * (factor + 2));
    }
    return sum;
}
constexpr long double SmallSine(int step) { return Series(step * kStep, step * kStep, 1); }
constexpr long double SmallCosine(int step) { return Series(step * kStep, 1, 0); }

// Brought into the first eighth by symmetry, which keeps the four quarters exactly alike.
constexpr double Sine(int step) {
    step %= kTurn;
    if (step >= kTurn / 2) return step == kTurn / 2 ? 0.0 : -Sine(step - kTurn / 2);
    if (step > kTurn / 4) step = kTurn / 2 - step;
    return static_cast<double>(step <= kTurn / 8 ? SmallSine(step) : SmallCosine(kTurn / 4 - step));
}

constexpr double Cosine(int step) { return Sine(step + kTurn / 4); }
} // namespace

// An array of the language takes nothing but a list, so the list is spelled out by doubling up.
#define QK_STEPS_4(f, i) f(i), f(i + 1), f(i + 2), f(i + 3)
#define QK_STEPS_16(f, i) QK_STEPS_4(f, i), QK_STEPS_4(f, i + 4), QK_STEPS_4(f, i + 8), QK_STEPS_4(f, i + 12)
#define QK_STEPS_64(f, i) QK_STEPS_16(f, i), QK_STEPS_16(f, i + 16), QK_STEPS_16(f, i + 32), QK_STEPS_16(f, i + 48)
#define QK_STEPS_256(f, i) QK_STEPS_64(f, i), QK_STEPS_64(f, i + 64), QK_STEPS_64(f, i + 128), QK_STEPS_64(f, i + 192)
#define QK_STEPS_1024(f) QK_STEPS_256(f, 0), QK_STEPS_256(f, 256), QK_STEPS_256(f, 512), QK_STEPS_256(f, 768)

constinit double const _sinMap[1025] = {QK_STEPS_1024(Sine), Sine(1024)};
constinit double const _cosMap[1025] = {QK_STEPS_1024(Cosine), Cosine(1024)};
} // namespace qklib
