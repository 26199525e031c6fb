#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "hostd/services/libvirt.h"

namespace hostd {

/// Containers registered with systemd-machined (org.freedesktop.machine1), such as those of systemd-nspawn. Blocks for
/// its replies, so call it from a helper thread.
class Machined {
  public:
    static constexpr std::chrono::seconds kTimeout{5};  ///< for each call; the first timeout fails the whole reading

    /// @param address  D-Bus address; empty for the system bus
    explicit Machined(std::string address = "", std::chrono::microseconds timeout = kTimeout)
        : address_(std::move(address)), timeout_(timeout) {}

    /// No rows and no problem when the bus or machined isn't there: it runs only while there are machines, and this
    /// doesn't start it. Guests registered by libvirt's LXC driver are left out.
    /// @param most  maximum number of rows; `problem` says if there are more
    [[nodiscard]] Reading<Guest> read(size_t most = kMostGuests);

  private:
    /// The operating system of a container, queried once, since each query costs machined a process.
    struct ContainerOs {
        uint64_t started = 0;  ///< us since the epoch; a restart may change the operating system
        std::string os;
    };
    std::string address_;
    std::chrono::microseconds timeout_;
    std::map<std::string, ContainerOs> lastOs_;  ///< by the container's name
};

/// The containers of libvirt at this URI. If libvirt fails and returns none, those of systemd-machined; `problem` still
/// says why libvirt failed.
[[nodiscard]] Reading<Guest> readContainers(const std::string& uri, Machined& machined);

}  // namespace hostd
