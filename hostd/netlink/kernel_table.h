#pragma once

#include <cstdint>
#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "hostd/netlink/netlink_follower.h"
#include "hostd/table/owner_table.h"

namespace hostd {

/// An owner of rows that the kernel tells of one by one, each when it comes, changes and goes. A derived class reads
/// the kernel's messages and writes rows.
///
/// The kernel can hold several entries that make one row, such as one address on two interfaces: the row shows the
/// least of them.
///
/// @tparam Key  of an entry, ordered; what tells rows apart comes first in it. Has `RowKey row() const`, the key of its
///              row, `static Key least(const RowKey&)`, the least one of a row, and `bool sharesRow(const Key&) const`
template <class Key, class Value>
class KernelTable : public OwnerTable, public FollowedTable {
  public:
    void loadPermData() override { follower_.start(); }
    void beginListing() final { taking_ = &listed_; }
    void endListing(bool isWhole) final {
        if (isWhole) std::swap(entries_, listed_);
        listed_ = {};
        taking_ = &entries_;
    }

  protected:
    KernelTable(std::vector<KeyField> key, NetlinkFollower::Subject subject)
        : OwnerTable(std::move(key)), follower_(std::move(subject), *this) {}

    /// Puts an entry into the table, or changes it.
    void put(const Key& key, const Value& value) {
        const auto [at, isNew] = taking_->byKey.insert_or_assign(key, value);
        if (isNew && isAlone(at)) ++taking_->rows;
    }
    void remove(const Key& key) {
        const auto at = taking_->byKey.find(key);
        if (at == taking_->byKey.end()) return;
        if (isAlone(at)) --taking_->rows;
        taking_->byKey.erase(at);
    }

    virtual void write(const Key& key, const Value& value, tn::message& item) const = 0;

    void refresh() final { follower_.catchUp(); }
    [[nodiscard]] uint32_t rowCount() const final { return entries_.rows; }
    [[nodiscard]] Row lowerBound(const RowKey& key) const final {
        return rowAt(entries_.byKey.lower_bound(Key::least(key)));
    }
    [[nodiscard]] Row after(Row row) const final {
        const Key& key = entryOf(row).first;
        auto next = entries_.byKey.upper_bound(key);
        while (next != entries_.byKey.end() && next->first.sharesRow(key)) ++next;
        return rowAt(next);
    }
    [[nodiscard]] RowKey keyOf(Row row) const final { return entryOf(row).first.row(); }
    void writeRow(Row row, tn::message& item) const final {
        const auto& [key, value] = entryOf(row);
        write(key, value, item);
    }

  private:
    using Map = std::map<Key, Value>;
    struct Entries {
        Map byKey;
        uint32_t rows = 0;
    };
    /// Whether no other entry makes the same row.
    [[nodiscard]] bool isAlone(typename Map::const_iterator at) const {
        if (at != taking_->byKey.begin() && std::prev(at)->first.sharesRow(at->first)) return false;
        return std::next(at) == taking_->byKey.end() || !std::next(at)->first.sharesRow(at->first);
    }
    /// A row is where its entry lies.
    [[nodiscard]] Row rowAt(typename Map::const_iterator at) const {
        return at == entries_.byKey.end() ? kEnd : reinterpret_cast<Row>(&*at);
    }
    static const typename Map::value_type& entryOf(Row row) {
        return *reinterpret_cast<const typename Map::value_type*>(row);  // NOLINT(performance-no-int-to-ptr)
    }

    Entries entries_;
    Entries listed_;
    Entries* taking_ = &entries_;
    NetlinkFollower follower_;
};

}  // namespace hostd
