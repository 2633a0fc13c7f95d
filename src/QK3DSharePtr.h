// QK3DSharePtr.h: counted pointers to the engine's classes, made once in the engine library.
#pragma once

#include "QK3DExport.h"
#include "QKSharePtr.h"

namespace qk3d {
class CCamera;
class CEmitter;
class CEntity;
class CFileDataProcessor;
class CFileSystem;
class CHardwareBufferManager;
class CHardwareIndexBuffer;
class CHardwarePixelBuffer;
class CHardwareVertexBuffer;
class CLight;
class CMovableObject;
class CParticleSystem;
class CPass;
class CRenderSystem;
class CRenderTarget;
class CRenderableObject;
class CResourceLoader;
class CResourceManager;
class CSceneManager;
class CSceneNode;
class CSubEntity;
class CVertexDeclaration;
class CViewport;

using qklib::CSharePtr;
} // namespace qk3d

// The null pointer of each of these types exists once in the process, and a header can hold such a pointer with no
// more than the forward declaration.
#define QK3D_SHARE_PTR_TYPES(ROW)                                                                                      \
    ROW(CCamera) ROW(CEmitter) ROW(CEntity) ROW(CFileDataProcessor) ROW(CFileSystem) ROW(CHardwareBufferManager)       \
    ROW(CHardwareIndexBuffer) ROW(CHardwarePixelBuffer) ROW(CHardwareVertexBuffer) ROW(CLight) ROW(CMovableObject)     \
    ROW(CParticleSystem) ROW(CPass) ROW(CRenderSystem) ROW(CRenderTarget) ROW(CRenderableObject) ROW(CResourceLoader)  \
    ROW(CResourceManager) ROW(CSceneManager) ROW(CSceneNode) ROW(CSubEntity) ROW(CVertexDeclaration) ROW(CViewport)

namespace qklib {
#define QK3D_SHARE_PTR_EXTERN(type) extern template class QK3D_API CSharePtr<qk3d::type>;
QK3D_SHARE_PTR_TYPES(QK3D_SHARE_PTR_EXTERN)
#undef QK3D_SHARE_PTR_EXTERN
} // namespace qklib
