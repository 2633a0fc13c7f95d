// QK3DSceneNodeWalkInternal.h: walks over the tree of nodes that survive whatever happens to the tree meanwhile.
#pragma once

#include "QK3DSceneNode.h"

namespace qk3d {
/// A walk down a tree and back, with a stack of its own, so that the depth of the tree does not matter. Walks may be
/// nested. Every change of a tree tells the walks, which move their places along.
class CSceneNode::CWalk {
public:
    struct Frame {
        CSceneNode* node;  // null once it is destroyed
        unsigned int next; // among the children, or among the objects
        bool isInObjects;
        bool changed;   // what the update decided about this node
        bool wasWalked; // the node's mark before
    };

    CWalk() : m_base(s_stack.size), m_marked(m_base) {}
    ~CWalk() {
        while (!IsDone()) Pop(); // there are some left only if a listener threw
    }
    CWalk(CWalk const&) = delete;
    CWalk& operator=(CWalk const&) = delete;

    void Enter(CSceneNode* node) {
        if (s_stack.size == s_stack.capacity) Grow();
        s_stack.frames[s_stack.size++] = {node, 0, false, false, false};
    }
    void Pop() {
        Frame const& frame = Top();
        if (m_marked == s_stack.size) {
            if (frame.node) frame.node->m_isWalked = frame.wasWalked;
            --m_marked;
        }
        --s_stack.size;
    }
    bool IsDone() const { return s_stack.size == m_base; }
    /// Good until the next call of anything that may walk.
    Frame& Top() { return s_stack.frames[s_stack.size - 1]; }

    /// To be said before anybody is called: from there on the tree may change. Marks the nodes that were entered, so that
    /// whoever changes another node need not look for it here.
    void CallOut() {
        for (; m_marked < s_stack.size; ++m_marked) {
            Frame& frame = s_stack.frames[m_marked];
            if (!frame.node) continue;
            frame.wasWalked = frame.node->m_isWalked;
            frame.node->m_isWalked = true;
        }
    }

    static void OnChildInserted(CSceneNode* parent, std::size_t place) { Shift(parent, false, place, 1); }
    static void OnChildErased(CSceneNode* parent, std::size_t place) { Shift(parent, false, place, -1); }
    static void OnObjectErased(CSceneNode* node, std::size_t place) { Shift(node, true, place, -1); }
    static void OnNodeDestroyed(CSceneNode* node) {
        if (!node->m_isWalked) return;
        for (std::size_t i = 0; i < s_stack.size; ++i)
            if (s_stack.frames[i].node == node) s_stack.frames[i].node = nullptr;
    }

private:
    // All walks in progress share one stack. Its memory is kept: a tree is walked every frame. It is never given back, since
    // the engine root takes scenes down when the process ends, and objects of the thread are gone by then.
    struct Stack {
        Frame* frames = nullptr;
        std::size_t size = 0;
        std::size_t capacity = 0;
    };
    static Stack s_stack;

    static void Grow();

    static void Shift(CSceneNode* node, bool isInObjects, std::size_t place, int by) {
        if (!node->m_isWalked) return;
        for (std::size_t i = 0; i < s_stack.size; ++i) {
            Frame& frame = s_stack.frames[i];
            if (frame.node == node && frame.isInObjects == isInObjects && place < frame.next)
                frame.next += static_cast<unsigned int>(by);
        }
    }

    std::size_t const m_base;
    std::size_t m_marked; // frames below this one have marked their nodes
};
} // namespace qk3d
