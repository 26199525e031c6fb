#include "hostd/supervisor/undo_journal.h"

#include "hostd/log.h"
#include "tn/sources.h"

namespace hostd {

namespace undo = tn::undo;

namespace {

constexpr size_t kMaxText = 1000;

bool canBeSent(const tn::message& request) {
    return request.has(tn::field::Command) && !request.get_u32_array(tn::field::Destination).empty();
}

}  // namespace

UndoJournal::UndoJournal() {
    policySet().protectData();
    // These need no more than read access: listings and notifications contain text and time only.
    for (const uint32_t command : {tn::cmd::GetAll, tn::cmd::Subscribe})
        policySet().add_policy(command, tn::right::Read | tn::right::Write);
}

void UndoJournal::loadPermData() {
    store_ = std::make_unique<tn::Store>("/tern/store/undo");
    const auto ids = store_->ids();
    ids_ = std::set<uint32_t>(ids.begin(), ids.end());
    store_->recoversFromReads();
}

tn::message UndoJournal::record(const tn::message& request) {
    if (!canBeSent(request.get_message(undo::Old)))
        return tn::errorMsg(tn::error::Refused,
                            "undo record: the request that undoes it needs a command and a destination");
    const uint32_t id = ids_.empty() ? 1 : *ids_.rbegin() + 1;
    tn::message record;
    record.insert_message(undo::New, request.get_message(undo::New));
    record.insert_message(undo::Old, request.get_message(undo::Old));
    record.insert_string(undo::Text, request.get_string(undo::Text).substr(0, kMaxText));
    record.insert_u32(undo::When, static_cast<uint32_t>(tn::sources().wallSeconds()));
    if (!store_->set(id, record)) {
        hostLog << "undo journal: " << store_->lastError();
        return tn::errorMsg(tn::error::StoreFailed, store_->lastError());
    }
    ids_.insert(id);
    while (ids_.size() > kMaxRecords && store_->remove(*ids_.begin())) ids_.erase(ids_.begin());

    tn::message told;
    writeRow(id, told);
    notifyChange(id, std::move(told));
    return {};
}

tn::message UndoJournal::cmdRemoveObj(const tn::message& request) {
    const uint32_t id = request.get_u32(tn::field::ObjectId, tn::kNoId);
    if (!ids_.contains(id)) return tn::errorMsg(tn::error::NotFound, "no such undo record");
    if (!store_->remove(id)) return tn::errorMsg(tn::error::StoreFailed, store_->lastError());
    ids_.erase(id);
    notifyChange(id, {});
    return {};
}

std::optional<uint32_t> UndoJournal::firstFrom(uint32_t id) const {
    const auto found = ids_.lower_bound(id);
    return found == ids_.end() ? std::nullopt : std::optional(*found);
}

void UndoJournal::writeRow(uint32_t id, tn::message& row) const {
    const tn::message record = store_->get(id);
    row.insert_string(undo::Text, record.get_string(undo::Text));
    row.insert_u32(undo::When, record.get_u32(undo::When));
}

void UndoJournal::writeWhole(uint32_t id, tn::message& row) const {
    const tn::message record = store_->get(id);
    row.insert_message(undo::New, record.get_message(undo::New));
    row.insert_message(undo::Old, record.get_message(undo::Old));
    row.insert_string(undo::Text, record.get_string(undo::Text));
    row.insert_u32(undo::When, record.get_u32(undo::When));
}

}  // namespace hostd
