#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace hostd {

/// Brings a link up or down. Returns why that failed, or an empty string.
using LinkSwitch = std::function<std::string(uint32_t index, bool isUp)>;

/// Changes IFF_UP of a link (RTM_NEWLINK, rtnetlink(7)); needs CAP_NET_ADMIN. Waits for the kernel's answer.
[[nodiscard]] std::string switchLink(uint32_t index, bool isUp);

}  // namespace hostd
