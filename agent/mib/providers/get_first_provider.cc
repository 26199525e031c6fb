#include "agent/mib/providers/get_first_provider.h"

#include "agent/log.h"
#include "tn/looper.h"

namespace snmp {

namespace {
constexpr uint32_t kMaxRows = 65'536;  // limit of one search
}  // namespace

uint32_t GetFirstProvider::getFirstObjId() {
    if (firstId_ == tn::kNoId) (void)getData();
    return firstId_;
}

std::unique_ptr<Data> GetFirstProvider::getData() {
    firstId_ = tn::kNoId;
    tn::message request = wanted_;
    request.insert_u32_array(tn::field::Destination, path_);
    request.insert_u32(tn::field::Command, tn::cmd::GetAll);
    request.insert_u32(tn::field::MaxObjects, 1);
    for (uint32_t looked = 0; looked < kMaxRows; ++looked) {
        const tn::message reply = tn::getLooper()->exchangeMessage(request);
        if (tn::isError(reply)) {
            swarn << "GetFirstProvider::getData error: " << tn::getError(reply);
            return nullptr;
        }
        if (std::unique_ptr<Data> record = firstOf(reply)) return record;
        // Ids that don't increase would repeat the same request forever.
        const uint32_t next = reply.get_u32(tn::field::Continue, tn::kNoId);
        if (next == tn::kNoId || (request.has(tn::field::Continue) && next <= request.get_u32(tn::field::Continue)))
            return nullptr;
        request.insert_u32(tn::field::Continue, next);
    }
    return nullptr;
}

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
