#include "agent/mib/providers/row_fetch.h"

#include <algorithm>
#include <utility>

#include "agent/log.h"
#include "tn/looper.h"

namespace snmp {

namespace {

// An owner may list items without rows (hosts of another bridge, routes that aren't in force). The page size doubles
// after each page without a row, so that the fetch gets past many of them.
constexpr unsigned kMaxFruitless = 64;
constexpr unsigned kMaxRequested = 1024;

void trace(const char* what) {
    if (!dlog.isMuted()) dlog << what;
}

}  // namespace

RowFetch::RowFetch(const Key& key, const MapTable* table, const GetAllProvider::Source& source, unsigned count,
                   VData& out)
    : key_(key),
      table_(table),
      source_(source),
      count_(count),
      rows_(out.rows),
      before_(out.rows.size()),
      stdKey_(table->hasStdKey()),
      cursor_(key),
      greatest_(count > 0 ? key.index : OID()) {}

bool RowFetch::run() {
    Step step = Step::Next;
    while (step == Step::Next && !isFull() && fruitless_ < kMaxFruitless) {
        const size_t had = added();
        step = fetchPage();
        fruitless_ = added() > had ? 1 : fruitless_ + 1;
    }
    return step != Step::UnknownKey;
}

RowFetch::Step RowFetch::fetchPage() {
    tn::message reply = tn::getLooper()->exchangeMessage(nextRequest());
    uint32_t code = 0;
    if (tn::isError(reply, &code)) return failed(reply, code);
    std::vector<tn::message>& items = reply.get_message_array_ref(tn::field::Objects);
    const auto& [field, add] = source_.supplement;
    if (add != nullptr && (!key_.wanted || std::ranges::count(*key_.wanted, field) > 0)) add(items);
    return count_ == 0 ? buildExactly(items) : buildPage(items, reply.has(tn::field::Continue));
}

tn::message RowFetch::nextRequest() {
    // Request one item more than needed: the first one may be the row at the key, which isn't wanted.
    const unsigned wanted = count_ + 1 - static_cast<unsigned>(added());
    requested_ = std::min(wanted << std::min(fruitless_, 16U), std::max(wanted, kMaxRequested));
    tn::message request = tn::request(source_.path, tn::cmd::GetAll);
    request.insert_u32(tn::field::MaxObjects, requested_);
    request.insert_u32(tn::field::GetFlags, source_.objectClass);
    const uint32_t id = cursor_.nextId != tn::kNoId ? cursor_.nextId : cursor_.objectId;
    if (stdKey_ && id != tn::kNoId) request.insert_u32(tn::field::Continue, id);
    if (key_.wanted) request.insert_u32_array(tn::field::Fields, *key_.wanted);
    if (!stdKey_ && !cursor_.message.empty()) request.insert_message(tn::field::Key, cursor_.message);
    return request;
}

RowFetch::Step RowFetch::failed(const tn::message& reply, uint32_t code) const {
    if (code != tn::error::NotFound) {
        swarn << "get-all error: " << tn::getError(reply);  // compat: 21
        return Step::End;
    }
    if (key_.empty()) return Step::End;
    tn::strangersErr << "bad key";
    return Step::UnknownKey;
}

RowFetch::Step RowFetch::buildExactly(const std::vector<tn::message>& items) {
    if (!items.empty() && !items.front().get_bool(tn::field::Gone)) build(items.front());
    return Step::End;
}

RowFetch::Step RowFetch::buildPage(const std::vector<tn::message>& items, bool isMoreAnnounced) {
    const Key start = cursor_;
    for (const tn::message& item : items) {
        isAtEnd_ = source_.isBehind != nullptr && source_.isBehind(item);
        if (isFull() || isAtEnd_) break;
        if (!skip(item)) build(item);
        if (stdKey_) moveCursorTo(item);
    }
    if (!dlog.isMuted()) dlog << "added: " << added();
    if (!stdKey_) moveCursor();
    // A key message is that of a row already seen, which the next page must skip. With the standard key, the cursor has
    // the id of the next row instead.
    cursor_.skipFirst = !stdKey_;
    const bool hasMoved = hasMovedFrom(start);
    if (!hasMoved) trace("no more data");
    const bool canContinue = hasMoved || canHideMore(items.size());
    return canContinue && isMoreAnnounced && !isAtEnd_ ? Step::Next : Step::End;
}

bool RowFetch::canHideMore(size_t items) const { return !stdKey_ && items >= requested_ && requested_ < kMaxRequested; }

bool RowFetch::skip(const tn::message& item) {
    const bool isFirst = std::exchange(cursor_.skipFirst, false);
    const bool isAtKey = !stdKey_ || item.get_u32(tn::field::ObjectId, tn::kNoId) == cursor_.objectId;
    if (!item.get_bool(tn::field::Gone) && !(isFirst && isAtKey)) return false;
    trace("skip first");
    return true;
}

void RowFetch::build(const tn::message& item) {
    const size_t from = rows_.size();
    std::unique_ptr<Data> unlisted = source_.build(item, rows_);
    unbuilt_ = unlisted == nullptr && rows_.size() == from;
    if (unlisted != nullptr) unlisted_ = std::move(unlisted);
    if (rows_.size() > from && count_ > 0) dropBackward(from);
}

void RowFetch::dropBackward(size_t from) {
    size_t end = from;
    for (size_t i = from; i < rows_.size(); ++i) {
        if (end - before_ < count_ && advanceTo(i)) {
            std::swap(rows_[end++], rows_[i]);
            unlisted_ = nullptr;
        } else {
            unlisted_ = std::move(rows_[i]);
        }
    }
    rows_.resize(end);
}

bool RowFetch::advanceTo(size_t row) {
    index_.clear();
    table_->addKeyToName(rows_[row].get(), index_);
    if (!(greatest_ < index_)) return false;
    greatest_.swap(index_);
    return true;
}

void RowFetch::moveCursor() {
    const Data* last = unlisted_ != nullptr ? unlisted_.get() : added() > 0 ? rows_.back().get() : nullptr;
    if (last != nullptr) {
        trace("update key");
        table_->addKeyToMessage(last, cursor_.message);
    } else if (std::exchange(unbuilt_, false)) {
        tn::strangersErr << "unable to update key";
    }
}

void RowFetch::moveCursorTo(const tn::message& item) {
    cursor_.objectId = item.get_u32(tn::field::ObjectId, tn::kNoId);
    cursor_.nextId = item.get_u32(tn::field::NextId, tn::kNoId);
}

// Ids that decrease would be requested again and again.
bool RowFetch::hasMovedFrom(const Key& start) const {
    if (cursor_ == start) return false;
    return !stdKey_ || start.objectId == tn::kNoId ||
           (cursor_.objectId != tn::kNoId && cursor_.objectId >= start.objectId);
}

}  // namespace snmp
