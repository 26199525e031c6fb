#pragma once

#include <vector>

#include "tn/address.h"
#include "tn/message.h"

namespace tnctl {

/// A prefix as an element of a community's address list: IPv4 with its mask, which may have holes, IPv6 with its
/// length.
[[nodiscard]] tn::message prefixMessage(const tn::IPPrefix6& prefix);

/// The prefixes of an address list, in order; elements that hold none are left out.
[[nodiscard]] std::vector<tn::IPPrefix6> prefixesOf(const std::vector<tn::message>& list);

}  // namespace tnctl
