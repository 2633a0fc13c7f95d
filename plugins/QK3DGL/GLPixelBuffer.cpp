// GLPixelBuffer.cpp: the texture itself, locks on it, and copies between textures.
#include "GLPixelBuffer.h"

#include "GLLog.h"
#include "GLPipeline.h"

#include "QK3DTexture.h"

#include <algorithm>
#include <bit>
#include <new>

namespace qk3d::gl {
namespace {
GLsizei FullLevelCount(unsigned width, unsigned height) {
    return static_cast<GLsizei>(std::bit_width(std::max({width, height, 1u})));
}
} // namespace

GLPixelBuffer::GLPixelBuffer(CHardwareBufferManager* manager, GLDevice& device, unsigned width, unsigned height,
                             EPixelFormat format, EUsage usage, bool useSystemMemory, bool useBakBuffer)
    : CHardwarePixelBuffer(manager, width, height, format, usage, useSystemMemory, useBakBuffer),
      GLObject(device, Order::Contents) {}

GLPixelBuffer::~GLPixelBuffer() { Release(); }

CBox GLPixelBuffer::WholeBox() const { return {0, 0, static_cast<int>(m_width), static_cast<int>(m_height)}; }

PixelSurface GLPixelBuffer::GetSurface() const {
    return m_row ? MakeSurface(m_texture, *m_row, m_width, m_height) : PixelSurface();
}

bool GLPixelBuffer::MakeTexture(unsigned width, unsigned height, EPixelFormat format, unsigned levels) {
    GLDevice* const device = UseDevice();
    FormatRow const* const row = FindFormat(format);
    if (!device || !row || (row->blockBytes && !device->CanCompress())) {
        if (device) GL_LOG(LOG_WARNING, "The device has no pixel format %u", static_cast<unsigned>(format));
        return false;
    }
    if (!width || !height || width > device->GetMaxTextureSize() || height > device->GetMaxTextureSize()) {
        GL_LOG(LOG_WARNING, "The device has no texture of %u x %u pixels", width, height);
        return false;
    }
    _DropNames();
    GLsizei const full = FullLevelCount(width, height);
    bool const wantsAll = levels == 0 || HasUsage(CTexture::TU_AUTOMIPMAP);
    m_levels = wantsAll ? full : std::min(static_cast<GLsizei>(std::min(levels, 32u)), full);
    if (row->format == GL_DEPTH_COMPONENT) m_levels = 1;

    while (glGetError() != GL_NO_ERROR) {}
    glCreateTextures(GL_TEXTURE_2D, 1, &m_texture);
    glTextureStorage2D(m_texture, m_levels, row->internalFormat, static_cast<GLsizei>(width),
                       static_cast<GLsizei>(height));
    if (glGetError() != GL_NO_ERROR) {
        GL_LOG(LOG_WARNING, "No device memory for a texture of %u x %u pixels", width, height);
        _DropNames();
        return false;
    }
    ApplySwizzle(m_texture, *row);
    m_row = row;
    m_width = m_bufferWidth = width;
    m_height = m_bufferHeight = height;
    m_pixelFormat = format;
    m_requestSize = GetRowBytes(*row, width) * GetRowCount(*row, height);
    return true;
}

bool GLPixelBuffer::_CreateImpl() {
    m_file = {};
    m_pixels = {};
    m_pixelsTrue = false;
    EPixelFormat const format = m_pixelFormat == PF_UNKNOWN ? PF_A8R8G8B8 : m_pixelFormat;
    if (!MakeTexture(m_width, m_height, format, m_mipLevels)) return false;
    if (m_row->blockBytes) {
        // Blocks cannot be cleared in place; as many zero bytes are a black image.
        if (!KeepPixels()) return false;
        UploadBox(WholeBox());
        m_pixelsTrue = true;
    } else {
        for (GLint level = 0; level < m_levels; ++level)
            glClearTexImage(m_texture, level, m_row->format, m_row->type, nullptr);
    }
    return true;
}

bool GLPixelBuffer::_ReleaseImpl() {
    if (m_device && m_device->GetPipeline()) m_device->GetPipeline()->Forget(this);
    if (UseDevice()) _DropNames();
    m_row = nullptr;
    m_file = {};
    m_pixels = {};
    m_pixelsTrue = false;
    return true;
}

void GLPixelBuffer::_DropNames() {
    if (m_texture) m_device->CountDeletion();
    GLuint const names[] = {m_srgbView, m_texture};
    glDeleteTextures(2, names);
    m_texture = m_srgbView = 0;
}

bool GLPixelBuffer::_RestoreNames() {
    if (!IsCreated()) return true;
    // The texture is made as it is now, not as it was asked for once.
    if (!MakeTexture(m_width, m_height, m_pixelFormat, static_cast<unsigned>(m_levels))) return false;
    if (m_pixelsTrue) {
        UploadBox(WholeBox());
        return true;
    }
    if (!m_file.empty()) return FillFromFile();
    if (!m_row->blockBytes)
        for (GLint level = 0; level < m_levels; ++level)
            glClearTexImage(m_texture, level, m_row->format, m_row->type, nullptr);
    return true;
}

GLuint GLPixelBuffer::GetView(bool srgb) {
    if (!srgb || !m_row || !m_row->srgbFormat || !m_texture) return m_texture;
    if (!m_srgbView) {
        glGenTextures(1, &m_srgbView); // a view has to be a name that was never bound
        glTextureView(m_srgbView, GL_TEXTURE_2D, m_texture, m_row->srgbFormat, 0, static_cast<GLuint>(m_levels), 0, 1);
        ApplySwizzle(m_srgbView, *m_row);
    }
    return m_srgbView;
}

GLuint GLPixelBuffer::GetTexture(bool srgb) {
    if (m_mipLevelsOld) MakeMipLevels();
    return GetView(srgb);
}

GLuint GLPixelBuffer::GetTargetTexture(bool srgb) { return GetView(srgb); }

void GLPixelBuffer::MakeMipLevels() {
    m_mipLevelsOld = false;
    if (m_levels > 1 && m_texture && !m_row->blockBytes) glGenerateTextureMipmap(m_texture);
}

void GLPixelBuffer::MarkWrittenByDevice() {
    m_pixelsTrue = false;
    m_file = {};
    m_mipLevelsOld = m_levels > 1;
}

bool GLPixelBuffer::KeepPixels() {
    try {
        m_pixels.resize(static_cast<std::size_t>(m_requestSize));
        return true;
    } catch (std::bad_alloc const&) {
        GL_LOG(LOG_WARNING, "No memory to lock a texture of %u x %u pixels", m_width, m_height);
        return false;
    }
}

CPixelBox GLPixelBuffer::_LockBoxImpl(CBox const& box, ELockMode mode) {
    CBox const whole = WholeBox();
    // Blocks have no single pixels, so a compressed surface is locked whole or not at all.
    if (!m_row || box.IsBoxEmpty() || (m_row->blockBytes && !(box == whole))) return {};
    bool const current = UseDevice() != nullptr;
    if (!m_pixelsTrue && !current) return {};
    if (m_pixels.empty() && !KeepPixels()) return {};
    if (!m_pixelsTrue) {
        // A texture that is drawn into is read box by box, since it will not stay as it is. Others are read once.
        bool const stays = !HasUsage(CTexture::TU_RENDERTARGET);
        if (mode != LM_DISCARD || (stays && !(box == whole))) ReadBack(stays ? whole : box);
        m_pixelsTrue = stays;
    }
    m_box = box;
    m_boxIsWritten = mode != LM_READONLY;
    auto const pitch = GetRowBytes(*m_row, m_width);
    auto* const first =
        m_pixels.data() + static_cast<std::size_t>(box.y) * pitch + GetRowBytes(*m_row, static_cast<unsigned>(box.x));
    return {box.x,
            box.y,
            box.width,
            box.height,
            m_pixelFormat,
            first,
            static_cast<unsigned>(pitch),
            static_cast<unsigned>(m_requestSize)};
}

void GLPixelBuffer::_UnlockImpl() {
    if (!m_boxIsWritten || !m_row) return;
    m_boxIsWritten = false;
    m_file = {};
    if (UseDevice() && m_texture) UploadBox(m_box);
}

void GLPixelBuffer::UploadBox(CBox const& box) {
    auto const width = static_cast<GLsizei>(box.width), height = static_cast<GLsizei>(box.height);
    auto const pitch = GetRowBytes(*m_row, m_width);
    unsigned char const* const first =
        m_pixels.data() + static_cast<std::size_t>(box.y) * pitch + GetRowBytes(*m_row, static_cast<unsigned>(box.x));
    m_device->Count().uploadedBytes +=
        GetRowBytes(*m_row, static_cast<unsigned>(width)) * GetRowCount(*m_row, static_cast<unsigned>(height));
    if (m_row->blockBytes) {
        glCompressedTextureSubImage2D(m_texture, 0, 0, 0, static_cast<GLsizei>(m_width), static_cast<GLsizei>(m_height),
                                      m_row->internalFormat, static_cast<GLsizei>(m_requestSize), m_pixels.data());
        return;
    }
    if (m_row->spread) {
        std::vector<unsigned char> spread(2 * static_cast<std::size_t>(box.width) *
                                          static_cast<std::size_t>(box.height));
        for (int y = 0; y < box.height; ++y)
            SpreadNibbles(first + static_cast<std::size_t>(y) * pitch,
                          spread.data() + 2 * static_cast<std::size_t>(y) * static_cast<std::size_t>(box.width),
                          static_cast<std::size_t>(box.width));
        glTextureSubImage2D(m_texture, 0, box.x, box.y, width, height, m_row->format, m_row->type, spread.data());
    } else {
        glPixelStorei(GL_UNPACK_ROW_LENGTH, static_cast<GLint>(m_width));
        glTextureSubImage2D(m_texture, 0, box.x, box.y, width, height, m_row->format, m_row->type, first);
        glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
    }
    m_mipLevelsOld = m_levels > 1;
}

void GLPixelBuffer::ReadBack(CBox const& box) {
    auto const width = static_cast<GLsizei>(box.width), height = static_cast<GLsizei>(box.height);
    auto const pitch = GetRowBytes(*m_row, m_width);
    auto const offset = static_cast<std::size_t>(box.y) * pitch + GetRowBytes(*m_row, static_cast<unsigned>(box.x));
    if (m_row->blockBytes) {
        glGetCompressedTextureImage(m_texture, 0, static_cast<GLsizei>(m_pixels.size()), m_pixels.data());
    } else if (m_row->spread) {
        std::vector<unsigned char> spread(2 * static_cast<std::size_t>(box.width) *
                                          static_cast<std::size_t>(box.height));
        glGetTextureSubImage(m_texture, 0, box.x, box.y, 0, width, height, 1, m_row->format, m_row->type,
                             static_cast<GLsizei>(spread.size()), spread.data());
        for (int y = 0; y < box.height; ++y)
            PackNibbles(spread.data() + 2 * static_cast<std::size_t>(y) * static_cast<std::size_t>(box.width),
                        m_pixels.data() + offset + static_cast<std::size_t>(y) * pitch,
                        static_cast<std::size_t>(box.width));
    } else {
        glPixelStorei(GL_PACK_ROW_LENGTH, static_cast<GLint>(m_width));
        glGetTextureSubImage(m_texture, 0, box.x, box.y, 0, width, height, 1, m_row->format, m_row->type,
                             static_cast<GLsizei>(m_pixels.size() - offset), m_pixels.data() + offset);
        glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    }
}

bool GLPixelBuffer::_BlitExImpl(CHardwarePixelBuffer* source, CBox const* boxes, unsigned int count,
                                Vector2* positions) {
    GLPixelBuffer* const from = From(source);
    if (from == this) return true;
    if (!from || !UseDevice() || from->m_device != m_device || IsLocked() || from->IsLocked() || !m_texture ||
        !from->m_texture || !CopyRectangles(from->GetSurface(), GetSurface(), boxes, count, positions))
        return false;
    MarkWrittenByDevice();
    // A copy of a texture is to come back after a device loss like the texture itself. This is no frame-time work.
    if (!HasUsage(CTexture::TU_RENDERTARGET) && !from->HasUsage(CTexture::TU_RENDERTARGET) && KeepPixels()) {
        ReadBack(WholeBox());
        m_pixelsTrue = true;
    }
    return true;
}
} // namespace qk3d::gl
