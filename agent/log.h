#pragma once

#include "tn/log.h"

namespace snmp {

/// Request log (system log, topic 20). Muted until --log-requests: its lines name every caller's community.
extern tn::lstream slog;
/// Debug log (topic 20, level 5). Muted until --debug.
extern tn::lstream dlog;

using tn::serr;
using tn::sout;

}  // namespace snmp
