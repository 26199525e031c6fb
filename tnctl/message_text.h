#pragma once

#include <iosfwd>

#include "tn/message.h"
#include "tnctl/session.h"

namespace tnctl {

enum class Secrets { Hide, Show };

/// The fields as a JSON object. Members are called as fields are written on the command line, "NUMBER:KIND"; raw octets
/// are hexadecimal text. Hide puts "***" for the passwords of communities, at whatever depth.
[[nodiscard]] Json messageJson(const tn::message& m, Secrets secrets);

/// The same object for people: a line for each field, its name behind it where it is a system field, nested messages
/// indented.
void printFields(std::ostream& out, const Json& fields, size_t indent = 0);

}  // namespace tnctl
