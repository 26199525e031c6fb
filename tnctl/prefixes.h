#pragma once

#include <vector>

#include "tn/address.h"
#include "tn/message.h"

namespace tnctl {

/// A prefix as an element of contracts::snmp::community::Addresses: IPv4 with its mask, which may be non-contiguous, or
/// IPv6 with its length.
[[nodiscard]] tn::message prefixMessage(const tn::IPPrefix6& prefix);

/// The prefixes in a list of such elements, in order. Elements without a prefix are skipped, as in the agent.
[[nodiscard]] std::vector<tn::IPPrefix6> prefixesOf(const std::vector<tn::message>& list);

}  // namespace tnctl
