#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "tn/handler.h"

namespace hostd {

/// {99, 6}: switches the power of the USB ports off and on again. contracts/devices.h has the command. A helper thread
/// does the work, since drivers can block. Ports are switched by their attribute `disable` in SYSFS, which needs root.
/// If a port can't be switched, that is logged and the others are switched nevertheless.
class UsbReset : public tn::Handler {
  public:
    /// @param sysfs      path of the kernel's device tree ("/sys")
    /// @param isAllowed  false to refuse resets
    UsbReset(std::string sysfs, bool isAllowed) : sysfs_(std::move(sysfs)), isAllowed_(isAllowed) {}
    /// Ends a reset in progress early: waits until the ports are switched on.
    ~UsbReset() override = default;
    UsbReset(const UsbReset&) = delete;
    UsbReset& operator=(const UsbReset&) = delete;

    /// kSwitchOff. The reply comes when the helper thread has been started. error::Refused, with no port switched, in
    /// the cases of the contract and when no thread can be started.
    tn::message cmdUnknown(const tn::message& request, uint32_t command) override;

  private:
    std::string sysfs_;
    bool isAllowed_;
    std::atomic<bool> isBusy_ = false;  ///< a reset is in progress
    std::jthread work_;                 ///< the last member, so that the thread ends before the others are destroyed
};

}  // namespace hostd
