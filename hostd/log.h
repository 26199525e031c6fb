#pragma once

#include "tn/log.h"

namespace hostd {

/// What operators should see of the owners: sources that went away, refused changes, children that crashed.
inline const tn::lstream hostLog(21);

}  // namespace hostd
