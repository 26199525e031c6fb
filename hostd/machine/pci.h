#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "hostd/source/watched_table.h"

namespace hostd {

/// A PCI device, as the kernel and the list of names have it.
struct PciDevice {
    std::string key;     ///< domain, bus, device and function as the kernel writes them: "0000:00:1f.2"
    uint32_t liked = 0;  ///< see preferredId
    std::string maker;   ///< or "Vendor 8086"
    std::string model;   ///< or "Device 100e"

    /// Bus, device and function as 16 bits; 0x10000 more outside the first domain.
    [[nodiscard]] uint32_t preferredId() const { return liked; }
};

/// Reads the devices in SYSFS/bus/pci and names them by libpci's list. It reads the list only when a device is new,
/// since that takes longer than all the rest. A list that is missing or damaged is read again after `retryInterval`.
class PciReader {
  public:
    /// @param ids    path of the list of names; empty for libpci's own
    explicit PciReader(std::string sysfs, std::string ids = "",
                       std::chrono::milliseconds retryInterval = std::chrono::minutes(1))
        : sysfs_(std::move(sysfs)), ids_(std::move(ids)), retryInterval_(retryInterval) {}
    /// Can block on the disk. Without a whole list, devices that it doesn't name have numbers for names, and `problem`
    /// says so.
    [[nodiscard]] Reading<PciDevice> read();

  private:
    using Ids = std::pair<uint32_t, uint32_t>;  ///< vendor, device
    struct Names {
        std::string maker;
        std::string model;
    };
    /// Reads the names of these devices. Empty on success, else the problem.
    [[nodiscard]] std::string readNames(const std::map<std::string, Ids>& devices);

    std::string sysfs_;
    std::string ids_;
    std::chrono::milliseconds retryInterval_;
    std::chrono::steady_clock::time_point namesRead_;
    std::string problem_;
    std::map<Ids, Names> names_;
};

/// {24, 5}: the PCI devices. contracts/devices.h has the fields and how ids are formed.
class PciDevices : public WatchedTable<PciDevice> {
  public:
    static constexpr std::chrono::seconds kMaxAge{1};
    static constexpr IdRange kOtherDomains{0x10000, 0x20000};

    /// @param ids  path of the list of names; empty for libpci's own
    explicit PciDevices(const std::string& sysfs, const std::string& ids = "");

  protected:
    void writeEntry(const PciDevice& device, tn::message& item) const override;
};

}  // namespace hostd
