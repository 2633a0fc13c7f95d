// QK3DHardwareBuffer.cpp: the lock protocol of hardware buffers, their back-up, and the count of their memory.
#include "QK3DHardwareBuffer.h"

#include "QK3DHardwareBufferManager.h"
#include "QK3DLogInternal.h"
#include "QK3DShareInternal.h"
#include "QKText.h"
#include <algorithm>
#include <cstring>
#include <limits>

namespace qk3d {

constinit StateNameMap<7> CHardwareBuffer::stringUsageMap({{
    {"STATIC", HBU_STATIC},
    {"DYNAMIC", HBU_DYNAMIC},
    {"WRITEONLY", HBU_WRITEONLY},
    {"DISCARDABLE", HBU_DISCARDABLE},
    {"STATICWRITEONLY", HBU_STATIC_WRITEONLY},
    {"DYNAMICWRITEONLY", HBU_DYNAMIC_WRITEONLY},
    {"DYNAMICWRITEONLYDISCARDABLE", HBU_DYNAMIC_WRITEONLY_DISCARDABLE},
}});

void CHardwareBuffer::InitStringUsageMap() { stringUsageMap.Fill(); }
void CHardwareBuffer::ClearStringUsageMap() { stringUsageMap.Clear(); }

CHardwareBuffer::EUsage CHardwareBuffer::_StringToUsage(string& name) {
    name = qklib::ToUpperAscii(qklib::TrimBlanks(name));
    int const usage = stringUsageMap.Find(name);
    return usage ? static_cast<EUsage>(usage) : HBU_DYNAMIC;
}

CHardwareBuffer::CHardwareBuffer(CHardwareBufferManager* manager, EUsage usage, bool useSystemMemory, bool useBakBuffer)
    : m_usage(usage),
      m_useSystemMemory(useSystemMemory),
      m_useBakBuffer(useBakBuffer),
      m_manager(manager ? manager->m_self : nullptr) {}

CHardwareBuffer::~CHardwareBuffer() { _OnRelease(); }

CHardwareBufferManager* CHardwareBuffer::GetManager() const { return m_manager ? *m_manager : nullptr; }

// Buffers that don't say how large they are leave the test to the back-end.
bool CHardwareBuffer::_IsInside(unsigned long long offset, unsigned long long length) const {
    return m_requestSize == 0 || (offset <= m_requestSize && length <= m_requestSize - offset);
}

void CHardwareBuffer::ReadData(unsigned long long offset, unsigned long long length, void* dest) {
    if (!dest || m_isLocked || !_IsInside(offset, length)) return;
    if (void const* const data = Lock(offset, length, LM_READONLY)) std::memcpy(dest, data, length);
    Unlock();
}

void CHardwareBuffer::WriteData(unsigned long long offset, unsigned long long length, void const* source,
                                bool discardWholeBuffer) {
    if (!source || m_isLocked || !_IsInside(offset, length)) return;
    if (void* const data = Lock(offset, length, discardWholeBuffer ? LM_DISCARD : LM_NORMAL))
        std::memcpy(data, source, length);
    Unlock();
}

void CHardwareBuffer::CopyData(CHardwareBuffer& source, unsigned long long sourceOffset, unsigned long long destOffset,
                               unsigned long long length, bool discardWholeBuffer) {
    if (source.m_isLocked || !source._IsInside(sourceOffset, length)) return;
    if (void const* const data = source.Lock(sourceOffset, length, LM_READONLY))
        WriteData(destOffset, length, data, discardWholeBuffer);
    source.Unlock();
}

void CHardwareBuffer::CopyData(CHardwareBuffer& source) {
    CopyData(source, 0, 0, std::min(source.m_requestSize, m_requestSize), true);
}

void CHardwareBuffer::UpdateFromBakBuffer() {
    if (!_HasBakBuffer() || !m_isBakDirty || m_isSuppressUpdate) return;
    unsigned long long const offset = m_isLocked ? m_lockOffset : 0;
    unsigned long long const length = m_isLocked ? m_lockLength : m_requestSize;

    // Below the locks of both buffers, whose records stay as they are.
    void const* const from = m_bakBuffer->_LockImpl(offset, length, LM_READONLY);
    if (!from) return;
    bool const isWhole = offset == 0 && length == m_requestSize;
    if (void* const to = _LockImpl(offset, length, isWhole ? LM_DISCARD : LM_NORMAL)) {
        std::memcpy(to, from, length);
        _UnlockImpl();
        m_isBakDirty = false; // a refused device lock leaves it for another try
    }
    m_bakBuffer->_UnlockImpl();
}

bool CHardwareBuffer::Create() {
    if (m_isCreated) Release();
    m_isCreated = _CreateImpl();
    if (m_isCreated) _OnCreate();
    return m_isCreated;
}

void CHardwareBuffer::Release() {
    if (!m_isCreated) return;
    if (m_isLocked) Unlock();
    if (!_ReleaseImpl()) return;
    m_isCreated = false;
    _OnRelease();
}

void* CHardwareBuffer::Lock(unsigned long long offset, unsigned long long length, ELockMode mode) {
    if (m_isLocked) return nullptr;
    void* data;
    if (_HasBakBuffer()) {
        if (mode != LM_READONLY) m_isBakDirty = m_isBakWritten = true;
        data = m_bakBuffer->Lock(offset, length, mode);
    } else {
        data = _LockImpl(offset, length, mode);
    }
    m_isLocked = true;
    m_isLockEmpty = !data;
    m_lockOffset = offset;
    m_lockLength = length;
    m_lockMode = mode;
    return data;
}

void CHardwareBuffer::Unlock() {
    if (!m_isLocked) return;
    {
        struct End { // comes also if a back-end throws: the buffer would stay locked for ever
            CHardwareBuffer& buffer;
            ~End() {
                buffer.m_isLocked = false;
                buffer.m_lockOffset = 0;
                buffer.m_lockLength = 0;
            }
        } const end{*this};
        if (_HasBakBuffer()) {
            m_bakBuffer->Unlock();
            UpdateFromBakBuffer();
        } else if (!m_isLockEmpty) {
            _UnlockImpl();
        }
    }
    _OnUnlock();
}

bool CHardwareBuffer::_CreateImpl() { return true; }
bool CHardwareBuffer::_ReleaseImpl() { return true; }
void CHardwareBuffer::_OnUnlock() {}

void CHardwareBuffer::_OnCreate() {
    if (CHardwareBufferManager* const manager = GetManager(); manager && m_isCreated)
        manager->_NotifyHardwareBufferCreate(this);
    if (!m_isBakWritten) return;
    m_isBakDirty = true; // the device's contents are new, the back-up has the old ones
    UpdateFromBakBuffer();
}

void CHardwareBuffer::_OnRelease() {
    if (CHardwareBufferManager* const manager = GetManager()) manager->_NotifyHardwareBufferRelease(this);
}

CHardwareVertexBuffer::CHardwareVertexBuffer(CHardwareBufferManager* manager, unsigned long long unitSize,
                                             unsigned long long vertexNum, EUsage usage, bool useSystemMemory,
                                             bool useBakBuffer)
    : CHardwareBuffer(manager, usage, useSystemMemory, useBakBuffer), m_vertexNum(vertexNum), m_unitSize(unitSize) {
    bool const fits = unitSize == 0 || vertexNum <= std::numeric_limits<unsigned long long>::max() / unitSize;
    if (fits) m_requestSize = unitSize * vertexNum;
}

CHardwareIndexBuffer::CHardwareIndexBuffer(CHardwareBufferManager* manager, EIndexType type,
                                           unsigned long long indexNum, EUsage usage, bool useSystemMemory,
                                           bool useBakBuffer)
    : CHardwareBuffer(manager, usage, useSystemMemory, useBakBuffer), m_indexType(type), m_indexNum(indexNum) {
    unsigned long long const unitSize = CHardwareIndexBuffer::GetUnitSizeInBytes();
    bool const fits = unitSize == 0 || indexNum <= std::numeric_limits<unsigned long long>::max() / unitSize;
    if (fits) m_requestSize = unitSize * indexNum;
}

unsigned long long CHardwareIndexBuffer::GetUnitSizeInBytes() const {
    switch (m_indexType) {
    case IT_16BIT: return 2;
    case IT_32BIT: return 4;
    }
    return 0;
}

CHardwareBufferManager::CHardwareBufferManager() : m_self(std::make_shared<CHardwareBufferManager*>(this)) {}

CHardwareBufferManager::~CHardwareBufferManager() {
    *m_self = nullptr;
    QK_LOG(LOG_INFO, "CHardwareBufferManager Destroy");
}

CSharePtr<CHardwareVertexBuffer> CHardwareBufferManager::CreateVertexBuffer(unsigned int unitSize,
                                                                            unsigned int vertexNum,
                                                                            CHardwareBuffer::EUsage usage,
                                                                            bool useSystemMemory, bool useBakBuffer) {
    return Share(std::unique_ptr<CHardwareVertexBuffer>(
        _CreateVertexBufferImpl(unitSize, vertexNum, usage, useSystemMemory, useBakBuffer)));
}

CSharePtr<CHardwareIndexBuffer> CHardwareBufferManager::CreateIndexBuffer(CHardwareIndexBuffer::EIndexType type,
                                                                          unsigned int indexNum,
                                                                          CHardwareBuffer::EUsage usage,
                                                                          bool useSystemMemory, bool useBakBuffer) {
    return Share(std::unique_ptr<CHardwareIndexBuffer>(
        _CreateIndexBufferImpl(type, indexNum, usage, useSystemMemory, useBakBuffer)));
}

CSharePtr<CHardwarePixelBuffer> CHardwareBufferManager::CreatePixelBuffer(unsigned int width, unsigned int height,
                                                                          EPixelFormat format,
                                                                          CHardwareBuffer::EUsage usage,
                                                                          bool useSystemMemory, bool useBakBuffer) {
    return Share(std::unique_ptr<CHardwarePixelBuffer>(
        _CreatePixelBufferImpl(width, height, format, usage, useSystemMemory, useBakBuffer)));
}

void CHardwareBufferManager::_NotifyHardwareBufferCreate(CHardwareBuffer* buffer) {
    if (buffer->m_usedSize != 0) return;
    buffer->m_usedSize = buffer->m_requestSize;
    m_totalSize += buffer->m_usedSize;
}

void CHardwareBufferManager::_NotifyHardwareBufferRelease(CHardwareBuffer* buffer) {
    m_totalSize -= buffer->m_usedSize;
    buffer->m_usedSize = 0;
}
} // namespace qk3d
