#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "hostd/libvirt.h"

namespace hostd {

/// Containers registered with systemd-machined (org.freedesktop.machine1): those of systemd-nspawn and the like. Its
/// answers are waited for, so this is for a helper thread.
class Machined {
  public:
    static constexpr std::chrono::seconds kTimeout{5};  ///< for each call; after one time-out a reading has failed

    /// @param address  D-Bus address of the bus; empty for the system's
    explicit Machined(std::string address = "", std::chrono::microseconds timeout = kTimeout)
        : address_(std::move(address)), timeout_(timeout) {}

    /// No rows and no problem when the bus or machined isn't there: it runs only while there are machines, and isn't
    /// started by this. Guests of libvirt's LXC driver are left out, which registers them, too.
    /// @param most  how many rows; the problem says when there are more
    [[nodiscard]] Reading<Guest> read(size_t most = kMostGuests);

  private:
    /// The operating system of a container. Finding it costs machined a process, so that is done once.
    struct Known {
        uint64_t started = 0;  ///< us since the epoch: one that was started anew may have another
        std::string os;
    };
    std::string address_;
    std::chrono::microseconds timeout_;
    std::map<std::string, Known> known_;  ///< by the container's name
};

/// The containers of libvirt at this URI. When that can't be queried, those of systemd-machined, with
/// libvirt's problem.
[[nodiscard]] Reading<Guest> readContainers(const std::string& uri, Machined& machined);

}  // namespace hostd
