#pragma once

#include "agent/mib/columns.h"

/// The whole of IF-MIB (RFC 2863), from the kernel and the drivers.
namespace ifx {

constexpr auto kIfMibObjects = snmp::under(snmp::kMib2, 31, 1);

// Called once, from autorun().
void startInterfaces();  ///< ifTable, ifXTable
void startStack();       ///< ifStackTable, ifStackLastChange, ifTableLastChange

}  // namespace ifx
