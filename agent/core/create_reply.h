#pragma once

#include "agent/mib/context.h"
#include "tn/address.h"

namespace snmp {

/// Reads one message and writes its answer, in one pass. True when c.out is a whole message to send; false when nothing
/// must be sent: what can't be parsed, admitted or dispatched is dropped with a log line.
bool createReply(Context& c, const tn::IPAddr6& source);

}  // namespace snmp
