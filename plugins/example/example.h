#pragma once

#include <array>
#include <cstdint>

#include "agent/mib/columns.h"
#include "tn/fields.h"

/// A plug-in with the three parts that most plug-ins have. Its objects are under the enterprise number that RFC 5612
/// reserves for documentation.
namespace example {

constexpr auto kExample = snmp::under(snmp::kInternet, 4, 1, 32473);

// Called once, from autorun().
void startLoad();        ///< adds scalars: { kExample 1 }
void startSpares();      ///< adds a table and the owner of its rows: { kExample 2 }
void startSpareTraps();  ///< sends a trap when a row is added or changed: { kExample 3 }

constexpr auto kSpareEntry = snmp::under(kExample, 2, 1);
constexpr unsigned int kNameColumn = 2, kCountColumn = 3;

/// Contract of the owner of spare parts, {34, 1000}. The path begins with the agent's number, so that no other socket
/// is needed. {34, 0} to {34, 999} are reserved for the agent.
namespace spares {
inline constexpr std::array<uint32_t, 2> kPath = {tn::number::Snmp, 1000};

inline constexpr tn::string_id Name{1};  ///< what the part is
inline constexpr tn::u32_id Count{2};    ///< how many are on the shelf
}  // namespace spares

}  // namespace example
