#pragma once

#include "tn/message.h"
#include "tnctl/words.h"

namespace tnctl {

/// Reads the password behind the = of a word: "-" is a line of standard input (asked for, without echo, at a terminal),
/// "@FILE" the first line of a file, anything else the password itself. Ends the command when there is none to read.
[[nodiscard]] std::string readPassword(const Console& console, const Word& word, std::string_view value);

/// Refuses a change (exit code 2) after which a community would have a password of less than 8 characters where one is
/// given, or needed by its security level: keys of such passwords are soon guessed (RFC 3414, 11.2).
/// @param current  the community as it stands, empty for one to be added
void checkPasswords(const tn::message& current, const tn::message& change);

}  // namespace tnctl
