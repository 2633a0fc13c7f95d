// ModelScene.h: a model on its way from the importer's process to ours: plain data, and its form as bytes.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qk3d::models {
using Bytes = std::vector<std::uint8_t>;

/// What all vertices of a part have besides a position.
struct PartLayout {
    bool hasNormal = false;
    bool hasColour = false;
    std::uint32_t texCoordSets = 0; ///< two floats each, at most `kMaxTexCoordSets`
};

inline constexpr std::uint32_t kMaxTexCoordSets = 8;

/// Triangles that share a material. Positions are in the space of the model, with all node transforms applied.
struct Part {
    std::uint32_t surface = 0; ///< index into the scene's
    PartLayout layout;
    Bytes vertices;                     ///< position, normal, colour (0xAARRGGBB), texture coordinates, without gaps
    std::vector<std::uint32_t> indices; ///< three or more, all below `vertexNum`
    std::uint32_t vertexNum = 0;

    std::uint32_t GetVertexSize() const {
        return 12 + (layout.hasNormal ? 12 : 0) + (layout.hasColour ? 4 : 0) + 8 * layout.texCoordSets;
    }
};

inline constexpr std::uint32_t kNoImage = ~0u;

/// What the file says of a material, in the engine's terms. Texts are UTF-8.
struct Surface {
    std::string name;                  ///< empty if the file has none that tells anything
    std::uint32_t colour = 0xFFFFFFFF; ///< 0xAARRGGBB
    bool isBlended = false;
    bool isCutOut = false;
    float cutOff = 0.5f;
    bool isTwoSided = false;
    std::string texture;            ///< path as the file has it; empty without one
    std::uint32_t image = kNoImage; ///< index into the scene's, for a texture that lies inside the file
};

/// A picture inside a model file.
struct Image {
    std::uint32_t width = 0; ///< in texels; 0 if `bytes` are an image file of any kind
    std::uint32_t height = 0;
    Bytes bytes; ///< b, g, r, a of each texel, rows from the top without gaps
};

/// A whole model.
struct ModelScene {
    std::vector<Part> parts; ///< by surface, in their order; a surface without triangles has none
    std::vector<Surface> surfaces;
    std::vector<Image> images;
};

/// The form that crosses the line between processes of one machine; no file format.
Bytes EncodeScene(ModelScene const& scene);

/// False for what is no scene that holds together as told above: whoever sent it, nothing of ours reaches out of range.
/// Takes no more memory than a few times the number of bytes.
bool DecodeScene(std::span<std::uint8_t const> bytes, ModelScene& scene);
} // namespace qk3d::models
