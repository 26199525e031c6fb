#pragma once

#include "agent/mib/context.h"

namespace snmp {

// One varbind of a request each: finds the branch that serves c.oid, splits the name and lets the branch append the
// answer. A name that nobody serves is NoSuchName in every version.

ErrorStatus snmpGet(Context& c);
ErrorStatus snmpGetNextGetBulk(Context& c);
ErrorStatus snmpSet(Context& c);

}  // namespace snmp
