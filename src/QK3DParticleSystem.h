// QK3DParticleSystem.h: a named holder that particle systems of plug-ins derive from.
#pragma once

#include "QK3DExport.h"
#include "QK3DTypes.h"
#include <list>
#include <map>

namespace qk3d {
/// Has no behaviour of its own: what the containers point at, and who owns it, is the business of the derived class.
class QK3D_API CParticleSystem {
public:
    explicit CParticleSystem(string const& name);
    CParticleSystem(CParticleSystem const& other);
    CParticleSystem& operator=(CParticleSystem const& other);
    virtual ~CParticleSystem();

protected:
    string m_name;
    std::map<string, void*> m_objectMap; // not owned
    std::list<void*> m_objects;          // not owned
    std::list<void*> m_otherObjects;     // not owned
};
} // namespace qk3d
