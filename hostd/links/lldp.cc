#include "hostd/links/lldp.h"

#include <arpa/inet.h>
#include <lldp-const.h>
#include <lldpctl.h>

#include <memory>

#include "hostd/source/shared_library.h"

namespace hostd {

namespace {

constexpr const char* kLibrary = "liblldpctl.so.4";
constexpr size_t kMacOctets = 6;
constexpr size_t kMostNeighbors = 4096;

/// The functions of liblldpctl that are used here.
struct Library : SharedLibrary {
    decltype(&::lldpctl_new) open = nullptr;
    decltype(&::lldpctl_release) release = nullptr;
    decltype(&::lldpctl_log_callback) logTo = nullptr;
    decltype(&::lldpctl_get_interfaces) interfaces = nullptr;
    decltype(&::lldpctl_get_port) port = nullptr;
    decltype(&::lldpctl_atom_get) get = nullptr;
    decltype(&::lldpctl_atom_get_str) text = nullptr;
    decltype(&::lldpctl_atom_get_int) number = nullptr;
    decltype(&::lldpctl_atom_get_buffer) buffer = nullptr;
    decltype(&::lldpctl_atom_iter) first = nullptr;
    decltype(&::lldpctl_atom_iter_next) next = nullptr;
    decltype(&::lldpctl_atom_iter_value) value = nullptr;
    decltype(&::lldpctl_atom_dec_ref) drop = nullptr;

    Library() : SharedLibrary(kLibrary) {
        find("lldpctl_new", open);
        find("lldpctl_release", release);
        find("lldpctl_log_callback", logTo);
        find("lldpctl_get_interfaces", interfaces);
        find("lldpctl_get_port", port);
        find("lldpctl_atom_get", get);
        find("lldpctl_atom_get_str", text);
        find("lldpctl_atom_get_int", number);
        find("lldpctl_atom_get_buffer", buffer);
        find("lldpctl_atom_iter", first);
        find("lldpctl_atom_iter_next", next);
        find("lldpctl_atom_iter_value", value);
        find("lldpctl_atom_dec_ref", drop);
        if (isWhole()) logTo([](int, const char*) {});  // the default writes to standard error
    }
};

/// An owning handle of one of the library's objects. The library must outlive it.
class Atom {
  public:
    Atom(const Library& library, lldpctl_atom_t* atom) : library_(library), atom_(atom, library.drop) {}
    [[nodiscard]] bool isThere() const { return atom_ != nullptr; }
    [[nodiscard]] lldpctl_atom_t* raw() const { return atom_.get(); }
    [[nodiscard]] Atom get(lldpctl_key_t key) const { return {library_, library_.get(raw(), key)}; }
    [[nodiscard]] std::string text(lldpctl_key_t key) const {
        const char* found = library_.text(raw(), key);
        return found == nullptr ? "" : found;
    }
    [[nodiscard]] long number(lldpctl_key_t key) const { return library_.number(raw(), key); }
    [[nodiscard]] std::vector<uint8_t> octets(lldpctl_key_t key) const {
        size_t size = 0;
        const uint8_t* found = library_.buffer(raw(), key, &size);
        return found == nullptr ? std::vector<uint8_t>() : std::vector<uint8_t>(found, found + size);
    }
    template <class Call>
    void forEach(const Call& call) const {
        for (auto* at = library_.first(raw()); at != nullptr; at = library_.next(raw(), at))
            if (const Atom value(library_, library_.value(raw(), at)); value.isThere()) call(value);
    }

  private:
    const Library& library_;
    std::unique_ptr<lldpctl_atom_t, decltype(&::lldpctl_atom_dec_ref)> atom_;
};

uint32_t firstIPv4(const Atom& chassis) {
    const Atom addresses = chassis.get(lldpctl_k_chassis_mgmt);
    if (!addresses.isThere()) return 0;
    uint32_t first = 0;
    addresses.forEach([&](const Atom& address) {
        in_addr octets{};
        if (first == 0 && ::inet_pton(AF_INET, address.text(lldpctl_k_mgmt_ip).c_str(), &octets) == 1)
            first = ntohl(octets.s_addr);
    });
    return first;
}

std::vector<uint8_t> macOf(const Atom& chassis, const Atom& port) {
    std::vector<uint8_t> mac;
    if (chassis.number(lldpctl_k_chassis_id_subtype) == LLDP_CHASSISID_SUBTYPE_LLADDR)
        mac = chassis.octets(lldpctl_k_chassis_id);
    else if (port.number(lldpctl_k_port_id_subtype) == LLDP_PORTID_SUBTYPE_LLADDR)
        mac = port.octets(lldpctl_k_port_id);
    return mac.size() == kMacOctets ? mac : std::vector<uint8_t>();
}

const std::string& orElse(const std::string& text, const std::string& other) { return text.empty() ? other : text; }

Neighbor describe(const std::string& ours, const Atom& port, const Atom& chassis) {
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

void addNeighborsOf(const Library& library, const Atom& interface, std::vector<Neighbor>& all) {
    const std::string ours = interface.text(lldpctl_k_interface_name);
    const Atom port(library, library.port(interface.raw()));
    if (!port.isThere()) return;
    const Atom neighbors = port.get(lldpctl_k_port_neighbors);
    if (!neighbors.isThere()) return;
    neighbors.forEach([&](const Atom& neighbor) {
        const Atom chassis = neighbor.get(lldpctl_k_port_chassis);
        if (chassis.isThere() && all.size() < kMostNeighbors) all.push_back(describe(ours, neighbor, chassis));
    });
}

}  // namespace

Reading<Neighbor> readNeighbors() {
    Reading<Neighbor> reading;
    const Library library;
    if (!library.isWhole()) {
        reading.problem = std::string(kLibrary) + " isn't installed";
        return reading;
    }
    const std::unique_ptr<lldpctl_conn_t, decltype(&::lldpctl_release)> connection(
        library.open(nullptr, nullptr, nullptr), library.release);
    const Atom interfaces(library, connection ? library.interfaces(connection.get()) : nullptr);
    if (!interfaces.isThere()) {
        reading.problem = "lldpd doesn't answer";
        return reading;
    }
    interfaces.forEach([&](const Atom& interface) { addNeighborsOf(library, interface, reading.rows); });
    return reading;
}

}  // namespace hostd
