#pragma once

#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "hostd/netlink/netlink_follower.h"
#include "hostd/source/reading.h"
#include "hostd/table/owner_table.h"

namespace hostd {

/// An owner of the entries of one of the kernel's tables. It has a copy of them, which follows the kernel's
/// notifications of entries that are added, changed or removed (NetlinkFollower). A derived class parses the kernel's
/// messages (apply) and writes rows (writeEntry).
///
/// Several entries may belong to one row, such as one address on two interfaces. The row then shows the entry with the
/// lowest key.
///
/// @tparam Key  of an entry. Keys are ordered, first by the fields that distinguish rows. A key has
///              `RowKey row() const`, the key of its row; `static Key least(const RowKey&)`, the lowest key that an
///              entry of that row can have; and `bool sharesRow(const Key&) const`, true if both entries belong to the
///              same row
/// @tparam Value  the rest of an entry
template <class Key, class Value>
class KernelTable : public OwnerTable<const std::pair<const Key, Value>*>, public FollowedTable {
  public:
    /// Lists the kernel's entries, and follows its notifications from now on.
    void loadPermData() override {
        if (first_ == FirstReading::AtStart) start();
    }
    /// Until the listing ends, put() and remove() change a second set of entries, not the one that requests see.
    void beginListing() final { written_ = &listed_; }
    /// Replaces the entries with those listed. After an interrupted listing, they stay as they were.
    void endListing(bool isWhole) final {
        if (isWhole) std::swap(entries_, listed_);
        listed_ = {};
        written_ = &entries_;
    }

  protected:
    using Entry = std::pair<const Key, Value>;
    using Row = const Entry*;

    /// @param key      the key fields of a row
    /// @param subject  the kernel's table: how it is listed and notified
    /// @param first    when it is listed, and followed from then on
    KernelTable(std::vector<KeyField> key, NetlinkFollower::Subject subject, FirstReading first = FirstReading::AtStart)
        : OwnerTable<Row>(std::move(key)), first_(first), follower_(std::move(subject), *this) {}

    /// Adds an entry, or replaces the value of the one with this key.
    void put(const Key& key, const Value& value) {
        const auto [at, isNew] = written_->byKey.insert_or_assign(key, value);
        if (isNew && isAlone(at)) ++written_->rows;
    }
    /// Removes the entry with this key, if there is one.
    void remove(const Key& key) {
        const auto at = written_->byKey.find(key);
        if (at == written_->byKey.end()) return;
        if (isAlone(at)) --written_->rows;
        written_->byKey.erase(at);
    }

    /// Removes those entries that `isGone` accepts, of the entries from `first` on for which `isNear` is true.
    template <class IsNear, class IsGone>
    void removeFrom(const Key& first, const IsNear& isNear, const IsGone& isGone) {
        std::vector<Key> gone;
        for (auto at = written_->byKey.lower_bound(first); at != written_->byKey.end() && isNear(at->first); ++at)
            if (isGone(at->first)) gone.push_back(at->first);
        for (const Key& key : gone) remove(key);
    }

    /// Writes the fields of a row from its lowest entry.
    virtual void writeEntry(const Key& key, const Value& value, tn::message& item) const = 0;

    void refresh() final {
        if (first_ == FirstReading::OnRequest) start();
        follower_.refresh();
    }
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
    void start() {
        if (!std::exchange(isStarted_, true)) follower_.start();
    }

    using Map = std::map<Key, Value>;
    struct Entries {
        Map byKey;
        uint32_t rows = 0;  ///< number of rows that the entries make
    };
    /// True if no other entry belongs to the row of this one.
    [[nodiscard]] bool isAlone(typename Map::const_iterator at) const {
        if (at != written_->byKey.begin() && std::prev(at)->first.sharesRow(at->first)) return false;
        return std::next(at) == written_->byKey.end() || !std::next(at)->first.sharesRow(at->first);
    }
    [[nodiscard]] std::optional<Row> rowAt(typename Map::const_iterator at) const {
        return at == entries_.byKey.end() ? std::nullopt : std::optional(&*at);
    }

    Entries entries_;               ///< the ones that requests see
    Entries listed_;                ///< those that the listing in progress has reported so far
    Entries* written_ = &entries_;  ///< the ones that put() and remove() change
    FirstReading first_;
    bool isStarted_ = false;
    NetlinkFollower follower_;
};

}  // namespace hostd
