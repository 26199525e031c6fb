#include "hostd/machine/usb_reset.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <system_error>
#include <vector>

#include "contracts/devices.h"
#include "hostd/log.h"
#include "hostd/source/sysfs.h"

namespace hostd {

namespace usb_reset = contracts::usb_reset;

namespace {

/// The paths of the switches of all root hubs' ports: SYSFS/bus/usb/devices/N-0:1.0/usbN-portM/disable (Linux 6.0 and
/// later). The files aren't read, since the kernel would query the hub for that.
std::vector<std::string> switchesOf(const std::string& sysfs) {
    std::vector<std::string> switches;
    const std::string folder = sysfs + "/bus/usb/devices/";
    for (const std::string& hub : namesIn(folder)) {
        if (hub.find("-0:") == std::string::npos) continue;
        for (const std::string& port : namesIn(folder + hub)) {
            const std::string at = folder + hub + "/" + port + "/disable";
            if (port.find("-port") != std::string::npos && ::access(at.c_str(), F_OK) == 0) switches.push_back(at);
        }
    }
    return switches;
}

/// Writes a value to all switches: "1" for off, "0" for on. Logs the switches that can't be written.
void write(const std::vector<std::string>& switches, const char* value) {
    for (const std::string& at : switches)
        if (std::ofstream file(at); !(file << value << std::flush))
            hostLog << "USB reset: not written: " << at << ": " << value;
}

tn::message refused(const std::string& why) { return tn::errorMsg(tn::error::Refused, why); }

}  // namespace

tn::message UsbReset::cmdUnknown(const tn::message& request, uint32_t command) {
    if (command != usb_reset::kSwitchOff) return Handler::cmdUnknown(request, command);
    if (!isAllowed_) {
        hostLog << "USB reset refused: --allow-usb-reset isn't set";
        return refused("USB reset not allowed: the daemon runs without --allow-usb-reset");
    }
    const uint32_t seconds = request.get_u32(usb_reset::Seconds);
    if (seconds < 1 || seconds > usb_reset::kMaxSeconds)
        return refused("USB reset: expected 1 to " + std::to_string(usb_reset::kMaxSeconds) + " seconds");
    if (isBusy_) return refused("a USB reset is already in progress");
    auto switches = switchesOf(sysfs_);
    if (switches.empty()) return refused("this machine has no USB port that can be switched off");

    hostLog << "USB reset requested: " << switches.size() << " ports without power for " << seconds << " s";
    isBusy_ = true;
    const auto work = [this, seconds, switches = std::move(switches)](const std::stop_token& stop) {
        write(switches, "1");
        std::mutex mutex;
        std::unique_lock lock(mutex);
        std::condition_variable_any().wait_for(lock, stop, std::chrono::seconds(seconds), [] { return false; });
        write(switches, "0");
        isBusy_ = false;
    };
    try {
        work_ = std::jthread(work);
    } catch (const std::system_error& failure) {
        isBusy_ = false;
        hostLog << "USB reset: not started: " << failure.what();
        return refused(std::string("USB reset: ") + failure.what());
    }
    return {};
}

}  // namespace hostd
