#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tn/message.h"

namespace snmp {

/// A trap generator: something in the system whose notifications become traps. Its index in `scribers` is what the
/// settings name; modules append theirs at start.
struct Scriber {
    std::string name;
    void (*subscribe)();
    void (*unsubscribe)();
};

extern std::vector<Scriber> scribers;

/// What the settings name beside the indices: the trap at the agent's start, which needs no subscription.
constexpr uint32_t kStartTrap = 0xabc0001;

/// Subscribes to each generator of the list; indices beyond the table are skipped.
void startSubscribers(const std::vector<uint32_t>& wanted);
/// Stops every generator, then starts those of the list.
void restartSubscribers(const std::vector<uint32_t>& wanted);

/// The filter generators pass when they subscribe to another handler's notifications.
[[nodiscard]] tn::message notifyFilterMsg();

}  // namespace snmp
