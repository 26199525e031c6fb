#pragma once

#include <cstdint>
#include <string>

#include "agent/ber/oid.h"

namespace snmp {

/// A varbind of a trap, with its value as text: OutStream::addByType says which types there are and what their text is.
struct VariableBinding {
    OID name;
    uint32_t type = 0;  ///< BER tag of the value
    std::string value;
};

}  // namespace snmp
