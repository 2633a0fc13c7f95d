// QK3DMeshManager.cpp: the resource manager of meshes.
#include "QK3DMeshManager.h"
#include "QK3DLogInternal.h"
#include "QK3DMesh.h"

namespace qk3d {
CMeshManager::~CMeshManager() { QK_LOG(LOG_INFO, "CMeshManager Destroy"); }

string CMeshManager::GetResourceTypeName() const { return "CMesh"; }

_ResourceSharePtr<CMesh> CMeshManager::CreateMesh(string const& path, string const& name, bool manual,
                                                  qklib::CSharePtr<CResourceLoader>& loader,
                                                  CRenderSystem* renderSystem) {
    _ResourceSharePtr<CMesh> mesh = CreateResource(path, name, manual, loader);
    if (mesh != nullptr) mesh->SetRenderSystem(renderSystem);
    return mesh;
}

CResource* CMeshManager::_CreateResourceImpl(string const& path, string const& name, bool manual,
                                             qklib::CSharePtr<CResourceLoader>& loader) {
    return new CMesh(this, path, name, manual, loader, nullptr);
}
} // namespace qk3d
