#pragma once

#include <vector>

#include "agent/mib/providers/get_all_provider.h"

namespace snmp {

/// One fetch of rows from an owner: get-all exchanges, a page each, until enough rows are there or the table ends.
///
/// The position of the next page is a cursor: with the standard key the id of the row that follows, otherwise the key
/// fields of the last row seen. Owners aren't trusted: rows whose index doesn't grow are left out, and a fetch ends
/// when the cursor doesn't move forward or after 64 pages in a row without a new row.
class RowFetch {
  public:
    /// All arguments must outlive the fetch.
    /// @param key    where to start; with its flag skipFirst the row at it isn't wanted
    /// @param count  rows wanted, or 0 for exactly the row at the key
    /// @param out    receives the rows, behind those already in it
    RowFetch(const Key& key, const MapTable* table, const GetAllProvider::Source& source, unsigned count, VData& out);

    /// Fetches the rows. An owner that fails is logged and ends the fetch; the rows fetched before stay.
    /// @return false when the owner doesn't know a key that isn't empty
    bool run();

  private:
    enum class Step { Next, End, UnknownKey };  ///< what follows a page

    Step fetchPage();
    tn::message requestPage();
    [[nodiscard]] Step failed(const tn::message& reply, uint32_t code) const;
    Step buildExactly(const std::vector<tn::message>& items);
    Step buildPage(const std::vector<tn::message>& items, bool isMoreAnnounced);
    /// Rows that share their key don't move the cursor, but others may follow them: as long as the owner gave as many
    /// as were requested, and more can be requested.
    [[nodiscard]] bool canHideMore(size_t items) const;
    /// Leaves out the row at the key, or the placeholder of one that has gone; true when the item was that.
    bool skip(const tn::message& item);
    void build(const tn::message& item);
    /// Drops the rows from `from` on whose index isn't greater than every one before.
    void dropBackward(size_t from);
    /// Makes a row's index the greatest so far; false when it isn't greater than every one before.
    bool advanceTo(size_t row);
    /// The last row seen, in the list or not, is where the next page begins.
    void moveCursor();
    void moveCursorTo(const tn::message& item);
    [[nodiscard]] bool hasMovedFrom(const Key& start) const;
    [[nodiscard]] size_t added() const { return rows_.size() - before_; }
    [[nodiscard]] bool isFull() const { return count_ > 0 && added() >= count_; }

    const Key& key_;
    const MapTable* table_;
    const GetAllProvider::Source& source_;
    const unsigned count_;
    Rows& rows_;
    const size_t before_;  ///< rows in the list when the fetch began
    const bool stdKey_;
    Key cursor_;
    unsigned fruitless_ = 0;          ///< pages since the last one that gave a row, that one included
    unsigned requested_ = 0;          ///< items requested with the last page
    OID greatest_;                    ///< greatest index so far, that of the key to begin with
    OID index_;                       ///< of the row being looked at; here so that its memory is used again
    std::unique_ptr<Data> unlisted_;  ///< the last row seen, when it isn't in the list
    bool unbuilt_ = false;            ///< the last item gave no row at all
    bool isAtEnd_ = false;            ///< an item was seen that follows the table's last row
};

}  // namespace snmp
