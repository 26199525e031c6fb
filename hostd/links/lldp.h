#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hostd/source/watched_table.h"

namespace hostd {

/// A device that announced itself on one of our interfaces (LLDP, IEEE 802.1AB).
struct Neighbor {
    std::string key;           ///< distinguishes it: our interface, its chassis id, its port id
    uint32_t address = 0;      ///< first IPv4 management address, in host byte order; 0 for none
    std::vector<uint8_t> mac;  ///< its chassis id, or else its port id, when that is a MAC address
    std::string identity;      ///< system name, or else the chassis id
    std::string platform;      ///< maker and model, of devices that send LLDP-MED
    std::string version;       ///< system description
    std::string port;          ///< description of its port, or else the port's id

    /// Computed from the key, so that a neighbour usually has the same id after a restart, and not another's.
    [[nodiscard]] uint32_t preferredId() const { return preferredIdOf(key); }
};

/// Queries lldpd through its library, which is loaded here. Waits for the daemon, so it can block. Without the library
/// or the daemon there are no rows, and the problem says why.
[[nodiscard]] Reading<Neighbor> readNeighbors();

}  // namespace hostd
