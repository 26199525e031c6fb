#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "hostd/source/watched_table.h"

namespace hostd {

/// The parts of a guest's description that are served (libvirt's domain XML).
struct GuestConfig {
    std::string disk;    ///< its first disk: a file, a device, or a name in a pool or on a server
    std::string kernel;  ///< when it is booted with a kernel of the host
    std::string initrd;
    std::string comment;  ///< its operating system (libosinfo), or else its title or description
};

/// Absent parts are empty; all of them when the text isn't a domain XML.
[[nodiscard]] GuestConfig parseGuest(std::string_view xml);

/// A guest, as libvirt or systemd-machined reports it.
struct Guest {
    std::string key;  ///< UUID; for a container of systemd-machined its name
    std::string name;
    int state = 0;        ///< virDomainState
    int reason = 0;       ///< of that state
    uint32_t memory = 0;  ///< MiB, maximum; 0 without a limit
    uint32_t processors = 0;
    bool hasSnapshot = false;
    GuestConfig config;

    /// From its key: a guest usually has the same id after a restart, whatever became of the others.
    [[nodiscard]] uint32_t preferredId() const;
};

constexpr size_t kMostGuests = 4096;
constexpr const char* kLibvirtSockets = "/run/libvirt";

/// Queries libvirt for the guests at a URI, also those that don't run. Waits for its daemon, so it can block. Loads
/// libvirt's library (15 MB), unless the URI is of a local daemon (DRIVER:///system) that isn't there. On failure there
/// are no rows and `problem` says why.
/// @param most     maximum number of rows; `problem` says how many more there are
/// @param sockets  the folder of the daemons' sockets
[[nodiscard]] Reading<Guest> readGuests(const std::string& uri, size_t most = kMostGuests,
                                        const std::string& sockets = kLibvirtSockets);

}  // namespace hostd
