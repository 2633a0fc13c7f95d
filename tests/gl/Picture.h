// Picture.h: pictures that tests look at, compare and leave behind when they are not as wanted.
#pragma once

#include "ImageDecoder.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace qk3d::gltest {
/// Pixels as 0xAARRGGBB, rows from the top down.
struct Picture {
    unsigned width = 0, height = 0;
    std::vector<std::uint32_t> pixels;

    Picture() = default;
    Picture(unsigned w, unsigned h, std::uint32_t colour = 0)
        : width(w), height(h), pixels(std::size_t{w} * h, colour) {}
    std::uint32_t& At(unsigned x, unsigned y) { return pixels[std::size_t{y} * width + x]; }
    std::uint32_t At(unsigned x, unsigned y) const { return pixels[std::size_t{y} * width + x]; }
    bool operator==(Picture const&) const = default;

    /// A rectangle from its first column and row to the ones after its last; what is outside is cut off.
    void Fill(int left, int top, int right, int bottom, std::uint32_t colour) {
        for (int y = std::max(top, 0); y < std::min(bottom, static_cast<int>(height)); ++y)
            for (int x = std::max(left, 0); x < std::min(right, static_cast<int>(width)); ++x)
                At(static_cast<unsigned>(x), static_cast<unsigned>(y)) = colour;
    }
};

inline bool SavePng(Picture const& picture, std::string const& path) {
    std::vector<std::uint8_t> file;
    if (!image::EncodePng(picture.pixels.data(), picture.width, picture.height, picture.width * 4u, PF_A8R8G8B8, file))
        return false;
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<char const*>(file.data()), static_cast<std::streamsize>(file.size()));
    return out.good();
}

inline bool LoadPicture(std::string const& path, Picture& picture) {
    std::ifstream in(path, std::ios::binary);
    std::string const file{std::istreambuf_iterator<char>(in), {}};
    image::DecodedImage image;
    if (!image::DecodeImage(file.data(), file.size(), image) || !image::ConvertToArgb(image)) return false;
    picture = Picture(image.width, image.height);
    for (std::size_t i = 0; i < picture.pixels.size(); ++i) {
        auto const* const p = &image.bytes[i * 4];
        picture.pixels[i] = static_cast<std::uint32_t>(p[0] | p[1] << 8 | p[2] << 16) | static_cast<std::uint32_t>(p[3])
                                                                                            << 24;
    }
    return true;
}

/// How much two pictures may differ: a pixel counts as different if a channel is further off than `channel`, and at
/// most this share of the pixels may.
struct Tolerance {
    int channel = 0;
    double share = 0;
};

/// The largest difference of a channel of two pixels.
inline int ChannelDifference(std::uint32_t a, std::uint32_t b) {
    int most = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        most = std::max(most, std::abs(static_cast<int>(a >> shift & 255) - static_cast<int>(b >> shift & 255)));
    }
    return most;
}

/// A failure leaves `<name>-got.png`, `<name>-wanted.png` and `<name>-difference.png` (black where they agree) in the
/// folder of the run, and says where.
inline testing::AssertionResult IsLike(Picture const& got, Picture const& wanted, Tolerance tolerance,
                                       std::string const& name) {
    if (got.width != wanted.width || got.height != wanted.height) {
        return testing::AssertionFailure() << name << ": " << got.width << " x " << got.height << " instead of "
                                           << wanted.width << " x " << wanted.height;
    }
    Picture difference(got.width, got.height, 0xFF000000u);
    std::size_t count = 0, first = 0;
    int most = 0;
    for (std::size_t i = 0; i < got.pixels.size(); ++i) {
        int const off = ChannelDifference(got.pixels[i], wanted.pixels[i]);
        most = std::max(most, off);
        if (off <= tolerance.channel) continue;
        if (count++ == 0) first = i;
        difference.pixels[i] = 0xFF000000u | static_cast<std::uint32_t>(std::min(64 + off * 4, 255)) * 0x010101u;
    }
    if (static_cast<double>(count) <= tolerance.share * static_cast<double>(got.pixels.size()))
        return testing::AssertionSuccess();
    SavePng(got, name + "-got.png");
    SavePng(wanted, name + "-wanted.png");
    SavePng(difference, name + "-difference.png");
    return testing::AssertionFailure() << name << ": " << count << " of " << got.pixels.size()
                                       << " pixels differ, the first at " << first % got.width << ", "
                                       << first / got.width << ", by up to " << most << " (" << std::hex
                                       << got.pixels[first] << " instead of " << wanted.pixels[first] << "); see "
                                       << std::filesystem::absolute(name).string() << "-*.png";
}
} // namespace qk3d::gltest
