#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

#include "tn/handler.h"

namespace tnctl {

/// JSON whose members stay in the order of insertion, which is that of the columns.
using Json = nlohmann::ordered_json;

/// The streams of a command.
struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool interactive = false;  ///< `in` is a terminal, so the user can be prompted
};

/// The options of the command line, except those that take effect at once.
struct Options {
    bool json = false;     ///< print JSON instead of text
    bool yes = false;      ///< don't ask for confirmation before granting access to all addresses
    bool force = false;    ///< accept passwords that are too short or missing
    bool secrets = false;  ///< show passwords
    std::chrono::milliseconds timeout = tn::kExchangeTimeout;  ///< of each exchange
};

/// The environment of a command. The console outlives the command.
struct Session {
    Console& console;
    Options options;
};

}  // namespace tnctl
