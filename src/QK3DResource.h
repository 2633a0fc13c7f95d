// QK3DResource.h: base of everything that is named, loaded and shared: meshes, textures, materials, states, programs.
#pragma once

#include "QK3DExport.h"
#include "QK3DResourceSharePtr.h"
#include "QK3DSharePtr.h"
#include "QK3DTypes.h"
#include "QKSerial.h"
#include <cstddef>

namespace qk3d {
class CFileSystem;
class CResource;
class CResourceManager;

enum ELoadingState {
    LOADSTATE_UNPREPARED = 0, // nothing has been done
    LOADSTATE_PREPARED = 2,   // the source has been found, and perhaps read
    LOADSTATE_LOADING = 3,    // inside Load
    LOADSTATE_LOADED = 4,     // usable
    LOADSTATE_UNLOADING = 6,  // inside Unload
};

/// Takes the place of a resource's own way to its contents. A true result of the last two means that the loader did
/// the whole work; after false the resource goes its own way.
class QK3D_API CResourceLoader {
public:
    virtual ~CResourceLoader();

    /// Asked once, when a resource is to get this loader, with the type name of the resource's manager.
    virtual bool IsSupportResourceType(string const& typeName) = 0;

    /// Asked for manual resources only.
    virtual bool PrepareResource(CResource* resource);

    /// Asked for resources that are not manual.
    virtual bool LoadResource(CResource* resource);
};

/// A named object that is first prepared (its source has been found, and perhaps read) and then loaded (usable). This
/// class keeps the state; subclasses supply the five hooks at its end. All work is done at once by the caller's
/// thread. What a hook or a loader throws passes through, and the state is then that of a failure. A hook or loader
/// that asks the same resource for another step meanwhile gets false; one that drops its last handle, or destroys its
/// manager, has the resource go when the step is over.
class QK3D_API CResource : public qklib::ISerial {
public:
    /// Looks nothing up yet. A loader that does not support the type is left out.
    CResource(CResourceManager* manager, string const& path, string const& name, bool isManual,
              CSharePtr<CResourceLoader>& loader);

    /// With a private copy of `size` source bytes in place of a path.
    CResource(CResourceManager* manager, void* data, std::size_t size, string const& name, bool isManual,
              CSharePtr<CResourceLoader>& loader);

    virtual ~CResource();

    /// True if the resource is prepared now, also if it was before.
    bool Prepare();

    /// Unloads first if need be. True if the resource is unprepared now.
    bool UnPrepare();

    /// Prepares first if need be. A manual resource is loaded by being prepared. After false it is prepared (or
    /// unprepared, if that failed already), and Load may be tried again. `flag` has no effect.
    bool Load(bool flag = false);

    /// Goes back to prepared. After false the state is loaded.
    bool Unload();

    /// Do what is missing and say whether the resource is at least prepared, or loaded, now. No waiting is involved.
    bool MakeSurePrepared();
    bool MakeSureLoaded() { return m_loadingState == LOADSTATE_LOADED || Load(); }
    bool WaitForPrepared();
    bool WaitForLoaded();

    /// The three setters below say false, and change nothing, once the resource has been prepared.
    bool SetIsManual(bool value);

    /// False also for a loader that does not support the type.
    bool SetLoader(CSharePtr<CResourceLoader>& loader);

    /// Searches the manager's file systems and keeps the absolute path that they find. If they find nothing the path
    /// stays as it was, but a manual resource takes it as given. True in all these cases; without a manager nothing
    /// changes.
    bool SetPath(string const& path);

    /// Makes a manual resource of the same type and path in the same manager and copies the contents into it. An
    /// empty name gives a generated one. Null if the manager refuses (the name is taken, say) or is gone.
    ResourceSharePtr Copy(string const& name);

    ELoadingState GetLoadingState() const { return m_loadingState; }
    string const& GetName() const { return m_name; }
    string const& GetPath() const { return m_path; }

    /// Null for a resource made without one, and after the manager is gone.
    CResourceManager* GetResourceManager() const { return m_manager; }

    /// The type name of the manager; empty without one.
    string GetTypeName() const;

    /// True if the contents are made by code and not read from a source.
    bool IsManual() const { return m_isManual; }
    CSharePtr<CResourceLoader> GetLoader() const { return m_loader; }

protected:
    /// A copy is a resource of its own with the same name, path and manager, but in no table. Assignment leaves all
    /// of this as it is: only subclasses have contents to assign.
    CResource(CResource const& other);
    CResource& operator=(CResource const& other);

    /// Copies the contents of this resource into `target`, which is in the manager's table already.
    virtual void _CopyImpl(CResource* target) = 0;

    /// The first two find and perhaps read the source, the other two make it usable and take that back. An empty path
    /// means that there is no source: true, and the contents are left to code.
    virtual bool _PrepareImpl() = 0;
    virtual bool _UnPrepareImpl() = 0;
    virtual bool _LoadImpl() = 0;
    virtual bool _UnloadImpl() = 0;

    /// How a resource with a script form reads its file.
    enum EScriptResult { SCRIPT_READ, SCRIPT_NOT_FOUND, SCRIPT_REFUSED };

    /// Locates the path, reads the text and hands it to SetFromScript. Not found are also an empty file and one that
    /// cannot be read. Logs nothing: every class has words of its own for it.
    EScriptResult _ReadScriptFile();

    /// Searches the manager's file systems for the path: makes it absolute and sets `m_fileSystem`, which is null if
    /// nothing was found.
    void _Locate();

    CResourceManager* m_manager = nullptr; // not owned
    string m_name;
    unsigned char* m_data = nullptr; // source bytes, owned, released with free
    unsigned long long m_dataSize = 0;
    string m_path;                             // empty without a file, absolute once it has been located
    CFileSystem const* m_fileSystem = nullptr; // where the path was found, one of the manager's
    CSharePtr<CResourceLoader> m_loader;
    ELoadingState m_loadingState = LOADSTATE_UNPREPARED;
    bool m_isManual = false;

private:
    friend class CResourceHold;
    friend class CResourceManager;
    friend class ResourceSharePtr;

    void _TakeData(void const* data, unsigned long long size);

    unsigned int* m_handleCount = nullptr; // that of its handles, null without any

    bool m_isInHook = false;

    // All resources of a manager, in its table or not: those that outlive it have to hear that it is gone.
    CResource* m_previousOfManager = nullptr;
    CResource* m_nextOfManager = nullptr;
};
} // namespace qk3d
