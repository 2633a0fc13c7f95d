// QK3DSharePtr.cpp: the one instance of each counted pointer of the engine.
#include "QK3DSharePtr.h"
#include "QK3DCamera.h"
#include "QK3DEmitter.h"
#include "QK3DEntity.h"
#include "QK3DFileDataProcessor.h"
#include "QK3DFileSystem.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DHardwareIndexBuffer.h"
#include "QK3DHardwarePixelBuffer.h"
#include "QK3DHardwareVertexBuffer.h"
#include "QK3DLight.h"
#include "QK3DMovableObject.h"
#include "QK3DParticleSystem.h"
#include "QK3DPass.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderTarget.h"
#include "QK3DRenderableObject.h"
#include "QK3DResource.h"
#include "QK3DResourceManager.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include "QK3DVertexDeclaration.h"
#include "QK3DViewport.h"

namespace qklib {
#define QK3D_SHARE_PTR_INSTANCE(type) template class CSharePtr<qk3d::type>;
QK3D_SHARE_PTR_TYPES(QK3D_SHARE_PTR_INSTANCE)
} // namespace qklib
