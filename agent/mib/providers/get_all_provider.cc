#include "agent/mib/providers/get_all_provider.h"

#include "agent/log.h"
#include "agent/mib/providers/row_fetch.h"
#include "tn/looper.h"

namespace snmp {

std::unique_ptr<VData> GetAllProvider::getData(const Key& key, const MapTable* table, unsigned int count) {
    auto out = std::make_unique<VData>();
    if (!getData(key, table, source_, count, *out)) return nullptr;
    return out;
}

std::unique_ptr<VData> GetAllProvider::getFirst(unsigned int count, const MapTable* table) {
    if (!dlog.isMuted()) dlog << "get first: " << count;
    return getData(Key(), table, count);
}

tn::message GetAllProvider::request(const Key& key, const MapTable* table) const {
    VData none;
    return RowFetch(key, table, source_, 0, none).nextRequest();
}

bool GetAllProvider::getData(const Key& key, const MapTable* table, const Source& source, unsigned int count,
                             VData& out) {
    return RowFetch(key, table, source, count, out).run();
}

bool GetAllProvider::setData(Data* row, const MapTable* table, const Source& source, uint32_t base) {
    tn::message request;
    table->addKeyToMessage(row, request);
    if (base != 0) request.insert_u32(tn::field::ObjectId, request.get_u32(tn::field::ObjectId) & ~base);
    request.insert_u32_array(tn::field::Destination, source.path);
    request.insert_u32(tn::field::Command, tn::cmd::Set);
    row->reverseBuild(request);
    const tn::message reply = tn::getLooper()->exchangeMessage(request);
    if (!tn::isError(reply)) return true;
    swarn << "setData err: " << tn::getError(reply);
    return false;
}

bool GetAllProvider::getCount(const Source& source, unsigned int& n) {
    n = 0;
    const tn::message reply = tn::getLooper()->exchangeMessage(tn::request(source.path, tn::cmd::GetCount));
    if (!tn::isError(reply) && reply.has(tn::field::Count)) {
        n = reply.get_u32(tn::field::Count);
        return true;
    }
    swarn << "getCount err: " << tn::getError(reply);
    return false;
}

}  // namespace snmp
