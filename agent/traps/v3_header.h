#pragma once

#include "agent/ber/v3_info.h"
#include "agent/security/item.h"

namespace snmp {

/// The header of a notification that a user sends: its flags, a digest of zeros, a new salt of the agent's. Without
/// msgID and without an authoritative engine.
/// @param level  one of security_level
[[nodiscard]] V3Info notificationHeader(const Item& user, uint32_t level, V3ServerInfo& engine);

}  // namespace snmp
