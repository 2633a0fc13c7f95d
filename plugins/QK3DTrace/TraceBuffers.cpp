// TraceBuffers.cpp: buffers in memory that tell the journal what happens to them.
#include "TraceBuffers.h"

#include "ImageDecoder.h"
#include "QK3DOSFileSystem.h"
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

namespace qk3d {
namespace {
char const* NameLockMode(CHardwareBuffer::ELockMode mode) {
    switch (mode) {
    case CHardwareBuffer::LM_NORMAL: return "NORMAL";
    case CHardwareBuffer::LM_READONLY: return "READONLY";
    case CHardwareBuffer::LM_DISCARD: return "DISCARD";
    }
    return nullptr;
}

bool IsCompressed(EPixelFormat format) { return format != PF_UNKNOWN && GetPixelFormatBytes(format) == 0; }

// Block-compressed formats store squares of four by four pixels.
unsigned int BlockCount(unsigned int pixels) { return pixels / 4 + (pixels % 4 != 0); }
unsigned int BlockBytes(EPixelFormat format) { return format == PF_DXT1 ? 8 : 16; }

unsigned long long RowBytes(EPixelFormat format, unsigned int width) {
    if (IsCompressed(format)) return 1ULL * BlockCount(width) * BlockBytes(format);
    return GetPixelFormatBytes(format) * width;
}

bool IsInside(CBox const& box, unsigned int width, unsigned int height) {
    return box.x >= 0 && box.y >= 0 && box.width >= 0 && box.height >= 0 && 1LL * box.x + box.width <= width &&
           1LL * box.y + box.height <= height;
}

void AddBox(CTraceCall& call, char const* name, CBox const& box) {
    float const values[] = {static_cast<float>(box.x), static_cast<float>(box.y), static_cast<float>(box.width),
                            static_cast<float>(box.height)};
    call.AddFloats(name, values, 4);
}
} // namespace

CTraceMemory::CTraceMemory(std::shared_ptr<CTraceJournal> journal, char const* kind)
    : m_journal(std::move(journal)), m_label(kind + std::to_string(m_journal->MakeId())) {}

bool CTraceMemory::Create(unsigned long long size) {
    if (!m_journal->Record(ETraceOperation::CreateBuffer, [&](CTraceCall& call) {
            Describe(call);
            call.AddNumber("size", size);
        }))
        return false;
    try {
        m_bytes.assign(size, 0);
    } catch (std::exception const&) { // too long or no memory: a device says no to that too
        return false;
    }
    return true;
}

bool CTraceMemory::Release() {
    if (!m_journal->Record(ETraceOperation::ReleaseBuffer, [&](CTraceCall& call) { Describe(call); })) return false;
    m_bytes = {};
    return true;
}

void* CTraceMemory::Lock(unsigned long long offset, unsigned long long length, CHardwareBuffer::ELockMode mode) {
    bool const accepted = m_journal->Record(ETraceOperation::LockBuffer, [&](CTraceCall& call) {
        Describe(call);
        call.AddNumber("offset", offset);
        call.AddNumber("length", length);
        auto const word = NameLockMode(mode);
        if (word)
            call.AddRaw("mode", QuoteJson(word), word);
        else
            call.AddNumber("mode", static_cast<unsigned int>(mode));
    });
    if (!accepted || m_bytes.empty() || offset > m_bytes.size() || length > m_bytes.size() - offset) return nullptr;

    m_lockOffset = offset;
    m_lockLength = length ? length : m_bytes.size() - offset;
    m_lockMode = mode;
    return m_bytes.data() + offset;
}

void CTraceMemory::Unlock() {
    m_journal->Record(ETraceOperation::UnlockBuffer, [&](CTraceCall& call) {
        Describe(call);
        if (m_lockMode != CHardwareBuffer::LM_READONLY && m_lockLength <= m_bytes.size())
            call.AddBlob("data", m_bytes.data() + m_lockOffset, m_lockLength);
    });
    m_lockLength = 0;
}

CTraceVertexBuffer::CTraceVertexBuffer(std::shared_ptr<CTraceJournal> journal, CHardwareBufferManager* manager,
                                       unsigned int unitSize, unsigned int vertexNum, EUsage usage,
                                       bool useSystemMemory, bool useBakBuffer)
    : CHardwareVertexBuffer(manager, unitSize, vertexNum, usage, useSystemMemory, useBakBuffer),
      m_memory(std::move(journal), "vertex") {}

// The base cannot reach our _ReleaseImpl any more, so every buffer of ours lets go of its bytes in its own destructor.
CTraceVertexBuffer::~CTraceVertexBuffer() { Release(); }

bool CTraceVertexBuffer::_CreateImpl() { return m_memory.Create(GetRequestMemSizeInBytes()); }
bool CTraceVertexBuffer::_ReleaseImpl() { return m_memory.Release(); }
void* CTraceVertexBuffer::_LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) {
    return m_memory.Lock(offset, length, mode);
}
void CTraceVertexBuffer::_UnlockImpl() { m_memory.Unlock(); }

CTraceIndexBuffer::CTraceIndexBuffer(std::shared_ptr<CTraceJournal> journal, CHardwareBufferManager* manager,
                                     EIndexType type, unsigned int indexNum, EUsage usage, bool useSystemMemory,
                                     bool useBakBuffer)
    : CHardwareIndexBuffer(manager, type, indexNum, usage, useSystemMemory, useBakBuffer),
      m_memory(std::move(journal), "index") {}

CTraceIndexBuffer::~CTraceIndexBuffer() { Release(); }

bool CTraceIndexBuffer::_CreateImpl() { return m_memory.Create(GetRequestMemSizeInBytes()); }
bool CTraceIndexBuffer::_ReleaseImpl() { return m_memory.Release(); }
void* CTraceIndexBuffer::_LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) {
    return m_memory.Lock(offset, length, mode);
}
void CTraceIndexBuffer::_UnlockImpl() { m_memory.Unlock(); }

CTracePixelBuffer::CTracePixelBuffer(std::shared_ptr<CTraceJournal> journal, CHardwareBufferManager* manager,
                                     unsigned int width, unsigned int height, EPixelFormat format, EUsage usage,
                                     bool useSystemMemory, bool useBakBuffer)
    : CHardwarePixelBuffer(manager, width, height, format, usage, useSystemMemory, useBakBuffer),
      m_memory(std::move(journal), "pixel") {}

CTracePixelBuffer::~CTracePixelBuffer() { Release(); }

bool CTracePixelBuffer::_CreateImpl() {
    // A surface without a format of its own gets the one that every device has.
    if (m_pixelFormat == PF_UNKNOWN) m_pixelFormat = PF_A8R8G8B8;
    if (GetPixelFormatBytes(m_pixelFormat) > 16) return false; // a number that is no format
    m_bufferWidth = m_width;
    m_bufferHeight = m_height;
    unsigned long long const rows = IsCompressed(m_pixelFormat) ? BlockCount(m_height) : m_height;
    unsigned long long const rowBytes = RowBytes(m_pixelFormat, m_width);
    if (rowBytes > 0xFFFFFFFFULL || rowBytes * rows > 0xFFFFFFFFULL) return false;
    m_rowPitch = static_cast<unsigned int>(rowBytes);
    m_requestSize = rowBytes * rows;
    return m_memory.Create(m_requestSize);
}

bool CTracePixelBuffer::_ReleaseImpl() { return m_memory.Release(); }

bool CTracePixelBuffer::_CreateFromFileImpl(string const& path) {
    if (!m_memory.GetJournal().Record(ETraceOperation::CreateBufferFromFile, [&](CTraceCall& call) {
            m_memory.Describe(call);
            call.AddText("path", path);
        }))
        return false;
    unsigned char* data = nullptr;
    unsigned long long const size = COSFileSystem().ReadFileAsBinary(path, &data);
    std::unique_ptr<unsigned char, decltype(&std::free)> const owner(data, std::free);
    return data && _Decode(data, size);
}

bool CTracePixelBuffer::_CreateFromFileInMemoryImpl(void* data, unsigned long long size) {
    return m_memory.GetJournal().Record(ETraceOperation::CreateBufferFromMemory,
                                        [&](CTraceCall& call) {
                                            m_memory.Describe(call);
                                            call.AddBlob("file", data, size);
                                        }) &&
           data && _Decode(data, size);
}

bool CTracePixelBuffer::_Decode(void const* data, unsigned long long size) {
    image::DecodedImage picture;
    if (!image::DecodeImage(data, size, picture)) return false;
    m_width = picture.width;
    m_height = picture.height;
    m_pixelFormat = picture.format;
    if (!_CreateImpl()) return false;
    // The largest level alone: nothing here samples, so nothing would look at the smaller ones.
    std::vector<unsigned char>& bytes = m_memory.GetBytes();
    std::memcpy(bytes.data(), picture.bytes.data(), std::min(bytes.size(), picture.bytes.size()));
    return true;
}

CPixelBox CTracePixelBuffer::_LockBoxImpl(CBox const& box, ELockMode mode) {
    void* data = nullptr;
    bool const whole = box.x == 0 && box.y == 0 && static_cast<unsigned int>(box.width) == m_width &&
                       static_cast<unsigned int>(box.height) == m_height;
    if (m_memory.GetBytes().empty() || !IsInside(box, m_width, m_height)) return {};
    if (whole)
        data = m_memory.Lock(0, 0, mode);
    else if (!IsCompressed(m_pixelFormat) && box.width > 0 && box.height > 0) {
        unsigned long long const pixel = GetPixelFormatBytes(m_pixelFormat);
        unsigned long long const offset = 1ULL * box.y * m_rowPitch + box.x * pixel;
        data = m_memory.Lock(offset, 1ULL * (box.height - 1) * m_rowPitch + box.width * pixel, mode);
    }
    if (!data) return {};
    unsigned int const slicePitch = static_cast<unsigned int>(m_memory.GetBytes().size());
    CPixelBox const locked(box.x, box.y, box.width, box.height, m_pixelFormat, data, m_rowPitch, slicePitch);
    m_lockedBox = locked;
    return locked;
}

void CTracePixelBuffer::_UnlockImpl() { m_memory.Unlock(); }

bool CTracePixelBuffer::_BlitExImpl(CHardwarePixelBuffer* source, CBox const* boxes, unsigned int count,
                                    Vector2* positions) {
    auto* const from = static_cast<CTracePixelBuffer*>(source); // one manager makes one class of pixel buffers
    bool const accepted = m_memory.GetJournal().Record(ETraceOperation::BlitBuffer, [&](CTraceCall& call) {
        m_memory.Describe(call);
        call.AddText("source", from->m_memory.GetLabel());
        call.AddNumber("count", count);
        for (unsigned int i = 0; boxes && i < count; ++i) AddBox(call, "box", boxes[i]);
    });
    return accepted && CopyFrom(*from, boxes, count, positions);
}

bool CTracePixelBuffer::CopyFrom(CTracePixelBuffer& source, CBox const* boxes, unsigned int count,
                                 Vector2 const* positions) {
    std::vector<unsigned char>& to = m_memory.GetBytes();
    std::vector<unsigned char> const& from = source.m_memory.GetBytes();
    if (from.empty() || to.empty() || source.m_pixelFormat != m_pixelFormat) return false;
    if (&source == this) return true;
    bool const equal = source.m_width == m_width && source.m_height == m_height;
    if ((!boxes || count == 0) && equal) {
        to = from;
        return true;
    }
    if (IsCompressed(m_pixelFormat)) return false;

    CBox const whole(0, 0, static_cast<int>(std::min(m_width, source.m_width)),
                     static_cast<int>(std::min(m_height, source.m_height)));
    if (!boxes || count == 0) {
        boxes = &whole;
        positions = nullptr;
        count = 1;
    }
    auto const destination = [&](unsigned int i) {
        CBox box = boxes[i];
        if (!positions) return box;
        box.x = static_cast<int>(positions[i].x);
        box.y = static_cast<int>(positions[i].y);
        return box;
    };
    // All rectangles are looked at before the first is copied, so a refused copy leaves the pixels as they were.
    for (unsigned int i = 0; i < count; ++i)
        if (!IsInside(boxes[i], source.m_width, source.m_height) || !IsInside(destination(i), m_width, m_height))
            return false;
    unsigned long long const pixel = GetPixelFormatBytes(m_pixelFormat);
    for (unsigned int i = 0; i < count; ++i) {
        CBox const box = destination(i);
        for (int row = 0; row < box.height; ++row)
            std::memcpy(to.data() + 1ULL * (box.y + row) * m_rowPitch + box.x * pixel,
                        from.data() + 1ULL * (boxes[i].y + row) * source.m_rowPitch + boxes[i].x * pixel,
                        box.width * pixel);
    }
    return true;
}

void CTracePixelBuffer::Fill(unsigned int argb) {
    if (m_pixelFormat != PF_A8R8G8B8 && m_pixelFormat != PF_X8R8G8B8) return;
    std::vector<unsigned char>& bytes = m_memory.GetBytes();
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) std::memcpy(&bytes[i], &argb, 4);
}

CHardwareVertexBuffer* CTraceBufferManager::_CreateVertexBufferImpl(unsigned int unitSize, unsigned int vertexNum,
                                                                    CHardwareBuffer::EUsage usage, bool useSystemMemory,
                                                                    bool useBakBuffer) {
    bool const accepted = m_journal->Record(ETraceOperation::MakeVertexBuffer, [&](CTraceCall& call) {
        call.AddNumber("unitSize", unitSize);
        call.AddNumber("vertexNum", vertexNum);
        call.AddNumber("usage", usage);
    });
    if (!accepted) return nullptr;
    return new (std::nothrow)
        CTraceVertexBuffer(m_journal, this, unitSize, vertexNum, usage, useSystemMemory, useBakBuffer);
}

CHardwareIndexBuffer* CTraceBufferManager::_CreateIndexBufferImpl(CHardwareIndexBuffer::EIndexType type,
                                                                  unsigned int indexNum, CHardwareBuffer::EUsage usage,
                                                                  bool useSystemMemory, bool useBakBuffer) {
    bool const accepted = m_journal->Record(ETraceOperation::MakeIndexBuffer, [&](CTraceCall& call) {
        call.AddWord("type", type,
                     type == CHardwareIndexBuffer::IT_16BIT   ? "16BIT"
                     : type == CHardwareIndexBuffer::IT_32BIT ? "32BIT"
                                                              : nullptr);
        call.AddNumber("indexNum", indexNum);
        call.AddNumber("usage", usage);
    });
    if (!accepted) return nullptr;
    return new (std::nothrow) CTraceIndexBuffer(m_journal, this, type, indexNum, usage, useSystemMemory, useBakBuffer);
}

CHardwarePixelBuffer* CTraceBufferManager::_CreatePixelBufferImpl(unsigned int width, unsigned int height,
                                                                  EPixelFormat format, CHardwareBuffer::EUsage usage,
                                                                  bool useSystemMemory, bool useBakBuffer) {
    bool const accepted = m_journal->Record(ETraceOperation::MakePixelBuffer, [&](CTraceCall& call) {
        call.AddNumber("width", width);
        call.AddNumber("height", height);
        call.AddNumber("format", format);
        call.AddNumber("usage", usage);
    });
    if (!accepted) return nullptr;
    return new (std::nothrow)
        CTracePixelBuffer(m_journal, this, width, height, format, usage, useSystemMemory, useBakBuffer);
}
} // namespace qk3d
