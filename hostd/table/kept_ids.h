#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace hostd {

/// Which ids the rows of a table may have when another may have taken the one a row would like: [first, end).
struct IdRange {
    uint32_t first = 1;
    uint32_t end = 0x10000;
};

/// An id, from 1 to 0xffff, computed from a row's key.
[[nodiscard]] inline uint32_t likedIdOf(std::string_view key) {
    uint32_t sum = 0;
    for (const char letter : key) sum = sum * 31 + static_cast<unsigned char>(letter);
    return 1 + sum % 0xffff;
}

/// Gives rows their ids: one that was there keeps its own, a new one gets the id it would like or else the first free
/// one behind that. Rows past the range's end are left out. An Entry has `key`, which tells it apart, and `likedId()`.
template <class Entry>
[[nodiscard]] std::map<uint32_t, Entry> keepIds(const std::map<uint32_t, Entry>& known, const std::vector<Entry>& now,
                                                IdRange range) {
    std::map<std::string, uint32_t> ids;
    for (const auto& [id, row] : known) ids[row.key] = id;
    std::map<uint32_t, Entry> rows;
    std::vector<const Entry*> added;
    for (const Entry& row : now) {
        if (const auto found = ids.find(row.key); found != ids.end())
            rows.insert_or_assign(found->second, row);
        else
            added.push_back(&row);
    }
    for (const Entry* row : added) {
        uint32_t id = row->likedId();
        for (uint32_t tried = range.first; tried < range.end && rows.contains(id); ++tried)
            id = id + 1 < range.end ? id + 1 : range.first;
        rows.emplace(id, *row);
    }
    return rows;
}

}  // namespace hostd
