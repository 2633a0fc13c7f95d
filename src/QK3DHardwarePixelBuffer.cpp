// QK3DHardwarePixelBuffer.cpp: locks of rectangles, blits, and texture coordinates.
#include "QK3DHardwarePixelBuffer.h"

#include "QK3DLogInternal.h"
#include "QK3DTexelInternal.h"
#include "QK3DVector.h"
#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

namespace qk3d {
namespace {
constexpr unsigned int kMaxSide = std::numeric_limits<int>::max(); // of a box

// Copies what two locked boxes have in common in their upper left corners, by rows.
void CopyPixels(CPixelBox const& source, CPixelBox const& dest, unsigned long long bytes) {
    auto const width = static_cast<unsigned long long>(std::max(0, std::min(source.width, dest.width)));
    auto const* from = static_cast<unsigned char const*>(source.m_data);
    auto* to = static_cast<unsigned char*>(dest.m_data);
    auto const rowBytes = std::min<unsigned long long>(width * bytes, std::min(source.m_rowPitch, dest.m_rowPitch));
    for (int row = std::min(source.height, dest.height); row > 0; --row) {
        std::memmove(to, from, rowBytes);
        from += source.m_rowPitch;
        to += dest.m_rowPitch;
    }
}

// One part of a locked surface to a part of another. False if a part is not inside.
bool BlitPart(CPixelBox const& source, CPixelBox const& dest) {
    if (!source.m_data || !dest.m_data) return false;
    unsigned long long const bytes = GetPixelFormatBytes(source.m_format);
    bool const isSameSize = source.width == dest.width && source.height == dest.height;
    if (isSameSize && bytes != 0 && bytes == GetPixelFormatBytes(dest.m_format)) {
        CopyPixels(source, dest, bytes);
    } else if (source.m_format == dest.m_format) {
        CPixelBox target(dest);
        ScalePixelbox(source, target, SM_BILINEAR);
    }
    return true;
}

// Ends a lock on every way out.
class CUnlock {
public:
    explicit CUnlock(CHardwarePixelBuffer& buffer) : m_buffer(buffer) {}
    CUnlock(CUnlock const&) = delete;
    CUnlock& operator=(CUnlock const&) = delete;
    ~CUnlock() { m_buffer.Unlock(); }

private:
    CHardwarePixelBuffer& m_buffer;
};
} // namespace

CHardwarePixelBuffer::CHardwarePixelBuffer(CHardwareBufferManager* manager, unsigned int width, unsigned int height,
                                           EPixelFormat format, EUsage usage, bool useSystemMemory, bool useBakBuffer)
    : CHardwareBuffer(manager, usage, useSystemMemory, useBakBuffer),
      m_width(width),
      m_height(height),
      m_pixelFormat(format) {}

unsigned long long CHardwarePixelBuffer::GetUnitSizeInBytes() const { return GetPixelFormatBytes(m_pixelFormat); }

CBox CHardwarePixelBuffer::_WholeBox() const {
    return CBox(0, 0, static_cast<int>(std::min(m_width, kMaxSide)), static_cast<int>(std::min(m_height, kMaxSide)));
}

// Callers may write to the box they get, so it is emptied each time.
CPixelBox& CHardwarePixelBuffer::_Refuse() {
    m_refusedBox = CPixelBox();
    return m_refusedBox;
}

CPixelBox& CHardwarePixelBuffer::Lock(CBox const& box, ELockMode mode) {
    // In 64 bits, where no sum of two sides leaves the type.
    bool const isInside = box.x >= 0 && box.y >= 0 && box.width >= 0 && box.height >= 0 &&
                          static_cast<long long>(box.x) + box.width <= static_cast<long long>(m_width) &&
                          static_cast<long long>(box.y) + box.height <= static_cast<long long>(m_height);
    if (m_isLocked || !isInside) return _Refuse();

    if (_HasBakBuffer()) {
        CHardwarePixelBuffer* const bak = _PixelBakBuffer();
        if (!bak) return _Refuse();
        if (mode != LM_READONLY) m_isBakDirty = m_isBakWritten = true;
        m_lockedBox = bak->Lock(box, mode);
    } else {
        m_lockedBox = _LockBoxImpl(box, mode);
    }
    m_isLocked = m_lockedBox.m_data != nullptr;
    m_isLockEmpty = false;
    m_lockedRange = m_lockedBox;
    m_lockMode = mode;
    return m_lockedBox;
}

void* CHardwarePixelBuffer::Lock(unsigned long long, unsigned long long, ELockMode mode) {
    if (m_isLocked) return nullptr;
    return Lock(_WholeBox(), mode).m_data;
}

void* CHardwarePixelBuffer::_LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) {
    m_lockedBox = _LockBoxImpl(_WholeBox(), mode);
    if (!m_lockedBox.m_data) return nullptr;
    unsigned long long const size = static_cast<unsigned long long>(m_height) * m_lockedBox.m_rowPitch;
    if (offset <= size && length <= size - offset) return static_cast<unsigned char*>(m_lockedBox.m_data) + offset;
    _UnlockImpl();
    m_lockedBox = CPixelBox();
    return nullptr;
}

void CHardwarePixelBuffer::_OnUnlock() {
    m_lockedRange.SetBoxEmpty();
    m_lockedBox.SetBoxEmpty();
    m_lockedBox.m_bitsPerPixel = 0;
    m_lockedBox.m_format = PF_UNKNOWN;
    m_lockedBox.m_data = nullptr;
}

void CHardwarePixelBuffer::UpdateFromBakBuffer() {
    CHardwarePixelBuffer* const bak = _HasBakBuffer() ? _PixelBakBuffer() : nullptr;
    if (!bak || !m_isBakDirty || m_isSuppressUpdate) return;
    CBox const whole = _WholeBox();
    CBox const range = m_isLocked && !m_lockedRange.IsBoxEmpty() ? m_lockedRange : whole;
    CPixelBox const from = bak->_LockBoxImpl(range, LM_READONLY);
    if (!from.m_data) return;
    CPixelBox const to = _LockBoxImpl(range, range == whole ? LM_DISCARD : LM_NORMAL);
    if (to.m_data) {
        BlitPart(from, to);
        _UnlockImpl();
        m_isBakDirty = false;
    }
    bak->_UnlockImpl();
}

CPixelBox const& CHardwarePixelBuffer::GetLockedBox() const {
    if (!m_isLocked) QK_LOG(LOG_WARNING, "Did not Locked");
    return m_lockedBox;
}

template <class Fill>
bool CHardwarePixelBuffer::_CreateBy(Fill fill) {
    if (m_isCreated) Release();
    m_isBakWritten = false; // the file's pixels count, not what a back-up has from before
    m_isCreated = fill();
    if (m_isCreated) _OnCreate();
    return m_isCreated;
}

bool CHardwarePixelBuffer::CreateFromFile(string const& path) {
    return _CreateBy([&] { return _CreateFromFileImpl(path); });
}

bool CHardwarePixelBuffer::CreateFromFileInMemory(void* data, unsigned long long size) {
    return _CreateBy([&] { return _CreateFromFileInMemoryImpl(data, size); });
}

// What all blits ask first. False ends the blit with `result`.
bool CHardwarePixelBuffer::_CanBlitFrom(CHardwarePixelBuffer const* source, bool& result) const {
    result = source && source == this && !m_isLocked; // onto itself: done already
    return source && source != this && !m_isLocked && !source->m_isLocked;
}

bool CHardwarePixelBuffer::Blit(CHardwarePixelBuffer* source) {
    return source && Blit(source, source->_WholeBox(), _WholeBox());
}

bool CHardwarePixelBuffer::Blit(CHardwarePixelBuffer* source, CBox const& sourceBox, CBox const& destBox) {
    bool result;
    if (!_CanBlitFrom(source, result)) return result;

    CPixelBox const& from = source->Lock(sourceBox, LM_READONLY);
    if (!from.m_data) return false;
    CUnlock const unlockSource(*source);
    CPixelBox const& to = Lock(destBox, destBox == _WholeBox() ? LM_DISCARD : LM_NORMAL);
    if (!to.m_data) return false;
    CUnlock const unlockDest(*this);
    return BlitPart(from, to);
}

bool CHardwarePixelBuffer::Blit(CHardwarePixelBuffer* source, CBox const* sourceBoxes, unsigned int count,
                                CBox const* destBoxes) {
    bool result;
    if (!_CanBlitFrom(source, result)) return result;
    if (!sourceBoxes && !destBoxes) return Blit(source);
    if (count == 0 || !sourceBoxes) return Blit(source, source->_WholeBox(), destBoxes ? *destBoxes : _WholeBox());

    CPixelBox const& from = source->Lock(source->_WholeBox(), LM_READONLY);
    if (!from.m_data) return false;
    CUnlock const unlockSource(*source);
    CPixelBox const& to = Lock(_WholeBox(), LM_NORMAL); // what no box covers has to stay
    if (!to.m_data) return false;
    CUnlock const unlockDest(*this);

    CBox const* const targets = destBoxes ? destBoxes : sourceBoxes;
    bool isDone = true;
    for (unsigned int i = 0; i < count; ++i)
        isDone = BlitPart(from.GetSubBox(sourceBoxes[i]), to.GetSubBox(targets[i])) && isDone;
    return isDone;
}

bool CHardwarePixelBuffer::BlitEx(CHardwarePixelBuffer* source, CBox const* boxes, unsigned int count,
                                  Vector2* positions) {
    if (!source) return false;
    if (_HasSameManager(*source)) return _BlitExImpl(source, boxes, count, positions);
    if (!positions || !boxes || count == 0) return Blit(source, boxes, count, boxes);

    std::vector<CBox> targets(count);
    for (unsigned int i = 0; i < count; ++i) {
        // A position that no pixel has becomes one that no buffer has, and is refused with the box.
        auto const toPixel = [](float position) {
            return position > -2147483648.0f && position < 2147483648.0f ? static_cast<int>(position) : -1;
        };
        targets[i] = CBox(toPixel(positions[i].x), toPixel(positions[i].y), boxes[i].width, boxes[i].height);
    }
    return Blit(source, boxes, count, targets.data());
}

bool CHardwarePixelBuffer::BlitFromMemory(CPixelBox const& source) { return BlitFromMemory(source, _WholeBox()); }

bool CHardwarePixelBuffer::BlitFromMemory(CPixelBox const& source, CBox const& destBox) {
    if (m_isLocked) return false;
    CPixelBox target(Lock(destBox, LM_DISCARD));
    if (!target.m_data) return false;
    CUnlock const unlock(*this);
    ScalePixelbox(source, target, SM_BILINEAR);
    return true;
}

bool CHardwarePixelBuffer::BlitToMemory(CPixelBox& dest) { return BlitToMemory(_WholeBox(), dest); }

bool CHardwarePixelBuffer::BlitToMemory(CBox const& sourceBox, CPixelBox& dest) {
    if (m_isLocked) return false;
    CPixelBox const& source = Lock(sourceBox, LM_READONLY);
    if (!source.m_data) return false;
    CUnlock const unlock(*this);
    ScalePixelbox(source, dest, SM_BILINEAR);
    return true;
}

void CHardwarePixelBuffer::SetMipLevels(unsigned int mipLevels) {
    if (!m_isCreated) m_mipLevels = mipLevels;
}
void CHardwarePixelBuffer::SetFilter(EFilter filter) {
    if (!m_isCreated) m_filter = filter;
}
void CHardwarePixelBuffer::SetMipFilter(EFilter filter) {
    if (!m_isCreated) m_mipFilter = filter;
}
void CHardwarePixelBuffer::SetColorKey(color const& colorKey) {
    if (!m_isCreated) m_colorKey = colorKey;
}

// Only an image that was not stretched to the surface is measured by it.
unsigned int CHardwarePixelBuffer::_DivisorU() const {
    return m_filter == FILTER_NONE && m_bufferWidth != 0 ? m_bufferWidth : m_width;
}
unsigned int CHardwarePixelBuffer::_DivisorV() const {
    return m_filter == FILTER_NONE && m_bufferHeight != 0 ? m_bufferHeight : m_height;
}

float CHardwarePixelBuffer::ConvertToU(int x) const { return PixelToTexel(x, kTexelCorrection, _DivisorU()); }
float CHardwarePixelBuffer::ConvertToU(float u) const {
    return RelativeToTexel(u, m_width, kTexelCorrection, _DivisorU());
}
float CHardwarePixelBuffer::ConvertToV(int y) const { return PixelToTexel(y, kTexelCorrection, _DivisorV()); }
float CHardwarePixelBuffer::ConvertToV(float v) const {
    return RelativeToTexel(v, m_height, kTexelCorrection, _DivisorV());
}
float CHardwarePixelBuffer::ConvertToUWithoutCorrection(int x) const { return PixelToTexel(x, 0, _DivisorU()); }
float CHardwarePixelBuffer::ConvertToUWithoutCorrection(float u) const {
    return RelativeToTexel(u, m_width, 0, _DivisorU());
}
float CHardwarePixelBuffer::ConvertToVWithoutCorrection(int y) const { return PixelToTexel(y, 0, _DivisorV()); }
float CHardwarePixelBuffer::ConvertToVWithoutCorrection(float v) const {
    return RelativeToTexel(v, m_height, 0, _DivisorV());
}
float CHardwarePixelBuffer::GetCorrectionU() const { return PixelToTexel(0, kTexelCorrection, _DivisorU()); }
float CHardwarePixelBuffer::GetCorrectionV() const { return PixelToTexel(0, kTexelCorrection, _DivisorV()); }
} // namespace qk3d
