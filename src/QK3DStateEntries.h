// QK3DStateEntries.h: the sparse, flat store of states inside a state block, and the comparison of two of them.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#if defined(__SSE2__) || defined(_M_X64)
#define QK3D_STATES_SSE2 1
#include <emmintrin.h>
#endif

namespace qk3d {
/// States 1 to kLast, each set or not. Made for the walk that happens at every draw: values lie in one array with one
/// bit each that says which are set, so two blocks are compared sixteen states at a time. Nothing here allocates.
template <class TValue, int kLast>
class StateEntries {
public:
    using Value = TValue;
    static constexpr int LAST = kLast;

    bool IsSet(int state) const { return _IsState(state) && (m_set[_Word(state)] & _Bit(state)); }

    /// 0 where the state is not set.
    Value Get(int state) const { return _IsState(state) ? m_values[static_cast<unsigned>(state)] : Value{}; }

    void Set(int state, Value value) {
        if (!_IsState(state)) return;
        if (!IsSet(state)) {
            m_set[_Word(state)] |= _Bit(state);
            ++m_count;
            if (state < m_lowest) m_lowest = state;
            if (state > m_highest) m_highest = state;
        }
        m_values[static_cast<unsigned>(state)] = value;
    }

    void Remove(int state) {
        if (!IsSet(state)) return;
        m_set[_Word(state)] &= ~_Bit(state);
        m_values[static_cast<unsigned>(state)] = Value{}; // unset values stay 0: Get relies on it
        if (--m_count == 0) {
            m_lowest = kLast;
            m_highest = 1;
            return;
        }
        while (!IsSet(m_lowest)) ++m_lowest;
        while (!IsSet(m_highest)) --m_highest;
    }

    void Clear() { *this = StateEntries(); }

    unsigned int GetCount() const { return m_count; }

    /// The bounds of what is set. An empty store has its last number here and 1 below, so that loops over it are empty.
    int GetLowest() const { return m_lowest; }
    int GetHighest() const { return m_highest; }

    /// What a device has to be told when it shows `active` and is to show `next`: calls `send(state, value)` in
    /// ascending order. Where a block leaves a state unset (or is null) it shows the value of `base`. A state that
    /// `base` lacks is sent if `next` sets it and `active` does not show the same value.
    template <class TSend>
    static void VisitDifferences(StateEntries const* next, StateEntries const* active, StateEntries const& base,
                                 TSend&& send) {
        static constexpr StateEntries kEmpty;
        if (!next) next = &kEmpty;
        if (!active) active = &kEmpty;
        for (unsigned word = 0; word < kWords; ++word) {
            // A state that both blocks set is told by its value; one that only one of them sets needs a look at the base.
            std::uint64_t const uneven = next->m_set[word] ^ active->m_set[word];
            std::uint64_t left = uneven | _Differing(*next, *active, word);
            if (!uneven) { // blocks of one kind mostly set the same states: the shortest way for them
                for (Value const* const values = &next->m_values[word * 64]; left; left &= left - 1) {
                    int const bit = std::countr_zero(left);
                    send(static_cast<int>(word * 64) + bit, values[bit]);
                }
            }
            for (; left; left &= left - 1) {
                int const state = static_cast<int>(word * 64) + std::countr_zero(left);
                StateEntries const& wanted = next->IsSet(state) ? *next : base;
                StateEntries const& shown = active->IsSet(state) ? *active : base;
                if (!wanted.IsSet(state) || (shown.IsSet(state) && shown.Get(state) == wanted.Get(state))) continue;
                send(state, wanted.Get(state));
            }
        }
    }

private:
    static constexpr unsigned kWords = kLast / 64 + 1;
    static constexpr unsigned kGroup = 16;
    static constexpr unsigned kSlots = (kLast / kGroup + 1) * kGroup; // whole groups; slot 0 is never used

    static constexpr bool _IsState(int state) { return state >= 1 && state <= kLast; }
    static constexpr unsigned _Word(int state) { return static_cast<unsigned>(state) / 64; }
    static constexpr std::uint64_t _Bit(int state) { return std::uint64_t(1) << (static_cast<unsigned>(state) % 64); }

    // The states of one word of bits that both blocks set, to different values.
    static std::uint64_t _Differing(StateEntries const& a, StateEntries const& b, unsigned word) {
        std::uint64_t const both = a.m_set[word] & b.m_set[word];
        std::uint64_t differing = 0;
        for (unsigned shift = 0; shift < 64 && word * 64 + shift < kSlots; shift += kGroup)
            if (both >> shift & 0xffff)
                differing |= _CompareGroup(&a.m_values[word * 64 + shift], &b.m_values[word * 64 + shift]) << shift;
        return both & differing;
    }

    // One bit for each of a group's values, set where the two differ.
    static std::uint64_t _CompareGroup(Value const* a, Value const* b) {
#ifdef QK3D_STATES_SSE2
        if constexpr (sizeof(Value) == 4) {
            auto const equal = [&](unsigned at) {
                return _mm_cmpeq_epi32(_mm_loadu_si128(reinterpret_cast<__m128i const*>(a + at)),
                                       _mm_loadu_si128(reinterpret_cast<__m128i const*>(b + at)));
            };
            __m128i const low = _mm_packs_epi32(equal(0), equal(4)), high = _mm_packs_epi32(equal(8), equal(12));
            return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(low, high))) ^ 0xffffu;
        }
#endif
        std::uint64_t differing = 0;
        for (unsigned i = 0; i < kGroup; ++i) differing |= std::uint64_t(a[i] != b[i]) << i;
        return differing;
    }

    std::array<Value, kSlots> m_values{};
    std::array<std::uint64_t, kWords> m_set{};
    unsigned int m_count = 0;
    int m_lowest = kLast;
    int m_highest = 1;
};

/// True if `numbers` are 1 to N, each once, in any order: what the tables of states are checked with.
template <std::size_t N>
constexpr bool IsEachNumberOnce(std::array<int, N> const& numbers) {
    std::array<bool, N> seen{};
    for (int const number : numbers) {
        if (number < 1 || number > static_cast<int>(N) || seen[static_cast<std::size_t>(number - 1)]) return false;
        seen[static_cast<std::size_t>(number - 1)] = true;
    }
    return true;
}
} // namespace qk3d
