#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "tn/handler.h"

namespace hostd {

/// {99, 6}: switches the power of the USB ports off and on again; contracts/devices.h has the command. The work happens
/// on a helper thread, since drivers can block. A port that can't be written is logged, and the others are switched. If
/// no thread can be started, the request is refused and no port is touched.
class UsbReset : public tn::Handler {
  public:
    /// @param isAllowed  false to refuse every reset
    UsbReset(std::string sysfs, bool isAllowed) : sysfs_(std::move(sysfs)), isAllowed_(isAllowed) {}
    /// Ends a reset under way: switches the ports on and waits for that.
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
