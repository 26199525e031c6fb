#pragma once

#include <array>
#include <cstdint>

#include "tn/fields.h"

/// {1, 2}: how old the data is that the owners hold. hostd/source/readings.h owns it. Get-all lists the sources that
/// they read on helper threads, and the kernel's tables that they follow. Ids aren't fixed: a source is known by its
/// tn::field::Name, as in the log. Needs only the right to read.
namespace contracts::readings {

inline constexpr std::array<uint32_t, 2> kPath = {tn::number::Supervisor, 2};

/// ms since the last reading that succeeded, at least in part, began. Of a table that is followed, ms since it was last
/// known to be current. Absent before the first reading.
inline constexpr tn::u64_id Age{1};
/// The last reading failed or found only a part, or it hasn't ended for 90 s.
inline constexpr tn::bool_id Failing{2};
inline constexpr tn::string_id Text{3};  ///< why it fails; at most 1,000 octets

}  // namespace contracts::readings
