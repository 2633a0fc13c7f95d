// QK3DResourceManager.h: the table of live resources of one type, and the file systems where their sources are found.
#pragma once

#include "QK3DExport.h"
#include "QK3DResourceSharePtr.h"
#include "QK3DSharePtr.h"
#include "QK3DTypes.h"
#include <map>
#include <vector>

namespace qk3d {
class CFileSystem;
class CResource;
class CResourceLoader;

/// Base of the managers, one for each type of resource. A resource lives only while somebody outside the table holds
/// a handle: the last one to let go takes the entry with it. Resources that are held when their manager goes, or when
/// the table is emptied, live on without it.
class QK3D_API CResourceManager {
public:
    using ResourceMap = std::map<string, ResourceSharePtr>;
    using ResourceIterator = ResourceMap::iterator;

    /// Starts with one file system, a COSFileSystem with no search folders under the name "OSFileSystem".
    CResourceManager();
    CResourceManager(CResourceManager const&) = delete;
    CResourceManager& operator=(CResourceManager const&) = delete;
    virtual ~CResourceManager();

    /// The name of the resource type, "CTexture" for instance.
    virtual string GetResourceTypeName() const = 0;

    /// Makes an unprepared resource and enters it. `path` is searched in the file systems and must be found, but for a
    /// manual resource. An empty name stands for the located path, or for a generated name if there is no path. Null,
    /// with a warning in the log, if the loader does not support the type, if the file is missing, or if the name is
    /// in use.
    ResourceSharePtr CreateResource(string const& path, string const& name, bool isManual,
                                    CSharePtr<CResourceLoader>& loader);
    ResourceSharePtr CreateResource();

    /// By name, or by a path that the file systems turn into the name. A null handle if there is none.
    ResourceSharePtr GetResource(string const& name);

    /// By name alone; no file is looked for.
    bool IsResourceExist(string const& name) const;

    /// Asks each file system in the order of their names. Makes `path` absolute in the terms of the one that has it,
    /// and returns that one; null if none has. Blanks at the ends are taken off in any case.
    CFileSystem const* LocateResource(string& path) const;

    /// False if there is no such entry or somebody outside holds it.
    bool DestroyResource(string const& name);

    /// Unprepares and destroys whatever nobody outside holds.
    void DestroyUnusedResources();

    /// Empties the table. What is held outside lives on until its last holder lets go.
    void DestroyAllResources();

    void UnloadAllResources();

    /// Adds or replaces.
    void AddFileSystem(string const& name, CSharePtr<CFileSystem>& fileSystem);

    /// The null instance if there is none of that name.
    CSharePtr<CFileSystem>& GetFileSystem(string const& name);
    void RemoveFileSystem(string const& name);
    void RemoveAllFileSystem();

    ResourceIterator EnumResourceBegin() { return m_resources.begin(); }
    ResourceIterator EnumResourceEnd() { return m_resources.end(); }

protected:
    friend class CResource;
    friend class CResourceSystem;
    friend class ResourceSharePtr;

    /// A new resource of this manager's class, with these arguments passed on to CResource. Null refuses.
    virtual CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                           CSharePtr<CResourceLoader>& loader) = 0;

    /// Called when the number of holders of a resource has fallen to `refCount`. At 1, when the table alone is left,
    /// the base calls _DropResource and unloads what is not manual. Below 1 the count has gone wrong: it logs, and
    /// destroys the resource. It does nothing for a resource that is not in the table.
    virtual void _NotifyResourceRelease(ResourceSharePtr const& resource, int refCount);

    /// Takes the entry of `resource`, which the table alone holds, out of the table and so destroys the resource, if
    /// `unload` after its Unload. If that makes somebody take a handle, the entry stays. Safe whatever the resource
    /// does to this manager meanwhile; nothing happens if the table does not hold this very resource.
    void _DropResource(ResourceSharePtr const& resource, bool unload);

    /// Erases the entry of this very resource, if there is one, and nothing else.
    void _EraseEntry(ResourceSharePtr const& resource);

    /// Erases the entry and moves `it` to the one that follows.
    void RemoveResourceAndEnumNext(ResourceIterator& it);

    std::map<string, CSharePtr<CFileSystem>> m_fileSystems;
    ResourceMap m_resources; // each handle is one of the counted ones

private:
    string _GenerateName() const;
    void _DropAfter(ResourceSharePtr const& resource, bool (CResource::*lastStep)());
    void _DestroyMiscounted(ResourceSharePtr const& resource);
    std::vector<string> _GetResourceNames() const;
    ResourceIterator _FindEntry(ResourceSharePtr const& resource);
    void _ForgetFileSystem(CFileSystem const* fileSystem);
    void _Attach(CResource* resource);
    void _Detach(CResource* resource);

    CResource* m_firstOfAll = nullptr; // all resources that name this manager, not owned
    bool m_isClosing = false;
};
} // namespace qk3d
