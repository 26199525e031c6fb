#include "tnctl/owner_probes.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <span>
#include <string_view>

#include "contracts/activity.h"
#include "contracts/addresses.h"
#include "contracts/bridge.h"
#include "contracts/devices.h"
#include "contracts/disks.h"
#include "contracts/extend.h"
#include "contracts/file_systems.h"
#include "contracts/first_bridge.h"
#include "contracts/guests.h"
#include "contracts/health.h"
#include "contracts/host.h"
#include "contracts/inet.h"
#include "contracts/interface_stack.h"
#include "contracts/interfaces.h"
#include "contracts/ip_counters.h"
#include "contracts/lldp_systems.h"
#include "contracts/memory.h"
#include "contracts/neighbors.h"
#include "contracts/proxy.h"
#include "contracts/queues.h"
#include "contracts/routes.h"
#include "contracts/scripts.h"
#include "contracts/sensors.h"
#include "contracts/snmp_status.h"
#include "contracts/sockets.h"
#include "contracts/system.h"
#include "tn/looper.h"
#include "tnctl/client.h"

namespace tnctl {

namespace snmp_status = contracts::snmp_status;

namespace {

struct Owner {
    std::span<const uint32_t> path;
    std::string_view name;
};

const Owner kOwners[] = {
    {contracts::neighbors::kPath, "neighbours"},
    {contracts::health::kPath, "sensors"},
    {contracts::bridge::kForwardingPath, "forwarding"},
    {contracts::interfaces::kPath, "interfaces"},
    {contracts::addresses::kPath, "addresses"},
    {contracts::arp::kPath, "ARP"},
    {contracts::queues::kInterfacesPath, "queues of interfaces"},
    {contracts::queues::kTreePath, "queue tree"},
    {contracts::system::kPath, "restart"},
    {contracts::system_time::kPath, "time"},
    {contracts::identity::kPath, "name"},
    {contracts::system_info::kPath, "system"},
    {contracts::pci_devices::kPath, "PCI devices"},
    {contracts::usb_devices::kPath, "USB devices"},
    {contracts::routes::kPath, "routes"},
    {contracts::scripts::kPath, "scripts"},
    {contracts::disks::kPath, "disks"},
    {contracts::proxy::kPath, "web proxy"},
    {contracts::usb_reset::kPath, "USB reset"},
    {contracts::podhost_guests::kPath, "containers"},
    {contracts::virtual_machines::kPath, "virtual machines"},
};

/// Owners of data that only plug-ins show. They are listed once the agent has queried them.
const Owner kPluginOwners[] = {
    {contracts::bridge_hosts::kByMacPath, "bridge addresses"},
    {contracts::bridge_hosts::kByVlanPath, "bridge addresses by VLAN"},
    {contracts::bridge_ports::kPath, "bridge ports"},
    {contracts::bridge_vlans::kPath, "bridge VLANs"},
    {contracts::extend::kPath, "extend commands"},
    {contracts::extend_lines::kPath, "extend lines"},
    {contracts::first_bridge::kPath, "first bridge"},
    {contracts::interface_stack::kPath, "interface stack"},
    {contracts::file_systems::kPath, "file systems"},
    {contracts::memory::kPath, "memory"},
    {contracts::activity::kPath, "activity"},
    {contracts::load_averages::kPath, "load averages"},
    {contracts::disk_activity::kPath, "disk activity"},
    {contracts::host_facts::kPath, "users"},
    {contracts::hardware::kPath, "devices"},
    {contracts::partitions::kPath, "partitions"},
    {contracts::processes::kPath, "processes"},
    {contracts::packages::kPath, "packages"},
    {contracts::lldp_addresses::kLocalPath, "LLDP addresses"},
    {contracts::lldp_addresses::kRemotePath, "LLDP addresses of neighbours"},
    {contracts::lldp_ports::kPath, "LLDP ports"},
    {contracts::lldp_systems::kLocalPath, "LLDP system"},
    {contracts::lldp_systems::kRemotePath, "LLDP neighbours"},
    {contracts::sensors::kPath, "sensors"},
    {contracts::ip_counters::kPath, "IP counters"},
    {contracts::sockets::kTcpIPv4Path, "TCP over IPv4"},
    {contracts::sockets::kUdpIPv4Path, "UDP over IPv4"},
    {contracts::inet_addresses::kPath, "IP addresses"},
    {contracts::inet_prefixes::kPath, "IP networks"},
    {contracts::inet_neighbors::kPath, "IP neighbours"},
    {contracts::ip_statistics::kSystemPath, "IP statistics"},
    {contracts::ip_statistics::kInterfacesPath, "IP statistics of interfaces"},
    {contracts::icmp_messages::kPath, "ICMP messages"},
    {contracts::ip_interfaces::kIPv4Path, "IPv4 interfaces"},
    {contracts::ip_interfaces::kIPv6Path, "IPv6 interfaces"},
    {contracts::inet_routes::kPath, "IP routes"},
    {contracts::default_routers::kPath, "default routers"},
    {contracts::sockets::kConnectionsPath, "TCP connections"},
    {contracts::sockets::kListenersPath, "TCP listeners"},
    {contracts::sockets::kEndpointsPath, "UDP endpoints"},
};

Json nameOfPlugins(const Path& path) {
    const auto found =
        std::ranges::find_if(kPluginOwners, [&](const Owner& owner) { return std::ranges::equal(owner.path, path); });
    return found == std::end(kPluginOwners) ? Json() : Json(found->name);
}

void probe(const Path& path, std::chrono::milliseconds timeout, Json& row) {
    const auto begun = std::chrono::steady_clock::now();
    const tn::message reply = tn::getLooper()->exchangeMessage(tn::request(path, tn::cmd::GetPolicies), timeout);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begun;
    const bool isError = tn::isError(reply);
    row["reply-ms"] = isError ? Json() : Json(std::round(time.count() * 100) / 100);
    row["reply-error"] = isError ? Json(tn::getError(reply)) : Json();
}

}  // namespace

std::vector<Json> probeOwners(const std::vector<tn::message>& queried, std::chrono::milliseconds timeout) {
    std::map<Path, Json> rows;
    const auto add = [&rows](const Path& path, const Json& name, const tn::message& counts) {
        rows[path] = {
            {"path", path},
            {"name", name},
            {"answers", counts.get_u64(snmp_status::Answers)},
            {"errors", counts.get_u64(snmp_status::Errors)},
            {"timed-out", counts.get_u64(snmp_status::TimedOut)},
            {"absent", counts.get_u64(snmp_status::Absent)},
            {"answered", counts.has(snmp_status::Answered) ? Json(counts.get_u64(snmp_status::Answered)) : Json()},
            {"last-error", counts.has(snmp_status::Text) ? Json(counts.get_string(snmp_status::Text)) : Json()}};
    };
    for (const Owner& owner : kOwners) add(Path(owner.path.begin(), owner.path.end()), owner.name, {});
    for (const tn::message& owner : queried) {
        const Path& path = owner.get_u32_array(snmp_status::Path);
        const auto known = rows.find(path);
        add(path, known != rows.end() ? Json(known->second["name"]) : nameOfPlugins(path), owner);
    }
    std::vector<Json> all;
    for (auto& [path, row] : rows) {
        probe(path, timeout, row);
        all.push_back(std::move(row));
    }
    return all;
}

}  // namespace tnctl
