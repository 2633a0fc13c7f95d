// QK3DResourceSharePtr.cpp: counting, and the road from the last handle to the manager.
#include "QK3DResourceSharePtr.h"

#include "QK3DResource.h"
#include "QK3DResourceManager.h"
#include <utility>

namespace qk3d {
ResourceSharePtr::ResourceSharePtr(CResource* resource)
    : m_pointer(resource), m_ref(resource ? new unsigned int(1) : nullptr) {
    if (resource) resource->m_handleCount = m_ref;
}

unsigned int ResourceSharePtr::Release() const {
    // Emptied first: what happens below may destroy whatever this handle is part of.
    ResourceSharePtr dropped;
    dropped.m_pointer = std::exchange(m_pointer, nullptr);
    dropped.m_ref = std::exchange(m_ref, nullptr);
    unsigned int const rest = dropped._SubRef();
    dropped.m_pointer = nullptr;
    dropped.m_ref = nullptr;
    return rest;
}

ResourceSharePtr& ResourceSharePtr::GetNullSharePtr() {
    static ResourceSharePtr null;
    return null;
}

unsigned int ResourceSharePtr::_Drop(unsigned int rest) const {
    if (rest == 0) {
        CResource* const resource = std::exchange(m_pointer, nullptr);
        if (resource) resource->m_handleCount = nullptr;
        delete std::exchange(m_ref, nullptr);
        delete resource;
        return 0;
    }
    // The resource is gone when the manager returns, and the fields of this handle with it: nobody may read them again.
    if (m_pointer && m_pointer->GetResourceManager()) m_pointer->GetResourceManager()->_NotifyResourceRelease(*this, 1);
    return rest;
}
} // namespace qk3d
