// QK3DSceneNodeUpdate.cpp: what runs down the tree: world transforms, updates and visibility.
#include "QK3DMovableObject.h"
#include "QK3DPrefetchInternal.h"
#include "QK3DSceneNode.h"
#include "QK3DSceneNodeWalkInternal.h"
#include <algorithm>
#include <typeinfo>

namespace qk3d {
namespace {
// How much of a node an update wants.
constexpr std::size_t kHotBytes = 3 * kCacheLine;
} // namespace

constinit CSceneNode::CWalk::Stack CSceneNode::CWalk::s_stack;

void CSceneNode::CWalk::Grow() {
    std::size_t const capacity = s_stack.capacity ? s_stack.capacity * 2 : 32;
    auto* const frames = new Frame[capacity];
    std::copy_n(s_stack.frames, s_stack.size, frames);
    delete[] s_stack.frames;
    s_stack.frames = frames;
    s_stack.capacity = capacity;
}

// Nodes of this very class are walked here; a derived class may have an update of its own, which is called.
inline bool CSceneNode::IsPlain() {
    if (m_class == EClass::Unknown) m_class = typeid(*this) == typeid(CSceneNode) ? EClass::Plain : EClass::Derived;
    return m_class == EClass::Plain;
}

// Nothing below it, nobody who listens, and an update that is the one of this file.
inline bool CSceneNode::IsSilentLeaf() {
    return IsPlain() && m_children.IsEmpty() && m_attachedObjects.IsEmpty() && m_updateListeners.IsEmpty();
}

// Whether the world transform is a new one.
inline bool CSceneNode::RecomputeWorld(CSceneNode const* parent, bool parentChanged) {
    if (!parentChanged && !m_transformChanged) return false;
    if (parent && !parent->m_worldMatrixIdentity)
        m_worldTransform = m_transform * parent->GetWorldTransform();
    else
        m_worldTransform = m_transform;
    m_worldMatrixIdentity = m_worldTransform.IsIdentity();
    m_transformChanged = false;
    return true;
}

void CSceneNode::Update(bool updateChildren, bool parentChanged) {
    CWalk walk;
    bool changed = parentChanged;
    for (CSceneNode* node = this; node; node = UpdateUpToNext(walk, changed)) {
        walk.Enter(node);
        if (!node->m_updateListeners.IsEmpty() && !NotifyPerUpdate(walk, node)) continue;
        walk.Top().changed = node->RecomputeWorld(node->m_parent, changed);
        walk.Top().isInObjects = !updateChildren || node->m_children.IsEmpty();
    }
}

// Goes on with the node that the walk stands on, and with those above it, up to the next node that is to be entered.
// `changed` says then what was decided about its parent. Null at the end of the walk.
CSceneNode* CSceneNode::UpdateUpToNext(CWalk& walk, bool& changed) {
    while (!walk.IsDone()) {
        auto& top = walk.Top();
        CSceneNode* const node = top.node;
        if (!node) {
            walk.Pop();
            continue;
        }
        if (!top.isInObjects) {
            if (CSceneNode* const child = node->UpdateLeaves(top.next, top.changed)) {
                changed = top.changed;
                if (child->IsPlain()) return child;
                walk.CallOut();
                child->Update(true, changed);
                continue;
            }
            top.isInObjects = true;
            top.next = 0;
        }
        if (top.next < node->m_attachedObjects.GetSize()) {
            walk.CallOut();
            node->m_attachedObjects[top.next++]->Update(top.changed);
            continue;
        }
        if (!node->m_updateListeners.IsEmpty()) NotifyPostUpdate(walk, node);
        walk.Pop();
    }
    return nullptr;
}

// Most nodes have nothing below them and nobody who listens: those are updated here, from the child number `next` on, with
// no call that leaves the loop. The first child that is not like that is the result; null at the end.
inline CSceneNode* CSceneNode::UpdateLeaves(unsigned int& next, bool changed) {
    unsigned int const childNum = m_children.GetSize();
    CSceneNode* const* const children = m_children.begin();
    CSceneNode* child = nullptr;
    unsigned int at = next;
    for (; at < childNum && !child; ++at) {
        if (at + kPrefetchAhead < childNum) Prefetch(children[at + kPrefetchAhead], kHotBytes);
        CSceneNode* const candidate = children[at];
        if (!candidate->m_isListed) continue;
        if (candidate->IsSilentLeaf())
            candidate->RecomputeWorld(this, changed);
        else
            child = candidate;
    }
    next = at;

    // What lies below the next child is wanted after what lies below this one: first its list, then its own children.
    if (child && at < childNum) {
        if (at + 1 < childNum) {
            CSceneNode const* const second = children[at + 1];
            Prefetch(second->m_children.begin(), kCacheLine);
            if (!second->m_attachedObjects.IsEmpty()) Prefetch(second->m_attachedObjects[0], kObjectBytes);
        }
        CPointerList<CSceneNode> const& cousins = children[at]->m_children;
        for (unsigned int i = 0; i < kPrefetchAhead && i < cousins.GetSize(); ++i) Prefetch(cousins[i], kHotBytes);
    }
    return child;
}

// The node stands on top of the walk. False when a listener destroyed it.
bool CSceneNode::NotifyPerUpdate(CWalk& walk, CSceneNode* node) {
    walk.CallOut();
    return node->m_updateListeners.Notify([node](auto* listener) { listener->OnSceneNodePerUpdate(node); });
}

void CSceneNode::NotifyPostUpdate(CWalk& walk, CSceneNode* node) {
    walk.CallOut();
    node->m_updateListeners.Notify([node](auto* listener) { listener->OnSceneNodePostUpdate(node); });
}

void CSceneNode::FindVisibleObjects(CCamera*, CRenderQueue*, bool, bool, bool) {}

void CSceneNode::SetVisible(bool visible, bool cascade) {
    CWalk walk;
    auto const enter = [&](CSceneNode* node) {
        walk.Enter(node);
        walk.CallOut();
        node->m_visible = visible;
        node->_SetVisible(visible);
        if (!walk.Top().node || !cascade) return;
        for (CMovableObject* object : node->m_attachedObjects) object->SetVisible(visible);
    };

    enter(this);
    while (!walk.IsDone()) {
        auto& top = walk.Top();
        if (!top.node || !cascade || top.next >= top.node->m_children.GetSize()) {
            walk.Pop();
        } else if (CSceneNode* const child = top.node->m_children[top.next++]; child->m_isListed) {
            enter(child);
        }
    }
}

#define TRANSFORM_OWNER CSceneNode
#include "QK3DTransformInternal.inl"

void CSceneNode::_SetVisible(bool) {}
} // namespace qk3d
