#pragma once

#include "agent/mib/context.h"

namespace snmp {

// Each function answers the current varbind of the request, whose name is c.oid. It finds the branch that serves the
// name, splits the name into prefix and rest, and calls the branch, which appends the answer to c.out. The branch may
// consume the varbinds after it as well (Context::peek). A name that no branch serves gives NoSuchName in all versions;
// a Get with Rules::hasExceptions gives noSuchObject instead.

// To snmpGet and snmpSet, a name outside the view is one that no branch serves. snmpGetNextGetBulk doesn't know views.

ErrorStatus snmpGet(Context& c);
ErrorStatus snmpGetNextGetBulk(Context& c);
ErrorStatus snmpSet(Context& c);
/// Whether snmpSet can be expected to succeed. Changes nothing. A name that no branch serves gives NoCreation,
/// one outside the view NoAccess (RFC 3416, 4.2.5).
ErrorStatus snmpCheckSet(Context& c);

}  // namespace snmp
