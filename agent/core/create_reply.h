#pragma once

#include "agent/mib/context.h"
#include "tn/address.h"

namespace snmp {

/// Reads the message in c.in and writes the reply to c.out, in one pass. Counts the request in `statistics`.
/// @param source  address of the sender
/// @return true if c.out is a complete message to send. False if the request is dropped: it can't be parsed, its sender
///         isn't admitted, or its PDU type isn't served. c.out is then unusable. Reasons go to the request log and the
///         debug log, which are muted by default, and, once a minute for each cause and source, to standard error; a
///         bad v3 message is also dumped there
bool createReply(Context& c, const tn::IPAddr6& source);

}  // namespace snmp
