// QK3DSceneNodeWalkInternal.h: walks over the tree of nodes that survive whatever happens to the tree meanwhile.
#pragma once

#include "QK3DSceneNode.h"

namespace qk3d {
/// A walk down a tree and back, with a stack of its own, so that the depth of the tree does not matter. Walks may be
/// nested. Every change of a tree tells the walks, which move their places along.
class CSceneNode::CWalk {
public:
    struct Frame {
        CSceneNode* node; // null once it is destroyed
        std::size_t next; // among the children, or among the objects
        bool isInObjects;
        bool changed;   // what the update decided about this node
        bool wasWalked; // the node's mark before
    };

    CWalk() : m_frames(Frames()), m_base(m_frames.size()) {}
    ~CWalk() {
        while (!IsDone()) Pop(); // there are some left only if a listener threw
    }
    CWalk(CWalk const&) = delete;
    CWalk& operator=(CWalk const&) = delete;

    void Push(CSceneNode* node) {
        m_frames.push_back({node, 0, false, false, node->m_isWalked});
        node->m_isWalked = true;
    }
    void Pop() {
        if (auto const& frame = m_frames.back(); frame.node) frame.node->m_isWalked = frame.wasWalked;
        m_frames.pop_back();
    }
    bool IsDone() const { return m_frames.size() == m_base; }
    /// Good until the next call of anything that may walk.
    Frame& Top() { return m_frames.back(); }

    static void OnChildInserted(CSceneNode* parent, std::size_t place) { Shift(parent, false, place, 1); }
    static void OnChildErased(CSceneNode* parent, std::size_t place) { Shift(parent, false, place, -1); }
    static void OnObjectErased(CSceneNode* node, std::size_t place) { Shift(node, true, place, -1); }
    static void OnNodeDestroyed(CSceneNode* node) {
        if (!node->m_isWalked) return;
        for (auto& frame : Frames())
            if (frame.node == node) frame.node = nullptr;
    }

private:
    // All walks in progress share one stack. Its memory is kept: a tree is walked every frame. It is never destroyed,
    // since the engine root takes scenes down when the process ends, and objects of the thread are gone by then.
    static std::vector<Frame>& Frames() {
        static auto* const frames = new std::vector<Frame>;
        return *frames;
    }

    static void Shift(CSceneNode* node, bool isInObjects, std::size_t place, int by) {
        if (!node->m_isWalked) return;
        for (auto& frame : Frames())
            if (frame.node == node && frame.isInObjects == isInObjects && place < frame.next)
                frame.next += static_cast<std::size_t>(by);
    }

    std::vector<Frame>& m_frames;
    std::size_t const m_base;
};
} // namespace qk3d
