// QK3DTexelInternal.h: from pixels to texture coordinates, for textures and their buffers.
#pragma once

namespace qk3d {
inline constexpr float kTexelCorrection = 0.25f; // of a pixel

/// Where a pixel lies in a row of `divisor` pixels; 0 in an empty row.
inline float PixelToTexel(float pixel, float correction, unsigned int divisor) {
    return divisor != 0 ? (pixel + correction) / static_cast<float>(divisor) : 0;
}
inline float PixelToTexel(int pixel, float correction, unsigned int divisor) {
    return PixelToTexel(static_cast<float>(pixel), correction, divisor);
}

/// The same for a coordinate relative to `size` pixels.
inline float RelativeToTexel(float relative, unsigned int size, float correction, unsigned int divisor) {
    return PixelToTexel(static_cast<float>(size) * relative, correction, divisor);
}
} // namespace qk3d
