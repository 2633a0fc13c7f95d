// EmitterEmitter.h: the emitter that emits emitters of particles.
#pragma once

#include "ParticleEmitter.h"

namespace qk3d {
class CNestingEmitter final : public CEmitterEmitter {
public:
    CNestingEmitter(CEmitter* emitter, string const& name);

    string GetTypeName() override { return "EmitterEmitter"; }
    void SetSettings(EmitterEmitterSettings const& settings) override;
    EmitterEmitterSettings const& GetSettings() const override { return m_settings; }
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value&) const override { return true; }

    /// These let the emitters draw.
    void AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem* renderSystem) override;
    void RenderRenderableObject(CRenderSystem* renderSystem, long long time) override;

    CEmitTurns const& GetTurns() const { return m_turns; }
    Matrix44 const& GetWorld() const { return m_worldTransform; }
    bool IsBound() const { return m_settings.isBound || m_boundToEmitter; }

    /// What the emitters are drawn with: what their settings name, or else this one's own.
    _ResourceSharePtr<CMesh>& GetChildMesh() { return m_childMesh != nullptr ? m_childMesh : m_mesh; }
    _ResourceSharePtr<CMaterial>& GetChildMaterial() {
        return m_childMaterial != nullptr ? m_childMaterial : m_material;
    }

private:
    void _UpdateImpl(bool changed) override;

    EmitterEmitterSettings m_settings;
    CEmitTurns m_turns;
    _ResourceSharePtr<CMesh> m_childMesh;
    _ResourceSharePtr<CMaterial> m_childMaterial;
};
} // namespace qk3d
