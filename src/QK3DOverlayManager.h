// QK3DOverlayManager.h: owns the top-level items of the 2D layer.
#pragma once

#include "QK3DExport.h"
#include "QK3DOverlayItemMap.h"
#include "QK3DTypes.h"
#include <set>

namespace qk3d {
class COverlayItem;
class CRenderSystem;

/// Holds overlay items by name, finds their script files and lays them out once a frame. It draws nothing: an item is
/// drawn by the render targets it was added to with CRenderTarget::AddOverlayItem.
class QK3D_API COverlayManager {
public:
    COverlayManager() = default;
    COverlayManager(COverlayManager const&) = delete;
    COverlayManager& operator=(COverlayManager const&) = delete;
    virtual ~COverlayManager();

    /// Folders in which relative script names are looked up, in the order of their names.
    void AddOverlayScriptDirPath(string const& dir);
    void RemoveOverlayScriptDirPath(string const& dir);

    /// Looks a relative path up in the script folders; a path with a ":" or a leading "/" is looked up as it stands.
    /// True if the file is there: `path` is then its full path in lower case. False leaves `path` alone.
    bool CheckScriptFileExist(string& path) const;

    /// A new top-level item in pixels of the render target, owned by the manager. Null if the name is in use; an empty
    /// name is replaced by a generated one.
    COverlayItem* CreateOverlayItem(string const& name, int x, int y, int width, int height, int zOrder);

    /// The same with everything 0, then filled from a script file. A file that is not found gives a blank item; one
    /// that cannot be read or parsed is logged, and the item keeps what was read so far.
    COverlayItem* CreateOverlayItem(string scriptFile, string const& name);

    /// `path` is a name, or names joined by "." that lead through sub-items.
    COverlayItem* GetOverlayItem(string const& path);

    void DestroyOverlayItem(string const& name);
    void DestroyAllOverlayItem();

    /// Lays out all items in order of name and writes the quads that changed. Once a frame, before drawing.
    /// Listeners of items may make and destroy items.
    void Update();

    /// For the destructor of an item: takes its entry out.
    void _NotifyOverlayItemDestroy(COverlayItem* item);

    /// From the engine root, before it destroys a render system: items give up what they have on it.
    void _NotifyRenderSystemDestroy(CRenderSystem* renderSystem);

protected:
    std::set<string> m_scriptDirs;
    COverlayItemMap m_overlayItems; // owned
};
} // namespace qk3d
