#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

#include "tn/handler.h"

namespace tnctl {

/// JSON that keeps the order of insertion, so that it reads like the columns.
using Json = nlohmann::ordered_json;

/// The streams of a command.
struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool interactive = false;  ///< `in` is a terminal, at which questions can be asked
};

/// The options of the command line that apply to commands.
struct Options {
    bool json = false;     ///< print JSON instead of text
    bool yes = false;      ///< don't ask for confirmation before granting access to all addresses
    bool force = false;    ///< accept passwords that are too short
    bool secrets = false;  ///< show passwords
    std::chrono::milliseconds timeout = tn::kExchangeTimeout;  ///< for one exchange
};

/// What every command gets.
struct Session {
    Console& console;
    Options options;
};

}  // namespace tnctl
