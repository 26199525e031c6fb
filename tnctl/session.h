#pragma once

#include <iosfwd>
#include <nlohmann/json.hpp>

#include "tn/handler.h"

namespace tnctl {

/// Keeps the order of insertion, so that JSON reads like the columns.
using Json = nlohmann::ordered_json;

/// The streams a command talks through.
struct Console {
    std::istream& in;
    std::ostream& out;
    std::ostream& err;
    bool interactive = false;  ///< somebody sits at the other end of `in` and can be asked
};

/// What the options of the command line say.
struct Options {
    bool json = false;
    bool yes = false;      ///< don't ask before letting everyone in
    bool force = false;    ///< take passwords that are too short
    bool secrets = false;  ///< show passwords
    std::chrono::milliseconds timeout = tn::kExchangeTimeout;
};

struct Session {
    Console& console;
    Options options;
};

}  // namespace tnctl
