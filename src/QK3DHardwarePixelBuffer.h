// QK3DHardwarePixelBuffer.h: the hardware buffer of a texture, with locks by rectangle and software blits.
#pragma once

#include "QK3DColor.h"
#include "QK3DHardwareBuffer.h"
#include "QK3DPixelBox.h"

namespace qk3d {
struct Vector2;

/// A block of pixels on the device, `width` by `height`.
///
/// Blits copy within one format and scale in software where sizes differ; compressed formats are copied whole or not at
/// all. They answer false, and leave both buffers unlocked, if a lock is refused, and true for formats that do not
/// match, of which nothing is copied.
class QK3D_API CHardwarePixelBuffer : public CHardwareBuffer {
public:
    CHardwarePixelBuffer(CHardwareBufferManager* manager, unsigned int width, unsigned int height, EPixelFormat format,
                         EUsage usage, bool useSystemMemory, bool useBakBuffer);

    /// Locks the rectangle `box`. The result has no data if another lock runs, the box is not inside the buffer, or the
    /// back-end refuses. It stays valid until Unlock.
    virtual CPixelBox& Lock(CBox const& box, ELockMode mode);

    /// Locks the whole surface: offset and length are not used.
    void* Lock(unsigned long long offset, unsigned long long length, ELockMode mode);

    /// Ends the lock. What was written to a back-up goes to the device now.
    void Unlock() { CHardwareBuffer::Unlock(); }

    /// As in the base, by rectangle.
    void UpdateFromBakBuffer() override;

    /// The box of the running lock. Without one it is empty, and a line is logged.
    CPixelBox const& GetLockedBox() const;

    /// As Create, but the back-end takes size and pixels from an image file.
    bool CreateFromFile(string const& path);
    bool CreateFromFileInMemory(void* data, unsigned long long size);

    /// Copy `source` to this buffer: all of it, one rectangle to another, or `count` rectangles to as many others. A
    /// null `destBoxes` means the same places as in the source, and both null, or `count` 0, all of it.
    bool Blit(CHardwarePixelBuffer* source);
    bool Blit(CHardwarePixelBuffer* source, CBox const& sourceBox, CBox const& destBox);
    bool Blit(CHardwarePixelBuffer* source, CBox const* sourceBoxes, unsigned int count, CBox const* destBoxes);

    /// Copies `count` rectangles to the given positions (null: to where they are), on the device if both buffers have
    /// one manager. No boxes at all copy everything.
    bool BlitEx(CHardwarePixelBuffer* source, CBox const* boxes, unsigned int count, Vector2* positions);

    bool BlitFromMemory(CPixelBox const& source);
    bool BlitFromMemory(CPixelBox const& source, CBox const& destBox);

    /// A `dest` with format and row pitch 0 takes those of the surface; if it also has the range of the source and no
    /// data, it gets a new block, which the caller releases with `free`.
    bool BlitToMemory(CPixelBox& dest);
    bool BlitToMemory(CBox const& sourceBox, CPixelBox& dest);

    unsigned long long GetUnitSizeInBytes() const override;
    unsigned int GetWidth() const { return m_width; }
    unsigned int GetHeight() const { return m_height; }

    /// The size of the surface that the device made, which can be larger than what was asked for; 0 before Create.
    unsigned int GetBufferWidth() const { return m_bufferWidth; }
    unsigned int GetBufferHeight() const { return m_bufferHeight; }
    EPixelFormat GetPixelFormat() const { return m_pixelFormat; }

    /// What the back-end reads when it makes the surface; the setters are ignored once it is made.
    unsigned int GetMipLevels() const { return m_mipLevels; }
    void SetMipLevels(unsigned int mipLevels);
    EFilter GetFilter() const { return m_filter; }
    void SetFilter(EFilter filter);
    EFilter GetMipFilter() const { return m_mipFilter; }
    void SetMipFilter(EFilter filter);
    color GetColorKey() const { return m_colorKey; }
    void SetColorKey(color const& colorKey);

    /// Texture coordinates of a pixel (int), or of a coordinate relative to the size asked for (float). They point a
    /// quarter of a pixel into it, but for the forms without correction. With FILTER_NONE the image lies unscaled in
    /// the surface, so they divide by the buffer's size; every other filter has stretched it. 0 where there is
    /// nothing to divide by.
    float ConvertToU(int x) const;
    float ConvertToU(float u) const;
    float ConvertToV(int y) const;
    float ConvertToV(float v) const;
    float ConvertToUWithoutCorrection(int x) const;
    float ConvertToUWithoutCorrection(float u) const;
    float ConvertToVWithoutCorrection(int y) const;
    float ConvertToVWithoutCorrection(float v) const;
    float GetCorrectionU() const;
    float GetCorrectionV() const;

protected:
    /// Locks the whole surface through _LockBoxImpl. The result lies `offset` bytes into its memory, rows with their
    /// pitch; null for a range that leaves it.
    void* _LockImpl(unsigned long long offset, unsigned long long length, ELockMode mode) override;

    void _OnUnlock() override;

    /// Make the surface from an image file; the back-end sets the sizes below, and may change format and filter.
    virtual bool _CreateFromFileImpl(string const& path) = 0;
    virtual bool _CreateFromFileInMemoryImpl(void* data, unsigned long long size) = 0;

    /// Locks a rectangle that lies inside the surface. The result has data, which points at the rectangle's first
    /// pixel, row pitch and format; without data the lock is refused.
    virtual CPixelBox _LockBoxImpl(CBox const& box, ELockMode mode) = 0;

    /// Copies between two buffers of one manager, with the arguments of BlitEx.
    virtual bool _BlitExImpl(CHardwarePixelBuffer* source, CBox const* boxes, unsigned int count,
                             Vector2* positions) = 0;

    unsigned int m_width;
    unsigned int m_height;
    unsigned int m_bufferWidth = 0; ///< set by the back-end
    unsigned int m_bufferHeight = 0;
    EPixelFormat m_pixelFormat;
    unsigned int m_mipLevels = 1;
    EFilter m_filter = FILTER_NONE;
    EFilter m_mipFilter = FILTER_NONE;
    color m_colorKey;
    CBox m_lockedRange;
    CPixelBox m_lockedBox;

private:
    CBox _WholeBox() const;
    CHardwarePixelBuffer* _PixelBakBuffer() const { return dynamic_cast<CHardwarePixelBuffer*>(m_bakBuffer); }
    CPixelBox& _Refuse();
    unsigned int _DivisorU() const;
    unsigned int _DivisorV() const;
    template <class Fill>
    bool _CreateBy(Fill fill);
    bool _CanBlitFrom(CHardwarePixelBuffer const* source, bool& result) const;

    CPixelBox m_refusedBox; // the answer to a refused lock, always empty
};
} // namespace qk3d
