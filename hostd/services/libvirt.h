#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "hostd/source/watched_table.h"

namespace hostd {

/// What the description of a guest says (libvirt's domain XML).
struct GuestConfig {
    std::string disk;    ///< its first disk: a file, device, or name in a pool or on a server
    std::string kernel;  ///< when it is booted with a kernel of the host
    std::string initrd;
    std::string comment;  ///< its operating system (libosinfo), or else its title or description
};

/// Absent parts are empty; all are when this is no domain XML.
[[nodiscard]] GuestConfig parseGuest(std::string_view xml);

struct Guest {
    std::string key;  ///< UUID; for a container of systemd-machined its name
    std::string name;
    int state = 0;        ///< virDomainState
    int reason = 0;       ///< of that state
    uint32_t memory = 0;  ///< MiB, maximum; 0 without a limit
    uint32_t processors = 0;
    bool hasSnapshot = false;
    GuestConfig config;

    /// From its key, so that a guest usually has the same after a restart, whatever became of the others.
    [[nodiscard]] uint32_t likedId() const;
};

constexpr size_t kMostGuests = 4096;
constexpr const char* kLibvirtSockets = "/run/libvirt";

/// Asks libvirt for the guests at a URI, also those that don't run. Waits for its daemon, so it can block. Its library,
/// 15 MB, is loaded here, unless a daemon of this machine is to be asked (DRIVER:///system) and none is there.
/// @param most     how many; the problem says how many more there are
/// @param sockets  the folder of the daemons' sockets
[[nodiscard]] Reading<Guest> readGuests(const std::string& uri, size_t most = kMostGuests,
                                        const std::string& sockets = kLibvirtSockets);

}  // namespace hostd
