// QK3DPlugin.h: one plug-in, a library that brings the engine a list of creator functions.
#pragma once

#include "QK3DExport.h"

namespace qk3d {
/// Handle of a loaded library.
using HINSTANCE = void*;

/// One creator function that a plug-in offers. Array and names belong to the plug-in, and are good until its
/// ReleasePlugin.
struct PluginObjectInfo {
    char const* name = nullptr; // null or empty makes the record void
    int type = 0;               // 1 to 8, the kind of object; anything else makes the record void
    void* creator = nullptr;    // a function; its signature follows from `type`
};

/// Data that a plug-in may show about itself. The engine neither fills nor reads it.
struct PluginInfo {
    void const* first = nullptr;
    void const* second = nullptr;
    int third = 0;
    void const* fourth = nullptr;
};

/// One plug-in. Its library has to export four functions:
///     int InitPlugin(unsigned char const* data, int size)     1 is success; called once, first of all
///     void ReleasePlugin()                                    called once, before the library goes
///     int GetObjectInfos(PluginObjectInfo const** infos)      gives the list and its length
///     GetPluginInfo                                           must exist, is not called
/// What a plug-in throws out of them counts as a refusal. It must outlive whatever its creators made.
class QK3D_API CPlugin {
public:
    /// Opens `fileName`, unless it is null.
    CPlugin(char const* fileName, unsigned char const* data, int size);
    CPlugin(CPlugin const&) = delete;
    CPlugin& operator=(CPlugin const&) = delete;
    virtual ~CPlugin();

    /// Loads the library, in an instance of its own, and starts it with `data` and `size`, which only the plug-in looks
    /// at. An open one is closed first. 1 on success; 0 otherwise, with nothing left of the library. One that was
    /// started and refused is released as well, so that it can clean up.
    int OpenPlugin(char const* fileName, unsigned char const* data, int size);

    /// Releases the plug-in and unloads its library. Does nothing if none is loaded.
    void Close();

    bool IsLoaded() const;
    operator HINSTANCE();

    /// A function that the library exports, or null.
    void (*GetProcAddress(char const* name) const)();

    /// Always null: nothing fills it.
    PluginInfo const* GetPluginInfo() const;

    /// Ask the plug-in for its list anew at each call. 0 and null if it is not started or has none to give.
    int GetPluginObjectNum();
    PluginObjectInfo const* GetPluginObjectInfos();

protected:
    HINSTANCE m_module = nullptr; // owned
    int (*m_initPlugin)(unsigned char const* data, int size) = nullptr;
    void (*m_releasePlugin)() = nullptr;
    int (*m_getObjectInfos)(PluginObjectInfo const** infos) = nullptr;
    void (*m_getPluginInfo)() = nullptr;
    bool m_isInitialised = false;
    PluginInfo const* m_pluginInfo = nullptr;
    int m_objectNum = 0;
    PluginObjectInfo const* m_objectInfos = nullptr; // the plug-in's

private:
    bool _Start(unsigned char const* data, int size);
    void _AskForObjects();
};
} // namespace qk3d
