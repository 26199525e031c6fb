#pragma once

#include "agent/mib/context.h"
#include "agent/security/item.h"
#include "tn/address.h"

namespace snmp {

/// Reads a v3 request up to its PDU, checks it (RFC 3414, 3.2), and begins the reply up to its own PDU. What is wrong
/// is left in c.v3Error and counted: the reply is then a Report. A strict agent (V3ServerInfo::strictDigest) checks the
/// digest first, and signs no Report to an unauthenticated request.
/// @param entry  the user's, nullptr for one that isn't known
/// @return false when nothing must be sent
bool admitUser(Context& c, const tn::IPAddr6& source, const Item*& entry);

/// Whether a Report may answer this PDU. One to a Response, Report or trap could be answered in turn, and so on for
/// ever.
[[nodiscard]] bool isReportable(uint8_t pduType);

/// Writes the varbind of a Report: the counter of c.v3Error.
ErrorStatus snmpV3(Context& c);

/// Ends the reply behind its PDU: encrypts, closes and signs it. False when nothing must be sent.
bool closeV3(Context& c, const Item* entry);

}  // namespace snmp
