// QK3DStateEntries.h: the sparse, flat store of states inside a state block, and the comparison of two of them.
#pragma once

#include <array>
#include <bit>
#include <cstdint>

namespace qk3d {
/// States 1 to kLast, each set or not. Made for the walk that happens at every draw: values lie in one array with one
/// bit each that says which are set, so two blocks are compared eight states at a time. Nothing here allocates.
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
        m_values[static_cast<unsigned>(state)] = Value{}; // unset values stay 0: VisitDifferences relies on it
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
            for (std::uint64_t left = _Suspects(*next, *active, word); left; left &= left - 1) {
                int const state = static_cast<int>(word * 64) + std::countr_zero(left);
                StateEntries const& wanted = next->IsSet(state) ? *next : base;
                StateEntries const& shown = active->IsSet(state) ? *active : base;
                if (!wanted.IsSet(state)) continue;
                if (!shown.IsSet(state) || shown.Get(state) != wanted.Get(state)) send(state, wanted.Get(state));
            }
        }
    }

private:
    static constexpr unsigned kWords = kLast / 64 + 1;
    static constexpr unsigned kGroup = 8;
    static constexpr unsigned kSlots = (kLast / kGroup + 1) * kGroup; // whole groups; slot 0 is never used

    static constexpr bool _IsState(int state) { return state >= 1 && state <= kLast; }
    static constexpr unsigned _Word(int state) { return static_cast<unsigned>(state) / 64; }
    static constexpr std::uint64_t _Bit(int state) { return std::uint64_t(1) << (static_cast<unsigned>(state) % 64); }

    // The states of one word of bits that either block sets, less the groups in which both blocks are alike.
    static std::uint64_t _Suspects(StateEntries const& a, StateEntries const& b, unsigned word) {
        std::uint64_t suspects = a.m_set[word] | b.m_set[word];
        std::uint64_t const uneven = a.m_set[word] ^ b.m_set[word];
        for (unsigned shift = 0; shift < 64 && word * 64 + shift < kSlots; shift += kGroup) {
            std::uint64_t const group = std::uint64_t(0xff) << shift;
            if (!(suspects & group) || (uneven & group)) continue;
            Value const* const left = &a.m_values[word * 64 + shift];
            Value const* const right = &b.m_values[word * 64 + shift];
            Value difference{};
            for (unsigned i = 0; i < kGroup; ++i) difference |= left[i] ^ right[i];
            if (!difference) suspects &= ~group;
        }
        return suspects;
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
