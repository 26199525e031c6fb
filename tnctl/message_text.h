#pragma once

#include <iosfwd>

#include "tn/message.h"
#include "tnctl/session.h"

namespace tnctl {

/// Whether passwords of communities are shown or replaced by "***".
enum class Secrets { Hide, Show };

/// The fields as a JSON object, in the message's order. Member names are NUMBER:KIND as on the command line; raw octets
/// are hexadecimal text. Secrets::Hide applies to nested messages, too.
[[nodiscard]] Json messageJson(const tn::message& m, Secrets secrets);

/// Prints an object of messageJson for people: one line for each field, with the name of a system field; nested
/// messages are indented.
/// @param indent  number of spaces before each line
void printFields(std::ostream& out, const Json& fields, size_t indent = 0);

}  // namespace tnctl
