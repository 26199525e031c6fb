#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "hostd/source/watched_table.h"

namespace hostd {

/// A USB device. A name that neither the device nor the hardware database has is "Vendor 1d6b" or "Device 0002".
struct UsbDevice {
    std::string key;        ///< name and number, so that a device that is plugged in again is a new one
    std::string name;       ///< the kernel's: "1-1.4", "usb1"
    uint32_t bus = 0;       ///< from 1
    uint32_t number = 0;    ///< on its bus, 1 to 127; changes each time the device is plugged in
    std::string maker;      ///< as the device reports it, else as the database has it
    std::string product;    ///< as the device reports it, else as the database has it
    std::string serial;     ///< as the device reports it; many have none
    std::string makerName;  ///< as the database has it, else as the device reports it
    std::string modelName;  ///< as the database has it, else as the device reports it

    static constexpr uint32_t kBuses = 0x800;   ///< limit of bus numbers; the kernel uses fewer
    static constexpr uint32_t kNumbers = 0x80;  ///< limit of numbers on a bus
    [[nodiscard]] uint32_t preferredId() const { return bus * kNumbers + number; }
};

/// The names that correspond to the numbers of a vendor and a product; empty when not known.
struct UsbNames {
    std::string maker;
    std::string model;
};
using UsbNamer = std::function<UsbNames(uint32_t vendor, uint32_t product)>;

/// Looks the names up in udev's hardware database (hwdb(7)), which contains the list of USB ids. They are empty when
/// there is no database or no entry. Opens the database for each call.
[[nodiscard]] UsbNames lookUpUsb(uint32_t vendor, uint32_t product);

/// Reads the USB devices in SYSFS/bus/usb/devices. The names of a kind of device are looked up once; if there is no
/// name for its vendor, they are looked up again with each reading. For one thread at a time.
class UsbReader {
  public:
    /// Reads nothing yet.
    /// @param sysfs  path of the kernel's device tree ("/sys")
    UsbReader(std::string sysfs, UsbNamer namer) : sysfs_(std::move(sysfs)), namer_(std::move(namer)) {}
    /// Reads the devices. Can block: the kernel locks a device's texts while the device is reset. Devices that are
    /// unplugged meanwhile are skipped. `problem` is set when there are no devices at all.
    [[nodiscard]] Reading<UsbDevice> read();

  private:
    /// The names of a kind of device, looked up or cached.
    [[nodiscard]] UsbNames namesOf(uint32_t vendor, uint32_t product);
    /// Reads one device. Nothing when it has been unplugged, or the folder isn't a device's.
    /// @param name  of its folder
    [[nodiscard]] std::optional<UsbDevice> readDevice(const std::string& name);

    std::string sysfs_;
    UsbNamer namer_;
    std::map<std::pair<uint32_t, uint32_t>, UsbNames> names_;  ///< by vendor and product
};

/// {24, 6}: the USB devices, root hubs included. contracts/devices.h has the fields and the form of the ids.
class UsbDevices : public WatchedTable<UsbDevice> {
  public:
    static constexpr std::chrono::seconds kMaxAge{1};
    static constexpr IdRange kIds{1, 0x40000};

    /// @param sysfs  path of the kernel's device tree ("/sys")
    /// @param namer  runs on the helper thread; replaced by tests
    explicit UsbDevices(const std::string& sysfs, const UsbNamer& namer = lookUpUsb);

  protected:
    void writeEntry(const UsbDevice& device, tn::message& item) const override;
};

}  // namespace hostd
