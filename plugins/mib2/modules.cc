// Which MIB modules and plug-ins are served (RFC 3418).
//
//     sysORTable    INDEX { sysORIndex }

#include <filesystem>

#include "agent/mib/branch.h"
#include "agent/mib/providers/get_all_multi_provider.h"
#include "agent/mib/time_ticks.h"
#include "agent/status/statistics.h"
#include "mib2.h"
#include "tn/fields.h"
#include "tn/sources.h"

namespace mib2 {

namespace {

namespace tag = snmp::tag;

// The rows are made for each request, since further plug-ins are loaded after this one.
struct Module : snmp::Data {
    unsigned int index = 0;
    snmp::OID id;
    std::string text;
    unsigned int ticks = 0;  // start of the agent
    static void list(snmp::Rows& rows);
};

struct Start : snmp::Data {
    unsigned int ticks = 0;
    static std::unique_ptr<snmp::Data> read();
};

unsigned int startTicks = 0;

/// A MIB module is served if an object below its root is.
struct Known {
    std::string_view name;
    std::string_view identity;  // its MODULE-IDENTITY, or the root of its objects if it has none
    std::string_view root;
};
constexpr Known kKnown[] = {
    {"LLDP-MIB (IEEE 802.1AB)", "1.0.8802.1.1.2", "1.0.8802.1.1.2"},
    {"SNMPv2-MIB (RFC 3418)", "1.3.6.1.6.3.1", "1.3.6.1.2.1.1"},
    {"IF-MIB (RFC 2863)", "1.3.6.1.2.1.31", "1.3.6.1.2.1.31"},
    {"IP-MIB (RFC 4293)", "1.3.6.1.2.1.48", "1.3.6.1.2.1.4"},
    {"IP-FORWARD-MIB (RFC 4292)", "1.3.6.1.2.1.4.24", "1.3.6.1.2.1.4.24"},
    {"TCP-MIB (RFC 4022)", "1.3.6.1.2.1.49", "1.3.6.1.2.1.6"},
    {"UDP-MIB (RFC 4113)", "1.3.6.1.2.1.50", "1.3.6.1.2.1.7"},
    {"EtherLike-MIB (RFC 3635)", "1.3.6.1.2.1.35", "1.3.6.1.2.1.10.7"},
    {"BRIDGE-MIB (RFC 4188)", "1.3.6.1.2.1.17", "1.3.6.1.2.1.17"},
    {"Q-BRIDGE-MIB (RFC 4363)", "1.3.6.1.2.1.17.7", "1.3.6.1.2.1.17.7"},
    {"HOST-RESOURCES-MIB (RFC 2790)", "1.3.6.1.2.1.25.7.1", "1.3.6.1.2.1.25"},
    {"ENTITY-MIB (RFC 6933)", "1.3.6.1.2.1.47", "1.3.6.1.2.1.47"},
    {"ENTITY-SENSOR-MIB (RFC 3433)", "1.3.6.1.2.1.99", "1.3.6.1.2.1.99"},
    {"UCD-SNMP-MIB", "1.3.6.1.4.1.2021", "1.3.6.1.4.1.2021"},
    {"UCD-DISKIO-MIB", "1.3.6.1.4.1.2021.13.15", "1.3.6.1.4.1.2021.13.15"},
    {"LM-SENSORS-MIB", "1.3.6.1.4.1.2021.13.16.1", "1.3.6.1.4.1.2021.13.16"},
    {"SQUID-MIB", "1.3.6.1.4.1.3495.1", "1.3.6.1.4.1.3495.1"},
    {"VMWARE-VMINFO-MIB", "1.3.6.1.4.1.6876.2", "1.3.6.1.4.1.6876.2"},
    {"NET-SNMP-EXTEND-MIB", "1.3.6.1.4.1.8072.1.3.1", "1.3.6.1.4.1.8072.1.3"},
    {"TARNIX-MIB", "1.3.6.1.4.1.49999", "1.3.6.1.4.1.49999"},
    {"SNMP-FRAMEWORK-MIB (RFC 3411)", "1.3.6.1.6.3.10", "1.3.6.1.6.3.10"},
    {"SNMP-MPD-MIB (RFC 3412)", "1.3.6.1.6.3.11", "1.3.6.1.6.3.11"},
    {"SNMP-TARGET-MIB (RFC 3413)", "1.3.6.1.6.3.12", "1.3.6.1.6.3.12"},
    {"SNMP-USER-BASED-SM-MIB (RFC 3414)", "1.3.6.1.6.3.15", "1.3.6.1.6.3.15"},
};

bool isServed(const snmp::OID& root) {
    const auto first = snmp::branches.lower_bound(root);
    return first != snmp::branches.end() && first->first.hasPrefix(root);
}

void Module::list(snmp::Rows& rows) {
    const auto add = [&rows](const snmp::OID& identity, std::string description) {
        auto row = std::make_unique<Module>();
        row->index = static_cast<unsigned int>(rows.size()) + 1;
        row->id = identity;
        row->text = std::move(description);
        row->ticks = startTicks;
        rows.push_back(std::move(row));
    };
    for (const Known& module : kKnown)
        if (isServed(snmp::OID(std::string(module.root))))
            add(snmp::OID(std::string(module.identity)), std::string(module.name));
    for (const snmp::PluginState& plugin : snmp::statistics.plugins)
        if (plugin.fault.empty() && !plugin.serves.empty())
            add(snmp::OID(plugin.serves.front()), "plug-in " + std::filesystem::path(plugin.file).stem().string());
}

std::unique_ptr<snmp::Data> Start::read() {
    auto record = std::make_unique<Start>();
    record->ticks = startTicks;
    return record;
}

constexpr auto kSystem = snmp::under(snmp::kMib2, 1);
constexpr snmp::Column<Start> kLastChange[] = {{8, "sysORLastChange", tag::TimeTicks, &Start::ticks}};
constexpr snmp::Column<Module> kIndex = {1, "sysORIndex", tag::Integer, &Module::index};  // not accessible
constexpr snmp::Column<Module> kColumns[] = {
    {2, "sysORID", tag::ObjectIdentifier, &Module::id},
    {3, "sysORDescr", tag::OctetString, &Module::text},
    {4, "sysORUpTime", tag::TimeTicks, &Module::ticks},
};
static_assert(ascending(kColumns));

}  // namespace

void startModules() {
    startTicks = snmp::timeTicks(tn::sinceBoot());
    snmp::addScalars(kSystem, kLastChange, snmp::keep<snmp::ProxyDataProvider>(Start::read));
    auto* rows = snmp::keep<snmp::GetAllMultiProvider>();
    rows->addSource(Module::list, 1);
    snmp::MapTable* table = snmp::keepTable(rows, {{kIndex, tn::field::ObjectId.number}});
    snmp::addTable(snmp::OID(snmp::under(kSystem, 9, 1)), "sysOREntry", table, kColumns);
}

}  // namespace mib2
