// ViewShapes.h: simple meshes made by code: plane, quad, box, ball and dome.
#pragma once

#include "QK3DVector.h"
#include <string>

namespace qk3d {
class CMesh;
class CRenderSystem;
} // namespace qk3d

namespace view {
struct Shape {
    /// "PLANE" lies flat and looks up, "QUAD" stands and looks along -z, "BOX", "BALL", "DOME", half a ball seen from
    /// inside, and "CROSS", two quads that stand across each other, for what is to look alike from all around. All are centred on the origin, but for the dome, which stands on it.
    std::string kind;
    qk3d::Vector3 size = qk3d::Vector3(1, 1, 1); ///< along x, y and z
    qk3d::Vector2 repeat = qk3d::Vector2(1, 1);  ///< how often the texture fits on it
};

/// Whether there is a shape of that kind.
bool IsShape(std::string const& kind);

/// Gives `mesh` one sub-mesh with position, normal and texture coordinates. False for a kind that is none, or if the device
/// has no room.
bool BuildShape(qk3d::CMesh& mesh, Shape const& shape, std::string const& narrowMaterial);
} // namespace view
