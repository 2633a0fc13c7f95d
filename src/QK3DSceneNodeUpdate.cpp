// QK3DSceneNodeUpdate.cpp: what runs down the tree: world transforms, updates and visibility.
#include "QK3DMovableObject.h"
#include "QK3DSceneNode.h"
#include "QK3DSceneNodeWalkInternal.h"
#include <typeinfo>

namespace qk3d {
// Nodes of this very class are walked here; a derived class may have an update of its own, which is called.
void CSceneNode::Update(bool updateChildren, bool parentChanged) {
    CWalk walk;
    auto const enter = [&](CSceneNode* node, bool changed) {
        if (node->m_updateListeners.IsEmpty()) {
            changed = node->RecomputeWorld(changed);
            if (node->m_attachedObjects.empty() && (node->m_children.empty() || !updateChildren)) return;
            walk.Push(node);
        } else {
            walk.Push(node);
            node->m_updateListeners.Notify([node](auto* listener) { listener->OnSceneNodePerUpdate(node); });
            if (!walk.Top().node) return;
            changed = node->RecomputeWorld(changed);
        }
        walk.Top().changed = changed;
        walk.Top().isInObjects = !updateChildren;
    };

    enter(this, parentChanged);
    while (!walk.IsDone()) {
        auto& top = walk.Top();
        CSceneNode* const node = top.node;
        if (!node) {
            walk.Pop();
        } else if (!top.isInObjects) {
            if (top.next < node->m_children.size()) {
                CSceneNode* const child = node->m_children[top.next++];
                if (!child->m_isListed) continue;
                if (typeid(*child) == typeid(CSceneNode)) enter(child, top.changed);
                else child->Update(updateChildren, top.changed);
            } else {
                top.isInObjects = true;
                top.next = 0;
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

// Whether the world transform is a new one.
bool CSceneNode::RecomputeWorld(bool parentChanged) {
    if (!parentChanged && !m_transformChanged) return false;
    if (m_parent && !m_parent->m_worldMatrixIdentity)
        m_worldTransform = m_transform * m_parent->GetWorldTransform();
    else
        m_worldTransform = m_transform;
    m_worldMatrixIdentity = m_worldTransform.IsIdentity();
    m_transformChanged = false;
    return true;
}
} // namespace qk3d
