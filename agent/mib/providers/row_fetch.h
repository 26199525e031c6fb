#pragma once

#include <vector>

#include "agent/mib/providers/get_all_provider.h"

namespace snmp {

/// One fetch of rows from an owner. Each get-all exchange returns a page of items. The fetch ends when it has enough
/// rows or the table ends.
///
/// A cursor is the position of the next page. With the standard key it is the id of the next row, otherwise the key
/// fields of the last row. Owners aren't trusted: a row whose index isn't greater than all before is dropped, and the
/// fetch ends if the cursor doesn't move forward, or after 64 successive pages without a row.
class RowFetch {
  public:
    /// The arguments must outlive the fetch.
    /// @param key    position of the first row; of the row before it if key.skipFirst is set
    /// @param count  maximum number of rows; 0 for the rows of the item at the key
    /// @param out    the rows are appended here
    RowFetch(const Key& key, const MapTable* table, const GetAllProvider::Source& source, unsigned count, VData& out);

    /// Fetches the rows. Called once. If the owner fails, that is logged, and the rows fetched so far remain.
    /// @return false if the owner doesn't know the key; always true for an empty key
    bool run();
    /// The request for the next page: a get-all from the cursor on.
    [[nodiscard]] tn::message nextRequest();

  private:
    enum class Step { Next, End, UnknownKey };  ///< after a page: fetch the next one, or end with this result

    /// Requests a page and builds its rows.
    Step fetchPage();
    /// Handles an error reply. error::NotFound gives UnknownKey, or End for an empty key. Others are logged and give
    /// End.
    [[nodiscard]] Step failed(const tn::message& reply, uint32_t code) const;
    /// Builds the rows of the item at the key, for `count` 0.
    Step buildExactly(const std::vector<tn::message>& items);
    /// Builds the rows of a page.
    /// @param isMoreAnnounced  the owner reported that rows follow the page
    Step buildPage(const std::vector<tn::message>& items, bool isMoreAnnounced);
    /// Whether a larger page could have further rows although the cursor hasn't moved: rows with the same key fields
    /// can fill a page.
    [[nodiscard]] bool canHideMore(size_t items) const;
    /// Whether to skip an item: the row at the key, if it isn't wanted, or the placeholder of a row that has gone.
    bool skip(const tn::message& item);
    /// Appends the rows of an item, without those that are out of order or too many.
    void build(const tn::message& item);
    /// Drops those rows from `from` on whose index isn't greater than all before.
    void dropBackward(size_t from);
    /// Makes the index of a row the greatest so far. False if it isn't greater than all before.
    bool advanceTo(size_t row);
    /// Moves the cursor to the last row built, whether it is in the list or not. For tables without the standard key.
    void moveCursor();
    /// Stores the id of an item, and that of the row after it, as the cursor. For tables with the standard key.
    void moveCursorTo(const tn::message& item);
    /// Whether the cursor has moved forward since `start`. False also if the ids decrease.
    [[nodiscard]] bool hasMovedFrom(const Key& start) const;
    [[nodiscard]] size_t added() const { return rows_.size() - before_; }  ///< rows fetched so far
    [[nodiscard]] bool isFull() const { return count_ > 0 && added() >= count_; }

    const Key& key_;
    const MapTable* table_;
    const GetAllProvider::Source& source_;
    const unsigned count_;
    Rows& rows_;
    const size_t before_;  ///< rows in the list when the fetch began
    const bool stdKey_;
    Key cursor_;
    unsigned fruitless_ = 0;          ///< pages since the last one with a row, that one included
    unsigned requested_ = 0;          ///< items requested in the last page
    OID greatest_;                    ///< greatest index so far; at first that of the key
    OID index_;                       ///< index of the current row; a member so that its memory is reused
    std::unique_ptr<Data> unlisted_;  ///< the last row built, if it isn't in the list
    bool unbuilt_ = false;            ///< the last item built neither a row nor an unlisted record
    bool isAtEnd_ = false;            ///< an item after the table's last row was found (Source::isBehind)
};

}  // namespace snmp
