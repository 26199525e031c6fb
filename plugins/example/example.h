#pragma once

#include <array>
#include <cstdint>

#include "agent/mib/columns.h"
#include "tn/fields.h"

/// A plug-in with the three things that most plug-ins consist of. Its objects are under the enterprise number that
/// RFC 5612 reserves for documentation.
namespace example {

constexpr auto kExample = snmp::under(snmp::kInternet, 4, 1, 32473);

void startLoad();        ///< scalars: { kExample 1 }
void startSpares();      ///< a table, and the owner of its rows: { kExample 2 }
void startSpareTraps();  ///< a trap when a row changes: { kExample 3 }

constexpr auto kSpareEntry = snmp::under(kExample, 2, 1);
constexpr unsigned int kNameColumn = 2, kCountColumn = 3;

/// Contract of the spare parts' owner, {34, 1000}. The path is under the agent's own number, so that no other socket is
/// needed. 0 to 999 are reserved for the agent.
namespace spares {
inline constexpr std::array<uint32_t, 2> kPath = {tn::number::Snmp, 1000};

inline constexpr tn::string_id Name{1};  ///< what the part is
inline constexpr tn::u32_id Count{2};    ///< how many are on the shelf
}  // namespace spares

}  // namespace example
