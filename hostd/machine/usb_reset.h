#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "tn/handler.h"

namespace hostd {

/// {99, 6}: kSwitchOff takes the power from the ports of all root hubs for usb_reset::Seconds, so that what is plugged
/// in there starts anew, when that was allowed on the command line. It is answered at once; the rest happens on a
/// thread, since drivers are asked. error::Refused when it isn't allowed, while one is under way, when the time isn't 1
/// to kMostSeconds, when there is no port that can be switched, and when no thread is to be had.
class UsbReset : public tn::Handler {
  public:
    UsbReset(std::string sysfs, bool isAllowed) : sysfs_(std::move(sysfs)), isAllowed_(isAllowed) {}
    /// Switches on what is off.
    ~UsbReset() override = default;
    UsbReset(const UsbReset&) = delete;
    UsbReset& operator=(const UsbReset&) = delete;

    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

  private:
    std::string sysfs_;
    bool isAllowed_;
    std::atomic<bool> isBusy_ = false;
    std::jthread work_;  ///< last, so that it ends before the rest goes
};

}  // namespace hostd
