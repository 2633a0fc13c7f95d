// GLBuffers.h: vertex and index buffers on the device, and the manager that makes all buffers.
#pragma once

#include "GLDevice.h"

#include "QK3DHardwareBufferManager.h"

#include <cstddef>
#include <vector>

namespace qk3d::gl {

/// The bytes of one buffer, on the device and beside it. The copy in system memory is kept for every buffer, asked for
/// or not: a lock then never waits for the device, and whatever was in a buffer comes back after a device loss.
class GLBufferStorage final : public GLObject {
public:
    explicit GLBufferStorage(GLDevice& device) : GLObject(device, Order::Contents) {}
    ~GLBufferStorage() override;

    bool Create(std::size_t size, bool dynamic);
    void Release();

    /// Length 0 means everything. Null if the range leaves the buffer or the storage is not created.
    void* Lock(unsigned long long offset, unsigned long long length, CHardwareBuffer::ELockMode mode);

    /// Sends what was locked for writing. While the device is lost it is kept for later.
    void Unlock();

    GLuint GetName() const { return m_name; }

private:
    void _DropNames() override;
    bool _RestoreNames() override;

    GLuint m_name = 0;
    bool m_created = false;
    bool m_dynamic = false;
    std::vector<std::byte> m_bytes;
    std::size_t m_lockOffset = 0, m_lockLength = 0;
    bool m_lockWrites = false;
};

class GLVertexBuffer final : public CHardwareVertexBuffer {
public:
    GLVertexBuffer(CHardwareBufferManager* manager, GLDevice& device, unsigned int unitSize, unsigned int vertexNum,
                   EUsage usage, bool useSystemMemory, bool useBakBuffer);
    ~GLVertexBuffer() override;

    GLuint GetName() const { return m_storage.GetName(); }

protected:
    void* _LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) override;
    void _UnlockImpl() override;
    bool _CreateImpl() override;
    bool _ReleaseImpl() override;

private:
    GLBufferStorage m_storage;
};

class GLIndexBuffer final : public CHardwareIndexBuffer {
public:
    GLIndexBuffer(CHardwareBufferManager* manager, GLDevice& device, EIndexType type, unsigned int indexNum,
                  EUsage usage, bool useSystemMemory, bool useBakBuffer);
    ~GLIndexBuffer() override;

    GLuint GetName() const { return m_storage.GetName(); }

protected:
    void* _LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) override;
    void _UnlockImpl() override;
    bool _CreateImpl() override;
    bool _ReleaseImpl() override;

private:
    GLBufferStorage m_storage;
};

class GLBufferManager final : public CHardwareBufferManager {
public:
    explicit GLBufferManager(GLDevice& device) : m_device(device) {}

protected:
    CHardwareVertexBuffer* _CreateVertexBufferImpl(unsigned int unitSize, unsigned int vertexNum,
                                                   CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                   bool useBakBuffer) override;
    CHardwareIndexBuffer* _CreateIndexBufferImpl(CHardwareIndexBuffer::EIndexType type, unsigned int indexNum,
                                                 CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                 bool useBakBuffer) override;
    CHardwarePixelBuffer* _CreatePixelBufferImpl(unsigned int width, unsigned int height, EPixelFormat format,
                                                 CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                 bool useBakBuffer) override;

private:
    GLDevice& m_device;
};

} // namespace qk3d::gl
