#pragma once

#include "agent/mib/context.h"

namespace snmp {

/// Performs and answers a Set as RFC 3416, 4.2.5 has it: all varbinds, or none. First every varbind is checked, then
/// every one is set. If one fails after all, those before it get their old values again.
/// @return the error, with c.bindingIndex; UndoFailed, with 0, if the old values couldn't be restored
ErrorStatus answerSet(Context& c);

}  // namespace snmp
