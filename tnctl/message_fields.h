#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tn/message.h"

namespace tnctl {

/// The syntax of a field on the command line, for error texts.
constexpr std::string_view kFieldSyntax = "NUMBER:KIND=VALUE";

/// Parses fields written as NUMBER:KIND=VALUE into a message. Kinds:
///
///     bool        yes, no                     u32, u64   decimal or 0x...
///     be32        IPv4 address or number      addr6      IPv6 or IPv4 address
///     string      the text as it is           raw        hexadecimal, two digits an octet
///     message     {FIELD FIELD ...}           u32[] be32[] string[] message[]   values separated by commas
///
/// Throws Failure (kUsage) for a syntax error, for a field given twice, and for a field that the bus sets (destination,
/// source, command, request ids and so on) outside nested messages. The text says what was expected. It never repeats a
/// value, which may be a secret.
[[nodiscard]] tn::message parseFields(const std::vector<std::string>& texts);

}  // namespace tnctl
