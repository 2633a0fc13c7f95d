// QK3DRenderTarget.h: a surface that frames are drawn into, with its viewports, overlay items and clear settings.
#pragma once

#include "QK3DColor.h"
#include "QK3DExport.h"
#include "QK3DListenerList.h"
#include "QK3DPixelFormat.h"
#include "QKSerial.h"
#include <limits>
#include <map>
#include <set>
#include <vector>

namespace qk3d {
class CBox;
class CCamera;
class CKeepActive;
class COverlayItem;
class CRenderSystem;
class CTexture;
class CViewport;
struct Vector2;

enum RenderTargetType : unsigned int { RTT_WINDOW = 0, RTT_TEXTURE = 1 };

/// A window or a texture that is drawn into. The render system that made it owns it and drives it once per distinct
/// time; with auto update off only explicit calls of Update draw it.
///
/// Whatever hears from the target during Update may change it: viewports, overlay items and listeners can be added and
/// removed, and the target itself can be destroyed through its system. What is removed while it is being drawn is drawn
/// to its end and deleted when Update returns.
class QK3D_API CRenderTarget : public qklib::ISerial {
public:
    /// Hears of each update, before the first viewport is drawn and after everything is.
    class QK3D_API CUpdateListener {
    public:
        virtual ~CUpdateListener() = default;
        virtual void OnRenderTargetPerUpdate(CRenderTarget*, long long /*time*/) {}
        virtual void OnRenderTargetPostUpdate(CRenderTarget*, long long /*time*/) {}
    };

    using ViewportMap = std::map<short, CViewport*>;
    using ViewportIterator = ViewportMap::iterator;
    using ConstViewportIterator = ViewportMap::const_iterator;

    /// The time that makes Update draw whatever was drawn before, and that is not recorded.
    static constexpr long long kForceUpdateTime = std::numeric_limits<long long>::max();

    CRenderTarget(CRenderTarget const&) = delete;
    CRenderTarget& operator=(CRenderTarget const&) = delete;

    /// Read and write nothing.
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;
    virtual ~CRenderTarget();

    /// Removes the viewport under that key. If it is active on the system, no viewport is afterwards.
    virtual void RemoveViewport(short z);
    virtual void RemoveAllViewport();

    /// Makes the surface. The system calls it for render textures; a window's maker in the back-end does so itself.
    bool Create();

    /// Changes size and format, and brings the ranges of all viewports up to date. On false all stay as they were.
    bool Reset(unsigned int width, unsigned int height, EPixelFormat format);

    /// A viewport over a range in pixels, or in fractions of the target's size. Null if the z-order is taken; z-order
    /// 0 then takes the next free automatic number from 1 on, and null only if there is none left. The target owns
    /// the result.
    CViewport* AddViewport(CCamera* camera, short z, unsigned int left, unsigned int top, unsigned int width,
                           unsigned int height);
    CViewport* AddViewport(CCamera* camera, short z, float left, float top, float width, float height);

    /// Overlay items are drawn over all viewports, in the order of their addresses. They are not owned; one that dies
    /// leaves its targets. Adding twice keeps one; null is ignored.
    void AddOverlayItem(COverlayItem* item);
    void RemoveOverlayItem(COverlayItem* item);
    void RemoveAllOverlayItem();

    /// Listeners are not owned. Null is ignored, one that is added twice is called twice, and removal takes all of it.
    void AddUpdateListener(CUpdateListener* listener);
    void RemoveUpdateListener(CUpdateListener* listener);
    void RemoveAllUpdateListener();

    /// Whether Update would draw at that time.
    bool IsNeedToUpdate(long long time) const;

    /// Draws the target if that is due. With auto update off, the target and viewport that were active before are so
    /// again afterwards. A target that is being drawn already is not drawn inside itself.
    void Update(long long time);

    /// Copies `count` rectangles to positions in another surface of the same system, as CHardwarePixelBuffer::BlitEx
    /// does.
    bool CopyToTexture(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions);
    bool CopyToRenderTarget(CRenderTarget* target, CBox const* boxes, unsigned int count, Vector2* positions);

    /// Turning it off forgets when the target was last drawn.
    void SetAutoUpdate(bool autoUpdate);
    void ResetUpdateFlag() { m_lastUpdateTime = std::numeric_limits<long long>::lowest(); }

    void SetIsClearPerUpdate(bool value) { m_isClearPerUpdate = value; }
    void SetIsClearBackgroundColor(bool value) { m_isClearBackgroundColor = value; }
    void SetBackgroundColor(color const& value) { m_backgroundColor = value; }
    void SetIsClearDepthBuffer(bool value) { m_isClearDepthBuffer = value; }
    void SetInitDepth(float value) { m_initDepth = value; }
    void SetIsClearStencil(bool value) { m_isClearStencil = value; }
    void SetInitStencil(unsigned long value) { m_initStencil = value; }

    CRenderSystem* GetRenderSystem() const { return m_renderSystem; }
    string const& GetName() const { return m_name; }
    unsigned int GetWidth() const { return m_width; }
    unsigned int GetHeight() const { return m_height; }
    EPixelFormat GetPixelFormat() const { return m_pixelFormat; }
    RenderTargetType GetRenderTargetType() const { return m_targetType; }
    bool IsCreated() const { return m_isCreated; }
    bool IsAutoUpdate() const { return m_isAutoUpdate; }
    bool IsUpdating() const { return m_isUpdating; }

    /// Whether the next update clears: always the first one, and each with clear per update on.
    bool IsClear() const { return m_isClearPerUpdate || m_updateCount == 0; }
    bool IsClearPerUpdate() const { return m_isClearPerUpdate; }
    bool IsClearBackgroundColor() const { return m_isClearBackgroundColor; }
    color GetBackgroundColor() const { return m_backgroundColor; }
    bool IsClearDepthBuffer() const { return m_isClearDepthBuffer; }
    float GetInitDepth() const { return m_initDepth; }
    bool IsClearStencil() const { return m_isClearStencil; }
    unsigned long GetInitStencil() const { return m_initStencil; }

    unsigned short GetViewportNum() const { return static_cast<unsigned short>(m_viewports.size()); }
    CViewport* GetViewport(short z) const;
    ViewportIterator EnumViewportBegin() { return m_viewports.begin(); }
    ViewportIterator EnumViewportEnd() { return m_viewports.end(); }
    ConstViewportIterator EnumViewportBegin() const { return m_viewports.begin(); }
    ConstViewportIterator EnumViewportEnd() const { return m_viewports.end(); }

protected:
    CRenderTarget(CRenderSystem* renderSystem, string const& name, unsigned int width, unsigned int height,
                  EPixelFormat format);

    /// The back-end's part. _ResetImpl makes the surface anew; the old size is still to be read while it runs.
    virtual bool _CreateImpl() = 0;
    virtual bool _ResetImpl(unsigned int width, unsigned int height, EPixelFormat format) = 0;

    /// Called nowhere; for a back-end's own use.
    virtual void _UpdateImpl(long long time);
    virtual bool _CopyToTextureImpl(CTexture* texture, CBox const* boxes, unsigned int count, Vector2* positions) = 0;
    virtual bool _CopyToRenderTargetImpl(CRenderTarget* target, CBox const* boxes, unsigned int count,
                                         Vector2* positions) = 0;

    CRenderSystem* m_renderSystem; ///< not owned
    string m_name;
    unsigned int m_width;
    unsigned int m_height;
    unsigned int m_bitsPerPixel; ///< of the format at construction; for the back-end
    EPixelFormat m_pixelFormat;
    RenderTargetType m_targetType = RTT_WINDOW;
    bool m_isCreated = false;
    bool m_isAutoUpdate = true;
    unsigned int m_updateCount = 0; ///< finished updates
    long long m_lastUpdateTime = std::numeric_limits<long long>::lowest();
    bool m_isClearPerUpdate = true;
    bool m_isClearBackgroundColor = true;
    color m_backgroundColor = color(0xFF000000u);
    bool m_isClearDepthBuffer = true;
    float m_initDepth = 1.0f;
    bool m_isClearStencil = true;
    unsigned long m_initStencil = 0;
    CListenerList<CUpdateListener> m_updateListeners;
    ViewportMap m_viewports; ///< owned; ascending z-order is drawing order
    short m_nextAutoZOrder = 0;
    std::set<COverlayItem*> m_overlayItems; ///< not owned

private:
    friend class CRenderSystem;

    template <class... Range>
    CViewport* _InsertViewport(CCamera* camera, short z, Range... range);
    void _DrawContents(long long time, CKeepActive* before);
    void _EndUpdate();
    void _DeleteViewport(CViewport* viewport);

    bool m_isUpdating = false;
    std::vector<CViewport*> m_removedViewports; // owned; removed during Update, deleted when it ends
};
} // namespace qk3d
