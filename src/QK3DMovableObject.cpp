// QK3DMovableObject.cpp: names, updates and attachment of movable objects.
#include "QK3DMovableObject.h"
#include "QK3DGenName.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"

namespace qk3d {
CMovableObject::CUpdateListener::~CUpdateListener() = default;
void CMovableObject::CUpdateListener::OnMovableObjectPerUpdate(CMovableObject*) {}
void CMovableObject::CUpdateListener::OnMovableObjectPostUpdate(CMovableObject*) {}

CMovableObject::CMovableObject(string const& name)
    : m_name(name.empty() ? CGenName::GenNameByTime_ansi("", "") : name) {}

CMovableObject::CMovableObject(CMovableObject const& other)
    : m_visible(other.m_visible), m_transformChanged(true), m_transform(other.m_transform), m_name(other.m_name) {}

CMovableObject& CMovableObject::operator=(CMovableObject const& other) {
    m_visible = other.m_visible;
    SetTransform(other.m_transform);
    return *this;
}

CMovableObject::~CMovableObject() {
    RemoveAllUpdateListener();
    if (m_attachedSceneNode) m_attachedSceneNode->_NotifyMovableObjectDestroy(this);
}

void CMovableObject::DetachFromSceneNode() {
    if (m_attachedSceneNode) m_attachedSceneNode->DetachMovableObject(this);
}

void CMovableObject::AddRenderableObjectToRenderQueue(CRenderQueue&, CRenderSystem*) {}
void CMovableObject::RenderRenderableObject(CRenderSystem*, long long) {}

bool CMovableObject::Update(bool force) {
    CLifeWatch const watch(m_life);
    if (!m_updateListeners.IsEmpty()) {
        NotifyPerUpdate();
        if (watch.IsDead()) return true;
    }

    bool const changed = force || m_transformChanged;
    if (changed) {
        if (m_attachedSceneNode && !m_attachedSceneNode->IsWorldMatrixIdentity())
            m_worldTransform = m_transform * m_attachedSceneNode->GetWorldTransform();
        else
            m_worldTransform = m_transform;
        m_worldMatrixIdentity = m_worldTransform.IsIdentity();
    }

    // The mark is taken back only afterwards: an override asks for it.
    _UpdateImpl(changed);
    if (watch.IsDead()) return true;
    m_transformChanged = false;
    if (!m_updateListeners.IsEmpty()) NotifyPostUpdate();
    return true;
}

// Apart from the update, which mostly has nobody to tell and should not carry their frame.
void CMovableObject::NotifyPerUpdate() {
    m_updateListeners.Notify([this](auto* listener) { listener->OnMovableObjectPerUpdate(this); });
}

void CMovableObject::NotifyPostUpdate() {
    m_updateListeners.Notify([this](auto* listener) { listener->OnMovableObjectPostUpdate(this); });
}

void CMovableObject::CopyFrom(CMovableObject const& other) {
    m_visible = other.m_visible;
    m_transform = other.m_transform;
}

#define TRANSFORM_OWNER CMovableObject
#define TRANSFORM_POINT_FORMS
#include "QK3DTransformInternal.inl"

long long CMovableObject::GetAttachedSceneManagerTime() const {
    return m_attachedSceneManager ? m_attachedSceneManager->GetTime() : 0;
}

void CMovableObject::_NotifyAttached(CSceneNode* node) {
    m_attachedSceneNode = node;
    m_attachedSceneManager = node ? node->GetSceneManager() : nullptr;
}

void CMovableObject::_UpdateImpl(bool) {}
} // namespace qk3d
