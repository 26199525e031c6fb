#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tn/message.h"

namespace tnctl {

/// How a field is written on the command line, for error texts.
constexpr std::string_view kFieldSyntax = "NUMBER:KIND=VALUE";

/// Reads fields written as NUMBER:KIND=VALUE into a message. Kinds:
///
///     bool        yes, no                     u32, u64   decimal or 0x...
///     be32        IPv4 address or number      addr6      IPv6 or IPv4 address
///     string      the text as it is           raw        hexadecimal, two digits an octet
///     message     {FIELD FIELD ...}           u32[] be32[] string[] message[]   values between commas
///
/// Throws Failure (exit code 2) that says what was expected and never repeats a value, which may be a secret: for bad
/// syntax, for a field given twice, and for fields that route the request (destination, source, command, request ids),
/// which only nested messages may hold.
[[nodiscard]] tn::message parseFields(const std::vector<std::string>& texts);

}  // namespace tnctl
