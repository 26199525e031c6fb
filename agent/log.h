#pragma once

#include "tn/log.h"

namespace snmp {

/// Request log (system log, topic 20). Muted without --log-requests, because its lines contain communities, and these
/// are secrets.
extern tn::lstream slog;
/// Debug log (system log, topic 20, level 5): the steps of each request. Muted without --debug.
extern tn::lstream dlog;
/// Faults that are logged on standard output, in the journal as warnings. Other faults go to swarn.
extern tn::lstream soutWarn;

using tn::serr;
using tn::sout;
using tn::swarn;

}  // namespace snmp
