#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace hostd {

/// Brings the link with this ifindex up or down. Returns an empty string on success, otherwise the reason of the
/// failure.
using LinkSwitch = std::function<std::string(uint32_t index, bool isUp)>;

/// Sets or clears IFF_UP of a link (RTM_NEWLINK, rtnetlink(7)). Needs CAP_NET_ADMIN. Waits for the kernel's reply, for
/// NetlinkSocket::kTimeout at most; the link may still change after a timeout.
[[nodiscard]] std::string switchLink(uint32_t index, bool isUp);

}  // namespace hostd
