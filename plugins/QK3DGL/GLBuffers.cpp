// GLBuffers.cpp: vertex and index buffers on the device.
#include "GLBuffers.h"

#include "GLLog.h"
#include "GLPixelBuffer.h"

#include <new>

namespace qk3d::gl {
namespace {
// A buffer is addressed with 32-bit ranges by the drivers we meet, and its copy has to fit into memory besides.
constexpr unsigned long long kMaxBufferSize = 1ull << 31;
} // namespace

GLBufferStorage::~GLBufferStorage() { Release(); }

bool GLBufferStorage::Create(std::size_t size, bool dynamic) {
    Release();
    if (size == 0 || size > kMaxBufferSize) return false;
    if (!UseDevice()) return false;
    try {
        m_bytes.assign(size, std::byte());
    } catch (std::bad_alloc const&) {
        GL_LOG(LOG_WARNING, "No memory for a buffer of %zu bytes", size);
        return false;
    }
    m_dynamic = dynamic;
    m_created = true;
    if (_RestoreNames()) return true;
    Release();
    return false;
}

void GLBufferStorage::Release() {
    if (UseDevice()) _DropNames();
    m_created = m_lockWrites = false;
    m_lockLength = 0;
    m_bytes = {};
}

void* GLBufferStorage::Lock(unsigned long long offset, unsigned long long length, CHardwareBuffer::ELockMode mode) {
    if (!m_created || offset > m_bytes.size()) return nullptr;
    auto const room = m_bytes.size() - offset;
    if (length == 0) length = room;
    if (length > room) return nullptr;
    m_lockOffset = static_cast<std::size_t>(offset);
    m_lockLength = static_cast<std::size_t>(length);
    m_lockWrites = mode != CHardwareBuffer::LM_READONLY;
    return m_bytes.data() + m_lockOffset;
}

void GLBufferStorage::Unlock() {
    if (!m_lockWrites) return;
    m_lockWrites = false;
    GLDevice* const device = UseDevice();
    if (!device || !m_name) return;
    device->Count().uploadedBytes += m_lockLength;
    // Writing all of it gives the buffer new memory, so that the device need not finish with the old first.
    if (m_lockLength == m_bytes.size())
        glNamedBufferData(m_name, static_cast<GLsizeiptr>(m_bytes.size()), m_bytes.data(),
                          m_dynamic ? GL_STREAM_DRAW : GL_STATIC_DRAW);
    else
        glNamedBufferSubData(m_name, static_cast<GLintptr>(m_lockOffset), static_cast<GLsizeiptr>(m_lockLength),
                             m_bytes.data() + m_lockOffset);
}

void GLBufferStorage::_DropNames() {
    if (m_name) m_device->CountDeletion();
    glDeleteBuffers(1, &m_name);
    m_name = 0;
}

bool GLBufferStorage::_RestoreNames() {
    if (!m_created) return true;
    glCreateBuffers(1, &m_name);
    while (glGetError() != GL_NO_ERROR) {}
    glNamedBufferData(m_name, static_cast<GLsizeiptr>(m_bytes.size()), m_bytes.data(),
                      m_dynamic ? GL_STREAM_DRAW : GL_STATIC_DRAW);
    return glGetError() == GL_NO_ERROR;
}

GLVertexBuffer::GLVertexBuffer(CHardwareBufferManager* manager, GLDevice& device, unsigned int unitSize,
                               unsigned int vertexNum, EUsage usage, bool useSystemMemory, bool useBakBuffer)
    : CHardwareVertexBuffer(manager, unitSize, vertexNum, usage, useSystemMemory, useBakBuffer), m_storage(device) {}

GLVertexBuffer::~GLVertexBuffer() { Release(); }

void* GLVertexBuffer::_LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) {
    return m_storage.Lock(offset, length, mode);
}
void GLVertexBuffer::_UnlockImpl() { m_storage.Unlock(); }
bool GLVertexBuffer::_CreateImpl() {
    return m_storage.Create(static_cast<std::size_t>(m_requestSize), (m_usage & HBU_DYNAMIC) != 0);
}
bool GLVertexBuffer::_ReleaseImpl() {
    m_storage.Release();
    return true;
}

GLIndexBuffer::GLIndexBuffer(CHardwareBufferManager* manager, GLDevice& device, EIndexType type, unsigned int indexNum,
                             EUsage usage, bool useSystemMemory, bool useBakBuffer)
    : CHardwareIndexBuffer(manager, type, indexNum, usage, useSystemMemory, useBakBuffer), m_storage(device) {}

GLIndexBuffer::~GLIndexBuffer() { Release(); }

void* GLIndexBuffer::_LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) {
    return m_storage.Lock(offset, length, mode);
}
void GLIndexBuffer::_UnlockImpl() { m_storage.Unlock(); }
bool GLIndexBuffer::_CreateImpl() {
    return m_storage.Create(static_cast<std::size_t>(m_requestSize), (m_usage & HBU_DYNAMIC) != 0);
}
bool GLIndexBuffer::_ReleaseImpl() {
    m_storage.Release();
    return true;
}

CHardwareVertexBuffer* GLBufferManager::_CreateVertexBufferImpl(unsigned int unitSize, unsigned int vertexNum,
                                                                CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                                bool useBakBuffer) {
    return new GLVertexBuffer(this, m_device, unitSize, vertexNum, usage, useSystemMemory, useBakBuffer);
}

CHardwareIndexBuffer* GLBufferManager::_CreateIndexBufferImpl(CHardwareIndexBuffer::EIndexType type,
                                                              unsigned int indexNum, CHardwareBuffer::EUsage usage,
                                                              bool useSystemMemory, bool useBakBuffer) {
    return new GLIndexBuffer(this, m_device, type, indexNum, usage, useSystemMemory, useBakBuffer);
}

CHardwarePixelBuffer* GLBufferManager::_CreatePixelBufferImpl(unsigned int width, unsigned int height,
                                                              EPixelFormat format, CHardwareBuffer::EUsage usage,
                                                              bool useSystemMemory, bool useBakBuffer) {
    return new GLPixelBuffer(this, m_device, width, height, format, usage, useSystemMemory, useBakBuffer);
}
} // namespace qk3d::gl
