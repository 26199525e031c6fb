#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace hostd {

/// The ids that are tried if a row's preferred id is taken: [first, end). Preferred ids that can be taken must be in
/// this range.
struct IdRange {
    uint32_t first = 1;
    uint32_t end = 0x10000;
};

/// An id from 1 to 0xffff, computed from a row's key (a hash): the same key has the same id after a restart. Different
/// keys may have the same id.
[[nodiscard]] inline uint32_t preferredIdOf(std::string_view key) {
    uint32_t sum = 0;
    for (const char letter : key) sum = sum * 31 + static_cast<unsigned char>(letter);
    return 1 + sum % 0xffff;
}

/// Assigns ids to the rows of a reading. A row that the previous reading had keeps its id. A new row gets its preferred
/// id; if that is taken, the first free one after it. The search continues at range.first when it reaches range.end. A
/// row for which there is no free id is left out, without a log line. The id of a row that has gone is free at once.
/// @tparam Entry  has a string `key`, unique within a reading, and `uint32_t preferredId() const`
/// @param before  rows of the previous reading, by id
/// @param now     rows of this reading; where new rows compete for an id, the first one gets it
/// @return copies of the rows, by id
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
