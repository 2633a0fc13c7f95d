// QK3DResourceHoldInternal.h: keeps a resource in memory while code of others runs that may drop its handles.
#pragma once

#include "QK3DResource.h"

namespace qk3d {
/// Holds a resource while its hooks or its loader run, so that nothing they drop, and nothing they ask of its manager, can
/// destroy it under them. Then the count is as if this had never been there: the manager is told nothing, unless the last
/// outside holder went meanwhile. A resource without handles is its owner's business.
class CResourceHold {
public:
    explicit CResourceHold(CResource* resource) {
        if (!resource->m_handleCount) return;
        m_handle.m_pointer = resource;
        m_handle.m_ref = resource->m_handleCount;
        m_hadHolders = m_handle._AddRef() > 2;
    }
    CResourceHold(CResourceHold const&) = delete;
    CResourceHold& operator=(CResourceHold const&) = delete;
    ~CResourceHold() {
        if (m_hadHolders || m_handle.GetRef() != 2) return;
        --*m_handle.m_ref;
        m_handle.m_pointer = nullptr;
        m_handle.m_ref = nullptr;
    }

    ResourceSharePtr const& GetHandle() const { return m_handle; }

    /// Somebody besides the table and this object.
    bool HasHolders() const { return m_handle.GetRef() > 2; }

private:
    ResourceSharePtr m_handle;
    bool m_hadHolders = false;
};
} // namespace qk3d
