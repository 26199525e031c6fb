#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "hostd/source/watched_table.h"

namespace hostd {

/// The values from a guest's domain XML that are served. An absent one is empty.
struct GuestConfig {
    std::string disk;     ///< source of its first disk: a file, a device, or a name in a pool or on a server
    std::string kernel;   ///< path of the kernel, for a guest that is booted directly from a kernel of the host
    std::string initrd;   ///< path of the initial RAM disk for that kernel
    std::string comment;  ///< operating system (libosinfo); if that is absent, title; if that is absent, description
};

/// Parses a domain XML (libvirt's virDomainGetXMLDesc). All values are empty when the text isn't one.
[[nodiscard]] GuestConfig parseGuest(std::string_view xml);

/// A guest, as libvirt or systemd-machined reports it.
struct Guest {
    std::string key;  ///< identifies it: its UUID, or the name of a container of systemd-machined
    std::string name;
    int state = 0;             ///< virDomainState; that of systemd-machined is converted
    int reason = 0;            ///< of that state, such as virDomainPausedReason
    uint32_t memory = 0;       ///< MiB, the maximum that it may use; 0 without a limit
    uint32_t processors = 0;   ///< 0 when not known
    bool hasSnapshot = false;  ///< false for containers
    GuestConfig config;

    /// Computed from the key, so that a guest usually has the same id after a restart of this process.
    [[nodiscard]] uint32_t preferredId() const;
};

constexpr size_t kMostGuests = 4096;  ///< default maximum of rows in a reading
constexpr const char* kLibvirtSockets = "/run/libvirt";

/// Queries libvirt for all guests at a URI, whether they run or not. Waits for libvirt's daemon, so it can block. The
/// first call loads libvirt's library (15 MB), unless the URI is that of a local daemon (DRIVER:///system) that doesn't
/// run. On failure there are no rows, and `problem` says why. Guests that are removed meanwhile are skipped.
/// @param most     maximum number of rows; if there are more guests, `problem` says how many
/// @param sockets  folder of the sockets of local daemons
[[nodiscard]] Reading<Guest> readGuests(const std::string& uri, size_t most = kMostGuests,
                                        const std::string& sockets = kLibvirtSockets);

}  // namespace hostd
