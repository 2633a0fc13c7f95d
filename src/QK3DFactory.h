// QK3DFactory.h: makes objects by the name of their type.
#pragma once

#include "QK3DExport.h"
#include "QK3DTypes.h"
#include <map>

namespace qk3d {
class CEmitter;
class CMovableObject;
class CParticleSystem;
class CRenderSystem;
class CSceneManager;

/// Tables of creator functions, one table a kind of object, filled by the engine, by hosts and by plug-ins. A creator
/// stores a new object of that name at `out`, or null if it cannot make one. What a Create operation returns belongs
/// to its caller, who deletes it through the virtual destructor. Type names are compared byte by byte; a type that
/// nobody added gives null. Adding a type again replaces its creator, removing an unknown one does nothing.
class QK3D_API CFactory {
public:
    using CreateRenderSystemFun = void (*)(char const* name, CRenderSystem** out);
    using CreateSceneManagerFun = void (*)(char const* name, CSceneManager** out);
    using CreateMovableObjectFun = void (*)(char const* name, CMovableObject** out);
    using CreateParticleSystemFun = void (*)(char const* name, CParticleSystem** out);
    using CreateEmitterFun = void (*)(char const* name, CEmitter** out);
    using CreateUserObjectFun = void (*)(void** out);

    CFactory(CFactory const&) = default;
    CFactory& operator=(CFactory const&) = default;
    virtual ~CFactory();

    void AddCreateRenderSystemFun(string const& type, CreateRenderSystemFun fun);
    void RemoveCreateRenderSystemFun(string const& type);
    CRenderSystem* CreateRenderSystem(string const& type, string const& name);

    void AddCreateSceneManagerFun(string const& type, CreateSceneManagerFun fun);
    void RemoveCreateSceneManagerFun(string const& type);
    CSceneManager* CreateSceneManager(string const& type, string const& name);

    void AddCreateMovableObjectFun(string const& type, CreateMovableObjectFun fun);
    void RemoveCreateMovableObjectFun(string const& type);
    CMovableObject* CreateMovableObject(string const& type, string const& name);

    void AddCreateParticleSystemFun(string const& type, CreateParticleSystemFun fun);
    void RemoveCreateParticleSystemFun(string const& type);
    CParticleSystem* CreateParticleSystem(string const& type, string const& name);

    void AddCreateEmitterFun(string const& type, CreateEmitterFun fun);
    void RemoveCreateEmitterFun(string const& type);
    CEmitter* CreateEmitter(string const& type, string const& name);

    /// Anything that the host and a plug-in agree on.
    void AddCreateUserObjectFun(string const& type, CreateUserObjectFun fun);
    void RemoveCreateUserObjectFun(string const& type);
    void* CreateUserObject(string const& type);

protected:
    friend class CQK3DMain;

    CFactory() = default;
    void _Clear();

    std::map<string, CreateRenderSystemFun> m_renderSystemFuns;
    std::map<string, CreateSceneManagerFun> m_sceneManagerFuns;
    std::map<string, CreateMovableObjectFun> m_movableObjectFuns;
    std::map<string, CreateParticleSystemFun> m_particleSystemFuns;
    std::map<string, CreateEmitterFun> m_emitterFuns;
    std::map<string, CreateUserObjectFun> m_userObjectFuns;
};
} // namespace qk3d
