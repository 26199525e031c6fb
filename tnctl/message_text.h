#pragma once

#include <iosfwd>

#include "tn/message.h"
#include "tnctl/session.h"

namespace tnctl {

/// Whether passwords of communities are shown or replaced by "***".
enum class Secrets { Hide, Show };

/// The fields as a JSON object, in the message's order. Member names are as on the command line, "NUMBER:KIND"; raw
/// octets are hexadecimal text. Secrets::Hide covers nested messages, too.
[[nodiscard]] Json messageJson(const tn::message& m, Secrets secrets);

/// Prints such an object for people: one line for each field, system fields followed by their name, nested messages
/// indented.
void printFields(std::ostream& out, const Json& fields, size_t indent = 0);

}  // namespace tnctl
