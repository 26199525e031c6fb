#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tn/message.h"
#include "tnctl/session.h"

namespace tnctl {

/// How the values of a word are typed, sent and shown.
struct ValueType {
    std::string_view expected;  ///< completes "expected ..." in errors and help
    /// Puts the value into field `number`. False, with `out` unchanged, when the text isn't a value of this type.
    bool (*parse)(std::string_view text, uint32_t number, tn::message& out);
    /// The value of field `number` as JSON, from which the text for people is made.
    Json (*show)(const tn::message& in, uint32_t number);
    bool secret = false;  ///< read with ReadSecret, shown as ***, never repeated in errors
};

/// One KEY of KEY=VALUE: its type, field and help in one row.
struct Word {
    std::string_view name;
    std::string_view heading;  ///< of its column in listings; empty for one that is in no listing
    const ValueType& type;
    uint32_t number;        ///< of its message field; the type gives the kind
    std::string_view help;  ///< its meaning, in a line of --help
    bool settable = true;   ///< false: shown only
};

/// Turns the value typed for a secret word into the secret.
using ReadSecret = std::function<std::string(const Word& word, std::string_view value)>;

/// Parses KEY=VALUE arguments into a message with exactly the fields that they name. Secrets are read last, so that no
/// password is typed in vain. Throws Failure (exit code 2) that says what was expected, for a word that is unknown, not
/// settable or given twice, and for a wrong value.
[[nodiscard]] tn::message parseWords(std::span<const Word> words, const std::vector<std::string>& arguments,
                                     const ReadSecret& readSecret);

/// The message as a JSON object with one member for each word; absent fields as empty values, secrets as "***" unless
/// `secrets`.
[[nodiscard]] Json showWords(std::span<const Word> words, const tn::message& in, bool secrets);

/// The settable words with their meanings and types, one per line, for --help.
[[nodiscard]] std::string helpOnWords(std::span<const Word> words);

}  // namespace tnctl
