// QK3DLifeWatch.h: lets an object that calls out find out that it was destroyed meanwhile.
#pragma once

namespace qk3d {
class CLifeWatch;

/// A member of the object that is watched; costs one pointer. Watches are not copied.
class CLifeLine {
public:
    CLifeLine() = default;
    CLifeLine(CLifeLine const&) noexcept {}
    CLifeLine& operator=(CLifeLine const&) noexcept { return *this; }
    inline ~CLifeLine();

private:
    friend class CLifeWatch;
    CLifeWatch* m_watches = nullptr; // innermost first; they lie on the stack
};

/// Stands on the stack for the time of a call that may end the object's life:
///
///     CLifeWatch watch(m_life);
///     CallSomebody();
///     if (watch.IsDead()) return;    // `this` is gone
class CLifeWatch {
public:
    // The line is left again by the destructor; g++ 12 warns of the pointer all the same.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif
    explicit CLifeWatch(CLifeLine& line) : m_line(&line), m_outer(line.m_watches) { line.m_watches = this; }
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic pop
#endif
    ~CLifeWatch() {
        if (m_line) m_line->m_watches = m_outer;
    }
    CLifeWatch(CLifeWatch const&) = delete;
    CLifeWatch& operator=(CLifeWatch const&) = delete;

    bool IsDead() const { return !m_line; }

private:
    friend class CLifeLine;
    mutable CLifeLine* m_line; // null once the object is gone; a watch may be const and learns of it all the same
    CLifeWatch* m_outer;
};

inline CLifeLine::~CLifeLine() {
    for (CLifeWatch* watch = m_watches; watch; watch = watch->m_outer) watch->m_line = nullptr;
}
} // namespace qk3d
