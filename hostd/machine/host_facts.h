#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "tn/handler.h"

namespace hostd {

/// {24, 1020}: users and boot parameters. contracts/host.h has the fields.
class HostFacts : public tn::Handler {
  public:
    /// @param proc  path of the kernel's process tree ("/proc")
    /// @param utmp  path of the file of sessions (utmp(5))
    HostFacts(std::string proc, std::string utmp) : proc_(std::move(proc)), utmp_(std::move(utmp)) {}
    tn::message cmdGet(const tn::message& request) override;

  private:
    std::string proc_;
    std::string utmp_;
};

}  // namespace hostd
