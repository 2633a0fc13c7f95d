// QK3DOverlayItemMap.h: overlay items by name, in a map that may change while it is walked.
#pragma once

#include "QK3DTypes.h"
#include <functional>
#include <map>
#include <string_view>

namespace qk3d {
class COverlayItem;

/// An ordered map from name to item. It deletes nothing: its owner does. While ForEach runs, entries may come and go,
/// and the map itself may be destroyed. An entry that goes is not visited any more; one that comes is visited if its
/// name is behind the next one's.
class COverlayItemMap {
public:
    COverlayItemMap() = default;
    COverlayItemMap(COverlayItemMap const&) = delete;
    COverlayItemMap& operator=(COverlayItemMap const&) = delete;
    ~COverlayItemMap() {
        for (Walk* walk = m_walks; walk; walk = walk->outer) walk->map = nullptr;
    }

    /// Null if there is none.
    COverlayItem* Find(std::string_view name) const {
        auto const found = m_items.find(name);
        return found == m_items.end() ? nullptr : found->second;
    }

    /// False, with nothing changed, if the name is taken.
    bool Insert(string const& name, COverlayItem* item) { return m_items.try_emplace(name, item).second; }

    /// Takes the entry out if it is this item's.
    void Erase(string const& name, COverlayItem const* item) {
        auto const found = m_items.find(name);
        if (found == m_items.end() || found->second != item) return;
        for (Walk* walk = m_walks; walk; walk = walk->outer)
            if (walk->next == found) ++walk->next;
        m_items.erase(found);
    }

    /// Calls `visit(item)` for each, in ascending order of name. False if the map, and so its owner, is gone.
    template <class Visit>
    bool ForEach(Visit visit) {
        Walk walk(*this);
        while (walk.map && walk.next != m_items.end()) visit((walk.next++)->second);
        return walk.map != nullptr;
    }

    COverlayItem* GetFirst() const { return m_items.empty() ? nullptr : m_items.begin()->second; }
    std::size_t GetSize() const { return m_items.size(); }

private:
    using Items = std::map<string, COverlayItem*, std::less<>>;
    struct Walk {
        explicit Walk(COverlayItemMap& m) : map(&m), outer(m.m_walks), next(m.m_items.begin()) { m.m_walks = this; }
        ~Walk() {
            if (map) map->m_walks = outer;
        }
        Walk(Walk const&) = delete;
        Walk& operator=(Walk const&) = delete;

        COverlayItemMap* map; // null once it is gone
        Walk* outer;
        Items::iterator next;
    };

    Items m_items;
    Walk* m_walks = nullptr; // those in progress, innermost first
};
} // namespace qk3d
