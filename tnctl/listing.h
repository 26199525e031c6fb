#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

/// A column of printList.
struct Column {
    std::string_view heading;
    std::string_view key;  ///< member of the rows that it shows
};

/// A value as text: booleans as yes and no, strings escaped (tn::escaped), arrays with commas, "-" for an empty value
/// or null.
[[nodiscard]] std::string cellText(const Json& value);

/// A duration in its two largest units: "3h12m".
[[nodiscard]] std::string ageText(uint64_t seconds);

/// The JSON text of a value. Octets that aren't UTF-8 are replaced by U+FFFD. A negative indent gives one line.
[[nodiscard]] std::string jsonText(const Json& value, int indent = 2);

/// Prints rows, which are JSON objects: with --json as an array with all members, else as these columns under their
/// headings.
void printList(const Session& session, const std::vector<Column>& columns, const std::vector<Json>& rows);

/// Prints one object: with --json as JSON, else one "name  value" line for each member.
void printObject(const Session& session, const Json& object);

}  // namespace tnctl
