#pragma once

#include <vector>

#include "tn/address.h"
#include "tn/message.h"

namespace tnctl {

/// A prefix as an element of contracts::snmp::community::Addresses: IPv4 with its mask, which may have holes, IPv6 with
/// its length.
[[nodiscard]] tn::message prefixMessage(const tn::IPPrefix6& prefix);

/// The prefixes of such a list, in order. Elements without a prefix are skipped, as the agent does.
[[nodiscard]] std::vector<tn::IPPrefix6> prefixesOf(const std::vector<tn::message>& list);

}  // namespace tnctl
