// Painter.cpp: noise, a small font, and writing a canvas to a file.
#include "Painter.h"

#include "ImageDecoder.h"
#include <fstream>

namespace {
struct Glyph {
    char character;
    std::uint8_t rows[7]; // bit 4 is the left dot
};

// The letters that the signs of the scene need.
constexpr Glyph kFont[] = {
    {'3', {14, 17, 1, 6, 1, 17, 14}},    {'A', {14, 17, 17, 31, 17, 17, 17}}, {'C', {14, 17, 16, 16, 16, 17, 14}},
    {'D', {30, 17, 17, 17, 17, 17, 30}}, {'E', {31, 16, 16, 30, 16, 16, 31}}, {'I', {14, 4, 4, 4, 4, 4, 14}},
    {'K', {17, 18, 20, 24, 20, 18, 17}}, {'L', {16, 16, 16, 16, 16, 16, 31}}, {'M', {17, 27, 21, 21, 17, 17, 17}},
    {'N', {17, 25, 21, 19, 17, 17, 17}}, {'Q', {14, 17, 17, 17, 21, 18, 13}}, {'R', {30, 17, 17, 30, 20, 18, 17}},
    {'S', {15, 16, 16, 14, 1, 1, 30}},   {'T', {31, 4, 4, 4, 4, 4, 4}},       {'-', {0, 0, 0, 31, 0, 0, 0}},
};

std::uint8_t ToByte(float value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0f, 1.0f) * 255 + 0.5f); }
} // namespace

float Hash(int x, int y, int seed) {
    auto h = static_cast<std::uint32_t>(x) * 374761393u + static_cast<std::uint32_t>(y) * 668265263u +
             static_cast<std::uint32_t>(seed) * 2246822519u;
    h = (h ^ h >> 13) * 1274126177u;
    h ^= h >> 16;
    return static_cast<float>(h & 0xFFFFFF) / 16777215.0f;
}

float Noise(float x, float y, int period, int seed) {
    float const left = std::floor(x), top = std::floor(y);
    auto const wrap = [period](float value) {
        int const rest = static_cast<int>(value) % period;
        return rest < 0 ? rest + period : rest;
    };
    float const u = Smooth(0, 1, x - left), v = Smooth(0, 1, y - top);
    int const x0 = wrap(left), x1 = wrap(left + 1), y0 = wrap(top), y1 = wrap(top + 1);
    float const upper = Hash(x0, y0, seed) * (1 - u) + Hash(x1, y0, seed) * u;
    float const lower = Hash(x0, y1, seed) * (1 - u) + Hash(x1, y1, seed) * u;
    return upper * (1 - v) + lower * v;
}

float Clouds(float x, float y, int period, int octaves, int seed) {
    float sum = 0, weight = 0, size = 1;
    for (int i = 0; i < octaves; ++i, size /= 2, x *= 2, y *= 2, period *= 2) {
        sum += Noise(x, y, period, seed + i) * size;
        weight += size;
    }
    return sum / weight;
}

void Canvas::Write(std::string const& text, int left, int top, int size, Paint const& paint) {
    for (char const character : text) {
        for (Glyph const& glyph : kFont) {
            if (glyph.character != character) continue;
            for (int y = 0; y < 7 * size; ++y)
                for (int x = 0; x < 5 * size; ++x)
                    if (glyph.rows[y / size] >> (4 - x / size) & 1 && left + x >= 0 && top + y >= 0 &&
                        left + x < static_cast<int>(m_width) && top + y < static_cast<int>(m_height))
                        At(static_cast<unsigned int>(left + x), static_cast<unsigned int>(top + y)) = paint;
        }
        left += 6 * size;
    }
}

bool Canvas::Save(std::string const& path) const {
    std::vector<std::uint8_t> bytes;
    bytes.reserve(m_pixels.size() * 4);
    for (Paint const& pixel : m_pixels)
        for (float const channel : {pixel.b, pixel.g, pixel.r, pixel.a}) bytes.push_back(ToByte(channel));
    std::vector<std::uint8_t> file;
    if (!qk3d::image::EncodePng(bytes.data(), m_width, m_height, std::size_t{4} * m_width, qk3d::PF_A8R8G8B8, file))
        return false;
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<char const*>(file.data()), static_cast<std::streamsize>(file.size()));
    return static_cast<bool>(out.flush());
}
