// ScaleBench.cpp: the software scalers beside pixman's, and beside copying as many bytes.
#include "Bench.h"

#include "QK3DPixelBox.h"
#include "QK3DPixelFormat.h"
#include <cstdint>
#include <cstring>
#include <pixman.h>
#include <vector>

namespace {
using namespace qk3d;

struct Size {
    int width;
    int height;
};
constexpr Size kSource = {1024, 1024};
constexpr Size kDown = {640, 480};
constexpr Size kUp = {2048, 2048};

std::vector<std::uint32_t> MakePixels() {
    auto random = bench::MakeRandom();
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(kSource.width) * kSource.height);
    for (auto& pixel : pixels) pixel = random();
    return pixels;
}

CPixelBox BoxOf(std::vector<std::uint32_t>& pixels, Size size) {
    auto const pitch = static_cast<unsigned int>(size.width) * 4;
    return CPixelBox(0, 0, size.width, size.height, PF_A8R8G8B8, pixels.data(), pitch, 0);
}

std::size_t PixelsOf(Size size) { return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height); }

void Bytes(benchmark::State& state, Size size) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(PixelsOf(size) * 4));
}

void Ours(benchmark::State& state, Size size, EScaleMode mode) {
    auto source = MakePixels();
    std::vector<std::uint32_t> dest(PixelsOf(size));
    CPixelBox const from = BoxOf(source, kSource);
    CPixelBox to = BoxOf(dest, size);
    bench::Measure(state, [&] {
        ScalePixelbox(from, to, mode);
        benchmark::ClobberMemory();
    });
    bench::Check(dest[0] == source[0], "the first pixel of a scaled picture");
    Bytes(state, size);
}

void Pixman(benchmark::State& state, Size size, pixman_filter_t filter) {
    auto source = MakePixels();
    std::vector<std::uint32_t> dest(PixelsOf(size));
    auto* const from =
        pixman_image_create_bits(PIXMAN_a8r8g8b8, kSource.width, kSource.height, source.data(), kSource.width * 4);
    auto* const to = pixman_image_create_bits(PIXMAN_a8r8g8b8, size.width, size.height, dest.data(), size.width * 4);
    pixman_transform_t transform;
    pixman_transform_init_scale(&transform, pixman_double_to_fixed(static_cast<double>(kSource.width) / size.width),
                                pixman_double_to_fixed(static_cast<double>(kSource.height) / size.height));
    pixman_image_set_transform(from, &transform);
    pixman_image_set_filter(from, filter, nullptr, 0);
    bench::Measure(state, [&] {
        pixman_image_composite32(PIXMAN_OP_SRC, from, nullptr, to, 0, 0, 0, 0, 0, 0, size.width, size.height);
        benchmark::ClobberMemory();
    });
    pixman_image_unref(from);
    pixman_image_unref(to);
    Bytes(state, size);
}

void Copy(benchmark::State& state, Size size) {
    std::vector<std::uint32_t> source(PixelsOf(size), 1), dest(PixelsOf(size));
    for (auto _ : state) {
        std::memcpy(dest.data(), source.data(), dest.size() * 4);
        benchmark::ClobberMemory();
    }
    Bytes(state, size);
}

BENCHMARK_CAPTURE(Ours, down, kDown, SM_BILINEAR)->Name("scale/down/bilinear");
BENCHMARK_CAPTURE(Ours, down, kDown, SM_POINT)->Name("scale/down/nearest");
BENCHMARK_CAPTURE(Ours, up, kUp, SM_BILINEAR)->Name("scale/up/bilinear");
BENCHMARK_CAPTURE(Ours, up, kUp, SM_POINT)->Name("scale/up/nearest");
BENCHMARK_CAPTURE(Pixman, down, kDown, PIXMAN_FILTER_BILINEAR)->Name("scale/down/bilinear/pixman");
BENCHMARK_CAPTURE(Pixman, down, kDown, PIXMAN_FILTER_NEAREST)->Name("scale/down/nearest/pixman");
BENCHMARK_CAPTURE(Pixman, up, kUp, PIXMAN_FILTER_BILINEAR)->Name("scale/up/bilinear/pixman");
BENCHMARK_CAPTURE(Pixman, up, kUp, PIXMAN_FILTER_NEAREST)->Name("scale/up/nearest/pixman");
BENCHMARK_CAPTURE(Copy, down, kDown)->Name("scale/memcpy/down");
BENCHMARK_CAPTURE(Copy, up, kUp)->Name("scale/memcpy/up");
} // namespace
