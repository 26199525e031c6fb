#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tn/message.h"

namespace snmp {

/// A source of notifications that become traps, such as the interfaces of this machine.
struct TrapGenerator {
    std::string name;       ///< shown by `tnctl snmp trap list`
    void (*subscribe)();    ///< appends its maker to `trapMakers` and subscribes to its owner's notifications
    void (*unsubscribe)();  ///< reverses subscribe(); does nothing if it wasn't called
};

/// All generators. Modules and plug-ins append theirs at start, and none is ever removed: its index is its id in the
/// settings and in undo records. (The name of this list is fixed.)
extern std::vector<TrapGenerator> scribers;

/// Calls subscribe() of the generators with these ids, in this order, and logs each. Ids without a generator are
/// skipped: contracts::snmp::trap::kStartTrap, and those of plug-ins that were removed.
void startSubscribers(const std::vector<uint32_t>& wanted);
/// Calls unsubscribe() of all generators, then startSubscribers().
void restartSubscribers(const std::vector<uint32_t>& wanted);

/// The filter of the subscriptions: all changes of status, of all interfaces.
[[nodiscard]] tn::message notifyFilterMsg();

}  // namespace snmp
