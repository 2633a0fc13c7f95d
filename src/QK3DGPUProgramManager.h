// QK3DGPUProgramManager.h: makes and finds GPU programs, and keeps the compiled ones.
#pragma once

#include "QK3DResourceManager.h"

namespace qk3d {
/// Compiling is expensive, so a program that is not manual stays when its last holder lets go, for the next pass that
/// asks for it by name. DestroyUnusedResources lets such programs go.
class QK3D_API CGPUProgramManager : public CResourceManager {
public:
    ~CGPUProgramManager() override;
    string GetResourceTypeName() const override;

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                   CSharePtr<CResourceLoader>& loader) override;
    void _NotifyResourceRelease(ResourceSharePtr const& resource, int refCount) override;
};
} // namespace qk3d
