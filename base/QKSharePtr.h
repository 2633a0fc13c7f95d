// QKSharePtr.h: a counted pointer for objects that know nothing of being counted.
#pragma once

#include "QKExport.h"
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <utility>

namespace qklib {
/// How a CSharePtr lets go of its object. A value that is not listed leaves the object alone.
enum EPtrReleaseMode : unsigned int {
    PRM_DELETE = 0,       // delete, through the virtual destructor
    PRM_FREE = 1,         // free; no destructor runs
    PRM_DELETE_ARRAY = 2, // delete[]; the elements have to be of exactly the type T
};

/// Shares one object among any number of holders; the last one to go releases it. The count is a plain integer in a
/// block of its own, so all holders of one object belong to one thread. Three words, cheap to pass by value.
template <class T>
class QKLIB_TEMPLATE_API CSharePtr {
public:
    CSharePtr() = default;

    /// Takes `pointer` over; null makes a null pointer. If there is no memory for the count, the pointer is held but
    /// never released.
    CSharePtr(T* pointer, EPtrReleaseMode mode) : m_pointer(pointer), m_mode(mode) {
        if (pointer) m_ref = new (std::nothrow) unsigned int(1);
    }

    CSharePtr(CSharePtr const& other) : m_pointer(other.m_pointer), m_ref(other.m_ref), m_mode(other.m_mode) {
        _AddRef();
    }

    ~CSharePtr() { Release(); }

    /// Holders of the same object are left as they are, counts and modes included.
    CSharePtr& operator=(CSharePtr const& other) {
        if (m_pointer == other.m_pointer) return *this;
        // `other` may lie inside the object that is let go here, so it is read to the end before that happens.
        CSharePtr previous(other);
        Swap(previous);
        return *this;
    }

    bool operator==(CSharePtr const& other) const { return m_pointer == other.m_pointer; }
    bool operator==(T* pointer) const { return m_pointer == pointer; }
    bool operator!=(CSharePtr const& other) const { return m_pointer != other.m_pointer; }
    bool operator!=(T* pointer) const { return m_pointer != pointer; }

    /// Orders by use count, not by address; false if either side is not counted.
    bool operator<(CSharePtr const& other) const { return m_ref && other.m_ref && *m_ref < *other.m_ref; }

    operator T*() { return m_pointer; }
    operator T const*() const { return m_pointer; }

    /// Throws std::runtime_error on a null pointer, as the three operators below do.
    T* operator->() { return _Checked("access through NULL pointer"); }
    T const* operator->() const { return _Checked("access through NULL pointer"); }
    T& operator*() { return *_Checked("dereference of NULL pointer"); }
    T const& operator*() const { return *_Checked("dereference of NULL pointer"); }

    T* GetPointer() const { return m_pointer; }
    bool IsNull() const { return !m_pointer; }

    /// The number of holders; 0 for one that is not counted.
    unsigned int GetRef() const { return m_ref ? *m_ref : 0; }

    /// Lets go at once and leaves a null pointer. Returns how many holders remain.
    unsigned int Release() const {
        unsigned int const rest = _SubRef();
        m_pointer = nullptr;
        m_ref = nullptr;
        return rest;
    }

    void Swap(CSharePtr& other) {
        std::swap(m_pointer, other.m_pointer);
        std::swap(m_ref, other.m_ref);
        std::swap(m_mode, other.m_mode);
    }

    /// The one null pointer of this type, for operations that return a reference and found nothing. To be read only.
    static CSharePtr& GetNullSharePtr();

private:
    unsigned int _AddRef() const { return m_ref ? ++*m_ref : 0; }
    unsigned int _SubRef() const;

    T* _Checked(char const* message) const {
        if (!m_pointer) throw std::runtime_error(message);
        return m_pointer;
    }

    mutable T* m_pointer = nullptr;
    mutable unsigned int* m_ref = nullptr; // owned together with the other holders
    EPtrReleaseMode m_mode = PRM_DELETE;
};

// The two below are not inline, so that types with an extern instantiation have them in one library only.
template <class T>
CSharePtr<T>& CSharePtr<T>::GetNullSharePtr() {
    static CSharePtr null;
    return null;
}

template <class T>
unsigned int CSharePtr<T>::_SubRef() const {
    if (!m_ref) return 0;
    if (--*m_ref != 0) return *m_ref;
    // Emptied first: a destructor that looks at this pointer again finds null and not an object half gone.
    T* const pointer = std::exchange(m_pointer, nullptr);
    delete std::exchange(m_ref, nullptr);
    if (!pointer) return 0;
    switch (m_mode) {
    case PRM_DELETE: delete pointer; break;
    case PRM_FREE: std::free(pointer); break;
    case PRM_DELETE_ARRAY: delete[] pointer; break;
    }
    return 0;
}
} // namespace qklib
