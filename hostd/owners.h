#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "hostd/sensors/sensor_choice.h"
#include "tn/looper.h"

namespace hostd {

struct Options {
    std::string proc = "/proc";  ///< read in place of the kernel's own tree, for tests
    std::string sysfs = "/sys";
    SensorChoice sensors;
    std::string guestsUri = "qemu:///system";        ///< libvirt's name of where virtual machines are
    std::string podhostUri = "lxc:///system";        ///< and containers
    std::string proxyUrl = "http://127.0.0.1:3128";  ///< where squid listens
    bool allowReboot = false;                        ///< let callers on the bus restart the machine
    bool allowUsbReset = false;                      ///< and take the power from its USB ports
    bool allowLinkChanges = false;                   ///< and bring its network interfaces up and down
};

/// Adds --proc and --sysfs, those that say which sensor is which and where guests and squid are, and --allow-reboot and
/// the like.
void addOptions(CLI::App& app, Options& options);

class Supervisor;

/// Every owner of this host's data: what stands behind which path. Must outlive the looper it is added to.
class Owners {
  public:
    explicit Owners(const Options& options);
    ~Owners();
    Owners(const Owners&) = delete;
    Owners& operator=(const Owners&) = delete;

    /// The bus numbers that they serve, ascending.
    [[nodiscard]] std::vector<uint32_t> numbers() const;
    /// Registers all owners with a looper, whose process thereby serves their numbers.
    void addTo(tn::Looper& looper);

  private:
    struct Owner {
        std::vector<uint32_t> path;
        std::unique_ptr<tn::Handler> handler;
    };
    std::vector<Owner> owners_;
    Supervisor* supervisor_ = nullptr;
};

}  // namespace hostd
