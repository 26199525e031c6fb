#pragma once

#include <linux/rtnetlink.h>

#include <algorithm>
#include <cstring>
#include <span>

#include "hostd/netlink/attributes.h"

namespace hostd {

/// Calls `call` with each next hop in an RTA_MULTIPATH: its header (const rtnexthop&) and its attributes (const
/// Attributes<RTA_VIA>&). A malformed header ends the list.
template <class Call>
void forEachHop(std::span<const uint8_t> octets, const Call& call) {
    rtnexthop header{};
    while (octets.size() >= sizeof header) {
        std::memcpy(&header, octets.data(), sizeof header);
        if (header.rtnh_len < sizeof header || header.rtnh_len > octets.size()) return;
        call(header, Attributes<RTA_VIA>(octets.first(header.rtnh_len).subspan(sizeof header)));
        octets = octets.subspan(std::min<size_t>(RTNH_ALIGN(header.rtnh_len), octets.size()));
    }
}

}  // namespace hostd
