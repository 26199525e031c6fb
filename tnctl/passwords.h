#pragma once

#include <optional>
#include <string>

#include "tn/message.h"
#include "tnctl/words.h"

namespace tnctl {

/// The password for the value of a word: for "-" a line of standard input (at a terminal with a prompt and without
/// echo), for "@FILE" the first line of a file, for "@@TEXT" the text "@TEXT", else the value itself. Throws Failure
/// (kUsage) if there is no line to read; at a terminal the password is then empty.
[[nodiscard]] std::string readPassword(const Console& console, const Word& word, std::string_view value);

/// Adds the passwords that a user's security level needs and that it doesn't have yet: for `file`, one on each line,
/// the authentication password first ("-" is standard input); without a file, typed twice each, without echo. Throws
/// Failure (kUsage) if lines are missing, there is no terminal, or the two differ.
/// @param user  fields of contracts::snmp::community
void fillPasswords(const Console& console, const std::optional<std::string>& file, tn::message& user);

/// Throws Failure (kUsage) for a change that sets a password of less than 8 octets, or a security level that uses such
/// a password: keys from short passwords are easy to guess (RFC 3414, 11.2). The text names the word and never shows
/// the password.
/// @param current  the community as listed; empty for a new one
void checkPasswords(const tn::message& current, const tn::message& change);

}  // namespace tnctl
