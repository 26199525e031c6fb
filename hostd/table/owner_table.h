#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "hostd/table/table_key.h"
#include "tn/handler.h"

namespace hostd {

/// An owner of ordered rows. It answers get-all, get, get-object, get-count and set for every table; a derived class
/// supplies its rows in ascending order of their keys, and no more.
///
/// get-all starts at the requested row, by id (field::Continue) or by its key fields (field::Key), or at the first one,
/// and returns at most field::MaxObjects items, by default kPage. The reply has field::Continue when more follow than
/// were requested or fit into one packet. An item has its row's id and, where a row follows, that row's as
/// field::NextId, when the table's rows are known by id.
///
/// - A key message with field::KeyIncomplete starts at the nearest row at or after it.
/// - One without it may name fewer fields than the table's key has; rows that agree in all fields up to the last one
///   named then count as one row. A field left out before a named one has the value that it has in the first row.
/// - If one item is requested at a row that isn't there: error::NotFound. If more are requested: the first item is a
///   placeholder with that row's key fields and field::Gone, so that a walk continues after a row that was removed.
///
/// get and get-object with a row's id or key return the whole row; set with them is refused unless the table allows it.
/// All three return error::NotFound when the row isn't there.
///
/// A request costs O(log n + items), whatever the table's size, as long as lowerBound costs O(log n) and after O(1).
///
/// @tparam Row  handle of a row in its source: an id, a pointer, an index. Cheap to copy; valid until the rows change,
///              which they do only in refresh().
template <class Row>
class OwnerTable : public tn::Handler {
  public:
    tn::message cmdGetAll(const tn::message& request) final { return page(request, Detail::Listed); }
    tn::message cmdGetObj(const tn::message& request) override;
    tn::message cmdGet(const tn::message& request) override;
    tn::message cmdSet(const tn::message& request) override;
    tn::message cmdSetObj(const tn::message& request) override { return cmdSet(request); }
    uint32_t getObjectCount() final;

  protected:
    static constexpr uint32_t kPage = 64;           ///< items, when the request doesn't say
    static constexpr uint32_t kMaxItems = 1024;     ///< limit for what a request says
    static constexpr size_t kMaxRowOctets = 4096;   ///< of a row, flattened
    static constexpr size_t kReplyOverhead = 4096;  ///< octets of a packet for the reply's own fields

    /// How much of a row an item contains.
    enum class Detail { Listed, Brief };
    /// Answers a command that lists rows as get-all does; brief rows by default kMaxItems of them.
    [[nodiscard]] tn::message page(const tn::message& request, Detail detail);

    /// A table whose rows are known by id, their only key field.
    OwnerTable() : key_({tn::field::ObjectId}), isKnownById_(true) {}
    /// @param key  the fields that distinguish rows, in the order in which these sort
    explicit OwnerTable(std::vector<KeyField> key) : key_(std::move(key)) {}

    /// Called once before a request reads rows: brings them up to date with their source.
    virtual void refresh() {}
    /// Called with the rows that are about to be written, unless briefly. Must not invalidate handles.
    virtual void refreshRows(std::span<const Row>) {}

    [[nodiscard]] virtual uint32_t rowCount() const = 0;
    /// The first row whose key isn't below this one; nothing when there is none.
    [[nodiscard]] virtual std::optional<Row> lowerBound(const RowKey& key) const = 0;
    /// The row after an existing one; nothing when it is the last.
    [[nodiscard]] virtual std::optional<Row> after(Row row) const = 0;
    [[nodiscard]] virtual RowKey keyOf(Row row) const = 0;

    /// Writes a row's fields as listed by get-all, at most kMaxRowOctets of them; the caller adds the id.
    virtual void writeRow(Row row, tn::message& item) const = 0;
    /// The same for a brief listing, for a table that has one.
    virtual void writeBrief(Row row, tn::message& item) const { writeRow(row, item); }
    /// The same for get and get-object, for a table that then returns more.
    virtual void writeWhole(Row row, tn::message& item) const { writeRow(row, item); }
    /// True if this row matches the filter fields of a get-all; for tables that support any.
    [[nodiscard]] virtual bool isWanted(Row, const tn::message&) const { return true; }
    /// Changes a row and returns the reply; refused unless overridden.
    virtual tn::message changeRow(Row row, const tn::message& request);

  private:
    /// Where the rows of a reply begin.
    struct Start {
        RequestedRow requested;
        std::optional<Row> row;  ///< the first row at or after the requested one
        bool isGone = false;     ///< an exact row was requested and isn't there
    };
    [[nodiscard]] Start start(const tn::message& request) const;
    [[nodiscard]] Start locate(const RequestedRow& requested) const;
    [[nodiscard]] RequestedRow readKey(const tn::message& key) const;
    [[nodiscard]] std::optional<Row> rowOf(const tn::message& request) const;
    [[nodiscard]] std::optional<Row> next(Row row, size_t groupOctets) const;
    [[nodiscard]] std::vector<Row> collect(const tn::message& request, const Start& from, size_t count) const;
    /// Writes rows until maxItems are reached or the packet is full; a row after the last written one only supplies
    /// that one's NextId. @return how many were written
    size_t writeItems(std::span<const Row> rows, size_t maxItems, Detail detail, std::vector<tn::message>& items) const;
    void writeItem(Row row, std::optional<Row> next, Detail detail, tn::message& item) const;
    [[nodiscard]] tn::message placeholder(const Start& start) const;
    [[nodiscard]] uint32_t idOf(Row row) const { return keyOf(row).u32(0); }
    static tn::message notFound() { return tn::errorMsg(tn::error::NotFound, "no such object"); }

    TableKey key_;
    bool isKnownById_ = false;
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
    // One row more than is written: an item names the row that follows it.
    const std::vector<Row> rows = collect(request, from, maxRows + 1);
    if (detail == Detail::Listed) refreshRows(std::span(rows).first(std::min(rows.size(), maxRows)));

    tn::message reply;
    reply.reserve(2);
    auto& items = reply.get_message_array_ref(Objects);
    items.reserve(std::min(rows.size() + 1, maxItems));
    if (from.isGone) items.push_back(placeholder(from));
    const size_t written = writeItems(rows, maxItems, detail, items);
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

/// The row named by the key fields of a request, at its top level or in a key message.
template <class Row>
std::optional<Row> OwnerTable<Row>::rowOf(const tn::message& request) const {
    const Start start = locate(readKey(request.has(tn::field::Key) ? request.get_message(tn::field::Key) : request));
    return start.requested.isExact && !start.isGone ? start.row : std::nullopt;
}

/// The row after this one, or after all that agree with it in the first octets of their keys.
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

// ---- What is written of them

template <class Row>
size_t OwnerTable<Row>::writeItems(std::span<const Row> rows, size_t maxItems, Detail detail,
                                   std::vector<tn::message>& items) const {
    constexpr size_t kRoom = tn::kMaxPacket - kReplyOverhead;
    const bool mayOverflow = maxItems * kMaxRowOctets > kRoom;  // else rows needn't be measured
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
    // After the row's own fields: these come in ascending order, which a message appends without searching.
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
