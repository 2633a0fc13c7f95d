// QK3DLight.h: the type of lights; what a light does is the business of a plug-in.
#pragma once

#include "QK3DMovableObject.h"

namespace qk3d {
/// A movable object that plug-ins derive their lights from. It stays abstract: a derived class names its type.
class QK3D_API CLight : public CMovableObject {
public:
    enum ELightType { LT_POINT = 1, LT_SPOT = 2, LT_DIRECTIONAL = 3 };

    explicit CLight(string const& name);
    CLight(string const& name, ELightType type);

    ELightType GetLightType() const { return m_lightType; }
    void SetLightType(ELightType type) { m_lightType = type; }

protected:
    // The engine copies these and does nothing else with them.
    string m_text;
    ELightType m_lightType = LT_POINT;
    float m_values[16] = {};
};
} // namespace qk3d
