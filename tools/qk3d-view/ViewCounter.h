// ViewCounter.h: counts what a frame asks of the device, beside what the engine's filter lets through.
#pragma once

#include "QK3DOverlayItem.h"
#include "QK3DRenderableObject.h"

namespace qk3d {
class CEmitter;
class CEntity;
} // namespace qk3d

namespace view {
/// Hears of each draw of what it watches, and adds up the states that the passes drawn set: what would be sent if nothing
/// were filtered.
class CDrawCounter : public qk3d::CRenderableObject::CRenderListener, public qk3d::COverlayItem::CRenderListener {
public:
    void Watch(qk3d::CEntity& entity);
    void Watch(qk3d::CEmitter& emitter);

    /// The item and those below it that have a name in the script it was made from.
    void Watch(qk3d::COverlayItem& item, Json::Value const& script);

    unsigned long long GetDraws() const { return m_draws; }
    unsigned long long GetStates() const { return static_cast<unsigned long long>(m_states + 0.5); }

    /// State calls without any filter: each state is set for a draw and taken back after it, and particles send their
    /// colours one by one in any case.
    unsigned long long GetStateCalls() const { return 2 * GetStates() + m_colours; }

protected:
    void OnRenderableObjectPostRender(qk3d::CRenderableObject* object, qk3d::CRenderSystem* device) override;
    void OnOverlayItemPostRender(qk3d::COverlayItem* item, qk3d::CRenderSystem* device) override;

private:
    unsigned long long m_draws = 0;
    unsigned long long m_colours = 0; // of particles
    double m_states = 0;
};
} // namespace view
