#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "hostd/source/watched_table.h"

namespace hostd {

struct UsbDevice {
    std::string key;      ///< name and number: a device plugged in anew is another
    std::string name;     ///< the kernel's: "1-1.4", "usb1"
    uint32_t bus = 0;     ///< from 1
    uint32_t number = 0;  ///< on its bus, 1 to 127; another one each time it is plugged in
    std::string maker;    ///< as the device says
    std::string product;
    std::string serial;     ///< empty for many
    std::string makerName;  ///< as the list of ids says
    std::string modelName;

    static constexpr uint32_t kBuses = 0x800;  ///< more than the kernel has
    static constexpr uint32_t kNumbers = 0x80;
    [[nodiscard]] uint32_t likedId() const { return bus * kNumbers + number; }
};

/// The names of a device by its numbers; what isn't known is empty.
struct UsbNames {
    std::string maker;
    std::string model;
};
using UsbNamer = std::function<UsbNames(uint32_t vendor, uint32_t product)>;

/// Asks udev's hardware database (hwdb(7)), which Debian makes of the list of USB ids.
[[nodiscard]] UsbNames lookUpUsb(uint32_t vendor, uint32_t product);

/// Reads the devices in SYSFS/bus/usb. Their own texts stay locked while a device is being reset, so it can block.
/// Names are looked up when a device is new, and again as long as it has none.
class UsbReader {
  public:
    UsbReader(std::string sysfs, UsbNamer namer) : sysfs_(std::move(sysfs)), namer_(std::move(namer)) {}
    [[nodiscard]] Reading<UsbDevice> read();

  private:
    [[nodiscard]] UsbNames namesOf(uint32_t vendor, uint32_t product);
    /// Nothing when it went away meanwhile, or is none.
    [[nodiscard]] std::optional<UsbDevice> readDevice(const std::string& name);

    std::string sysfs_;
    UsbNamer namer_;
    std::map<std::pair<uint32_t, uint32_t>, UsbNames> names_;  ///< by vendor and product
};

/// {24, 6}: the USB devices, root hubs included. An id says bus and number, as lsusb(8) does: 128 for each bus.
class UsbDevices : public WatchedTable<UsbDevice> {
  public:
    static constexpr uint64_t kMaxAge = 1000;  ///< ms
    static constexpr IdRange kIds{1, 0x40000};

    explicit UsbDevices(const std::string& sysfs, const UsbNamer& namer = lookUpUsb);

  protected:
    void list(const UsbDevice& device, tn::message& item) const override;
};

}  // namespace hostd
