#include "hostd/table/owner_table.h"

#include <algorithm>

namespace hostd {

namespace field = tn::field;

namespace {

constexpr size_t kRoomForItems = tn::kMaxPacket - 4096;  // the rest is for the reply's own fields

tn::message notFound() { return tn::errorMsg(tn::error::NotFound, "no such object"); }

}  // namespace

OwnerTable::OwnerTable(std::vector<KeyField> key) : key_(std::move(key)) {
    for (const KeyField& part : key_) keySize_ += part.width();
}

tn::message OwnerTable::page(const tn::message& request, Detail detail) {
    if (!isKnownById_ && request.has(field::Continue) && !request.has(field::Key))
        return tn::errorMsg(tn::error::Refused, "the rows here have no ids: ask by key");
    refresh();
    const size_t most =
        std::clamp(request.get_u32(field::MaxObjects, detail == Detail::Brief ? kMostItems : kPage), 1U, kMostItems);
    const Start from = start(request);
    if (from.isGone && most == 1) return notFound();

    const size_t groupOctets = from.isExact ? from.octets : 0;
    const size_t placeholders = from.isGone ? 1 : 0;
    // One row more than is shown: an item tells which row follows it.
    const std::vector<Row> rows = collect(request, from.row, most - placeholders + 1, groupOctets);
    if (detail == Detail::Listed) refreshRows(std::span(rows).first(std::min(rows.size(), most - placeholders)));

    tn::message reply;
    reply.reserve(2);
    auto& items = reply.get_message_array_ref(field::Objects);
    items.reserve(std::min(rows.size() + placeholders, most));
    if (from.isGone) items.push_back(placeholder(from));
    size_t shown = 0;
    size_t octets = 0;
    for (; shown < rows.size() && items.size() < most; ++shown) {
        tn::message& item = items.emplace_back();
        writeItem(rows[shown], shown + 1 < rows.size() ? rows[shown + 1] : kEnd, detail, item);
        // Rows are measured only where so many are asked for that they might not fit.
        if (most * kMostRow <= kRoomForItems || (octets += item.flatSize()) <= kRoomForItems || shown == 0) continue;
        items.pop_back();
        break;
    }
    if (shown < rows.size()) reply.insert_u32(field::Continue, isKnownById_ ? idOf(rows[shown]) : tn::kNoId);
    return reply;
}

tn::message OwnerTable::cmdGetObj(const tn::message& request) {
    refresh();
    const Row row = rowOf(request);
    if (row == kEnd) return notFound();
    refreshRows({&row, 1});
    tn::message whole;
    writeWhole(row, whole);
    if (isKnownById_) whole.insert_u32(field::ObjectId, idOf(row));
    return whole;
}

tn::message OwnerTable::cmdGet(const tn::message& request) {
    const bool namesRow = request.has(field::ObjectId) || request.has(field::Key);
    return namesRow ? cmdGetObj(request) : Handler::cmdGet(request);
}

tn::message OwnerTable::cmdSet(const tn::message& request) {
    refresh();
    const Row row = rowOf(request);
    return row == kEnd ? notFound() : changeRow(row, request);
}

tn::message OwnerTable::changeRow(Row, const tn::message&) {
    return tn::errorMsg(tn::error::Refused, "nothing here can be changed");
}

uint32_t OwnerTable::getObjectCount() {
    refresh();
    return rowCount();
}

OwnerTable::Start OwnerTable::start(const tn::message& request) const {
    if (request.has(field::Key)) return startAtKey(request.get_message(field::Key));
    Start start;
    start.key = RowKey(keySize_);
    if (request.has(field::Continue)) {
        start.key.putU32(0, request.get_u32(field::Continue));
        start.fields = 1;
        start.octets = keySize_;
        start.isExact = true;
    }
    locate(start);
    return start;
}

OwnerTable::Start OwnerTable::startAtKey(const tn::message& key) const {
    Start start;
    start.key = RowKey(keySize_);
    start.isExact = !key.get_bool(field::KeyIncomplete);
    const Row first = lowerBound(start.key);
    if (first != kEnd) start.key = keyOf(first);
    bool fits = true;
    size_t at = 0;
    for (size_t i = 0; i < key_.size(); at += key_[i].width(), ++i) {
        if (!key_[i].isIn(key)) continue;
        fits = key_[i].read(key, start.key.part(at, key_[i].width())) && fits;
        start.fields = i + 1;
        start.octets = at + key_[i].width();
    }
    std::ranges::fill(start.key.part(start.octets, keySize_ - start.octets), uint8_t{0});
    if (start.fields == 0) start.isExact = false;
    locate(start);
    if (start.isExact && !fits) start.isGone = true;
    return start;
}

/// Finds the row of a start's key, or the one after the place where it would be.
void OwnerTable::locate(Start& start) const {
    start.row = lowerBound(start.key);
    start.isGone = start.isExact && (start.row == kEnd || !keyOf(start.row).sharesFirst(start.octets, start.key));
}

/// The row named by the key fields of a request, at its top level or in a key message; kEnd when it isn't there.
OwnerTable::Row OwnerTable::rowOf(const tn::message& request) const {
    const Start start = startAtKey(request.has(field::Key) ? request.get_message(field::Key) : request);
    return start.isExact && !start.isGone ? start.row : kEnd;
}

/// The row after this one, or after all those that agree with it in the first octets of their keys.
OwnerTable::Row OwnerTable::next(Row row, size_t groupOctets) const {
    if (groupOctets == 0 || groupOctets == keySize_) return after(row);
    const auto past = keyOf(row).pastFirst(groupOctets);
    return past ? lowerBound(*past) : kEnd;
}

std::vector<OwnerTable::Row> OwnerTable::collect(const tn::message& request, Row row, size_t most,
                                                 size_t groupOctets) const {
    std::vector<Row> rows;
    rows.reserve(std::min<size_t>(most, kPage + 1));
    for (; row != kEnd && rows.size() < most; row = next(row, groupOctets))
        if (isWanted(row, request)) rows.push_back(row);
    return rows;
}

tn::message OwnerTable::placeholder(const Start& start) const {
    tn::message gone;
    size_t at = 0;
    for (size_t i = 0; i < start.fields; at += key_[i++].width())
        key_[i].write(start.key.part(at, key_[i].width()), gone);
    if (isKnownById_ && start.row != kEnd) gone.insert_u32(field::NextId, idOf(start.row));
    gone.insert_bool(field::Gone, true);
    return gone;
}

void OwnerTable::writeItem(Row row, Row next, Detail detail, tn::message& item) const {
    if (detail == Detail::Brief)
        writeBrief(row, item);
    else
        writeRow(row, item);
    // After the row's own fields: these come in ascending order, which a message takes without looking for them.
    if (!isKnownById_) return;
    item.insert_u32(field::ObjectId, idOf(row));
    if (next != kEnd) item.insert_u32(field::NextId, idOf(next));
}

}  // namespace hostd
