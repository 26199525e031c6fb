#pragma once

#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "hostd/sensors/sensor_choice.h"
#include "tn/looper.h"

namespace hostd {

/// The settings of the owners, from the command line.
struct Options {
    std::string proc = "/proc";                      ///< the kernel's process tree; another one in tests
    std::string sysfs = "/sys";                      ///< the kernel's device tree; another one in tests
    SensorChoice sensors;                            ///< --voltage-sensor, --board-sensor, --cpu-sensor
    std::string guestsUri = "qemu:///system";        ///< libvirt URI for virtual machines
    std::string podhostUri = "lxc:///system";        ///< libvirt URI for containers
    std::string proxyUrl = "http://127.0.0.1:3128";  ///< squid's URL
    bool allowReboot = false;                        ///< bus clients with write access may reboot this machine
    bool allowUsbReset = false;                      ///< they may power-cycle its USB ports
    bool allowLinkChanges = false;                   ///< they may bring its network interfaces up and down
};

/// Adds an option for each member of `options`, which parsing the command line then changes. `options` must outlive
/// `app`.
void addOptions(CLI::App& app, Options& options);

class Supervisor;

/// All owners of this host's data, each with its path. Must outlive the looper that they are added to.
class Owners {
  public:
    /// Creates the owners. Starts no threads.
    explicit Owners(const Options& options);
    ~Owners();
    Owners(const Owners&) = delete;
    Owners& operator=(const Owners&) = delete;

    /// The bus numbers that the owners serve, the first elements of their paths; ascending, each once.
    [[nodiscard]] std::vector<uint32_t> numbers() const;
    /// Adds all owners to a looper and announces their numbers to the supervisor. The owners stay this object's. Those
    /// that read their source on a helper thread start their first reading.
    void addTo(tn::Looper& looper);

  private:
    struct Owner {
        std::vector<uint32_t> path;
        std::unique_ptr<tn::Handler> handler;
    };
    std::vector<Owner> owners_;
    Supervisor* supervisor_ = nullptr;  ///< one of owners_
};

}  // namespace hostd
