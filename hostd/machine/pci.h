#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hostd/source/watched_table.h"

namespace hostd {

/// A PCI device, from the kernel, with its names from libpci's list (pci.ids).
struct PciDevice {
    std::string key;     ///< the kernel's name, domain:bus:device.function: "0000:00:1f.2"
    uint32_t liked = 0;  ///< preferredId()
    std::string maker;   ///< "Vendor 8086" when the list doesn't have it
    std::string model;   ///< "Device 100e" when the list doesn't have it

    /// Bus, device and function as a number of 16 bits. In domains other than 0, 0x10000 is added.
    [[nodiscard]] uint32_t preferredId() const { return liked; }
};

/// Reads the PCI devices in SYSFS/bus/pci/devices and their names in libpci's list. The list is read only when there is
/// a new kind of device, since that takes longer than everything else. A list that was missing or damaged is read again
/// after `retryInterval`. For one thread at a time.
class PciReader {
  public:
    /// Reads nothing yet.
    /// @param sysfs  path of the kernel's device tree ("/sys")
    /// @param ids    path of the list of names; empty for libpci's default
    explicit PciReader(std::string sysfs, std::string ids = "",
                       std::chrono::milliseconds retryInterval = std::chrono::minutes(1))
        : sysfs_(std::move(sysfs)), ids_(std::move(ids)), retryInterval_(retryInterval) {}
    /// Reads the devices. Can block on the disk. If the list is missing or damaged, devices have numbers in place of
    /// the names that weren't found, and `problem` says so. `problem` is also set when there are no devices.
    [[nodiscard]] Reading<PciDevice> read();

  private:
    using Ids = std::pair<uint32_t, uint32_t>;  ///< numbers of vendor and device
    struct Names {
        std::string maker;
        std::string model;
    };
    /// Reads the names of these devices into names_. @return empty on success, otherwise the problem
    [[nodiscard]] std::string readNames(const std::map<std::string, Ids>& devices);

    std::string sysfs_;
    std::string ids_;
    std::chrono::milliseconds retryInterval_;
    std::chrono::steady_clock::time_point namesRead_;  ///< when the list was last read
    std::string problem_;                              ///< of that reading of the list
    std::map<Ids, Names> names_;                       ///< of all devices seen so far
};

/// {24, 5}: the PCI devices. contracts/devices.h has the fields and the form of the ids.
class PciDevices : public WatchedTable<PciDevice> {
  public:
    static constexpr std::chrono::seconds kMaxAge{1};
    static constexpr IdRange kOtherDomains{0x10000, 0x20000};  ///< ids of devices in domains other than 0

    /// @param sysfs  path of the kernel's device tree ("/sys")
    /// @param ids    path of the list of names; empty for libpci's default
    explicit PciDevices(const std::string& sysfs, const std::string& ids = "");

  protected:
    void writeEntry(const PciDevice& device, tn::message& item) const override;
};

}  // namespace hostd
