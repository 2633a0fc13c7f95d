// QK3DMeshManager.h: the resource manager of meshes.
#pragma once

#include "QK3DResourceManager.h"

namespace qk3d {
class CMesh;
class CRenderSystem;

/// Serves the resource type "CMesh".
class QK3D_API CMeshManager : public CResourceManager {
public:
    ~CMeshManager() override;

    string GetResourceTypeName() const override;

    /// As `CreateResource`, with the render system set on a mesh that was made.
    _ResourceSharePtr<CMesh> CreateMesh(string const& path, string const& name, bool manual,
                                        qklib::CSharePtr<CResourceLoader>& loader, CRenderSystem* renderSystem);

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool manual,
                                   qklib::CSharePtr<CResourceLoader>& loader) override;
};
} // namespace qk3d
