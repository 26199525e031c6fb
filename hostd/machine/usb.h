#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "hostd/source/watched_table.h"

namespace hostd {

/// A USB device. Texts that neither the device nor the database has are replaced by its numbers.
struct UsbDevice {
    std::string key;      ///< name and number, so that a device plugged in again is a new one
    std::string name;     ///< the kernel's: "1-1.4", "usb1"
    uint32_t bus = 0;     ///< from 1
    uint32_t number = 0;  ///< on its bus, 1 to 127; changes each time it is plugged in
    std::string maker;    ///< as the device reports it
    std::string product;
    std::string serial;     ///< empty for many
    std::string makerName;  ///< as the hardware database has it
    std::string modelName;

    static constexpr uint32_t kBuses = 0x800;  ///< more than the kernel has
    static constexpr uint32_t kNumbers = 0x80;
    [[nodiscard]] uint32_t preferredId() const { return bus * kNumbers + number; }
};

/// The names for a vendor and product number; empty when not known.
struct UsbNames {
    std::string maker;
    std::string model;
};
using UsbNamer = std::function<UsbNames(uint32_t vendor, uint32_t product)>;

/// Looks the numbers up in udev's hardware database (hwdb(7)), which Debian builds from the list of USB ids. Empty
/// names when there is no database or no entry.
[[nodiscard]] UsbNames lookUpUsb(uint32_t vendor, uint32_t product);

/// Reads the devices in SYSFS/bus/usb. Looks names up when a device is new, and again as long as it has none.
class UsbReader {
  public:
    UsbReader(std::string sysfs, UsbNamer namer) : sysfs_(std::move(sysfs)), namer_(std::move(namer)) {}
    /// Can block: the kernel locks a device's texts while the device is being reset. Skips devices that are unplugged
    /// meanwhile; `problem` is set when there is none at all.
    [[nodiscard]] Reading<UsbDevice> read();

  private:
    [[nodiscard]] UsbNames namesOf(uint32_t vendor, uint32_t product);
    /// Nothing when it has been unplugged meanwhile, or isn't a device.
    [[nodiscard]] std::optional<UsbDevice> readDevice(const std::string& name);

    std::string sysfs_;
    UsbNamer namer_;
    std::map<std::pair<uint32_t, uint32_t>, UsbNames> names_;  ///< by vendor and product
};

/// {24, 6}: the USB devices, root hubs included. contracts/devices.h has the fields and how ids are formed.
class UsbDevices : public WatchedTable<UsbDevice> {
  public:
    static constexpr std::chrono::seconds kMaxAge{1};
    static constexpr IdRange kIds{1, 0x40000};

    explicit UsbDevices(const std::string& sysfs, const UsbNamer& namer = lookUpUsb);

  protected:
    void writeEntry(const UsbDevice& device, tn::message& item) const override;
};

}  // namespace hostd
