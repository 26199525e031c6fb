#pragma once

#include <linux/if_link.h>

#include <array>
#include <cstdint>
#include <map>
#include <string_view>

namespace hostd {

/// The counters of one link in /proc/net/dev, in its order.
using NetDevCounters = std::array<uint64_t, 16>;

/// The links in the text of /proc/net/dev, by name. Ignores lines that aren't of its form.
/// @return  valid as long as the text
[[nodiscard]] std::map<std::string_view, NetDevCounters> parseNetDev(std::string_view text);

/// Updates the counters of a link. Those that /proc/net/dev only has as part of a sum (the kinds of receive errors and
/// of carrier errors, and the packets missed for lack of buffers) stay as they are.
void updateCounters(const NetDevCounters& read, rtnl_link_stats64& counters);

}  // namespace hostd
