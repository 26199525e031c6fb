#pragma once

#include <cstdint>
#include <vector>

#include "agent/mib/columns.h"

/// A plug-in that shows the three things most plug-ins are made of. Its objects lie under the enterprise number that
/// RFC 5612 keeps for examples.
namespace example {

constexpr auto kExample = snmp::under(snmp::kInternet, 4, 1, 32473);

void startLoad();        ///< scalars: { kExample 1 }
void startSpares();      ///< a table, and the owner of its rows: { kExample 2 }
void startSpareTraps();  ///< a trap when a row changes: { kExample 3 }

// Spare parts, as the bus and the table know them.
extern const std::vector<uint32_t> kSparesPath;
constexpr auto kSpareEntry = snmp::under(kExample, 2, 1);
constexpr unsigned int kNameColumn = 2, kCountColumn = 3;
constexpr tn::string_id kName{1};
constexpr tn::u32_id kCount{2};

}  // namespace example
