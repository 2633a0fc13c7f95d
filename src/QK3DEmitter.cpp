// QK3DEmitter.cpp: the life of what an emitter emits.
#include "QK3DEmitter.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DParticle.h"
#include "QK3DPrefetchInternal.h"
#include "QK3DRandom.h"
#include "QK3DSceneManager.h"
#include <algorithm>
#include <memory>
#include <utility>

namespace qk3d {
namespace {
constexpr double kTicksASecond = 1e7;

// So that what is moved between the lists is never in both of them, or in none, for want of memory.
void MakeRoom(CEmitter::EmitableObjectList& list, std::size_t number) {
    if (list.capacity() - list.size() < number) list.reserve(std::max(list.size() + number, 2 * list.capacity()));
}
} // namespace

// Watches an emitter while it calls its objects: these may destroy it, or empty its lists.
class CEmitter::CWalk {
public:
    explicit CWalk(CEmitter& emitter)
        : m_emitter(emitter), m_watch(emitter.CMovableObject::m_life), m_generation(emitter.m_generation) {}
    bool IsOver() const { return m_watch.IsDead() || m_emitter.m_generation != m_generation; }
    bool IsDead() const { return m_watch.IsDead(); }

private:
    CEmitter& m_emitter;
    CLifeWatch m_watch;
    unsigned int m_generation;
};

CEmitter::CEmitter(CEmitter* emitter, string const& name) : CEmitableObject(emitter, name) {
    m_renderOperation.m_renderable = this;
}

CEmitter::CEmitter(CEmitter const& other) : CEmitableObject(other), CRenderableObject(other) {
    m_renderOperation.m_renderable = this;
    *this = other;
}

CEmitter& CEmitter::operator=(CEmitter const& other) {
    if (this == &other) return *this;
    DestroyAllEmitableObject();
    CEmitableObject::operator=(other);
    CRenderableObject::operator=(other);
    m_emitInterval = other.m_emitInterval;
    m_emitSpeed = other.m_emitSpeed;
    m_totalEmitNum = other.m_totalEmitNum;
    m_maxParticleNum = other.m_maxParticleNum;
    m_drawObjects = other.m_drawObjects;
    m_boundToEmitter = other.m_boundToEmitter;
    m_createFun = other.m_createFun;
    m_rangeMin = other.m_rangeMin;
    m_rangeMax = other.m_rangeMax;
    m_mesh = other.m_mesh;
    m_material = other.m_material;
    return *this;
}

CEmitter::~CEmitter() { DestroyAllEmitableObject(); }

void CEmitter::SetEmitSpeed(float speed) {
    m_emitSpeed = speed;
    double const interval = speed > 0 ? static_cast<double>(1.0f / speed) * kTicksASecond : 0;
    // The slowest of speeds would fall due beyond the end of time.
    m_emitInterval = interval < 9.2e18 ? static_cast<long long>(interval) : 0x7FFFFFFFFFFFFFFF;
}

void CEmitter::SetEmitableObjectCreateFun(void (*fun)(CEmitter*, CEmitableObject**), bool drawObjects) {
    if (fun == m_createFun) return;
    m_createFun = fun;
    m_drawObjects = drawObjects;
    DestroyAllEmitableObject();
}

void CEmitter::SetMesh(_ResourceSharePtr<CMesh>& mesh) { m_mesh = mesh; }
void CEmitter::SetMaterial(_ResourceSharePtr<CMaterial>& material) { m_material = material; }

void CEmitter::ResetEmitter() {
    MakeRoom(m_deadObjects, m_aliveObjects.size());
    ++m_generation;
    for (CEmitableObject* object : m_aliveObjects) {
        object->Kill();
        m_deadObjects.push_back(object);
    }
    m_aliveObjects.clear();
    m_emittedNum = m_aliveNum = 0;
}

void CEmitter::DestroyAllEmitableObject() {
    ++m_generation;
    m_emittedNum = m_aliveNum = 0;
    // The lists are empty before the first destructor runs, which may look at them.
    auto const alive = std::exchange(m_aliveObjects, {});
    auto const dead = std::exchange(m_deadObjects, {});
    std::size_t const firstDead = std::exchange(m_firstDead, 0);
    for (CEmitableObject* object : alive) delete object;
    for (std::size_t i = firstDead; i < dead.size(); ++i) delete dead[i];
}

// Objects have no node, but need the clock, and must not be left with that of a scene which may go.
void CEmitter::_NotifyAttached(CSceneNode* node) {
    CEmitableObject::_NotifyAttached(node);
    SetSceneManager(m_attachedSceneManager);
}

void CEmitter::SetSceneManager(CSceneManager* manager) {
    m_attachedSceneManager = manager;
    for (auto const* list : {&m_aliveObjects, &m_deadObjects}) {
        std::size_t const first = list == &m_deadObjects ? m_firstDead : 0;
        for (std::size_t i = first; i < list->size(); ++i) {
            (*list)[i]->m_attachedSceneManager = manager;
            if (auto* const emitter = dynamic_cast<CEmitter*>((*list)[i])) emitter->SetSceneManager(manager);
        }
    }
}

void CEmitter::_UpdateImpl(bool changed) {
    if (!m_attachedSceneManager || m_isUpdating) return;
    struct Mark { // comes off when something throws, too
        CEmitter& emitter;
        CWalk walk{emitter};
        explicit Mark(CEmitter& e) : emitter(e) { emitter.m_isUpdating = true; }
        ~Mark() {
            if (!walk.IsDead()) emitter.m_isUpdating = false;
        }
    } const mark(*this);

    _FollowEmitter(changed);
    long long const now = m_attachedSceneManager->GetTime();
    if (!UpdateAlive(now, changed)) return;
    if (unsigned int const due = CountDue(now)) Emit(due, now, changed);
}

// False when the walk is over: the emitter is gone, or its lists are not what they were. Whose life has ended stays in its
// place to the end of the walk, so that nobody finds the lists half changed.
bool CEmitter::UpdateAlive(long long now, bool changed) {
    CWalk const walk(*this);
    m_dying.clear();
    for (std::size_t i = 0; i < m_aliveObjects.size(); ++i) {
        CEmitableObject* const object = m_aliveObjects[i];
        if (i + kPrefetchAhead < m_aliveObjects.size())
            Prefetch(m_aliveObjects[i + kPrefetchAhead], sizeof(CEmitableObject));
        if (!object->IsValid(now)) {
            m_dying.push_back(i);
            continue;
        }
        object->GotoTime(now);
        object->CMovableObject::Update(changed);
        if (walk.IsOver()) return false;
    }
    if (m_dying.empty()) return true;

    MakeRoom(m_deadObjects, m_dying.size());
    for (std::size_t place : m_dying) m_deadObjects.push_back(m_aliveObjects[place]);
    auto dying = m_dying.begin();
    std::size_t kept = m_dying.front();
    for (std::size_t i = kept; i < m_aliveObjects.size(); ++i) {
        if (dying != m_dying.end() && *dying == i)
            ++dying;
        else
            m_aliveObjects[kept++] = m_aliveObjects[i];
    }
    m_aliveObjects.resize(kept);
    m_aliveNum -= static_cast<unsigned int>(m_dying.size());
    return true;
}

// How many objects are to be born now. A clock that went back, a limit that was lowered: none, never a wrapped number.
unsigned int CEmitter::CountDue(long long now) {
    if (m_emittedNum >= m_totalEmitNum || !m_createFun || m_aliveNum >= m_maxParticleNum) return 0;
    double const target = std::min(static_cast<double>(GetAge(now)) / kTicksASecond * static_cast<double>(m_emitSpeed),
                                   static_cast<double>(m_totalEmitNum));
    if (!(target >= static_cast<double>(m_emittedNum) + 1)) return 0;
    return std::min(static_cast<unsigned int>(target) - m_emittedNum, m_maxParticleNum - m_aliveNum);
}

void CEmitter::Emit(unsigned int number, long long now, bool changed) {
    CWalk const walk(*this);
    struct Births { // are counted when something throws, too
        CEmitter& emitter;
        CWalk const& walk;
        unsigned int number = 0;
        ~Births() {
            if (!walk.IsOver()) emitter.m_aliveNum += number;
        }
    } births{*this, walk};

    unsigned int done = 0;
    for (; done < number && m_firstDead < m_deadObjects.size(); ++done) {
        CEmitableObject* const object = m_deadObjects[m_firstDead];
        MakeRoom(m_aliveObjects, 1);
        if (!StartLife(object, false, now, changed)) return;
        m_aliveObjects.push_back(object);
        ++m_firstDead;
        ++births.number;
    }
    m_deadObjects.erase(m_deadObjects.begin(), m_deadObjects.begin() + static_cast<std::ptrdiff_t>(m_firstDead));
    m_firstDead = 0;

    for (; done < number; ++done) {
        CEmitableObject* made = nullptr;
        m_createFun(this, &made);
        std::unique_ptr<CEmitableObject> object(made);
        if (walk.IsOver()) return;
        if (!object || (m_drawObjects && !dynamic_cast<CParticle*>(made))) continue;
        object->m_attachedSceneManager = m_attachedSceneManager;
        MakeRoom(m_aliveObjects, 1);
        if (!StartLife(made, true, now, changed)) return;
        m_aliveObjects.push_back(made);
        object.release();
        ++births.number;
    }
    births.number = number;
}

// With the time of its turn, however late it is now. False when the walk over the lists is over.
bool CEmitter::StartLife(CEmitableObject* object, bool isFirst, long long now, bool changed) {
    CWalk const walk(*this);
    auto const birth = static_cast<long long>(static_cast<unsigned long long>(m_emitInterval) * m_emittedNum);
    Vector3 position;
    _GenEmitableObjectPosition(m_emittedNum, birth, position);
    position *= m_worldTransform;
    if (isFirst)
        object->Born(birth, position);
    else
        object->ReBorn(birth, position);
    object->GotoTime(now);
    object->CMovableObject::Update(changed);
    if (walk.IsOver()) return false;
    ++m_emittedNum;
    return true;
}

void CEmitter::_GenEmitableObjectPosition(unsigned int, long long const&, Vector3& position) {
    position = RandomNumber(m_rangeMin, m_rangeMax);
}
} // namespace qk3d
