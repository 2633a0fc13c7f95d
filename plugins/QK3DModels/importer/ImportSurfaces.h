// ImportSurfaces.h: what an imported scene says of its materials.
#pragma once

#include "ModelScene.h"

struct aiScene;

namespace qk3d::models {
/// Fills the surfaces and images of `scene`: a surface for each material, in their order, and one that tells nothing if
/// there is none.
void CollectSurfaces(aiScene const& imported, ModelScene& scene);
} // namespace qk3d::models
