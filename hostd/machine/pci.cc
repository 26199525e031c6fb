#include "hostd/machine/pci.h"

extern "C" {
#include <pci/pci.h>
}

#include <array>
#include <charconv>
#include <csetjmp>
#include <cstdlib>
#include <memory>

#include "contracts/devices.h"
#include "hostd/source/sysfs.h"
#include "hostd/table/row_text.h"

namespace hostd {

namespace pci_devices = contracts::pci_devices;

namespace {

// If its list is damaged, libpci calls its error function and terminates the process if that returns. So ours jumps
// back (giveUp). Once the list has been read, the only error is a lack of memory, which ends the process (endProcess).
thread_local std::jmp_buf gaveUp;
__attribute__((noreturn)) void giveUp(char*, ...) { std::longjmp(gaveUp, 1); }
__attribute__((noreturn)) void endProcess(char*, ...) { std::abort(); }
void saysNothing(char*, ...) {}

/// Reads the list of names. False when it can't be read to its end: the names up to that point are then available.
bool loadNames(pci_access* access) {
    access->method = PCI_ACCESS_SYS_BUS_PCI;  // avoids probing for methods: only the names are used
    access->error = giveUp;
    access->warning = saysNothing;
    access->debug = saysNothing;
    bool isWhole = false;
    if (setjmp(gaveUp) == 0) {
        pci_init(access);
        isWhole = pci_load_name_list(access) != 0;
    }
    access->error = endProcess;
    return isWhole;
}

/// The name for numbers of a vendor or device; a text with the numbers when the list doesn't have it.
/// @param what  PCI_LOOKUP_VENDOR or PCI_LOOKUP_DEVICE
template <class... Ids>
std::string lookUp(pci_access* access, int what, Ids... ids) {
    std::array<char, kMaxText> text{};
    // Not in udev's database: it has the same names, and where it is missing, libpci leaks memory in each look-up.
    const int flags = what | PCI_LOOKUP_NO_HWDB;
    const char* found = pci_lookup_name(access, text.data(), text.size(), flags, ids...);
    return found == nullptr ? "" : found;
}

/// A device's preferred id, from its name "domain:bus:device.function" in hexadecimal. Nothing if the name has another
/// form.
std::optional<uint32_t> placeOf(const std::string& name) {
    constexpr std::string_view kEnds{"::.\0", 4};
    std::array<uint32_t, 4> numbers{};
    const char* at = name.data();
    for (size_t i = 0; i < numbers.size(); ++i) {
        const auto [end, failed] = std::from_chars(at, name.data() + name.size(), numbers[i], 16);
        if (failed != std::errc() || *end != kEnds[i]) return {};
        at = end + 1;
    }
    const auto& [domain, bus, device, function] = numbers;
    if (bus > 0xff || device > 0x1f || function > 7) return {};
    return (domain == 0 ? 0 : PciDevices::kOtherDomains.first) | bus << 8 | device << 3 | function;
}

}  // namespace

std::string PciReader::readNames(const std::map<std::string, Ids>& devices) {
    const std::unique_ptr<pci_access, decltype(&pci_cleanup)> access(pci_alloc(), pci_cleanup);
    if (!ids_.empty()) pci_set_name_list_path(access.get(), ids_.data(), 0);
    const bool isWhole = loadNames(access.get());
    for (const auto& [name, ids] : devices) {
        const auto& [vendor, device] = ids;
        names_[ids] = {lookUp(access.get(), PCI_LOOKUP_VENDOR, vendor),
                       lookUp(access.get(), PCI_LOOKUP_DEVICE, vendor, device)};
    }
    return isWhole ? "" : "pci.ids is missing or damaged: showing numbers instead of names";
}

Reading<PciDevice> PciReader::read() {
    const std::string folder = sysfs_ + "/bus/pci/devices";
    std::map<std::string, Ids> devices;
    bool isNew = false;
    for (const std::string& name : namesIn(folder)) {
        const auto vendor = readNumber(folder + "/" + name + "/vendor", 16);
        const auto device = readNumber(folder + "/" + name + "/device", 16);
        if (!vendor || !device) continue;  // just unplugged
        devices[name] = {*vendor, *device};
        isNew = isNew || !names_.contains({*vendor, *device});
    }
    const auto now = std::chrono::steady_clock::now();
    if (isNew || (!problem_.empty() && now - namesRead_ >= retryInterval_)) {
        problem_ = readNames(devices);
        namesRead_ = now;
    }

    Reading<PciDevice> reading{devices.empty() ? "none found" : problem_, {}};
    for (const auto& [name, ids] : devices)
        if (const auto place = placeOf(name))
            reading.rows.push_back({name, *place, names_[ids].maker, names_[ids].model});
    return reading;
}

PciDevices::PciDevices(const std::string& sysfs, const std::string& ids)
    : WatchedTable(
          "PCI devices", [reader = std::make_shared<PciReader>(sysfs, ids)] { return reader->read(); }, kMaxAge,
          kOtherDomains) {}

void PciDevices::writeEntry(const PciDevice& device, tn::message& item) const {
    insertText(item, pci_devices::Name, device.key);
    insertText(item, pci_devices::Model, device.model);
    insertText(item, pci_devices::Maker, device.maker);
    insertText(item, pci_devices::MakerName, device.maker);
    insertText(item, pci_devices::ModelName, device.model);
}

}  // namespace hostd
