// QK3DLight.cpp: the type of lights.
#include "QK3DLight.h"

namespace qk3d {
CLight::CLight(string const& name) : CMovableObject(name) {}
CLight::CLight(string const& name, ELightType type) : CMovableObject(name), m_lightType(type) {}
} // namespace qk3d
