#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "hostd/services/libvirt.h"

namespace hostd {

/// Reads the containers that are registered with systemd-machined (org.freedesktop.machine1), such as those of
/// systemd-nspawn. For one thread at a time.
class Machined {
  public:
    static constexpr std::chrono::seconds kTimeout{5};  ///< for each D-Bus call

    /// Connects to nothing yet: each reading has its own connection.
    /// @param address  D-Bus address; empty for the system bus
    /// @param timeout  for each D-Bus call
    explicit Machined(std::string address = "", std::chrono::microseconds timeout = kTimeout)
        : address_(std::move(address)), timeout_(timeout) {}

    /// Queries machined and systemd. Waits for their replies, so it can block. A timeout or a lost connection ends the
    /// reading: it then has no rows, and `problem` says why.
    ///
    /// Without the bus or without machined there are no rows and no problem: machined runs only while there are
    /// machines, and the query doesn't start it. Containers that libvirt's LXC driver has registered are left out.
    /// @param most  maximum number of rows; `problem` is set if there are more containers
    [[nodiscard]] Reading<Guest> read(size_t most = kMostGuests);

  private:
    /// The operating system of a container. It is cached until the container restarts, since machined starts a process
    /// for each query.
    struct ContainerOs {
        uint64_t started = 0;  ///< when the container was started: us since 1970
        std::string os;        ///< PRETTY_NAME of its os-release(5); empty when not known
    };
    std::string address_;
    std::chrono::microseconds timeout_;
    std::map<std::string, ContainerOs> lastOs_;  ///< by the container's name
};

/// Reads libvirt's containers at this URI; see readGuests(). If libvirt fails, reads those of machined instead;
/// `problem` still says why libvirt failed.
[[nodiscard]] Reading<Guest> readContainers(const std::string& uri, Machined& machined);

}  // namespace hostd
