// QK3DFactory.cpp: the tables of creators.
#include "QK3DFactory.h"
#include "QK3DLogInternal.h"

namespace qk3d {
namespace {
// `name` is the text of the name, or nothing for kinds whose objects have none.
template <class Object, class Fun, class... Name>
Object* Create(std::map<string, Fun> const& funs, string const& type, Name... name) {
    Object* object = nullptr; // a creator that stores nothing gives null
    auto const found = funs.find(type);
    if (found != funs.end() && found->second) found->second(name..., &object);
    return object;
}
} // namespace

CFactory::~CFactory() {
    _Clear();
    QK_LOG(LOG_INFO, "CFactory Destroy");
}

void CFactory::AddCreateRenderSystemFun(string const& type, CreateRenderSystemFun fun) {
    m_renderSystemFuns[type] = fun;
}
void CFactory::RemoveCreateRenderSystemFun(string const& type) { m_renderSystemFuns.erase(type); }
CRenderSystem* CFactory::CreateRenderSystem(string const& type, string const& name) {
    return Create<CRenderSystem>(m_renderSystemFuns, type, name.c_str());
}

void CFactory::AddCreateSceneManagerFun(string const& type, CreateSceneManagerFun fun) {
    m_sceneManagerFuns[type] = fun;
}
void CFactory::RemoveCreateSceneManagerFun(string const& type) { m_sceneManagerFuns.erase(type); }
CSceneManager* CFactory::CreateSceneManager(string const& type, string const& name) {
    return Create<CSceneManager>(m_sceneManagerFuns, type, name.c_str());
}

void CFactory::AddCreateMovableObjectFun(string const& type, CreateMovableObjectFun fun) {
    m_movableObjectFuns[type] = fun;
}
void CFactory::RemoveCreateMovableObjectFun(string const& type) { m_movableObjectFuns.erase(type); }
CMovableObject* CFactory::CreateMovableObject(string const& type, string const& name) {
    return Create<CMovableObject>(m_movableObjectFuns, type, name.c_str());
}

void CFactory::AddCreateParticleSystemFun(string const& type, CreateParticleSystemFun fun) {
    m_particleSystemFuns[type] = fun;
}
void CFactory::RemoveCreateParticleSystemFun(string const& type) { m_particleSystemFuns.erase(type); }
CParticleSystem* CFactory::CreateParticleSystem(string const& type, string const& name) {
    return Create<CParticleSystem>(m_particleSystemFuns, type, name.c_str());
}

void CFactory::AddCreateEmitterFun(string const& type, CreateEmitterFun fun) { m_emitterFuns[type] = fun; }
void CFactory::RemoveCreateEmitterFun(string const& type) { m_emitterFuns.erase(type); }
CEmitter* CFactory::CreateEmitter(string const& type, string const& name) {
    return Create<CEmitter>(m_emitterFuns, type, name.c_str());
}

void CFactory::AddCreateUserObjectFun(string const& type, CreateUserObjectFun fun) { m_userObjectFuns[type] = fun; }
void CFactory::RemoveCreateUserObjectFun(string const& type) { m_userObjectFuns.erase(type); }
void* CFactory::CreateUserObject(string const& type) { return Create<void>(m_userObjectFuns, type); }

void CFactory::_Clear() {
    m_renderSystemFuns.clear();
    m_sceneManagerFuns.clear();
    m_movableObjectFuns.clear();
    m_particleSystemFuns.clear();
    m_emitterFuns.clear();
    m_userObjectFuns.clear();
}
} // namespace qk3d
