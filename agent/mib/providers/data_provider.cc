#include "agent/mib/providers/data_provider.h"

#include "agent/log.h"
#include "tn/looper.h"

namespace snmp {

GetProvider::GetProvider(BuildFunction build, std::span<const uint32_t> path, uint32_t getCommand, uint32_t setCommand,
                         uint32_t objectClass)
    : build_(build), path_(path.begin(), path.end()), setCommand_(setCommand), get_(tn::request(path_, getCommand)) {
    get_.insert_u32(tn::field::GetFlags, objectClass);
}

std::unique_ptr<Data> GetProvider::getData() {
    const tn::message reply = tn::getLooper()->exchangeMessage(get_);
    if (!tn::isError(reply)) return build_(reply);
    swarn << "GetProvider::getData error: " << tn::getError(reply);  // compat: 109
    return build_({});                                               // compat: 20
}

bool GetProvider::setData(Data* record) {
    tn::message request = tn::request(path_, setCommand_);
    record->reverseBuild(request);
    const tn::message reply = tn::getLooper()->exchangeMessage(request);
    if (!tn::isError(reply)) return true;
    swarn << "GetProvider::setData error: " << tn::getError(reply);
    return false;
}

}  // namespace snmp
