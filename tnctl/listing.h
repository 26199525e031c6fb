#pragma once

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

/// A value as text: yes and no, numbers, text with escapes for what isn't printable, lists with commas, "-" for an
/// empty value and for null.
[[nodiscard]] std::string cellText(const Json& value);

/// The JSON text of a value, with octets that aren't UTF-8 replaced. A negative indent gives one line.
[[nodiscard]] std::string jsonText(const Json& value, int indent = 2);

/// Prints rows (JSON objects): all their members as a JSON array with --json, else these columns, aligned under their
/// headings.
void printList(const Session& session, const std::vector<Column>& columns, const std::vector<Json>& rows);

/// Prints one object: as JSON with --json, else one "name  value" line for each member.
void printObject(const Session& session, const Json& object);

}  // namespace tnctl
