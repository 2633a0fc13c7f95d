// GLPixelBuffer.h: the pixels of a texture on the device.
#pragma once

#include "GLBlit.h"
#include "GLDevice.h"

#include "QK3DHardwarePixelBuffer.h"

#include <cstddef>
#include <vector>

namespace qk3d::image {
struct DecodedImage;
}

namespace qk3d::gl {

/// A 2D texture. What was put into it from system memory comes back after a device loss: pixels written through locks
/// are kept, and a texture from a file keeps the bytes of the file until it is written to. Pixels that the device
/// itself made, by drawing or copying, are lost with it unless they were read since.
class GLPixelBuffer final : public CHardwarePixelBuffer, public GLObject {
public:
    GLPixelBuffer(CHardwareBufferManager* manager, GLDevice& device, unsigned width, unsigned height,
                  EPixelFormat format, EUsage usage, bool useSystemMemory, bool useBakBuffer);
    ~GLPixelBuffer() override;

    /// The texture to sample from; with `srgb` a view that decodes, where the format has one. Brings mip levels up to
    /// date first, if the texture looks after them by itself.
    GLuint GetTexture(bool srgb);

    /// The texture to draw into, or a view that encodes.
    GLuint GetTargetTexture(bool srgb);

    /// Null until the buffer is created.
    FormatRow const* GetRow() const { return m_row; }
    PixelSurface GetSurface() const;

    /// The device wrote into the first level: the copy in system memory is no longer true.
    void MarkWrittenByDevice();

    /// The pixel buffer of a texture if it is one of this plug-in, else null.
    static GLPixelBuffer* From(CHardwarePixelBuffer* buffer) { return dynamic_cast<GLPixelBuffer*>(buffer); }

    bool IsOf(GLDevice const& device) const { return m_device == &device; }

protected:
    bool _CreateImpl() override;
    bool _ReleaseImpl() override;
    bool _CreateFromFileImpl(string const& path) override;
    bool _CreateFromFileInMemoryImpl(void* data, unsigned long long size) override;
    CPixelBox _LockBoxImpl(CBox const& box, ELockMode mode) override;
    void _UnlockImpl() override;
    bool _BlitExImpl(CHardwarePixelBuffer* source, CBox const* boxes, unsigned int count, Vector2* positions) override;

private:
    void _DropNames() override;
    bool _RestoreNames() override;

    bool MakeTexture(unsigned width, unsigned height, EPixelFormat format, unsigned levels);
    bool FillFromFile();
    EPixelFormat ChooseFormat(image::DecodedImage const& decoded) const;
    void UploadLevels(image::DecodedImage const& decoded);
    void UploadBox(CBox const& box);
    void ReadBack(CBox const& box);
    bool KeepPixels();
    void MakeMipLevels();
    GLuint GetView(bool srgb);
    CBox WholeBox() const;

    /// The usage of a buffer is that of its texture, with a texture's own bits among them.
    bool HasUsage(unsigned bit) const { return (static_cast<unsigned>(m_usage) & bit) != 0; }

    FormatRow const* m_row = nullptr;
    GLuint m_texture = 0;
    GLuint m_srgbView = 0;
    GLsizei m_levels = 1;
    bool m_mipLevelsOld = false;
    std::vector<unsigned char> m_file;   // the image file, until something else was written
    std::vector<unsigned char> m_pixels; // the first level, once it was locked
    bool m_pixelsTrue = false;           // m_pixels are what the device has
    CBox m_box;                          // of the running lock
    bool m_boxIsWritten = false;
};

} // namespace qk3d::gl
