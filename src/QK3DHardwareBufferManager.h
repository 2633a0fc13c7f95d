// QK3DHardwareBufferManager.h: makes the hardware buffers of one back-end and counts their memory.
#pragma once

#include "QK3DExport.h"
#include "QK3DHardwareIndexBuffer.h"
#include "QK3DHardwarePixelBuffer.h"
#include "QK3DHardwareVertexBuffer.h"
#include "QK3DSharePtr.h"
#include <memory>

namespace qk3d {

/// The buffer factory of a back-end. It keeps no list of what it made; buffers may outlive it, and are then no longer
/// counted.
class QK3D_API CHardwareBufferManager {
public:
    CHardwareBufferManager();
    CHardwareBufferManager(CHardwareBufferManager const&) = delete;
    CHardwareBufferManager& operator=(CHardwareBufferManager const&) = delete;
    virtual ~CHardwareBufferManager();

    /// Make a buffer that does not exist on the device yet: call its Create. Empty if the back-end makes none.
    qklib::CSharePtr<CHardwareVertexBuffer> CreateVertexBuffer(unsigned int unitSize, unsigned int vertexNum,
                                                               CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                               bool useBakBuffer);
    qklib::CSharePtr<CHardwareIndexBuffer> CreateIndexBuffer(CHardwareIndexBuffer::EIndexType type,
                                                             unsigned int indexNum, CHardwareBuffer::EUsage usage,
                                                             bool useSystemMemory, bool useBakBuffer);
    qklib::CSharePtr<CHardwarePixelBuffer> CreatePixelBuffer(unsigned int width, unsigned int height,
                                                             EPixelFormat format, CHardwareBuffer::EUsage usage,
                                                             bool useSystemMemory, bool useBakBuffer);

    /// Bytes of all buffers that are created on the device now.
    unsigned long long GetMemorySizeTotalHarewareBufferUsed() const { return m_totalSize; }

protected:
    /// The back-end's creators. The result is released with delete; null means that there is no such buffer.
    virtual CHardwareVertexBuffer* _CreateVertexBufferImpl(unsigned int unitSize, unsigned int vertexNum,
                                                           CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                           bool useBakBuffer) = 0;
    virtual CHardwareIndexBuffer* _CreateIndexBufferImpl(CHardwareIndexBuffer::EIndexType type, unsigned int indexNum,
                                                         CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                         bool useBakBuffer) = 0;

    /// For a texture `usage` holds all of the texture's usage, with the bits of CTexture::ETextureUsage from 256 on.
    virtual CHardwarePixelBuffer* _CreatePixelBufferImpl(unsigned int width, unsigned int height, EPixelFormat format,
                                                         CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                         bool useBakBuffer) = 0;

    /// Charge a buffer, and give its bytes back. Noticed twice, a buffer is counted once.
    void _NotifyHardwareBufferCreate(CHardwareBuffer* buffer);
    void _NotifyHardwareBufferRelease(CHardwareBuffer* buffer);

    unsigned long long m_totalSize = 0;

private:
    friend class CHardwareBuffer;

    std::shared_ptr<CHardwareBufferManager*> m_self; // shared with the buffers; turns null in the destructor
};
} // namespace qk3d
