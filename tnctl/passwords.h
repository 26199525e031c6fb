#pragma once

#include "tn/message.h"
#include "tnctl/words.h"

namespace tnctl {

/// The password that the value of a word names: "-" is a line of standard input (at a terminal with a prompt and
/// without echo), "@FILE" the first line of a file, anything else the password itself. Throws Failure (exit code 2)
/// when there is no line to read.
[[nodiscard]] std::string readPassword(const Console& console, const Word& word, std::string_view value);

/// Throws Failure (exit code 2) for a change that sets a password of less than 8 octets, or a security level that such
/// a password would serve: keys of short passwords are soon guessed (RFC 3414, 11.2). The text names the word, never
/// the password.
/// @param current  the community as listed now; empty for one to be added
void checkPasswords(const tn::message& current, const tn::message& change);

}  // namespace tnctl
