#pragma once

#include "tn/log.h"

namespace hostd {

/// The owners' log for operators: sources that failed, changes that were refused, child processes that crashed.
inline const tn::lstream hostLog(21);

}  // namespace hostd
