#pragma once

#include <array>
#include <cstdint>

#include "agent/mib/columns.h"
#include "tn/fields.h"

/// A plug-in that shows the three things most plug-ins are made of. Its objects lie under the enterprise number that
/// RFC 5612 keeps for examples.
namespace example {

constexpr auto kExample = snmp::under(snmp::kInternet, 4, 1, 32473);

void startLoad();        ///< scalars: { kExample 1 }
void startSpares();      ///< a table, and the owner of its rows: { kExample 2 }
void startSpareTraps();  ///< a trap when a row changes: { kExample 3 }

constexpr auto kSpareEntry = snmp::under(kExample, 2, 1);
constexpr unsigned int kNameColumn = 2, kCountColumn = 3;

/// {34, 1000}: the spare parts, as their owner and its clients know them. It is below the agent's own number, so that
/// no other socket is needed; 0 to 999 are the agent's.
namespace spares {
inline constexpr std::array<uint32_t, 2> kPath = {tn::number::Snmp, 1000};

inline constexpr tn::string_id Name{1};  ///< what it is
inline constexpr tn::u32_id Count{2};    ///< how many are on the shelf
}  // namespace spares

}  // namespace example
