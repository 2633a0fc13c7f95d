// QK3DParticleSystem.cpp: a named holder for plug-ins.
#include "QK3DParticleSystem.h"

namespace qk3d {
CParticleSystem::CParticleSystem(string const& name) : m_name(name) {}
CParticleSystem::CParticleSystem(CParticleSystem const& other) = default;
CParticleSystem& CParticleSystem::operator=(CParticleSystem const& other) = default;
CParticleSystem::~CParticleSystem() = default;
} // namespace qk3d
