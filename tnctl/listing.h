#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "tnctl/session.h"

namespace tnctl {

struct Column {
    std::string_view heading;
    std::string_view key;  ///< member of each row that stands in it
};

/// A value as people read it: yes and no, numbers, escaped text, lists with commas, "-" for what is empty.
[[nodiscard]] std::string cellText(const Json& value);

/// The JSON text of a value, with octets that aren't UTF-8 replaced.
[[nodiscard]] std::string jsonText(const Json& value, int indent = 2);

/// Rows (JSON objects) as a JSON array or as aligned columns under their headings.
void printList(const Session& session, const std::vector<Column>& columns, const std::vector<Json>& rows);

/// One object, as JSON or as one "name  value" line for each member.
void printObject(const Session& session, const Json& object);

}  // namespace tnctl
