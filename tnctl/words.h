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

/// How the values of a word are written, sent and shown.
struct ValueType {
    std::string_view expected;  ///< completes "expected ..." in errors and help
    /// Puts the value into field `number`; false, nothing put, when the text isn't one.
    bool (*parse)(std::string_view text, uint32_t number, tn::message& out);
    /// The value of field `number` as JSON; the human text is made from it.
    Json (*show)(const tn::message& in, uint32_t number);
    bool secret = false;
};

/// One WORD of WORD=VALUE: parser, printer and help in one row.
struct Word {
    std::string_view name;
    std::string_view heading;  ///< of its column in listings
    const ValueType& type;
    uint32_t number;  ///< of the message field it stands for; the type gives the kind
    std::string_view help;
    bool settable = true;
};

/// Turns what stands behind the = of a secret word into the secret.
using ReadSecret = std::function<std::string(const Word& word, std::string_view value)>;

/// Reads WORD=VALUE arguments into a message with just the fields they name. Secrets are read last, so that nobody
/// types a password in vain. Ends the command (exit code 2) with what was expected when a word is unknown, given twice,
/// or its value isn't one.
[[nodiscard]] tn::message parseWords(std::span<const Word> words, const std::vector<std::string>& arguments,
                                     const ReadSecret& readSecret);

/// The message as a JSON object, one member for each word, secrets as "***" unless they may be shown.
[[nodiscard]] Json showWords(std::span<const Word> words, const tn::message& in, bool secrets);

/// The settable words with their values and meanings, one on each line.
[[nodiscard]] std::string helpOnWords(std::span<const Word> words);

}  // namespace tnctl
