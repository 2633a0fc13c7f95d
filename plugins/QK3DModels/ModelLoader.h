// ModelLoader.h: fills meshes from model files of many kinds.
#pragma once

#include "ModelMaterials.h"
#include "QK3DResource.h"

namespace qk3d {
class CMesh;
class CSubMesh;

/// The loader "ModelLoader" of resources of type "CMesh". A mesh that has it, a path and a render system gets one sub-mesh
/// for each material of its file: triangles with position, normal, colour and texture coordinates as the file has them, in
/// static buffers, with indices of 16 bits where they suffice. Formats are those of the importer: glTF 2.0, OBJ, MS3D,
/// Collada, PLY, STL and more. Files beside the model come out of the same file system as the model.
///
/// Geometry is turned into the engine's left-handed space: z grows away from the viewer, front faces are clockwise, and the
/// first row of a texture is its top.
///
/// Materials that the default resource system does not have under their names are made here. The loader holds them, so
/// they live as long as it does, and that is at least as long as any mesh that has it.
///
/// The importer is the program qk3d-import, which has to lie beside the plug-in or beside the host's program. It runs in a
/// process of its own for each model. A file that is missing, broken or holds numbers that cannot be right leaves the mesh
/// without sub-meshes and a warning in the log, whatever it does to the importer. The mesh then counts as loaded, since an empty mesh is a good one, and is not read again at each frame.
class CModelLoader : public CResourceLoader {
public:
    bool IsSupportResourceType(string const& typeName) override;

    /// False if the mesh got no geometry.
    bool LoadResource(CResource* resource) override;

private:
    models::HeldResources m_held;
};
} // namespace qk3d
