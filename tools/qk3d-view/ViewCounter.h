// ViewCounter.h: counts what a frame asks of the device, beside what the engine's filter lets through.
#pragma once

#include "QK3DRenderableObject.h"

namespace qk3d {
class CEntity;
}

namespace view {
/// Hears of each draw of the entities it watches, and adds up the states that the passes drawn set: what would be sent if
/// nothing were filtered.
class CDrawCounter : public qk3d::CRenderableObject::CRenderListener {
public:
    void Watch(qk3d::CEntity& entity);

    unsigned long long GetDraws() const { return m_draws; }
    unsigned long long GetStates() const { return static_cast<unsigned long long>(m_states + 0.5); }

protected:
    void OnRenderableObjectPostRender(qk3d::CRenderableObject* object, qk3d::CRenderSystem* device) override;

private:
    unsigned long long m_draws = 0;
    double m_states = 0;
};
} // namespace view
