// Painter.h: colours, noise and a canvas for pictures that are computed.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

/// Red, green, blue and alpha, from 0 to 1.
struct Paint {
    float r = 0, g = 0, b = 0, a = 1;

    Paint operator*(float f) const { return {r * f, g * f, b * f, a}; }
};

inline Paint Mix(Paint const& from, Paint const& to, float t) {
    t = std::clamp(t, 0.0f, 1.0f);
    return {from.r + (to.r - from.r) * t, from.g + (to.g - from.g) * t, from.b + (to.b - from.b) * t,
            from.a + (to.a - from.a) * t};
}

/// 0 below `low`, 1 above `high`, smooth between.
inline float Smooth(float low, float high, float x) {
    float const t = std::clamp((x - low) / (high - low), 0.0f, 1.0f);
    return t * t * (3 - 2 * t);
}

/// A number from 0 to 1 that belongs to a place of a grid; the same on every machine.
float Hash(int x, int y, int seed);

/// Smooth noise from 0 to 1 that repeats after `period` units in both directions.
float Noise(float x, float y, int period, int seed);

/// Several octaves of it, also from 0 to 1 and repeating.
float Clouds(float x, float y, int period, int octaves, int seed);

class Canvas {
public:
    Canvas(unsigned int width, unsigned int height) : m_width(width), m_height(height), m_pixels(width * height) {}

    Paint& At(unsigned int x, unsigned int y) { return m_pixels[y * m_width + x]; }

    /// Asks `paint(x, y)` for each pixel, with coordinates from 0 to 1 at the centres of the pixels.
    template <class Function>
    void Fill(Function&& paint) {
        for (unsigned int y = 0; y < m_height; ++y)
            for (unsigned int x = 0; x < m_width; ++x)
                At(x, y) = paint((static_cast<float>(x) + 0.5f) / static_cast<float>(m_width),
                                 (static_cast<float>(y) + 0.5f) / static_cast<float>(m_height));
    }

    /// Draws text in a plain font of 5 by 7 dots, each `size` pixels wide. Characters without a picture are left out.
    void Write(std::string const& text, int left, int top, int size, Paint const& paint);
    static int WidthOf(std::string const& text, int size) { return static_cast<int>(text.size()) * 6 * size - size; }

    /// As a PNG file; false if it cannot be written.
    bool Save(std::string const& path) const;

private:
    unsigned int m_width;
    unsigned int m_height;
    std::vector<Paint> m_pixels;
};
