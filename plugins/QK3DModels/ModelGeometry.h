// ModelGeometry.h: the geometry of an imported scene as the engine wants it: one part for each material.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct aiScene;

namespace qk3d::models {
/// What all vertices of a part have besides a position.
struct PartLayout {
    bool hasNormal = false;
    bool hasColour = false;
    unsigned int texCoordSets = 0; ///< two floats each
};

/// Triangles that share a material. Positions are in the space of the model, with all node transforms applied.
struct Part {
    unsigned int material = 0; ///< index of the scene's material
    PartLayout layout;
    std::vector<std::uint8_t> vertices; ///< position, normal, colour (0xAARRGGBB), texture coordinates, without gaps
    std::vector<std::uint32_t> indices; ///< all below `vertexNum`
    unsigned int vertexNum = 0;

    unsigned int GetVertexSize() const {
        return 12 + (layout.hasNormal ? 12 : 0) + (layout.hasColour ? 4 : 0) + 8 * layout.texCoordSets;
    }
};

/// Collects the triangles of all nodes by material, in the order of the scene's materials; a material without triangles
/// has no part. Where only some of its meshes have normals, colours or coordinates, the others get zeros, and white.
///
/// False, with a reason, for a scene whose numbers cannot be right: an index that names no vertex, a position or matrix
/// element that is infinite or no number, nodes nested beyond any sense, more vertices than indices of 32 bits can name,
/// or no triangle at all. A normal or coordinate that is no number becomes 0: it spoils a shade, not the geometry.
bool CollectParts(aiScene const& scene, std::vector<Part>& parts, std::string& reason);
} // namespace qk3d::models
