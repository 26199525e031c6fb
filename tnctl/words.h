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
    /// Parses the text into field `number`. False, with `out` unchanged, if it isn't a value of this type.
    bool (*parse)(std::string_view text, uint32_t number, tn::message& out);
    /// The value of field `number` as JSON. cellText makes text for people from it.
    Json (*show)(const tn::message& in, uint32_t number);
    bool secret = false;  ///< typed through ReadSecret, shown as ***, never repeated in errors
};

/// One KEY of KEY=VALUE: its type, field and help in one row.
struct Word {
    std::string_view name;
    std::string_view heading;  ///< of its column in listings; empty if it is in none
    const ValueType& type;
    uint32_t number;        ///< of its message field; `type` determines the kind
    std::string_view help;  ///< its meaning, for --help
    bool settable = true;   ///< false: shown only
};

/// Returns the secret for the value of a secret word (readPassword).
using ReadSecret = std::function<std::string(const Word& word, std::string_view value)>;

/// Parses KEY=VALUE arguments into a message with the fields of these words. Secrets are read last, so that no
/// password is typed in vain. Throws Failure (kUsage), which says what was expected, for a word that is unknown, not
/// settable or given twice, and for an invalid value.
[[nodiscard]] tn::message parseWords(std::span<const Word> words, const std::vector<std::string>& arguments,
                                     const ReadSecret& readSecret);

/// The message as a JSON object with one member for each word. An absent field is shown as false, 0, empty or none.
/// @param secrets  false: secrets that aren't empty are shown as "***"
[[nodiscard]] Json showWords(std::span<const Word> words, const tn::message& in, bool secrets);

/// The settable words with their values and meanings, one per line, for --help.
[[nodiscard]] std::string helpOnWords(std::span<const Word> words);

}  // namespace tnctl
