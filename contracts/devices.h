#pragma once

#include <array>
#include <cstdint>

#include "tn/ids.h"

/// {24, 5}: the PCI devices. hostd/machine/pci.h owns them. The id of a device in PCI domain 0 is its address: 8 bits
/// of bus, 5 of device, 3 of function. Ids in other domains begin at 0x10000.
namespace contracts::pci_devices {

inline constexpr std::array<uint32_t, 2> kPath = {24, 5};

// Fields: source

inline constexpr tn::string_id Name{1};       ///< the kernel's name: domain:bus:device.function
inline constexpr tn::string_id Model{2};      ///< pci.ids, by SYSFS/bus/pci/devices/NAME/device; or "Device 100e"
inline constexpr tn::string_id Maker{3};      ///< pci.ids, by .../vendor; or "Vendor 8086"
inline constexpr tn::string_id MakerName{4};  ///< as Maker
inline constexpr tn::string_id ModelName{5};  ///< as Model

}  // namespace contracts::pci_devices

/// {24, 6}: the USB devices, root hubs included. hostd/machine/usb.h owns them. An id is 128 times the bus number plus
/// the device number, both as lsusb(8) shows them. If neither the device nor the hardware database has a text, it is
/// made from the USB id: "Vendor 1d6b", "Device 0002".
namespace contracts::usb_devices {

inline constexpr std::array<uint32_t, 2> kPath = {24, 6};

// Fields: source

inline constexpr tn::string_id Name{1};       ///< the kernel's name, SYSFS/bus/usb/devices/NAME
inline constexpr tn::string_id Maker{2};      ///< .../manufacturer, or else as MakerName
inline constexpr tn::string_id Product{3};    ///< .../product, or else as ModelName
inline constexpr tn::string_id Serial{4};     ///< .../serial; absent for many
inline constexpr tn::string_id MakerName{8};  ///< hwdb(7) by .../idVendor, or else as Maker
inline constexpr tn::string_id ModelName{9};  ///< hwdb(7) by .../idProduct, or else as Product

}  // namespace contracts::usb_devices

/// {99, 6}: the power of the USB ports. hostd/machine/usb_reset.h owns it.
namespace contracts::usb_reset {

inline constexpr std::array<uint32_t, 2> kPath = {99, 6};

/// Command: switches all ports of the root hubs off for Seconds, so that the devices in them restart. The reply doesn't
/// wait for that. tn::error::Refused if the command line doesn't allow it, a reset is under way, Seconds isn't 1 to
/// kMaxSeconds, no port can be switched, or the helper thread can't be started.
inline constexpr uint32_t kSwitchOff = 1;
inline constexpr tn::u32_id Seconds{1};  ///< s without power
inline constexpr uint32_t kMaxSeconds = 300;

}  // namespace contracts::usb_reset
