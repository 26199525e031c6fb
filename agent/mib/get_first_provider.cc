#include "agent/mib/get_first_provider.h"

#include <algorithm>

#include "agent/log.h"
#include "tn/looper.h"
#include "tn/sources.h"

namespace snmp {

namespace {
constexpr uint32_t kMostRows = 65536;  // looked at before giving up
constexpr uint32_t kMostAsked = 64;    // rows of one exchange

std::unique_ptr<Data> failed(const tn::message& reply) {
    serr << "GetFirstProvider::getData error: " << tn::getError(reply);
    return nullptr;
}
}  // namespace

uint32_t GetFirstProvider::getFirstObjId() {
    if (firstId_ == tn::kNoId) (void)getData();
    return firstId_;
}

std::unique_ptr<Data> GetFirstProvider::getData() {
    const uint64_t now = tn::getMilliseconds();
    if (now >= keptUntil_) return search(now);
    if (firstId_ == tn::kNoId) return nullptr;
    tn::message request = tn::request(path_, tn::cmd::GetAll);
    request.insert_u32(tn::field::MaxObjects, 1);
    request.insert_u32(tn::field::Continue, firstId_);
    const tn::message reply = tn::getLooper()->exchangeMessage(request);
    uint32_t code = 0;
    if (tn::isError(reply, &code) && code != tn::error::NotFound) return failed(reply);
    std::unique_ptr<Data> record = firstOf(reply);
    return record != nullptr ? std::move(record) : search(now);
}

/// Goes through the list from its beginning.
std::unique_ptr<Data> GetFirstProvider::search(uint64_t now) {
    firstId_ = tn::kNoId;
    keptUntil_ = 0;
    tn::message request = tn::request(path_, tn::cmd::GetAll);
    // The row wanted is often the first; where it isn't, each exchange looks at twice as many.
    for (uint32_t asked = 1, looked = 0; looked < kMostRows; looked += asked, asked = std::min(asked * 2, kMostAsked)) {
        request.insert_u32(tn::field::MaxObjects, asked);
        const tn::message reply = tn::getLooper()->exchangeMessage(request);
        if (tn::isError(reply)) return failed(reply);
        std::unique_ptr<Data> record = firstOf(reply);
        if (record != nullptr) {
            if (firstId_ != tn::kNoId) keptUntil_ = now + kKept;
            return record;
        }
        // An owner whose ids don't go on would be asked the same again and again.
        const uint32_t next = reply.get_u32(tn::field::Continue, tn::kNoId);
        if (next == tn::kNoId || (request.has(tn::field::Continue) && next <= request.get_u32(tn::field::Continue)))
            break;
        request.insert_u32(tn::field::Continue, next);
    }
    keptUntil_ = now + kKept;
    return nullptr;
}

/// The first record that a reply's rows give; its id is remembered.
std::unique_ptr<Data> GetFirstProvider::firstOf(const tn::message& reply) {
    for (const tn::message& item : reply.get_message_array(tn::field::Objects)) {
        if (item.get_bool(tn::field::Gone)) continue;
        std::unique_ptr<Data> record = build_(item);
        if (record == nullptr) continue;
        firstId_ = item.get_u32(tn::field::ObjectId, tn::kNoId);
        return record;
    }
    return nullptr;
}

}  // namespace snmp
