// TraceTargets.cpp: targets whose pixels are what their clears left.
#include "TraceTargets.h"

#include "QK3DTexture.h"

namespace qk3d {
namespace {
CTracePixelBuffer* SurfaceOf(CTexture* texture) {
    // One render system makes one class of buffers, and the callers have seen that the texture is of this system.
    return texture ? static_cast<CTracePixelBuffer*>(texture->GetPixelBuffer().GetPointer()) : nullptr;
}

CTracePixelBuffer* SurfaceOf(CRenderTarget* target) {
    auto* const surface = dynamic_cast<CTraceSurface*>(target);
    return surface ? surface->GetSurface() : nullptr;
}

// Both kinds of target copy alike: told, then done between the two surfaces.
bool Copy(CTraceJournal& journal, ETraceOperation operation, CRenderTarget& from, CTracePixelBuffer* source,
          string const& toName, CTracePixelBuffer* dest, CBox const* boxes, unsigned int count, Vector2* positions) {
    bool const accepted = journal.Record(operation, [&](CTraceCall& call) {
        call.AddText("target", from.GetName());
        call.AddText("dest", toName);
        call.AddNumber("count", count);
    });
    return accepted && source && dest && dest->CopyFrom(*source, boxes, count, positions);
}

bool RecordTarget(CTraceJournal& journal, ETraceOperation operation, string const& name, unsigned int width,
                  unsigned int height, EPixelFormat format) {
    return journal.Record(operation, [&](CTraceCall& call) {
        call.AddText("target", name);
        call.AddNumber("width", width);
        call.AddNumber("height", height);
        call.AddNumber("format", format);
    });
}
} // namespace

CTraceRenderWindow::CTraceRenderWindow(std::shared_ptr<CTraceJournal> journal, CRenderSystem* system,
                                       string const& name, unsigned int width, unsigned int height, EPixelFormat format,
                                       bool fullScreen)
    : CRenderWindow(system, name, width, height, format, fullScreen), m_journal(std::move(journal)) {}

bool CTraceRenderWindow::_MakeSurface(unsigned int width, unsigned int height, EPixelFormat format) {
    auto surface = std::make_unique<CTracePixelBuffer>(m_journal, nullptr, width, height, format,
                                                       CHardwareBuffer::HBU_DYNAMIC, false, false);
    if (!surface->Create()) return false;
    m_surface = std::move(surface);
    return true;
}

bool CTraceRenderWindow::_CreateImpl() {
    return RecordTarget(*m_journal, ETraceOperation::CreateTarget, m_name, m_width, m_height, m_pixelFormat) &&
           _MakeSurface(m_width, m_height, m_pixelFormat);
}

bool CTraceRenderWindow::_ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) {
    return RecordTarget(*m_journal, ETraceOperation::ResetTarget, m_name, width, height, format) &&
           _MakeSurface(width, height, format);
}

bool CTraceRenderWindow::_CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count,
                                            Vector2* positions) {
    return Copy(*m_journal, ETraceOperation::CopyToTexture, *this, GetSurface(), texture->GetName(), SurfaceOf(texture),
                boxes, count, positions);
}

bool CTraceRenderWindow::_CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                                 Vector2* positions) {
    return Copy(*m_journal, ETraceOperation::CopyToRenderTarget, *this, GetSurface(), target->GetName(),
                SurfaceOf(target), boxes, count, positions);
}

CTraceRenderTexture::CTraceRenderTexture(std::shared_ptr<CTraceJournal> journal, CRenderSystem* system,
                                         _ResourceSharePtr<CTexture>& texture)
    : CRenderTexture(system, texture), m_journal(std::move(journal)) {}

CTracePixelBuffer* CTraceRenderTexture::GetSurface() { return SurfaceOf(static_cast<CTexture*>(m_texture)); }

bool CTraceRenderTexture::_CreateImpl() {
    return RecordTarget(*m_journal, ETraceOperation::CreateTarget, m_name, m_width, m_height, m_pixelFormat) &&
           GetSurface();
}

// The size of this target is that of its texture: whoever wants another one changes the texture and loads it again.
bool CTraceRenderTexture::_ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) {
    CTracePixelBuffer* const surface = GetSurface();
    return RecordTarget(*m_journal, ETraceOperation::ResetTarget, m_name, width, height, format) && surface &&
           surface->GetWidth() == width && surface->GetHeight() == height && surface->GetPixelFormat() == format;
}

bool CTraceRenderTexture::_CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count,
                                             Vector2* positions) {
    return Copy(*m_journal, ETraceOperation::CopyToTexture, *this, GetSurface(), texture->GetName(), SurfaceOf(texture),
                boxes, count, positions);
}

bool CTraceRenderTexture::_CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                                  Vector2* positions) {
    return Copy(*m_journal, ETraceOperation::CopyToRenderTarget, *this, GetSurface(), target->GetName(),
                SurfaceOf(target), boxes, count, positions);
}

// The texture may come back in another size, which the target has to follow.
void CTraceRenderTexture::_NotifyTextureLoad() {
    m_journal->Record(ETraceOperation::TextureLoaded, [&](CTraceCall& call) { call.AddText("target", m_name); });
    if (CTracePixelBuffer* const surface = GetSurface()) {
        m_width = surface->GetWidth();
        m_height = surface->GetHeight();
        m_pixelFormat = surface->GetPixelFormat();
    }
}

void CTraceRenderTexture::_NotifyTextureUnload() {
    m_journal->Record(ETraceOperation::TextureUnloaded, [&](CTraceCall& call) { call.AddText("target", m_name); });
}
} // namespace qk3d
