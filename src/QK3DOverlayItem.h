// QK3DOverlayItem.h: one rectangle of the 2D layer, with its sub-items, its texture and its quad.
#pragma once

#include "QK3DBox.h"
#include "QK3DColor.h"
#include "QK3DExport.h"
#include "QK3DLifeWatch.h"
#include "QK3DListenerList.h"
#include "QK3DOverlayItemMap.h"
#include "QK3DRenderOperation.h"
#include "QK3DResourceSharePtr.h"
#include "QK3DSharePtr.h"
#include "QK3DTypes.h"
#include "QKSerial.h"
#include <vector>

namespace qk3d {
class CMaterial;
class COverlayManager;
class CPass;
class CRenderTarget;
class CTexture;
class CVertexElement;

/// What a number of a range says: a fraction of the whole, or pixels (of a texture: texels).
enum ERangeForm : unsigned int { RANGE_PERCENT = 1, RANGE_PIXEL = 2 };

/// A panel, a picture, a cursor: a rectangle over everything else that a render target shows, in pixels of that target
/// from its top left corner. A sub-item is laid out in the box of its parent. Of its four numbers, x, y, width and
/// height, each is in a form of its own: 0.5 as a percent is half the parent's size, and pixels below zero count from
/// the parent's far edge. A top-level item is meant to be in pixels: it has no parent to take a fraction of.
///
/// An item without a texture draws nothing of its own and groups its sub-items. Sub-items are drawn over it, those with
/// a higher z-order over those with a lower one.
///
/// Listeners may change the tree and the lists of listeners at will, and destroy the item that calls them.
class QK3D_API COverlayItem : public qklib::ISerial {
public:
    /// Hears of each update of an item, also of one that is not visible.
    class QK3D_API CUpdateListener {
    public:
        virtual ~CUpdateListener() = default;

    protected:
        friend class COverlayItem;
        virtual void OnOverlayItemPerUpdate(COverlayItem*) {}
        virtual void OnOverlayItemPostUpdate(COverlayItem*) {}
    };

    /// Hears of each drawing of a visible item, before it and after it and its sub-items were drawn.
    class QK3D_API CRenderListener {
    public:
        virtual ~CRenderListener() = default;

    protected:
        friend class COverlayItem;
        virtual void OnOverlayItemPerRender(COverlayItem*, CRenderSystem*) {}
        virtual void OnOverlayItemPostRender(COverlayItem*, CRenderSystem*) {}
    };

    /// In pixels, and in fractions of the parent. COverlayManager::CreateOverlayItem and CreateSubItem make items that
    /// belong to a tree; one made here is entered nowhere.
    COverlayItem(COverlayManager* manager, COverlayItem* parent, string const& name, int x, int y, int width,
                 int height, short zOrder);
    COverlayItem(COverlayManager* manager, COverlayItem* parent, string const& name, float x, float y, float width,
                 float height, short zOrder);

    /// A copy looks the same and has the same name, but it stands alone: no parent, manager, sub-items or listeners,
    /// and it makes a quad and a material of its own. Assignment takes the looks over and leaves name and place in the
    /// tree, sub-items and listeners as they are.
    COverlayItem(COverlayItem const& other);
    COverlayItem& operator=(COverlayItem const& other);
    virtual ~COverlayItem();

    /// Reads "Range", "TextureRange", "ZOrder", "Texture", "RenderState", "TextureState", "SamplerState", "Visible" and
    /// "SubItems". A sub-item whose name is taken is skipped. Nothing is loaded before the next Update or Render. False
    /// if `value` is no object.
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;

    void SetVisible(bool visible) { m_isVisible = visible; }
    void SetZOrder(short zOrder) { m_zOrder = zOrder; }

    // The two numbers of a position or size that is set already change nothing, not even the forms. With the setters
    // of single numbers the form counts too.
    void SetPosition(int x, int y);
    void SetPositionAsPercent(float x, float y);
    void SetX(int x);
    void SetXAsPercent(float x);
    void SetY(int y);
    void SetYAsPercent(float y);

    /// In pixels, this gives an item with the texture "Blank" a new texture of the new size.
    void SetSize(int width, int height);
    void SetSizeAsPercent(float width, float height);

    /// Take effect when something else makes the box be computed again: another setter, or a move of the parent.
    void SetWidth(int width);
    void SetWidthAsPercent(float width);
    void SetHeight(int height);
    void SetHeightAsPercent(float height);

    /// Multiplies the stored size, in the forms it has.
    void Scale(float sx, float sy);

    /// Moves by pixels. A position that is not in pixels becomes so, where it is.
    void Translation(int dx, int dy);

    /// Turns the quad by `angle` radians round a point of the render target, which then moves with the item. An angle
    /// of 0 shows when the box is computed the next time. The box itself never turns.
    void RotateSelf(Vector2 const& centre, float angle);

    /// The part of the texture that is shown: as fractions of the texture, or in texels.
    void SetTexturePosition(float x, float y);
    void SetTexturePositionAsPixel(int x, int y);
    void SetTextureSize(float width, float height);
    void SetTextureSizeAsPixel(int width, int height);

    /// Names a texture resource, which is found at the next Update or Render; if there is none, the item has no texture
    /// afterwards. "Blank" gives the item a texture of its own in its own size, to draw into. An empty name takes the
    /// texture away.
    void SetTexture(string const& name);

    /// Shows this texture from now on; null shows none.
    void SetTexture(_ResourceSharePtr<CTexture> texture);

    /// Multiplied into the texture. An item that names a render state in its script shares it, and so the colour.
    void SetColor(color value);
    void SetAlpha(unsigned int alpha);

    /// The system that the quad is made on. Render sets it.
    void SetRenderSystem(CRenderSystem* renderSystem);

    /// A new sub-item with all numbers 0, owned by this item. Null if the name is in use; an empty name is replaced by
    /// a generated one.
    COverlayItem* CreateSubItem(string const& name);

    /// The same, filled from a script file that the manager finds. A file that is not found gives a blank item; one
    /// that cannot be read or parsed is logged, and the item keeps what was read so far.
    COverlayItem* CreateSubItem(string scriptFile, string const& name);

    /// `path` is a name, or names joined by "." that lead down the tree. Null if one of them is not there.
    COverlayItem* GetSubItem(string const& path);

    /// Unknown names, null and items of others are ignored.
    void DestroySubItem(string const& name);
    void DestroySubItem(COverlayItem* item);

    /// Listeners are not owned. Null is ignored, one that is added twice is called twice, and removal takes all of it.
    void AddUpdateListener(CUpdateListener* listener) { m_updateListeners.Add(listener); }
    void RemoveUpdateListener(CUpdateListener* listener) { m_updateListeners.Remove(listener); }
    void RemoveAllUpdateListener() { m_updateListeners.RemoveAll(); }
    void AddRenderListener(CRenderListener* listener) { m_renderListeners.Add(listener); }
    void RemoveRenderListener(CRenderListener* listener) { m_renderListeners.Remove(listener); }
    void RemoveAllRenderListener() { m_renderListeners.RemoveAll(); }

    /// Computes the box in the box of the parent, does what is due for texture and quad, and goes on to the sub-items.
    /// Of an item that is not visible only the listeners run. If the quad cannot be written, the sub-items are left
    /// out, and the next call tries again.
    void Update(bool parentChanged, CBox const& parentBox);

    /// Draws the item, then its sub-items by z-order, those of equal z-order by address; nothing at all if it is not
    /// visible. Does what is due for texture and quad on that system first. An item that is being drawn already is not
    /// drawn inside itself.
    void Render(CRenderSystem* renderSystem, long long time);

    string const& GetName() const { return m_name; }
    COverlayManager* GetOverlayManager() const { return m_manager; }
    COverlayItem* GetParent() const { return m_parent; }
    int GetSubItemNum() const { return static_cast<int>(m_subItems.GetSize()); }
    bool IsVisible() const { return m_isVisible; }
    short GetZOrder() const { return m_zOrder; }

    /// The stored numbers in their forms, not the box.
    Vector2 GetPosition() const { return {m_range[0], m_range[1]}; }
    Vector2 GetSize() const { return {m_range[2], m_range[3]}; }
    Vector2 GetTexturePosition() const { return {m_textureRange[0], m_textureRange[1]}; }
    Vector2 GetTextureSize() const { return {m_textureRange[2], m_textureRange[3]}; }

    /// The rectangle in pixels of the render target, computed now if it is out of date.
    CBox GetAbsoluteBox() const;

    /// Whether the point, in pixels of the render target, is in the box. All four edges are inside; rotation and
    /// visibility don't count.
    bool IsPointInRange(Vector2 const& point) const;

    color GetColor() const { return m_color; }
    unsigned int GetAlpha() const { return static_cast<unsigned int>(m_color) >> 24; }
    _ResourceSharePtr<CTexture> GetTexture() const { return m_texture; }

    /// Made by code together with the first texture; null before that.
    _ResourceSharePtr<CMaterial> GetMaterial() const { return m_material; }
    CPass* GetPass() const { return m_pass; }

    /// For the destructor of a sub-item: takes its entry out.
    void _NotifySubItemDestroy(COverlayItem* item);

    /// From a render target that draws this item, and takes it out again. An item that dies leaves its targets.
    void _NotifyRenderTargetAdd(CRenderTarget* target);
    void _NotifyRenderTargetRemove(CRenderTarget* target);

    /// A render system is about to go: the item and its sub-items give up what they have on it.
    void _NotifyRenderSystemDestroy(CRenderSystem* renderSystem);

protected:
    friend class COverlayManager;

    /// The shared layout of all quads, made by the first who needs it. A manager that goes drops it, unless quads of
    /// other managers still use it.
    static void _CreateVertexDeclaration();
    static void _ReleaseVertexDeclaration();

    void __UpdateAbsoluteBox(CBox const& parentBox) const;
    void _UpdateAbsoluteBox() const;
    void _SetRenderSystem();
    void _UpdateTexture();
    void _UpdateTextureRange() const;
    void _CreateMaterial();
    void _DestroyAllSubItem();

    static qklib::CSharePtr<CVertexDeclaration> m_vertexDec;
    static CVertexElement const* m_posElm; // of m_vertexDec
    static CVertexElement const* m_uvElm;

    COverlayManager* m_manager; // not owned
    COverlayItem* m_parent;     // not owned
    string m_name;
    CRenderOperation m_renderOperation;
    ERangeForm m_rangeForms[4]; // x, y, width, height
    float m_range[4];
    mutable CBox m_absoluteBox;
    mutable bool m_isBoxDirty = false;
    mutable CBox m_parentBox; // of the last computation
    ERangeForm m_textureRangeForms[4] = {RANGE_PERCENT, RANGE_PERCENT, RANGE_PERCENT, RANGE_PERCENT};
    float m_textureRange[4] = {0, 0, 1, 1};    // left, top, width, height
    mutable float m_uvRange[4] = {0, 0, 1, 1}; // the same as texture coordinates
    mutable bool m_isTextureRangeDirty = false;
    Vector2 m_rotationCentre; // from the top left corner of the box
    float m_rotationAngle = 0;
    bool m_isRotated = false;
    short m_zOrder;
    bool m_isVisible = true;
    color m_color = color(0xFFFFFFFFu);
    mutable unsigned int m_vertexChanges = 0; // since the quad was written
    CRenderSystem* m_renderSystem = nullptr;  // not owned; the last one drawn with
    bool m_isRenderSystemChanged = false;
    CVertexData* m_vertexData = nullptr; // owned
    _ResourceSharePtr<CMaterial> m_material;
    CPass* m_pass = nullptr;  // the material's
    string m_renderStateName; // empty: the built-in one, as with the next two
    string m_textureStateName;
    string m_samplerStateName;
    string m_textureName;
    _ResourceSharePtr<CTexture> m_texture;
    bool m_isTextureChanged = false;
    std::vector<COverlayItem*> m_sortArray; // scratch of Render
    COverlayItemMap m_subItems;             // owned
    CListenerList<CUpdateListener> m_updateListeners;
    CListenerList<CRenderListener> m_renderListeners;

private:
    void _SetRangeNumber(int index, float value, ERangeForm form);
    void _SetRange(int first, float a, float b, ERangeForm form);
    void _SetTextureRange(int first, float a, float b, ERangeForm form);
    void _CopyLooks(COverlayItem const& other);
    void _ReadRange(Json::Value const& list, float (&range)[4], ERangeForm (&forms)[4]);
    void _ReadSubItems(Json::Value const& list);
    COverlayItem* _EnterSubItem(COverlayItem* item);

    bool _HasTexture() const { return !m_textureName.empty() || m_texture; }
    void _RefreshDeviceState();
    void _DeleteQuad();
    bool _WriteQuadIfNeeded();
    bool _WriteQuad();
    void _RenderSubItems(long long time);
    void _ShowTexture();
    bool _FindBlankTexture();
    bool _FindNamedTexture();
    void _SetTextureFactor();

    // Keeps a flag up for the time of a walk, also if a listener throws or destroys the item.
    class CFlagScope {
    public:
        CFlagScope(bool& flag, CLifeWatch const& watch) : m_flag(flag), m_watch(watch) { flag = true; }
        CFlagScope(CFlagScope const&) = delete;
        CFlagScope& operator=(CFlagScope const&) = delete;
        ~CFlagScope() {
            if (!m_watch.IsDead()) m_flag = false;
        }

    private:
        bool& m_flag;
        CLifeWatch const& m_watch;
    };

    CLifeLine m_life;
    bool m_isUpdating = false;
    bool m_isRendering = false;
    bool m_isQuadWritten = false;          // since its buffer was made
    std::vector<CRenderTarget*> m_targets; // not owned; those that draw this item
};
} // namespace qk3d
