#pragma once

#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "hostd/netlink/netlink_follower.h"
#include "hostd/table/owner_table.h"

namespace hostd {

/// An owner of rows that the kernel reports one by one, when each comes, changes and goes. A derived class reads the
/// kernel's messages (apply) and writes rows (writeEntry).
///
/// The kernel can hold several entries that make one row, such as one address on two interfaces: the row shows the
/// lowest of them.
///
/// @tparam Key  of an entry, ordered; what distinguishes rows comes first in it. Has `RowKey row() const`, the key of
///              its row, `static Key least(const RowKey&)`, the lowest one of a row, and `bool sharesRow(const Key&)
///              const`
/// @tparam Value  the rest of an entry
template <class Key, class Value>
class KernelTable : public OwnerTable<const std::pair<const Key, Value>*>, public FollowedTable {
  public:
    void loadPermData() override { follower_.start(); }
    /// Until the listing ends, entries are collected beside the shown ones.
    void beginListing() final { written_ = &listed_; }
    /// An interrupted listing leaves the shown entries as they were.
    void endListing(bool isWhole) final {
        if (isWhole) std::swap(entries_, listed_);
        listed_ = {};
        written_ = &entries_;
    }

  protected:
    using Entry = std::pair<const Key, Value>;
    using Row = const Entry*;

    /// @param key  the key fields of a row
    KernelTable(std::vector<KeyField> key, NetlinkFollower::Subject subject)
        : OwnerTable<Row>(std::move(key)), follower_(std::move(subject), *this) {}

    /// Adds an entry, or replaces its value.
    void put(const Key& key, const Value& value) {
        const auto [at, isNew] = written_->byKey.insert_or_assign(key, value);
        if (isNew && isAlone(at)) ++written_->rows;
    }
    /// Nothing happens when there is no such entry.
    void remove(const Key& key) {
        const auto at = written_->byKey.find(key);
        if (at == written_->byKey.end()) return;
        if (isAlone(at)) --written_->rows;
        written_->byKey.erase(at);
    }

    /// Writes the fields of a row.
    virtual void writeEntry(const Key& key, const Value& value, tn::message& item) const = 0;

    void refresh() final { follower_.catchUp(); }
    [[nodiscard]] uint32_t rowCount() const final { return entries_.rows; }
    [[nodiscard]] std::optional<Row> lowerBound(const RowKey& key) const final {
        return rowAt(entries_.byKey.lower_bound(Key::least(key)));
    }
    [[nodiscard]] std::optional<Row> after(Row row) const final {
        auto next = entries_.byKey.upper_bound(row->first);
        while (next != entries_.byKey.end() && next->first.sharesRow(row->first)) ++next;
        return rowAt(next);
    }
    [[nodiscard]] RowKey keyOf(Row row) const final { return row->first.row(); }
    void writeRow(Row row, tn::message& item) const final { writeEntry(row->first, row->second, item); }

  private:
    using Map = std::map<Key, Value>;
    struct Entries {
        Map byKey;
        uint32_t rows = 0;
    };
    /// True if no other entry makes the same row.
    [[nodiscard]] bool isAlone(typename Map::const_iterator at) const {
        if (at != written_->byKey.begin() && std::prev(at)->first.sharesRow(at->first)) return false;
        return std::next(at) == written_->byKey.end() || !std::next(at)->first.sharesRow(at->first);
    }
    [[nodiscard]] std::optional<Row> rowAt(typename Map::const_iterator at) const {
        return at == entries_.byKey.end() ? std::nullopt : std::optional(&*at);
    }

    Entries entries_;               ///< shown
    Entries listed_;                ///< so far, by the listing in progress
    Entries* written_ = &entries_;  ///< the ones that messages change
    NetlinkFollower follower_;
};

}  // namespace hostd
