// TraceBuffers.h: the hardware buffers of the recording back-end: blocks of memory that tell the journal what happens.
#pragma once

#include "QK3DHardwareBufferManager.h"
#include "QK3DHardwareIndexBuffer.h"
#include "QK3DHardwarePixelBuffer.h"
#include "QK3DHardwareVertexBuffer.h"
#include "TraceJournal.h"
#include <memory>
#include <vector>

namespace qk3d {
/// What the three kinds of buffer have in common: a number, the bytes, and the lines about them. The bytes are there from
/// `Create` to `Release` and start as zeros. Buffers may outlive their device, so they share its journal.
class CTraceMemory {
public:
    /// `kind` is what the lines call this buffer, with its number behind it: "vertex3".
    CTraceMemory(std::shared_ptr<CTraceJournal> journal, char const* kind);

    bool Create(unsigned long long size);
    bool Release();

    /// A range of the bytes; a length of 0 means all behind the offset. Null for a range that leaves the buffer, while
    /// the buffer is not created, and if the journal refuses.
    void* Lock(unsigned long long offset, unsigned long long length, CHardwareBuffer::ELockMode mode);

    /// Tells what the locked range holds now, unless it was locked for reading only.
    void Unlock();

    string const& GetLabel() const { return m_label; }
    CTraceJournal& GetJournal() const { return *m_journal; }
    std::vector<unsigned char>& GetBytes() { return m_bytes; }

    void Describe(CTraceCall& call) const { call.AddText("buffer", m_label); }

private:
    std::shared_ptr<CTraceJournal> m_journal;
    string m_label;
    std::vector<unsigned char> m_bytes;
    unsigned long long m_lockOffset = 0;
    unsigned long long m_lockLength = 0;
    CHardwareBuffer::ELockMode m_lockMode = CHardwareBuffer::LM_READONLY;
};

class CTraceVertexBuffer : public CHardwareVertexBuffer {
public:
    CTraceVertexBuffer(std::shared_ptr<CTraceJournal> journal, CHardwareBufferManager* manager, unsigned int unitSize,
                       unsigned int vertexNum, EUsage usage, bool useSystemMemory, bool useBakBuffer);
    ~CTraceVertexBuffer() override;

    CTraceMemory const& GetMemory() const { return m_memory; }

protected:
    bool _CreateImpl() override;
    bool _ReleaseImpl() override;
    void* _LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) override;
    void _UnlockImpl() override;

    CTraceMemory m_memory;
};

class CTraceIndexBuffer : public CHardwareIndexBuffer {
public:
    CTraceIndexBuffer(std::shared_ptr<CTraceJournal> journal, CHardwareBufferManager* manager, EIndexType type,
                      unsigned int indexNum, EUsage usage, bool useSystemMemory, bool useBakBuffer);
    ~CTraceIndexBuffer() override;

    CTraceMemory const& GetMemory() const { return m_memory; }

protected:
    bool _CreateImpl() override;
    bool _ReleaseImpl() override;
    void* _LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) override;
    void _UnlockImpl() override;

    CTraceMemory m_memory;
};

/// Images are really decoded, so size and format are right and the pixels can be read back. A compressed image keeps its
/// blocks; its rows are rows of blocks then.
class CTracePixelBuffer : public CHardwarePixelBuffer {
public:
    CTracePixelBuffer(std::shared_ptr<CTraceJournal> journal, CHardwareBufferManager* manager, unsigned int width,
                      unsigned int height, EPixelFormat format, EUsage usage, bool useSystemMemory, bool useBakBuffer);
    ~CTracePixelBuffer() override;

    CTraceMemory const& GetMemory() const { return m_memory; }

    /// Copies rectangles of `source` to the given positions, as `BlitEx` has it. False if the formats differ, for
    /// compressed formats unless all is copied to equal size, and for a rectangle that leaves either buffer.
    bool CopyFrom(CTracePixelBuffer& source, CBox const* boxes, unsigned int count, Vector2 const* positions);

    /// Fills formats of four bytes in the order of `color`; others stay as they are.
    void Fill(unsigned int argb);

protected:
    bool _CreateImpl() override;
    bool _ReleaseImpl() override;
    bool _CreateFromFileImpl(string const& path) override;
    bool _CreateFromFileInMemoryImpl(void* data, unsigned long long size) override;
    CPixelBox _LockBoxImpl(CBox const& box, ELockMode mode) override;
    void _UnlockImpl() override;
    bool _BlitExImpl(CHardwarePixelBuffer* source, CBox const* boxes, unsigned int count, Vector2* positions) override;

    bool _Decode(void const* data, unsigned long long size);

    CTraceMemory m_memory;
    unsigned int m_rowPitch = 0;
};

class CTraceBufferManager : public CHardwareBufferManager {
public:
    explicit CTraceBufferManager(std::shared_ptr<CTraceJournal> journal) : m_journal(std::move(journal)) {}

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

    std::shared_ptr<CTraceJournal> m_journal;
};
} // namespace qk3d
