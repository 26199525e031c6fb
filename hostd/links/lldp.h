#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "hostd/source/watched_table.h"

namespace hostd {

/// A device that announced itself on one of our interfaces (LLDP, IEEE 802.1AB). Texts that it didn't send are empty.
struct Neighbor {
    std::string key;           ///< identifies it: our interface, its chassis id and its port id
    uint32_t address = 0;      ///< first IPv4 management address, in host byte order; 0 for none
    std::vector<uint8_t> mac;  ///< its chassis id if that is a MAC address, else its port id if that is one, else empty
    std::string identity;      ///< system name; if it has none, the chassis id
    std::string platform;      ///< maker and model; only devices that send LLDP-MED report them
    std::string version;       ///< system description
    std::string port;          ///< description of its port; if it has none, the port's id

    /// Computed from the key, so that a neighbour usually has the same id after a restart of this process.
    [[nodiscard]] uint32_t preferredId() const { return preferredIdOf(key); }
};

/// Queries lldpd through its library, liblldpctl, which the first call loads. Waits for the daemon, so it can block.
/// Without the library or the daemon there are no rows, and `problem` says why. Neighbours past the first 4,096 are
/// left out, without a problem.
[[nodiscard]] Reading<Neighbor> readNeighbors();

}  // namespace hostd
