// QK3DEmitter.h: makes objects over time, keeps them, and draws them.
#pragma once

#include "QK3DEmitableObject.h"
#include "QK3DRenderOperation.h"
#include "QK3DRenderableObject.h"
#include "QK3DResourceSharePtr.h"
#include <cstddef>
#include <vector>

namespace qk3d {
class CMaterial;
class CMesh;
class CPass;

/// Emits objects at a set rate, from a box around its place, up to a number in all and a number at a time. It runs in
/// the scene update of the node it hangs on; without a scene manager it has no clock and does nothing. The scene clock
/// must run at 10,000,000 ticks a second. Objects whose life is over are kept and born again, so a steady emitter
/// allocates nothing once its population is full. An emitter can emit emitters. When the clock goes back, objects are
/// hidden or shown as their times tell, and nothing new is emitted until the clock has come back.
class QK3D_API CEmitter : public CEmitableObject, public CRenderableObject {
public:
    using EmitableObjectList = std::vector<CEmitableObject*>;

    CEmitter(CEmitter* emitter, string const& name);
    /// Takes over all settings, but no objects: a copy has emitted nothing yet.
    CEmitter(CEmitter const& other);
    /// The objects that this emitter had are destroyed.
    CEmitter& operator=(CEmitter const& other);
    ~CEmitter() override;

    void AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem* renderSystem) override;
    void RenderRenderableObject(CRenderSystem* renderSystem, long long time) override;
    CTechnique* GetTechnique() override;
    /// Does nothing: each object is drawn with a transform of its own.
    void GetWorldTransform(Matrix44* out) const override;
    float GetSquaredViewDepth(CCamera* camera, long long time) const override;
    void GetRenderOperation(CRenderOperation& out) const override;
    using CMovableObject::GetWorldTransform;

    /// Objects a second; 0 or below emits nothing. An object falls due every 10,000,000 / speed ticks, cut to a whole
    /// number, and is born at that time however late the update comes.
    void SetEmitSpeed(float speed);
    float GetEmitSpeed() const { return m_emitSpeed; }
    long long GetEmitInterval() const { return m_emitInterval; }
    /// How many in all. The emitter stops for good after them, until it is reset.
    void SetTotalEmitNum(unsigned int number) { m_totalEmitNum = number; }
    unsigned int GetTotalEmitNum() const { return m_totalEmitNum; }
    /// How many may live at once. Lowering it kills nothing: the emitter waits.
    void SetMaxParticleNum(unsigned int number) { m_maxParticleNum = number; }
    unsigned int GetMaxParticleNum() const { return m_maxParticleNum; }
    /// The box of birth places, in the emitter's space.
    void SetRange(Vector3 const& min, Vector3 const& max) { m_rangeMin = min, m_rangeMax = max; }
    /// Whether the objects follow the emitter after their birth.
    void SetEmitableObjBandToEmitter(bool bound) { m_boundToEmitter = bound; }
    bool IsEmitableObjBandToEmitter() const { return m_boundToEmitter; }

    /// What makes the objects; the emitter owns them. With `drawObjects` it draws them: they must be `CParticle` then, and
    /// others are destroyed at once. A new function destroys all objects there are; the one already set changes nothing,
    /// the flag included.
    void SetEmitableObjectCreateFun(void (*fun)(CEmitter*, CEmitableObject**), bool drawObjects);

    /// What each object is drawn as. Both are loaded when the emitter is drawn.
    void SetMesh(_ResourceSharePtr<CMesh>& mesh);
    _ResourceSharePtr<CMesh>& GetMesh() { return m_mesh; }
    void SetMaterial(_ResourceSharePtr<CMaterial>& material);
    _ResourceSharePtr<CMaterial>& GetMaterial() { return m_material; }

    /// Those of the movable object; the flag of the renderable has no use here.
    bool IsVisible() const { return CMovableObject::IsVisible(); }
    void SetVisible(bool visible) { CMovableObject::SetVisible(visible); }

    /// The living, in the order of their birth. An update ends the validity of iterators.
    EmitableObjectList::iterator EnumAliveParticleBegin() { return m_aliveObjects.begin(); }
    EmitableObjectList::iterator EnumAliveParticleEnd() { return m_aliveObjects.end(); }
    unsigned int GetEmittedNum() const { return m_emittedNum; }
    unsigned int GetAliveNum() const { return m_aliveNum; }

    /// Kills all and starts counting from 0. The time of birth of the emitter stays, so the next update catches up on
    /// all the time since, within the limits.
    void ResetEmitter();
    /// May be called by what an update of the objects calls, too.
    void DestroyAllEmitableObject();

protected:
    friend class CEmitableObject;

    void _UpdateImpl(bool changed) override;
    void _NotifyAttached(CSceneNode* node) override;
    /// Draws all objects with all passes, and so leaves nothing for the caller to draw: always false.
    bool _PerRenderImpl(CRenderSystem* renderSystem, long long time) override;
    /// Where object number `index` is born, in the emitter's space: a random place in the range.
    virtual void _GenEmitableObjectPosition(unsigned int index, long long const& time, Vector3& position);

    long long m_emitInterval = 0; // ticks
    float m_emitSpeed = 0;
    unsigned int m_totalEmitNum = 0;
    unsigned int m_maxParticleNum = 0;
    unsigned int m_emittedNum = 0;
    unsigned int m_aliveNum = 0;
    bool m_drawObjects = false;
    bool m_boundToEmitter = false;
    void (*m_createFun)(CEmitter*, CEmitableObject**) = nullptr;
    Vector3 m_rangeMin;
    Vector3 m_rangeMax;
    EmitableObjectList m_aliveObjects; // owned
    EmitableObjectList m_deadObjects;  // owned from m_firstDead on; the first is the next to be born again
    _ResourceSharePtr<CMesh> m_mesh;
    _ResourceSharePtr<CMaterial> m_material;
    CRenderOperation m_renderOperation; // scratch of the drawing

private:
    class CWalk;

    void SetSceneManager(CSceneManager* manager);
    bool UpdateAlive(long long now, bool changed);
    unsigned int CountDue(long long now);
    void Emit(unsigned int number, long long now, bool changed);
    bool StartLife(CEmitableObject* object, bool isFirst, long long now, bool changed);
    void PrepareForDrawing(CRenderSystem* renderSystem);
    void DrawObjects(CRenderSystem* renderSystem, CTechnique& technique);
    void DrawWithPass(CRenderSystem* renderSystem, CPass const* pass);

    std::size_t m_firstDead = 0;      // what lies before it was born again in this update
    std::vector<std::size_t> m_dying; // places of those whose life ended in this update
    unsigned int m_generation = 0;    // raised when the lists are emptied, so that walks over them notice
    bool m_isUpdating = false;
};
} // namespace qk3d
