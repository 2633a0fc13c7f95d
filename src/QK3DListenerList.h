// QK3DListenerList.h: the list of listeners that nodes, objects, renderables, targets and overlay items keep.
#pragma once

#include <cstddef>
#include <vector>

namespace qk3d {
/// Listeners that are pointed at, not owned. It costs one pointer until the first is added. A listener added twice is
/// called twice. A copy starts empty: listeners belong to the object they were added to.
///
/// The list may change while it is told, and so may its owner: a listener added during a notification is heard from the
/// next one on, a removed one is not called any more, and a listener may destroy the list together with its owner.
template <class T>
class CListenerList {
public:
    CListenerList() = default;
    CListenerList(CListenerList const&) noexcept {}
    CListenerList& operator=(CListenerList const&) noexcept { return *this; }
    ~CListenerList() {
        if (!m_list) return;
        for (Walk* walk = m_list->walks; walk; walk = walk->outer) walk->list = nullptr;
        delete m_list;
    }

    /// Null is ignored.
    void Add(T* listener) {
        if (!listener) return;
        if (!m_list) m_list = new List;
        m_list->listeners.push_back(listener);
    }

    /// Takes out every occurrence.
    void Remove(T* listener) {
        if (!m_list) return;
        auto& listeners = m_list->listeners;
        for (std::size_t i = listeners.size(); i-- > 0;) {
            if (listeners[i] != listener) continue;
            listeners.erase(listeners.begin() + static_cast<std::ptrdiff_t>(i));
            for (Walk* walk = m_list->walks; walk; walk = walk->outer) {
                if (i < walk->next) --walk->next;
                if (i < walk->end) --walk->end;
            }
        }
    }

    /// Gives the memory back too; during a notification, when that ends.
    void RemoveAll() {
        if (!m_list) return;
        m_list->listeners.clear();
        for (Walk* walk = m_list->walks; walk; walk = walk->outer) walk->next = walk->end = 0;
        if (!m_list->walks) Free();
    }

    bool IsEmpty() const { return !m_list || m_list->listeners.empty(); }

    /// Calls `tell(listener)` for each listener in the order of adding. False when a listener destroyed this list: its
    /// owner is gone then too, and the caller must not touch it again.
    template <class Tell>
    bool Notify(Tell&& tell) {
        if (!m_list) return true;
        Walk walk(m_list);
        while (walk.list && walk.next < walk.end) tell(walk.list->listeners[walk.next++]);
        if (!walk.list) return false;
        walk.Leave();
        if (m_list->listeners.empty() && !m_list->walks) Free();
        return true;
    }

private:
    struct Walk;
    struct List {
        std::vector<T*> listeners;
        Walk* walks = nullptr; // the notifications in progress, innermost first
    };
    struct Walk {
        explicit Walk(List* l) : list(l), outer(l->walks), end(l->listeners.size()) { l->walks = this; }
        ~Walk() { Leave(); } // also when a listener throws
        Walk(Walk const&) = delete;
        Walk& operator=(Walk const&) = delete;

        void Leave() {
            if (list) list->walks = outer;
            list = nullptr;
        }

        List* list; // null once the list was destroyed
        Walk* outer;
        std::size_t next = 0;
        std::size_t end;
    };

    void Free() {
        delete m_list;
        m_list = nullptr;
    }

    List* m_list = nullptr; // owned
};
} // namespace qk3d
