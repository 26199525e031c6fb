#pragma once

#include <chrono>
#include <vector>

#include "tn/message.h"
#include "tnctl/session.h"

namespace tnctl {

/// The owners of the agent's data: those of tarnix-hostd, and others that the agent has queried, in the order of their
/// paths. Each is asked for its rights, which its process answers from memory: that shows whether it answers, and how
/// fast.
/// @param queried  elements of contracts::snmp_status::Owners
/// @param timeout  of each exchange
/// @return for each owner {path, name, answers, errors, timed-out, absent, answered, last-error, reply-ms,
///         reply-error}; only one of the last two isn't null. `answered` is null before the first reply
[[nodiscard]] std::vector<Json> probeOwners(const std::vector<tn::message>& queried, std::chrono::milliseconds timeout);

}  // namespace tnctl
