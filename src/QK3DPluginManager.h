// QK3DPluginManager.h: the loaded plug-ins, by the absolute path of their libraries.
#pragma once

#include "QK3DExport.h"
#include "QK3DTypes.h"
#include <map>

namespace qk3d {
class CPlugin;

/// Loads plug-ins and owns them. A name is a path, taken from the plug-in folder if it is relative; the same file named
/// in two ways is one plug-in. An empty name finds nothing.
class QK3D_API CPluginManager {
public:
    /// The plug-in folder is that of the running program.
    CPluginManager();
    CPluginManager(CPluginManager const&) = delete;
    CPluginManager& operator=(CPluginManager const&) = delete;
    virtual ~CPluginManager();

    void SetDirPath(string const& dir);

    /// The plug-in of that name, loaded if it is not; null if that fails. With `reload` the file is loaded again even
    /// if it is known: the new plug-in is started before the old one is released, and if it cannot be, the result is
    /// null and the old one stays. A replaced file should be put in place by renaming, since writing into a library in
    /// use breaks the one that runs.
    CPlugin* LoadPlugin(string const& name, unsigned char const* data, int size, bool reload);

    /// Owned by the manager; null if there is none.
    CPlugin* GetPlugin(string const& name);
    bool IsPluginLoad(string const& name);
    void UnloadPlugin(string const& name);

protected:
    friend class CQK3DMain;
    void _UnloadAllPlugin();

    string m_dirPath;
    std::map<string, CPlugin*> m_plugins; // by absolute path; owned

private:
    bool _MakeKey(string const& name, string& key) const;
};
} // namespace qk3d
