// QK3DPointerList.h: a list of pointers that is small where it is empty or holds one.
#pragma once

#include <algorithm>
#include <cstddef>

namespace qk3d {
/// Pointers in order, not owned. It takes sixteen bytes, and a single entry lies in it, so that whoever walks over many
/// owners of short lists reads nothing else. Indices are not tested.
template <class T>
class CPointerList {
public:
    using iterator = T* const*;

    CPointerList() = default;
    CPointerList(CPointerList const&) = delete;
    CPointerList& operator=(CPointerList const&) = delete;
    ~CPointerList() {
        if (m_capacity > 1) delete[] m_many;
    }

    bool IsEmpty() const { return m_size == 0; }
    unsigned int GetSize() const { return m_size; }
    T* operator[](std::size_t index) const { return begin()[index]; }
    T* GetBack() const { return begin()[m_size - 1]; }
    iterator begin() const { return m_capacity > 1 ? m_many : &m_one; }
    iterator end() const { return begin() + m_size; }

    void Insert(std::size_t place, T* pointer) {
        if (m_size == m_capacity) Grow();
        T** const list = Data();
        std::copy_backward(list + place, list + m_size, list + m_size + 1);
        list[place] = pointer;
        ++m_size;
    }
    void Append(T* pointer) { Insert(m_size, pointer); }

    void Erase(std::size_t place) {
        T** const list = Data();
        std::copy(list + place + 1, list + m_size, list + place);
        --m_size;
    }

private:
    T** Data() { return m_capacity > 1 ? m_many : &m_one; }

    void Grow() {
        T** const grown = new T*[std::size_t(m_capacity) * 2];
        std::copy(begin(), end(), grown);
        if (m_capacity > 1) delete[] m_many;
        m_many = grown;
        m_capacity *= 2;
    }

    union {
        T* m_one = nullptr; // while the capacity is 1
        T** m_many;         // owned
    };
    unsigned int m_size = 0;
    unsigned int m_capacity = 1;
};
} // namespace qk3d
