// QK3DSceneNode.cpp: the links of a node: parent, children and attached objects.
#include "QK3DSceneNode.h"
#include "QK3DBlockPoolInternal.h"
#include "QK3DFreeNameInternal.h"
#include "QK3DLogInternal.h"
#include "QK3DMovableObject.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNodeWalkInternal.h"
#include <algorithm>

namespace qk3d {
namespace {
template <class T>
std::size_t PlaceOf(CPointerList<T> const& list, T const* value, std::size_t from = 0) {
    return static_cast<std::size_t>(std::find(list.begin() + from, list.end(), value) - list.begin());
}

constinit BlockPool<sizeof(CSceneNode)> nodes;
} // namespace

CSceneNode::CUpdateListener::~CUpdateListener() = default;
void CSceneNode::CUpdateListener::OnSceneNodePerUpdate(CSceneNode*) {}
void CSceneNode::CUpdateListener::OnSceneNodePostUpdate(CSceneNode*) {}

CSceneNode::CSceneNode(string const& name, CSceneManager* manager) : m_name(name), m_sceneManager(manager) {}

CSceneNode::~CSceneNode() {
    RemoveAllUpdateListener();
    CSceneNode::RemoveChildren();
    CSceneNode::DetachAllObjects();
    if (m_parent) m_parent->UnlinkChild(this);
    CWalk::OnNodeDestroyed(this);
}

void* CSceneNode::operator new(std::size_t size) { return nodes.Take(size); }
void CSceneNode::operator delete(void* memory, std::size_t size) noexcept { nodes.Give(memory, size); }

CSceneNode* CSceneNode::CreateChildSceneNode(string const& name, Vector3 const& position, Quaternion const& rotation) {
    if (!m_sceneManager) return nullptr;
    CSceneNode* const node = m_sceneManager->CreateSceneNode(name);
    if (!node) return nullptr;

    Matrix44 const before = node->GetTransform();
    node->Translation(position);
    node->Rotate(rotation);
    try {
        AddChild(node);
    } catch (...) {
        node->SetTransform(before); // whoever asks again must not move it twice
        throw;
    }
    return node;
}

CSceneNode* CSceneNode::CreateChildSceneNode(Vector3 const& position, Quaternion const& rotation) {
    if (!m_sceneManager) return nullptr;
    // A name that is taken would hand out somebody else's node.
    string const name =
        FreeName("node", [this](string const& n) { return m_sceneManager->GetSceneNode(n) != nullptr; });
    return CreateChildSceneNode(name, position, rotation);
}

void CSceneNode::AddChild(CSceneNode* child) {
    if (!child) return;
    // Only a node that has children can have this one below it.
    bool isCycle = child == this;
    if (!child->m_children.IsEmpty())
        for (CSceneNode const* node = m_parent; node && !isCycle; node = node->m_parent) isCycle = node == child;
    if (isCycle) {
        QK_LOG(LOG_WARNING, "A scene node cannot be added below itself : %s", child->m_name.c_str());
        return;
    }

    if (child->m_parent) child->m_parent->RemoveChild(child);
    bool const isTaken = FindListedChild(child->m_name) != nullptr;
    std::size_t place = FindChildPlace(child->m_name);
    if (isTaken) {
        QK_LOG(LOG_WARNING, "The scene node %s has a child of this name already : %s", m_name.c_str(),
               child->m_name.c_str());
        while (place < m_children.GetSize() && m_children[place]->m_name == child->m_name) ++place;
    }
    m_children.Insert(place, child);
    CWalk::OnChildInserted(this, place);
    child->m_parent = this;
    child->m_isListed = !isTaken;
}

CSceneNode* CSceneNode::GetChild(string const& name) { return FindListedChild(name); }

void CSceneNode::MoveChileToAnothreNode(string const& name, CSceneNode* other) {
    CSceneNode* const child = FindListedChild(name);
    if (child && other) other->AddChild(child);
}

void CSceneNode::RemoveChild(CSceneNode* child) {
    if (child && child->m_parent == this) UnlinkChild(child);
}

void CSceneNode::RemoveChild(string const& name) {
    if (CSceneNode* const child = FindListedChild(name)) UnlinkChild(child);
}

void CSceneNode::RemoveChildren() {
    while (!m_children.IsEmpty()) UnlinkChild(m_children.GetBack());
}

// An override of _NotifyAttached may do anything, so both sides are watched while it runs.
void CSceneNode::AttachMovableObject(CMovableObject* object) {
    if (!object || object->IsAttached()) return;
    CLifeWatch const watch(object->m_life);
    CWalk walk;
    walk.Enter(this);
    walk.CallOut();
    try {
        object->_NotifyAttached(this);
        if (watch.IsDead() || object->m_attachedSceneNode != this) return;
        if (walk.Top().node)
            m_attachedObjects.Append(object);
        else
            object->m_attachedSceneNode = nullptr;
    } catch (...) {
        if (!watch.IsDead() && object->m_attachedSceneNode == this) object->_NotifyAttached(nullptr);
        throw;
    }
}

void CSceneNode::DetachMovableObject(unsigned int index) {
    if (index < m_attachedObjects.GetSize()) DetachMovableObject(m_attachedObjects[index]);
}

void CSceneNode::DetachMovableObject(CMovableObject* object) {
    if (!object || object->GetAttachedSceneNode() != this) return;
    CWalk walk;
    walk.Enter(this);
    walk.CallOut();
    object->_NotifyAttached(nullptr);
    if (walk.Top().node) UnlinkObject(object);
}

void CSceneNode::DetachAllObjects() {
    CWalk walk;
    walk.Enter(this);
    walk.CallOut();
    walk.Top().isInObjects = true;
    while (walk.Top().node && walk.Top().next < m_attachedObjects.GetSize())
        m_attachedObjects[walk.Top().next++]->_NotifyAttached(nullptr);
    if (!walk.Top().node) return;
    while (!m_attachedObjects.IsEmpty()) {
        m_attachedObjects.Erase(m_attachedObjects.GetSize() - 1);
        CWalk::OnObjectErased(this, m_attachedObjects.GetSize());
    }
}

unsigned int CSceneNode::GetAttachMovableObjectNum() const {
    return static_cast<unsigned int>(m_attachedObjects.GetSize());
}

void CSceneNode::_NotifyMovableObjectDestroy(CMovableObject* object) { UnlinkObject(object); }

// The first child whose name is not below this one.
std::size_t CSceneNode::FindChildPlace(string const& name) const {
    // Names mostly come in ascending order.
    if (m_children.IsEmpty() || m_children.GetBack()->m_name < name) return m_children.GetSize();
    auto const place = std::lower_bound(m_children.begin(), m_children.end(), name,
                                        [](CSceneNode const* child, string const& n) { return child->m_name < n; });
    return static_cast<std::size_t>(place - m_children.begin());
}

CSceneNode* CSceneNode::FindListedChild(string const& name) const {
    for (std::size_t place = FindChildPlace(name); place < m_children.GetSize(); ++place) {
        if (m_children[place]->m_name != name) break;
        if (m_children[place]->m_isListed) return m_children[place];
    }
    return nullptr;
}

void CSceneNode::UnlinkChild(CSceneNode* child) {
    child->m_parent = nullptr;
    child->m_isListed = false;
    std::size_t const place = PlaceOf(m_children, child, FindChildPlace(child->m_name));
    if (place == m_children.GetSize()) return; // its parent was set by hand
    m_children.Erase(place);
    CWalk::OnChildErased(this, place);
}

void CSceneNode::UnlinkObject(CMovableObject* object) {
    std::size_t const place = PlaceOf(m_attachedObjects, object);
    if (place == m_attachedObjects.GetSize()) return;
    m_attachedObjects.Erase(place);
    CWalk::OnObjectErased(this, place);
}
} // namespace qk3d
