// QK3DGPUProgramManager.cpp: makes programs, and keeps compiled ones for the next pass.
#include "QK3DGPUProgramManager.h"

#include "QK3DGPUProgram.h"
#include "QK3DLogInternal.h"

namespace qk3d {
CGPUProgramManager::~CGPUProgramManager() { QK_LOG(LOG_INFO, "CGPUProgramManager Destroy"); }
string CGPUProgramManager::GetResourceTypeName() const { return "CGPUProgram"; }

CResource* CGPUProgramManager::_CreateResourceImpl(string const& path, string const& name, bool isManual,
                                                   CSharePtr<CResourceLoader>& loader) {
    return new CGPUProgram(this, path, name, isManual, loader);
}

void CGPUProgramManager::_NotifyResourceRelease(ResourceSharePtr const& resource, int refCount) {
    if (refCount > 1) return;
    if (refCount == 1) {
        if (resource && resource->IsManual()) _EraseEntry(resource);
        return;
    }
    if (resource)
        QK_LOG(LOG_ERROR, "Auto Destroy GPU Program [Something Wrong] -> %s, %d", resource->GetName().c_str(),
               refCount);
    _EraseEntry(resource);
}
} // namespace qk3d
