#pragma once

namespace snmp {

/// usmStats of SNMP-USER-BASED-SM-MIB (RFC 3414, 5); its objects are numbered as V3Error, from 1.
constexpr unsigned int kUsmStats[] = {1, 3, 6, 1, 6, 3, 15, 1, 1};

/// Registers usmStats: what Reports tell can be asked for, too.
void start_usm_module();

}  // namespace snmp
