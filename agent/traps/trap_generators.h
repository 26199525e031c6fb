#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tn/message.h"

namespace snmp {

/// A source of notifications that become traps, such as the links of this machine. Subscribing adds its trap maker to
/// `trapMakers` and subscribes to its owner; unsubscribing reverses that, and does nothing where there is nothing to
/// reverse.
struct TrapGenerator {
    std::string name;  ///< what `tnctl snmp trap list` calls it
    void (*subscribe)();
    void (*unsubscribe)();
};

/// All of them. Modules and plug-ins append theirs at start and never remove one: the index is the id by which the
/// settings and undo records name a generator. (The name of this list is fixed.)
extern std::vector<TrapGenerator> scribers;

/// Subscribes to the generators of these ids, in order, with a log line each. Ids without a generator are skipped:
/// contracts::snmp::trap::kStartTrap, and those of plug-ins that are gone.
void startSubscribers(const std::vector<uint32_t>& wanted);
/// Unsubscribes from every generator, subscribed or not, then starts those of these ids.
void restartSubscribers(const std::vector<uint32_t>& wanted);

/// The filter with which generators subscribe to another handler's notifications.
[[nodiscard]] tn::message notifyFilterMsg();

}  // namespace snmp
