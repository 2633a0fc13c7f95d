// ModelMaterials.h: makes engine materials of what a model file says about its surfaces.
#pragma once

#include "ModelScene.h"
#include "QK3DResourceSharePtr.h"
#include "QK3DTypes.h"
#include <vector>

namespace qk3d {
class CFileSystem;
class CMaterial;
class CRenderSystem;
class CTexture;
} // namespace qk3d

namespace qk3d::models {
/// Where the model came from, as far as its materials need it.
struct ModelSource {
    ModelScene const& scene;
    CFileSystem const& store;
    wstring folder;  ///< of the model file, with its last separator
    string meshName; ///< names what the file leaves without a name
    CRenderSystem* renderSystem;
};

/// Resources live as long as somebody outside their manager holds them; this is that somebody.
using HeldResources = std::vector<ResourceSharePtr>;

/// The name of the engine's material for a material of the file: its own, or "MESH#INDEX" if it has none that tells
/// anything, or none that narrow text can hold.
string NameMaterial(ModelSource const& source, unsigned int index);

/// Makes that material, unless the default resource system has one of that name, which then stays as it is: a script
/// wins over what the file says. One technique of one pass: the diffuse texture times the light, times the diffuse
/// colour where it is not white; blending where the surface is not opaque; no culling for surfaces with two sides.
/// What was made, and what was found, goes into `held`.
///
/// A texture that cannot be had is left out, with a log line; the rest of the material is good all the same.
void MakeMaterial(ModelSource const& source, unsigned int index, HeldResources& held);
} // namespace qk3d::models
