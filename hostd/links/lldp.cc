#include "hostd/links/lldp.h"

#include <arpa/inet.h>
#include <lldp-const.h>

#include "hostd/links/lldpctl.h"

namespace hostd {

namespace {

constexpr size_t kMacOctets = 6;
constexpr size_t kMostNeighbors = 4096;

uint32_t firstIPv4(const LldpAtom& chassis) {
    const LldpAtom addresses = chassis.get(lldpctl_k_chassis_mgmt);
    if (!addresses.isThere()) return 0;
    uint32_t first = 0;
    addresses.forEach([&](const LldpAtom& address) {
        in_addr octets{};
        if (first == 0 && ::inet_pton(AF_INET, address.text(lldpctl_k_mgmt_ip).c_str(), &octets) == 1)
            first = ntohl(octets.s_addr);
    });
    return first;
}

std::vector<uint8_t> macOf(const LldpAtom& chassis, const LldpAtom& port) {
    std::vector<uint8_t> mac;
    if (chassis.number(lldpctl_k_chassis_id_subtype) == LLDP_CHASSISID_SUBTYPE_LLADDR)
        mac = chassis.octets(lldpctl_k_chassis_id);
    else if (port.number(lldpctl_k_port_id_subtype) == LLDP_PORTID_SUBTYPE_LLADDR)
        mac = port.octets(lldpctl_k_port_id);
    return mac.size() == kMacOctets ? mac : std::vector<uint8_t>();
}

const std::string& orElse(const std::string& text, const std::string& other) { return text.empty() ? other : text; }

Neighbor describe(const std::string& ours, const LldpAtom& port, const LldpAtom& chassis) {
    const std::string chassisId = chassis.text(lldpctl_k_chassis_id);
    const std::string portId = port.text(lldpctl_k_port_id);
    const std::string maker = chassis.text(lldpctl_k_chassis_med_inventory_manuf);
    const std::string model = chassis.text(lldpctl_k_chassis_med_inventory_model);
    Neighbor neighbor;
    neighbor.key = ours + '\0' + chassisId + '\0' + portId;
    neighbor.address = firstIPv4(chassis);
    neighbor.mac = macOf(chassis, port);
    neighbor.identity = orElse(chassis.text(lldpctl_k_chassis_name), chassisId);
    neighbor.platform = maker.empty() || model.empty() ? maker + model : maker + " " + model;
    neighbor.version = chassis.text(lldpctl_k_chassis_descr);
    neighbor.port = orElse(port.text(lldpctl_k_port_descr), portId);
    return neighbor;
}

void addNeighborsOf(const LldpLibrary& library, const LldpAtom& interface, std::vector<Neighbor>& all) {
    const std::string ours = interface.text(lldpctl_k_interface_name);
    const LldpAtom port(library, library.port(interface.raw()));
    if (!port.isThere()) return;
    const LldpAtom neighbors = port.get(lldpctl_k_port_neighbors);
    if (!neighbors.isThere()) return;
    neighbors.forEach([&](const LldpAtom& neighbor) {
        const LldpAtom chassis = neighbor.get(lldpctl_k_port_chassis);
        if (chassis.isThere() && all.size() < kMostNeighbors) all.push_back(describe(ours, neighbor, chassis));
    });
}

}  // namespace

Reading<Neighbor> readNeighbors() {
    Reading<Neighbor> reading;
    reading.problem = queryLldpd([&reading](const LldpLibrary& library, const LldpAtom& interfaces, auto*) {
        interfaces.forEach([&](const LldpAtom& interface) { addNeighborsOf(library, interface, reading.rows); });
        return true;
    });
    return reading;
}

}  // namespace hostd
