#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "hostd/table/table_key.h"
#include "hostd/table/wanted_fields.h"
#include "tn/handler.h"

namespace hostd {

/// An owner of ordered rows. It implements get-all, get, get-object, get-count and set. A derived class supplies the
/// rows in ascending order of their keys. A row is identified either by an id, its only key field, or by other key
/// fields.
///
/// get-all returns up to field::MaxObjects items, kPage by default. It starts at the row whose id is in
/// field::Continue, at the row whose key fields are in the message field::Key, or at the first row. If MaxObjects or
/// the size of a packet ends the reply before the last row, the reply has field::Continue. Its value is the next row's
/// id, or tn::kNoId in a table without ids. In a table with ids, an item has its row's id as field::ObjectId, and as
/// field::NextId the id of the row that follows.
///
/// - A Key with field::KeyIncomplete starts at the first row that isn't below it.
/// - A Key without it names one row. It may contain only some of the table's key fields: rows that agree in all key
///   fields up to the last one given then count as one row. A field that is missing before that one gets its value
///   from the table's first row.
/// - If the named row doesn't exist, a request for one item gets error::NotFound. A request for more gets a placeholder
///   first: that row's key fields and field::Gone. So a walk continues after a row that was removed.
/// - A request with Continue but no Key gets error::Refused from a table without ids.
///
/// get and get-object with a row's id or key fields, at the top level or in a Key, return the whole row. set with them
/// gets error::Refused unless the table overrides changeRow. All three get error::NotFound if the row doesn't exist.
///
/// A request costs O(log n + items) for n rows if lowerBound costs O(log n) and after costs O(1).
///
/// @tparam Row  handle of a row in its source: an id, a pointer, an index. Cheap to copy. Valid until the rows change,
///              which they do only in refresh() and between requests.
template <class Row>
class OwnerTable : public tn::Handler {
  public:
    tn::message cmdGetAll(const tn::message& request) final { return page(request, Detail::Listed); }
    tn::message cmdGetObj(const tn::message& request) override;
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;
    tn::message cmdSetObj(const tn::message& request) override { return cmdSet(request); }
    /// Number of rows, after a refresh().
    uint32_t getObjectCount() final;

  protected:
    static constexpr uint32_t kPage = 64;           ///< items in a reply to a request without MaxObjects
    static constexpr uint32_t kMaxItems = 1024;     ///< items in a reply, whatever MaxObjects is
    static constexpr size_t kMaxRowOctets = 4096;   ///< size of a flattened row
    static constexpr size_t kReplyOverhead = 4096;  ///< octets of a packet reserved for everything but the items

    /// Which of a row's fields an item contains: those of writeRow or those of writeBrief.
    enum class Detail { Listed, Brief };
    /// The reply to a command that lists rows as get-all does. A brief listing has kMaxItems items by default. Brief
    /// rows are written without refreshRows.
    [[nodiscard]] tn::message page(const tn::message& request, Detail detail);

    /// A table with ids: its rows have one key field, field::ObjectId.
    OwnerTable() : key_({tn::field::ObjectId}), isKnownById_(true) {}
    /// A table without ids.
    /// @param key  the fields that distinguish rows, in their order of significance for sorting
    explicit OwnerTable(std::vector<KeyField> key) : key_(std::move(key)) {}

    /// Updates the rows from their source. Called once for each request, before it reads rows.
    virtual void refresh() {}
    /// Updates fields that are expensive to read. Called with the rows that are about to be written, unless they are
    /// brief. Must not invalidate handles.
    virtual void refreshRows(std::span<const Row>) {}

    [[nodiscard]] virtual uint32_t rowCount() const = 0;
    /// The first row whose key isn't below this one; nothing when there is none.
    [[nodiscard]] virtual std::optional<Row> lowerBound(const RowKey& key) const = 0;
    /// The row that follows an existing row; nothing after the last one.
    [[nodiscard]] virtual std::optional<Row> after(Row row) const = 0;
    /// The key of an existing row. All keys of a table have the same size.
    [[nodiscard]] virtual RowKey keyOf(Row row) const = 0;

    /// The fields that the get-all being answered wants. Others may be left out of its rows.
    [[nodiscard]] const WantedFields& wanted() const { return wanted_; }

    /// Writes the fields that get-all lists, at most kMaxRowOctets when flattened. The caller adds the id.
    virtual void writeRow(Row row, tn::message& item) const = 0;
    /// Writes the fields of a brief listing; overridden by tables that have one.
    virtual void writeBrief(Row row, tn::message& item) const { writeRow(row, item); }
    /// Writes the fields that get and get-object return; overridden by tables where these are more than get-all lists.
    virtual void writeWhole(Row row, tn::message& item) const { writeRow(row, item); }
    /// False for a row that the filter fields of this get-all exclude. Tables without filters don't override it.
    [[nodiscard]] virtual bool isWanted(Row, const tn::message&) const { return true; }
    /// Performs a set and returns the reply. The default changes nothing and returns error::Refused.
    virtual tn::message changeRow(Row row, const tn::message& request);

  private:
    /// The position at which the rows of a reply begin.
    struct Start {
        RequestedRow requested;
        std::optional<Row> row;  ///< the first row whose key isn't below the requested one
        bool isGone = false;     ///< the request names one row, and that row doesn't exist
    };
    /// Where the rows of the reply to a get-all begin: by Key, by Continue, or at the first row.
    [[nodiscard]] Start start(const tn::message& request) const;
    /// Searches for the requested row.
    [[nodiscard]] Start locate(const RequestedRow& requested) const;
    /// Reads the key fields of a message; missing ones get their values from the table's first row.
    [[nodiscard]] RequestedRow readKey(const tn::message& key) const;
    [[nodiscard]] std::optional<Row> rowOf(const tn::message& request) const;
    [[nodiscard]] std::optional<Row> next(Row row, size_t groupOctets) const;
    /// The rows of a reply, at most `count`: those that isWanted accepts, and one for each group of rows that count as
    /// one.
    [[nodiscard]] std::vector<Row> collect(const tn::message& request, const Start& from, size_t count) const;
    /// Appends items for these rows until there are maxItems items or the packet is full. A row that isn't written
    /// supplies the NextId of the one before it. @return number of rows written
    size_t writeItems(std::span<const Row> rows, size_t maxItems, Detail detail, std::vector<tn::message>& items) const;
    void writeItem(Row row, std::optional<Row> next, Detail detail, tn::message& item) const;
    /// The item for a requested row that doesn't exist.
    [[nodiscard]] tn::message placeholder(const Start& start) const;
    /// Only for tables with ids.
    [[nodiscard]] uint32_t idOf(Row row) const { return keyOf(row).u32(0); }
    static tn::message notFound() { return tn::errorMsg(tn::error::NotFound, "no such object"); }

    TableKey key_;
    bool isKnownById_ = false;  ///< a table with ids
    WantedFields wanted_;       ///< all outside of a get-all
};

// ---- Commands

template <class Row>
tn::message OwnerTable<Row>::page(const tn::message& request, Detail detail) {
    using namespace tn::field;
    if (!isKnownById_ && request.has(Continue) && !request.has(Key))
        return tn::errorMsg(tn::error::Refused, "rows of this table have no ids: query by key");
    refresh();
    const size_t maxItems =
        std::clamp(request.get_u32(MaxObjects, detail == Detail::Brief ? kMaxItems : kPage), 1U, kMaxItems);
    const Start from = start(request);
    if (from.isGone && maxItems == 1) return notFound();

    const size_t maxRows = maxItems - (from.isGone ? 1 : 0);
    // One row more than is written, since an item has the id of the row that follows.
    const std::vector<Row> rows = collect(request, from, maxRows + 1);
    wanted_ = WantedFields(request);
    if (detail == Detail::Listed) refreshRows(std::span(rows).first(std::min(rows.size(), maxRows)));

    tn::message reply;
    reply.reserve(2);
    auto& items = reply.get_message_array_ref(Objects);
    items.reserve(std::min(rows.size() + 1, maxItems));
    if (from.isGone) items.push_back(placeholder(from));
    const size_t written = writeItems(rows, maxItems, detail, items);
    wanted_ = {};
    if (written < rows.size()) reply.insert_u32(Continue, isKnownById_ ? idOf(rows[written]) : tn::kNoId);
    return reply;
}

template <class Row>
tn::message OwnerTable<Row>::cmdGetObj(const tn::message& request) {
    refresh();
    const std::optional<Row> row = rowOf(request);
    if (!row) return notFound();
    refreshRows({&*row, 1});
    tn::message whole;
    writeWhole(*row, whole);
    if (isKnownById_) whole.insert_u32(tn::field::ObjectId, idOf(*row));
    return whole;
}

template <class Row>
tn::message OwnerTable<Row>::cmdGet(const tn::message& request) {
    const bool namesRow = request.has(tn::field::ObjectId) || request.has(tn::field::Key);
    return namesRow ? cmdGetObj(request) : Handler::cmdGet(request);
}

template <class Row>
tn::message OwnerTable<Row>::cmdSet(const tn::message& request) {
    refresh();
    const std::optional<Row> row = rowOf(request);
    return row ? changeRow(*row, request) : notFound();
}

template <class Row>
tn::message OwnerTable<Row>::changeRow(Row, const tn::message&) {
    return tn::errorMsg(tn::error::Refused, "this table is read-only");
}

template <class Row>
uint32_t OwnerTable<Row>::getObjectCount() {
    refresh();
    return rowCount();
}

// ---- Which rows

template <class Row>
typename OwnerTable<Row>::Start OwnerTable<Row>::start(const tn::message& request) const {
    if (request.has(tn::field::Key)) return locate(readKey(request.get_message(tn::field::Key)));
    if (request.has(tn::field::Continue)) return locate(key_.ofId(request.get_u32(tn::field::Continue)));
    return locate({.key = RowKey(key_.size())});
}

template <class Row>
typename OwnerTable<Row>::Start OwnerTable<Row>::locate(const RequestedRow& requested) const {
    Start start{.requested = requested, .row = {}};
    const RequestedRow& wanted = start.requested;
    start.row = lowerBound(wanted.key);
    const bool isThere = start.row && wanted.fits && keyOf(*start.row).sharesFirst(wanted.octets, wanted.key);
    start.isGone = wanted.isExact && !isThere;
    return start;
}

template <class Row>
RequestedRow OwnerTable<Row>::readKey(const tn::message& key) const {
    const RowKey zeros(key_.size());
    const std::optional<Row> first = lowerBound(zeros);
    return key_.read(key, first ? keyOf(*first) : zeros);
}

/// The row named by the key fields of a request: those in its Key, or else those at its top level. Nothing if the
/// request names no row, or one that doesn't exist.
template <class Row>
std::optional<Row> OwnerTable<Row>::rowOf(const tn::message& request) const {
    const Start start = locate(readKey(request.has(tn::field::Key) ? request.get_message(tn::field::Key) : request));
    return start.requested.isExact && !start.isGone ? start.row : std::nullopt;
}

/// The row that follows this one. With groupOctets, the one that follows all rows whose keys share that many leading
/// octets with this row's.
template <class Row>
std::optional<Row> OwnerTable<Row>::next(Row row, size_t groupOctets) const {
    if (groupOctets == 0 || groupOctets == key_.size()) return after(row);
    const auto past = keyOf(row).pastFirst(groupOctets);
    return past ? lowerBound(*past) : std::nullopt;
}

template <class Row>
std::vector<Row> OwnerTable<Row>::collect(const tn::message& request, const Start& from, size_t count) const {
    const size_t groupOctets = from.requested.isExact ? from.requested.octets : 0;
    std::vector<Row> rows;
    rows.reserve(std::min<size_t>(count, kPage + 1));
    for (std::optional<Row> row = from.row; row && rows.size() < count; row = next(*row, groupOctets))
        if (isWanted(*row, request)) rows.push_back(*row);
    return rows;
}

// ---- Writing the rows

template <class Row>
size_t OwnerTable<Row>::writeItems(std::span<const Row> rows, size_t maxItems, Detail detail,
                                   std::vector<tn::message>& items) const {
    constexpr size_t kRoom = tn::kMaxPacket - kReplyOverhead;
    const bool mayOverflow = maxItems * kMaxRowOctets > kRoom;  // if not, rows needn't be measured
    size_t octets = 0;
    size_t written = 0;
    for (; written < rows.size() && items.size() < maxItems; ++written) {
        tn::message& item = items.emplace_back();
        const bool isLast = written + 1 == rows.size();
        writeItem(rows[written], isLast ? std::nullopt : std::optional(rows[written + 1]), detail, item);
        if (!mayOverflow || (octets += item.flatSize()) <= kRoom || written == 0) continue;
        items.pop_back();
        break;
    }
    return written;
}

template <class Row>
void OwnerTable<Row>::writeItem(Row row, std::optional<Row> next, Detail detail, tn::message& item) const {
    if (detail == Detail::Brief)
        writeBrief(row, item);
    else
        writeRow(row, item);
    // Inserted last: the row's own fields come in ascending order, and a message appends those without searching.
    if (!isKnownById_) return;
    item.insert_u32(tn::field::ObjectId, idOf(row));
    if (next) item.insert_u32(tn::field::NextId, idOf(*next));
}

template <class Row>
tn::message OwnerTable<Row>::placeholder(const Start& start) const {
    tn::message gone;
    key_.write(start.requested, gone);
    if (isKnownById_ && start.row) gone.insert_u32(tn::field::NextId, idOf(*start.row));
    gone.insert_bool(tn::field::Gone, true);
    return gone;
}

}  // namespace hostd
