// QK3DResourceSharePtr.h: the counted handle through which everybody holds a resource.
#pragma once

#include "QK3DExport.h"
#include <concepts>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace qk3d {
class CResource;

/// Shares a resource among any number of holders. The table of the resource's manager is one of them: when it is the
/// only one left, the manager is told and lets the resource go, before the operation that dropped the last other
/// handle returns. The count is a plain integer; all holders belong to one thread.
class QK3D_API ResourceSharePtr {
public:
    ResourceSharePtr() = default;
    ResourceSharePtr(std::nullptr_t) {}

    /// The first handle of a new resource. Never make two handles from one raw pointer: each would count for itself.
    explicit ResourceSharePtr(CResource* resource);

    ResourceSharePtr(ResourceSharePtr const& other) : m_pointer(other.m_pointer), m_ref(other.m_ref) { _AddRef(); }
    virtual ~ResourceSharePtr() { _SubRef(); }

    /// Handles of the same resource are left as they are.
    ResourceSharePtr& operator=(ResourceSharePtr const& other) {
        if (m_pointer == other.m_pointer) return *this;
        // `other` may lie inside the resource that is let go here, so it is read to the end before that happens.
        ResourceSharePtr previous(other);
        Swap(previous);
        return *this;
    }

    /// The resource or null. Nothing here tests for null or throws, unlike CSharePtr.
    operator CResource*() { return m_pointer; }
    operator CResource const*() const { return m_pointer; }
    explicit operator bool() { return m_pointer != nullptr; } // without this one `if (handle)` is ambiguous
    explicit operator bool() const { return m_pointer != nullptr; }
    CResource* operator->() { return m_pointer; }
    CResource const* operator->() const { return m_pointer; }
    CResource& operator*() { return *m_pointer; }
    CResource const& operator*() const { return *m_pointer; }

    /// The number of holders, the manager's table included; 0 for a null handle.
    unsigned int GetRef() const { return m_ref ? *m_ref : 0; }

    /// Lets go at once and leaves a null handle. Returns how many holders there were left, before a manager that was
    /// told of it let go too.
    unsigned int Release() const;

    void Swap(ResourceSharePtr& other) {
        std::swap(m_pointer, other.m_pointer);
        std::swap(m_ref, other.m_ref);
    }

    /// The one null handle for operations that return a reference and found nothing. To be read only.
    static ResourceSharePtr& GetNullSharePtr();

protected:
    unsigned int _AddRef() const { return m_ref ? ++*m_ref : 0; }
    unsigned int _SubRef() const {
        if (!m_ref) return 0;
        unsigned int const rest = --*m_ref;
        return rest > 1 ? rest : _Drop(rest); // the manager's table is the only holder left, or there is none
    }

    mutable CResource* m_pointer = nullptr;
    mutable unsigned int* m_ref = nullptr; // owned together with the other holders

private:
    friend class CResourceHold;
    friend class CResourceManager;

    unsigned int _Drop(unsigned int rest) const;
};

/// Handles are equal if they hold the same resource; they compare with plain pointers too. A template, since it has to
/// match better than the comparison of the pointers that both sides could be turned into.
template <std::derived_from<ResourceSharePtr> A, class B>
requires std::derived_from<B, ResourceSharePtr> || std::is_pointer_v<B> || std::is_null_pointer_v<B>
bool operator==(A const& a, B const& b) { return static_cast<CResource const*>(a) == static_cast<CResource const*>(b); }

/// A handle that knows its class: T is CMaterial, CMesh, CTexture, CRenderState, CSamplerState, CTextureState or
/// CGPUProgram. It is made from any ResourceSharePtr without a test of the type, so test that first where the type
/// comes from outside.
template <class T>
class _ResourceSharePtr : public ResourceSharePtr {
public:
    _ResourceSharePtr() = default;
    _ResourceSharePtr(std::nullptr_t) {}
    explicit _ResourceSharePtr(T* resource) : ResourceSharePtr(resource) {}
    _ResourceSharePtr(ResourceSharePtr const& other) : ResourceSharePtr(other) {}
    _ResourceSharePtr(_ResourceSharePtr const&) = default;
    virtual ~_ResourceSharePtr() = default;

    _ResourceSharePtr& operator=(_ResourceSharePtr const&) = default;
    _ResourceSharePtr& operator=(ResourceSharePtr const& other) {
        ResourceSharePtr::operator=(other);
        return *this;
    }
    _ResourceSharePtr& operator=(std::nullptr_t) {
        Release();
        return *this;
    }

    operator T*() { return static_cast<T*>(m_pointer); }
    operator T const*() const { return static_cast<T const*>(m_pointer); }
    T* operator->() { return static_cast<T*>(m_pointer); }
    T const* operator->() const { return static_cast<T const*>(m_pointer); }
    T& operator*() { return *static_cast<T*>(m_pointer); }
    T const& operator*() const { return *static_cast<T const*>(m_pointer); }
};
} // namespace qk3d
