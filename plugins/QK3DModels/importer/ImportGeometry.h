// ImportGeometry.h: the geometry of an imported scene as the engine wants it: one part for each material.
#pragma once

#include "ModelScene.h"

struct aiScene;

namespace qk3d::models {
/// Collects the triangles of all nodes by material, in the order of the scene's materials; a material without triangles
/// has no part. Where only some of its meshes have normals, colours or coordinates, the others get zeros, and white.
///
/// False, with a reason, for a scene whose numbers cannot be right: an index that names no vertex, a position or matrix
/// element that is infinite or no number, nodes nested beyond any sense, more vertices than indices of 32 bits can name,
/// or no triangle at all. A normal or coordinate that is no number becomes 0: it spoils a shade, not the geometry.
bool CollectParts(aiScene const& scene, std::vector<Part>& parts, std::string& reason);
} // namespace qk3d::models
