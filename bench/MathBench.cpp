// MathBench.cpp: the arithmetic of the transform paths beside the C library and hand-written four-wide vectors.
#include "Bench.h"

#include "QK3DMath.h"
#include "QK3DTableSineInternal.h"
#include <cmath>
#include <cstring>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {
using namespace qk3d;

constexpr std::size_t kOperands = 256;
constexpr std::size_t kOperations = 1'000'000;

struct Operands {
    std::vector<Matrix44> matrices;
    std::vector<Vector3> points;
    std::vector<Quaternion> turns;
    std::vector<float> angles;

    Operands() {
        auto random = bench::MakeRandom();
        for (std::size_t i = 0; i < kOperands; ++i) {
            Vector3 const axis(bench::Uniform(random, -1, 1), bench::Uniform(random, -1, 1), 1);
            float const angle = bench::Uniform(random, -3, 3);
            turns.push_back(QuatBuildRotationAxis(axis, angle));
            matrices.push_back(MatBuildScale(1.5f, 0.5f, 2) * Matrix44(turns.back()) *
                               MatBuildTranslation(1, 2, angle));
            points.push_back(axis);
            angles.push_back(angle);
        }
    }
};

// Runs `operation(i)` a million times an iteration, i going round the operands.
template <class F>
void Operations(benchmark::State& state, F operation) {
    for (auto _ : state) {
        for (std::size_t i = 0; i < kOperations; ++i) operation(i % kOperands);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kOperations));
}

void Mul(benchmark::State& state) {
    Operands const in;
    std::vector<Matrix44> out(kOperands);
    Operations(state, [&](std::size_t i) { out[i] = in.matrices[i] * in.matrices[kOperands - 1 - i]; });
    benchmark::DoNotOptimize(out.data());
}

void Point(benchmark::State& state) {
    Operands const in;
    std::vector<Vector3> out(kOperands);
    Operations(state, [&](std::size_t i) { out[i] = in.points[i] * in.matrices[i]; });
    benchmark::DoNotOptimize(out.data());
}

void Slerp(benchmark::State& state) {
    Operands const in;
    std::vector<Quaternion> out(kOperands);
    Operations(state, [&](std::size_t i) { out[i] = QuatSlerp(in.turns[i], in.turns[kOperands - 1 - i], 0.3f); });
    benchmark::DoNotOptimize(out.data());
}

void Inverse(benchmark::State& state) {
    Operands const in;
    std::vector<Matrix44> out(kOperands);
    Operations(state, [&](std::size_t i) { out[i] = in.matrices[i].GetInverse(); });
    benchmark::DoNotOptimize(out.data());
}

void SinCos(benchmark::State& state) {
    Operands const in;
    std::vector<SineCosine> out(kOperands);
    Operations(state, [&](std::size_t i) { out[i] = SampleSineCosine(in.angles[i]); });
    benchmark::DoNotOptimize(out.data());
}

void SinCosOfLibrary(benchmark::State& state) {
    Operands const in;
    std::vector<SineCosine> out(kOperands);
    Operations(state, [&](std::size_t i) { out[i] = {std::sin(in.angles[i]), std::cos(in.angles[i])}; });
    benchmark::DoNotOptimize(out.data());
}

void Rotation(benchmark::State& state) {
    Operands const in;
    std::vector<Matrix44> out(kOperands);
    Operations(state, [&](std::size_t i) { out[i] = MatBuildRotationZ(in.angles[i]); });
    benchmark::DoNotOptimize(out.data());
}

#if defined(__SSE2__)
// The best we can write by hand with the vectors that every x86-64 has: what the operations above are held against.
void MulOfVectors(benchmark::State& state) {
    Operands const in;
    std::vector<Matrix44> out(kOperands);
    Operations(state, [&](std::size_t i) {
        float const* const a = in.matrices[i].m;
        float const* const b = in.matrices[kOperands - 1 - i].m;
        __m128 const b0 = _mm_loadu_ps(b), b1 = _mm_loadu_ps(b + 4), b2 = _mm_loadu_ps(b + 8),
                     b3 = _mm_loadu_ps(b + 12);
        for (int row = 0; row < 4; ++row) {
            __m128 const r = _mm_loadu_ps(a + 4 * row);
            __m128 sum = _mm_mul_ps(_mm_shuffle_ps(r, r, 0x00), b0);
            sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(r, r, 0x55), b1));
            sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(r, r, 0xAA), b2));
            sum = _mm_add_ps(sum, _mm_mul_ps(_mm_shuffle_ps(r, r, 0xFF), b3));
            _mm_storeu_ps(out[i].m + 4 * row, sum);
        }
    });
    benchmark::DoNotOptimize(out.data());
}

void PointOfVectors(benchmark::State& state) {
    Operands const in;
    std::vector<Vector3> out(kOperands);
    Operations(state, [&](std::size_t i) {
        float const* const m = in.matrices[i].m;
        Vector3 const& p = in.points[i];
        __m128 sum = _mm_add_ps(_mm_mul_ps(_mm_set1_ps(p.x), _mm_loadu_ps(m)), _mm_loadu_ps(m + 12));
        sum = _mm_add_ps(sum, _mm_mul_ps(_mm_set1_ps(p.y), _mm_loadu_ps(m + 4)));
        sum = _mm_add_ps(sum, _mm_mul_ps(_mm_set1_ps(p.z), _mm_loadu_ps(m + 8)));
        __m128 const w = _mm_shuffle_ps(sum, sum, 0xFF);
        sum = _mm_mul_ps(sum, _mm_div_ps(_mm_set1_ps(1), w));
        alignas(16) float result[4];
        _mm_store_ps(result, sum);
        out[i] = Vector3(result[0], result[1], result[2]);
    });
    benchmark::DoNotOptimize(out.data());
}

// With rows r0, r1, r2 the columns of the inverse are the cross products r1 x r2, r2 x r0, r0 x r1 over the determinant.
__m128 Cross(__m128 a, __m128 b) {
    __m128 const a1 = _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 0, 2, 1)), b1 = _mm_shuffle_ps(b, b, _MM_SHUFFLE(3, 0, 2, 1));
    __m128 const c = _mm_sub_ps(_mm_mul_ps(a, b1), _mm_mul_ps(a1, b));
    return _mm_shuffle_ps(c, c, _MM_SHUFFLE(3, 0, 2, 1));
}

void InverseOfVectors(benchmark::State& state) {
    Operands const in;
    std::vector<Matrix44> out(kOperands);
    __m128 const keep = _mm_castsi128_ps(_mm_set_epi32(0, -1, -1, -1));
    Operations(state, [&](std::size_t i) {
        float const* const m = in.matrices[i].m;
        __m128 const r0 = _mm_and_ps(_mm_loadu_ps(m), keep), r1 = _mm_and_ps(_mm_loadu_ps(m + 4), keep);
        __m128 const r2 = _mm_and_ps(_mm_loadu_ps(m + 8), keep), t = _mm_loadu_ps(m + 12);
        __m128 c0 = Cross(r1, r2), c1 = Cross(r2, r0), c2 = Cross(r0, r1), c3 = _mm_setzero_ps();
        __m128 const products = _mm_mul_ps(r0, c0);
        __m128 const sums = _mm_add_ss(
            products, _mm_add_ss(_mm_shuffle_ps(products, products, 0x55), _mm_shuffle_ps(products, products, 0xAA)));
        if (std::fabs(_mm_cvtss_f32(sums)) < 1.1920929e-7f) {
            out[i].SetIdentity();
            return;
        }
        __m128 const scale = _mm_shuffle_ps(_mm_div_ss(_mm_set_ss(1), sums), _mm_div_ss(_mm_set_ss(1), sums), 0);
        _MM_TRANSPOSE4_PS(c0, c1, c2, c3);
        c0 = _mm_mul_ps(c0, scale), c1 = _mm_mul_ps(c1, scale), c2 = _mm_mul_ps(c2, scale);
        __m128 moved = _mm_mul_ps(_mm_shuffle_ps(t, t, 0x00), c0);
        moved = _mm_add_ps(moved, _mm_mul_ps(_mm_shuffle_ps(t, t, 0x55), c1));
        moved = _mm_add_ps(moved, _mm_mul_ps(_mm_shuffle_ps(t, t, 0xAA), c2));
        _mm_storeu_ps(out[i].m, c0);
        _mm_storeu_ps(out[i].m + 4, c1);
        _mm_storeu_ps(out[i].m + 8, c2);
        _mm_storeu_ps(out[i].m + 12, _mm_sub_ps(_mm_set_ps(1, 0, 0, 0), moved));
    });
    for (std::size_t i = 0; i < kOperands; ++i) {
        Matrix44 const plain = in.matrices[i].GetInverse();
        for (int k = 0; k < 16; ++k) bench::Check(std::fabs(plain[k] - out[i][k]) < 1e-4f, "the inverse by vectors");
    }
}
BENCHMARK(InverseOfVectors)->Name("math/inverse/vectors");
BENCHMARK(MulOfVectors)->Name("math/mul/vectors");
BENCHMARK(PointOfVectors)->Name("math/point/vectors");
#endif

BENCHMARK(Mul)->Name("math/mul");
BENCHMARK(Point)->Name("math/point");
BENCHMARK(Slerp)->Name("math/slerp");
BENCHMARK(Inverse)->Name("math/inverse");
BENCHMARK(SinCos)->Name("math/sincos");
BENCHMARK(SinCosOfLibrary)->Name("math/sincos/library");
BENCHMARK(Rotation)->Name("math/rotation");
} // namespace
