// QK3DSceneNodeUpdate.cpp: what runs down the tree: world transforms, updates and visibility.
#include "QK3DMovableObject.h"
#include "QK3DSceneNode.h"
#include "QK3DSceneNodeWalkInternal.h"
#include <typeinfo>

namespace qk3d {
// Nodes of this very class are walked here; a derived class may have an update of its own, which is called.
bool CSceneNode::IsPlain() {
    if (m_class == EClass::Unknown) m_class = typeid(*this) == typeid(CSceneNode) ? EClass::Plain : EClass::Derived;
    return m_class == EClass::Plain;
}

// Whether the world transform is a new one.
bool CSceneNode::RecomputeWorld(CSceneNode const* parent, bool parentChanged) {
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
    auto const isSilentLeaf = [updateChildren](CSceneNode const* node) {
        return node->m_attachedObjects.empty() && node->m_updateListeners.IsEmpty() &&
               (node->m_children.empty() || !updateChildren);
    };
    auto const enter = [&](CSceneNode* node, bool changed) {
        walk.Push(node);
        node->m_updateListeners.Notify([node](auto* listener) { listener->OnSceneNodePerUpdate(node); });
        if (!walk.Top().node) return;
        walk.Top().changed = node->RecomputeWorld(node->m_parent, changed);
        walk.Top().isInObjects = !updateChildren;
    };

    enter(this, parentChanged);
    while (!walk.IsDone()) {
        auto& top = walk.Top();
        CSceneNode* const node = top.node;
        if (!node) {
            walk.Pop();
        } else if (!top.isInObjects) {
            // Most nodes have nothing below them and nobody who listens: no call leaves this loop.
            bool const changed = top.changed;
            std::size_t next = top.next;
            CSceneNode* child = nullptr;
            for (; next < node->m_children.size() && !child; ++next) {
                CSceneNode* const candidate = node->m_children[next];
                if (!candidate->m_isListed) continue;
                if (candidate->IsPlain() && isSilentLeaf(candidate))
                    candidate->RecomputeWorld(node, changed);
                else
                    child = candidate;
            }
            top.next = next;
            if (!child) {
                top.isInObjects = true;
                top.next = 0;
            } else if (child->IsPlain()) {
                enter(child, changed);
            } else {
                child->Update(updateChildren, changed);
            }
        } else if (top.next < node->m_attachedObjects.size()) {
            node->m_attachedObjects[top.next++]->Update(top.changed);
        } else {
            // Still on the stack: a listener may destroy the node.
            node->m_updateListeners.Notify([node](auto* listener) { listener->OnSceneNodePostUpdate(node); });
            walk.Pop();
        }
    }
}

void CSceneNode::FindVisibleObjects(CCamera*, CRenderQueue*, bool, bool, bool) {}

void CSceneNode::SetVisible(bool visible, bool cascade) {
    CWalk walk;
    auto const enter = [&](CSceneNode* node) {
        walk.Push(node);
        node->m_visible = visible;
        node->_SetVisible(visible);
        if (!walk.Top().node || !cascade) return;
        for (CMovableObject* object : node->m_attachedObjects) object->SetVisible(visible);
    };

    enter(this);
    while (!walk.IsDone()) {
        auto& top = walk.Top();
        if (!top.node || !cascade || top.next >= top.node->m_children.size()) {
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
