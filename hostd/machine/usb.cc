#include "hostd/machine/usb.h"

#include <systemd/sd-hwdb.h>

#include <cstdio>
#include <memory>

#include "contracts/devices.h"
#include "hostd/source/sysfs.h"
#include "hostd/table/row_text.h"

namespace hostd {

namespace usb_devices = contracts::usb_devices;

namespace {

std::string hex(const char* format, uint32_t number) {
    char text[32];
    const int size = std::snprintf(text, sizeof text, format, number);
    return {text, static_cast<size_t>(size)};
}

const std::string& firstOf(const std::string& a, const std::string& b, const std::string& c) {
    return !a.empty() ? a : !b.empty() ? b : c;
}

}  // namespace

UsbNames lookUpUsb(uint32_t vendor, uint32_t product) {
    sd_hwdb* opened = nullptr;
    if (sd_hwdb_new(&opened) < 0) return {};
    const std::unique_ptr<sd_hwdb, decltype(&sd_hwdb_unref)> database(opened, sd_hwdb_unref);
    const std::string device = hex("usb:v%04X", vendor) + hex("p%04X", product);
    const auto get = [&](const char* key) -> std::string {
        const char* value = nullptr;
        return sd_hwdb_get(database.get(), device.c_str(), key, &value) < 0 ? "" : value;
    };
    return {get("ID_VENDOR_FROM_DATABASE"), get("ID_MODEL_FROM_DATABASE")};
}

UsbNames UsbReader::namesOf(uint32_t vendor, uint32_t product) {
    if (const auto found = names_.find({vendor, product}); found != names_.end()) return found->second;
    UsbNames names = namer_(vendor, product);
    if (!names.maker.empty()) names_[{vendor, product}] = names;
    return names;
}

std::optional<UsbDevice> UsbReader::readDevice(const std::string& name) {
    const std::string at = sysfs_ + "/bus/usb/devices/" + name + "/";
    const auto bus = readNumber(at + "busnum", 10);
    const auto number = readNumber(at + "devnum", 10);
    const auto vendor = readNumber(at + "idVendor", 16);
    const auto product = readNumber(at + "idProduct", 16);
    if (!bus || !number || !vendor || !product) return {};
    if (*bus >= UsbDevice::kBuses || *number >= UsbDevice::kNumbers) return {};

    const std::string maker = readAttribute(at + "manufacturer");
    const std::string model = readAttribute(at + "product");
    const UsbNames known = namesOf(*vendor, *product);
    const std::string vendorNumber = hex("Vendor %04x", *vendor);
    const std::string productNumber = hex("Device %04x", *product);
    UsbDevice device;
    device.key = name + " " + std::to_string(*number);
    device.name = name;
    device.bus = *bus;
    device.number = *number;
    device.maker = firstOf(maker, known.maker, vendorNumber);
    device.product = firstOf(model, known.model, productNumber);
    device.serial = readAttribute(at + "serial");
    device.makerName = firstOf(known.maker, maker, vendorNumber);
    device.modelName = firstOf(known.model, model, productNumber);
    return device;
}

Reading<UsbDevice> UsbReader::read() {
    Reading<UsbDevice> reading;
    for (const std::string& name : namesIn(sysfs_ + "/bus/usb/devices")) {
        if (name.find(':') != std::string::npos) continue;  // an interface of a device
        if (auto device = readDevice(name)) reading.rows.push_back(std::move(*device));
    }
    if (reading.rows.empty()) reading.problem = "none found";
    return reading;
}

UsbDevices::UsbDevices(const std::string& sysfs, const UsbNamer& namer)
    : WatchedTable(
          "USB devices", [reader = std::make_shared<UsbReader>(sysfs, namer)] { return reader->read(); }, kMaxAge,
          kIds) {}

void UsbDevices::writeEntry(const UsbDevice& device, tn::message& item) const {
    insertText(item, usb_devices::Name, device.name);
    insertText(item, usb_devices::Maker, device.maker);
    insertText(item, usb_devices::Product, device.product);
    insertText(item, usb_devices::Serial, device.serial);
    insertText(item, usb_devices::MakerName, device.makerName);
    insertText(item, usb_devices::ModelName, device.modelName);
}

}  // namespace hostd
