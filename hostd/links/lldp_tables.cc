#include "hostd/links/lldp_tables.h"

#include <arpa/inet.h>

#include <span>
#include <tuple>

#include "contracts/lldp_systems.h"
#include "hostd/links/lldpctl.h"
#include "hostd/table/row_text.h"
#include "hostd/table/stable_ids.h"

namespace hostd {

namespace lldp_addresses = contracts::lldp_addresses;
namespace systems = contracts::lldp_systems;

namespace {

constexpr size_t kMostRemotes = 4096;
constexpr size_t kMostId = 255;  // octets of a chassis or port id
constexpr KeyField kAddress = KeyField::variable(lldp_addresses::Address, lldp_addresses::kMostOctets);

LldpSystem systemOf(const LldpAtom& chassis) {
    LldpSystem system;
    system.chassisIdSubtype = static_cast<uint32_t>(chassis.number(lldpctl_k_chassis_id_subtype));
    system.chassisId = chassis.octets(lldpctl_k_chassis_id);
    system.name = chassis.text(lldpctl_k_chassis_name);
    system.description = chassis.text(lldpctl_k_chassis_descr);
    system.capabilities = static_cast<uint32_t>(chassis.number(lldpctl_k_chassis_cap_available));
    system.enabledCapabilities = static_cast<uint32_t>(chassis.number(lldpctl_k_chassis_cap_enabled));
    return system;
}

LldpPort portOf(const LldpAtom& port) {
    return {static_cast<uint32_t>(port.number(lldpctl_k_port_id_subtype)), port.octets(lldpctl_k_port_id),
            port.text(lldpctl_k_port_descr)};
}

std::vector<LldpAddress> addressesOf(const LldpAtom& chassis) {
    std::vector<LldpAddress> all;
    const LldpAtom list = chassis.get(lldpctl_k_chassis_mgmt);
    if (!list.isThere()) return all;
    list.forEach([&](const LldpAtom& one) {
        const std::string text = one.text(lldpctl_k_mgmt_ip);
        LldpAddress address;
        address.interface = static_cast<uint32_t>(one.number(lldpctl_k_mgmt_iface_index));
        for (const auto& [family, number, size] : {std::tuple(AF_INET, 1U, 4U), std::tuple(AF_INET6, 2U, 16U)}) {
            std::vector<uint8_t> octets(size);
            if (::inet_pton(family, text.c_str(), octets.data()) != 1) continue;
            address.family = number;
            address.octets = octets;
            all.push_back(address);
        }
    });
    return all;
}

void readInterface(const LldpLibrary& library, const LldpAtom& interface, LldpReading& reading) {
    const LldpAtom port(library, library.port(interface.raw()));
    if (!port.isThere()) return;
    const auto ifindex = static_cast<uint32_t>(port.number(lldpctl_k_port_index));
    reading.ports[ifindex] = portOf(port);
    const LldpAtom neighbors = port.get(lldpctl_k_port_neighbors);
    if (!neighbors.isThere()) return;
    neighbors.forEach([&](const LldpAtom& neighbor) {
        const LldpAtom chassis = neighbor.get(lldpctl_k_port_chassis);
        if (chassis.isThere()) reading.add({ifindex, 0, systemOf(chassis), portOf(neighbor)}, addressesOf(chassis));
    });
}

void writeSystem(const LldpSystem& system, tn::message& m) {
    m.insert_u32(systems::ChassisIdSubtype, system.chassisIdSubtype);
    m.insert_raw(systems::ChassisId, std::span(system.chassisId).first(std::min(system.chassisId.size(), kMostId)));
    insertText(m, systems::Name, system.name);
    insertText(m, systems::Description, system.description);
    m.insert_u32(systems::Capabilities, system.capabilities);
    m.insert_u32(systems::EnabledCapabilities, system.enabledCapabilities);
}

void writePort(const LldpPort& port, tn::message& m) {
    m.insert_u32(systems::PortIdSubtype, port.idSubtype);
    m.insert_raw(systems::PortId, std::span(port.id).first(std::min(port.id.size(), kMostId)));
    insertText(m, systems::PortDescription, port.description);
}

}  // namespace

RowKey LldpRemote::key() const {
    RowKey key(8);
    key.putU32(0, port);
    key.putU32(4, index);
    return key;
}

RowKey LldpAddress::key() const {
    RowKey key(12 + kAddress.width());
    key.putU32(0, port);
    key.putU32(4, index);
    key.putU32(8, family);
    tn::message m;
    m.insert_raw(lldp_addresses::Address, octets);
    (void)kAddress.read(m, key.part(12, kAddress.width()));
    return key;
}

void LldpReading::add(LldpRemote remote, std::vector<LldpAddress> its) {
    if (remotes.size() >= kMostRemotes) return;
    std::string ids(remote.system.chassisId.begin(), remote.system.chassisId.end());
    ids.append(1, '\0').append(remote.theirPort.id.begin(), remote.theirPort.id.end());
    remote.index = preferredIdOf(ids);
    const auto isTaken = [&](const LldpRemote& other) {
        return other.port == remote.port && other.index == remote.index;
    };
    while (std::ranges::any_of(remotes, isTaken)) ++remote.index;
    for (LldpAddress& address : its) {
        address.port = remote.port;
        address.index = remote.index;
        remoteAddresses.push_back(std::move(address));
    }
    remotes.push_back(std::move(remote));
}

void LldpReading::sort() {
    const auto sortRows = [](auto& rows) {
        std::ranges::sort(rows, [](const auto& a, const auto& b) { return a.key() < b.key(); });
    };
    sortRows(addresses);
    sortRows(remotes);
    sortRows(remoteAddresses);
}

LldpReading readLldp() {
    LldpReading reading;
    reading.problem = queryLldpd([&reading](const LldpLibrary& library, const LldpAtom& interfaces, auto* connection) {
        const LldpAtom chassis(library, library.localChassis(connection));
        if (!chassis.isThere()) return false;
        reading.local = systemOf(chassis);
        reading.addresses = addressesOf(chassis);
        interfaces.forEach([&](const LldpAtom& interface) { readInterface(library, interface, reading); });
        reading.sort();
        return true;
    });
    return reading;
}

std::shared_ptr<const LldpReading> LldpSource::latest() {
    auto reading = watch_.latest();
    if (!reading) return std::make_shared<const LldpReading>();
    problems_.report(reading->problem);
    return reading;
}

tn::message LldpLocal::cmdGet(const tn::message&) {
    tn::message reply;
    const auto reading = source_->latest();
    if (!reading->local.chassisId.empty()) writeSystem(reading->local, reply);
    return reply;
}

void LldpPorts::writeRow(uint32_t id, tn::message& row) const { writePort(reading_->ports.at(id), row); }

std::vector<KeyField> lldpKey(std::vector<LldpRemote> LldpReading::*) { return {systems::Port, systems::Index}; }

std::vector<KeyField> lldpKey(std::vector<LldpAddress> LldpReading::*) {
    return {lldp_addresses::Port, lldp_addresses::Index, lldp_addresses::Family, kAddress};
}

void writeLldpRow(const LldpRemote& remote, tn::message& item) {
    item.insert_u32(systems::Port, remote.port);
    item.insert_u32(systems::Index, remote.index);
    writeSystem(remote.system, item);
    writePort(remote.theirPort, item);
}

void writeLldpRow(const LldpAddress& address, tn::message& item) {
    item.insert_u32(lldp_addresses::Port, address.port);
    item.insert_u32(lldp_addresses::Index, address.index);
    item.insert_u32(lldp_addresses::Family, address.family);
    item.insert_raw(lldp_addresses::Address, address.octets);
    item.insert_u32(lldp_addresses::Interface, address.interface);
}

}  // namespace hostd
