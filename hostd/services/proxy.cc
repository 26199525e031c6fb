#include "hostd/services/proxy.h"

#include <optional>
#include <utility>

#include "contracts/proxy.h"
#include "hostd/table/sizes.h"

namespace hostd {

namespace proxy = contracts::proxy;

namespace {

void insertCounter(tn::message& m, tn::u32_id field, std::optional<uint64_t> value) {
    if (value) m.insert_u32(field, static_cast<uint32_t>(*value));
}

void insertSize(tn::message& m, tn::u32_id field, std::optional<uint64_t> value) {
    if (value) m.insert_u32(field, saturated(*value));
}

}  // namespace

Proxy::Proxy(std::function<SquidReading()> read) : watch_("proxy", std::move(read), kMaxAge) {}

tn::message Proxy::cmdGet(const tn::message&) {
    tn::message reply;
    const auto reading = watch_.latest();
    if (!reading) return reply;
    problems_.report(reading->problem);
    const SquidFigures& figures = reading->figures;
    if (figures.startedAt) reply.insert_u32(proxy::StartedAt, *figures.startedAt);
    insertCounter(reply, proxy::ServerRequests, figures.serverRequests);
    insertCounter(reply, proxy::Hits, figures.hits);
    insertSize(reply, proxy::Storage, figures.storage);
    insertSize(reply, proxy::Memory, figures.memory);
    insertCounter(reply, proxy::ServerIn, figures.serverIn);
    insertCounter(reply, proxy::ServerOut, figures.serverOut);
    insertCounter(reply, proxy::ClientOut, figures.clientOut);
    return reply;
}

}  // namespace hostd
