// QK3DColor.h: colours, packed for storage and unpacked for arithmetic.
#pragma once

namespace qk3d {
/// One packed 32-bit colour, alpha in the top byte, then red, green, blue: in memory b, g, r, a. State blocks and
/// devices take it as it is. Transparent black by default.
class color {
public:
    constexpr color() = default;
    constexpr color(unsigned int argb) : m_argb(argb) {}
    constexpr color(unsigned char a, unsigned char r, unsigned char g, unsigned char b)
        : m_argb(static_cast<unsigned int>(a) << 24 | static_cast<unsigned int>(r) << 16 |
                 static_cast<unsigned int>(g) << 8 | b) {}

    constexpr bool operator==(color const& other) const { return m_argb == other.m_argb; }
    constexpr operator unsigned int() const { return m_argb; }
    constexpr operator unsigned long() const { return m_argb; }

private:
    unsigned int m_argb = 0;
};

/// Four whole channels for arithmetic. They may leave 0 to 255 and are clamped only when packed.
class ColorInt {
public:
    int a;
    int r;
    int g;
    int b;

    /// Leaves the channels unset.
    ColorInt() {}
    constexpr ColorInt(int a_, int r_, int g_, int b_) : a(a_), r(r_), g(g_), b(b_) {}
    constexpr ColorInt(color packed)
        : a(Byte(packed, 24)), r(Byte(packed, 16)), g(Byte(packed, 8)), b(Byte(packed, 0)) {}

    constexpr operator color() const { return {Clamp(a), Clamp(r), Clamp(g), Clamp(b)}; }

    constexpr ColorInt operator+(ColorInt const& o) const { return {a + o.a, r + o.r, g + o.g, b + o.b}; }
    constexpr ColorInt operator-(ColorInt const& o) const { return {a - o.a, r - o.r, g - o.g, b - o.b}; }
    constexpr ColorInt operator+(color const& o) const { return *this + ColorInt(o); }
    constexpr ColorInt operator-(color const& o) const { return *this - ColorInt(o); }
    constexpr ColorInt operator*(int f) const { return {a * f, r * f, g * f, b * f}; }
    /// Truncates towards zero.
    constexpr ColorInt operator*(float f) const { return {Scale(a, f), Scale(r, f), Scale(g, f), Scale(b, f)}; }
    /// The divisor must not be 0, in both forms.
    constexpr ColorInt operator/(int d) const { return {a / d, r / d, g / d, b / d}; }
    constexpr ColorInt operator/(float d) const { return *this * (1.0f / d); }

private:
    static constexpr int Byte(color packed, int shift) {
        return static_cast<int>(static_cast<unsigned int>(packed) >> shift & 0xFF);
    }
    static constexpr unsigned char Clamp(int channel) {
        return static_cast<unsigned char>(channel < 0 ? 0 : channel > 255 ? 255 : channel);
    }
    // A product outside the range of int, an infinity among them, goes to the nearer end, and a NaN to 0: converting
    // it would be undefined.
    static constexpr int Scale(int channel, float f) {
        float const product = static_cast<float>(channel) * f;
        if (product >= 2147483648.0f) return 2147483647;
        if (product < -2147483648.0f) return -2147483647 - 1;
        return product == product ? static_cast<int>(product) : 0;
    }
};

/// Four channels from 0 to 1. Opaque black by default.
class ColorFloat {
public:
    float a = 1;
    float r = 0;
    float g = 0;
    float b = 0;

    constexpr bool operator==(ColorFloat const& o) const { return a == o.a && r == o.r && g == o.g && b == o.b; }
};
} // namespace qk3d
