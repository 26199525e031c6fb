#pragma once

#include "agent/mib/context.h"
#include "agent/security/item.h"
#include "tn/address.h"

namespace snmp {

/// Reads a v3 request up to its PDU, checks it (RFC 3414, 3.2), and writes the reply up to its PDU. A fault is stored
/// in c.v3Error and counted, and the reply will be a Report. A strict agent (V3ServerInfo::isStrict) checks the digest
/// before the time and before it decrypts, and doesn't sign a Report to an unauthenticated request.
/// @param entry  receives the user's access entry; nullptr if the user isn't known
/// @return false if the request is dropped
bool admitUser(Context& c, const tn::IPAddr6& source, const Item*& entry);

/// Whether this PDU may be answered with a Report. A Response, Report or trap may not: two engines could otherwise send
/// each other Reports forever.
[[nodiscard]] bool isReportable(uint8_t pduType);

/// Appends the varbind of a Report: the counter of c.v3Error, which must not be None. Always NoError.
ErrorStatus snmpV3(Context& c);

/// Completes the reply after its PDU: encrypts, closes and signs it.
/// @return false if that fails or the reply is too large; it must not be sent then
bool closeV3(Context& c, const Item* entry);

}  // namespace snmp
