// Picture.h: pictures that tests look at and compare.
#pragma once

#include "ImageDecoder.h"

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>

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

    /// Puts another picture over this one, with its first pixel at a place.
    void Paste(Picture const& other, unsigned left, unsigned top) {
        for (unsigned y = 0; y < other.height; ++y)
            for (unsigned x = 0; x < other.width; ++x) At(left + x, top + y) = other.At(x, y);
    }
};

inline Picture Noise(unsigned width, unsigned height, std::uint32_t seed = 1) {
    Picture picture(width, height);
    std::mt19937 random(seed);
    for (auto& pixel : picture.pixels) pixel = static_cast<std::uint32_t>(random());
    return picture;
}

inline std::vector<std::uint8_t> MakePng(Picture const& picture) {
    std::vector<std::uint8_t> file;
    image::EncodePng(picture.pixels.data(), picture.width, picture.height, picture.width * 4u, PF_A8R8G8B8, file);
    return file;
}

inline bool SavePng(Picture const& picture, std::string const& path) {
    auto const file = MakePng(picture);
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<char const*>(file.data()), static_cast<std::streamsize>(file.size()));
    return !file.empty() && out.good();
}

inline bool LoadPicture(std::string const& path, Picture& picture) {
    std::ifstream in(path, std::ios::binary);
    std::string const file{std::istreambuf_iterator<char>(in), {}};
    image::DecodedImage image;
    if (!image::DecodeImage(file.data(), file.size(), image) || !image::ConvertToArgb(image)) return false;
    picture = Picture(image.width, image.height);
    std::memcpy(picture.pixels.data(), image.bytes.data(), picture.pixels.size() * 4);
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
    for (int shift = 0; shift < 32; shift += 8)
        most = std::max(most, std::abs(static_cast<int>(a >> shift & 255) - static_cast<int>(b >> shift & 255)));
    return most;
}
} // namespace qk3d::gltest
