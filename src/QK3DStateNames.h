// QK3DStateNames.h: from the name of a state in a script to its number.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace qk3d {
/// An ordered map from the upper-case names of N states to their numbers. The rows are constants; Fill and Clear only
/// open and close it, since names count from the moment the engine root is built until it goes.
template <std::size_t N>
class StateNameMap {
public:
    struct Row {
        std::string_view name;
        int state;
    };

    constexpr explicit StateNameMap(std::array<Row, N> rows) : m_rows(rows) {
        std::sort(m_rows.begin(), m_rows.end(), [](Row const& a, Row const& b) { return a.name < b.name; });
    }

    void Fill() { m_size = N; }
    void Clear() { m_size = 0; }

    /// The number of the state, 0 if there is none of that name.
    int Find(std::string_view name) const {
        auto const found = std::lower_bound(begin(), end(), name,
                                            [](Row const& row, std::string_view wanted) { return row.name < wanted; });
        return found != end() && found->name == name ? found->state : 0;
    }

    /// By ascending name.
    Row const* begin() const { return m_rows.data(); }
    Row const* end() const { return m_rows.data() + m_size; }
    std::size_t size() const { return m_size; }

private:
    std::array<Row, N> m_rows;
    std::size_t m_size = 0;
};
} // namespace qk3d
