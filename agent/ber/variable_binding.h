#pragma once

#include <cstdint>
#include <string>

#include "agent/ber/oid.h"

namespace snmp {

/// A varbind of a notification, its value as text: see OutStream::addByType for the types and their text.
struct VariableBinding {
    OID name;
    uint32_t type = 0;  ///< tag of the value
    std::string value;
};

}  // namespace snmp
