#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace hostd {

/// The ids a table's rows may get if their preferred id is taken: [first, end).
struct IdRange {
    uint32_t first = 1;
    uint32_t end = 0x10000;
};

/// An id, from 1 to 0xffff, computed from a row's key: the same after a restart.
[[nodiscard]] inline uint32_t preferredIdOf(std::string_view key) {
    uint32_t sum = 0;
    for (const char letter : key) sum = sum * 31 + static_cast<unsigned char>(letter);
    return 1 + sum % 0xffff;
}

/// Assigns ids to rows: a row that was there before keeps its id, a new one gets its preferred id or else the first
/// free one after that. Rows for which the range has no free id are left out.
/// @tparam Entry  has `key`, which distinguishes it, and `preferredId()`
/// @param before  rows of the last reading, by id
/// @param now     rows of this reading, in order of preference
template <class Entry>
[[nodiscard]] std::map<uint32_t, Entry> assignIds(const std::map<uint32_t, Entry>& before,
                                                  const std::vector<Entry>& now, IdRange range) {
    std::map<std::string, uint32_t> ids;
    for (const auto& [id, row] : before) ids[row.key] = id;
    std::map<uint32_t, Entry> rows;
    std::vector<const Entry*> added;
    for (const Entry& row : now) {
        if (const auto found = ids.find(row.key); found != ids.end())
            rows.insert_or_assign(found->second, row);
        else
            added.push_back(&row);
    }
    for (const Entry* row : added) {
        uint32_t id = row->preferredId();
        for (uint32_t tried = range.first; tried < range.end && rows.contains(id); ++tried)
            id = id + 1 < range.end ? id + 1 : range.first;
        rows.emplace(id, *row);
    }
    return rows;
}

}  // namespace hostd
