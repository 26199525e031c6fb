// The web proxy's scalars of the published web cache MIB (enterprise 3495).

#include "agent/modules/proxy_module.h"

#include "agent/mib/columns.h"
#include "agent/mib/keep.h"
#include "agent/mib/providers/data_provider.h"
#include "contracts/object_class.h"
#include "contracts/proxy.h"
#include "tn/sources.h"

namespace snmp {

namespace {

namespace object_class = contracts::object_class;
namespace proxy = contracts::proxy;

struct Proxy : Data {
    unsigned int memory = 0, storage = 0;  // compat: 74, octets, as all sizes here. They wrap at 4 GiB
    unsigned int age = 0;                  // seconds
    unsigned int hits = 0, sentToClients = 0;
    unsigned int serverRequests = 0, receivedFromServers = 0, sentToServers = 0;
    static std::unique_ptr<Data> build(const tn::message& m);
};

std::unique_ptr<Data> Proxy::build(const tn::message& m) {
    const auto octets = [&m](tn::u32_id field) { return m.get_u32(field) << 10; };  // from KiB
    auto record = std::make_unique<Proxy>();
    record->memory = octets(proxy::Memory);
    record->storage = octets(proxy::Storage);
    record->age = tn::getUptime() - m.get_u32(proxy::StartedAt);
    record->hits = m.get_u32(proxy::Hits);
    record->sentToClients = octets(proxy::ClientOut);
    record->serverRequests = m.get_u32(proxy::ServerRequests);
    record->receivedFromServers = octets(proxy::ServerIn);
    record->sentToServers = octets(proxy::ServerOut);
    return record;
}

// The published MIB of the web cache.
constexpr auto kCache = under(kInternet, 4, 1, 3495, 1);
constexpr auto kCacheSystem = under(kCache, 1);
constexpr Column<Proxy> kCacheSystemObjects[] = {
    {1, "cacheSysVMsize", tag::Integer, &Proxy::memory},
    {2, "cacheSysStorage", tag::Integer, &Proxy::storage},
    {3, "cacheUptime", tag::Integer, &Proxy::age},  // compat: 75
};
constexpr auto kCacheProtocols = under(kCache, 3, 2);  // compat: 73
constexpr Column<Proxy> kCacheProtocolObjects[] = {
    {2, "cacheHttpHits", tag::Integer, &Proxy::hits},
    {5, "cacheHttpOutKb", tag::Integer, &Proxy::sentToClients},
    {10, "cacheServerRequests", tag::Integer, &Proxy::serverRequests},
    {12, "cacheServerInKb", tag::Integer, &Proxy::receivedFromServers},
    {13, "cacheServerOutKb", tag::Integer, &Proxy::sentToServers},
};

}  // namespace

void startWebProxy() {
    auto* provider =
        keep<GetProvider>(Proxy::build, proxy::kPath, tn::cmd::Get, tn::cmd::Set, object_class::kWithStatistics);
    addScalars(kCacheSystem, kCacheSystemObjects, provider);
    addScalars(kCacheProtocols, kCacheProtocolObjects, provider);
}

}  // namespace snmp
