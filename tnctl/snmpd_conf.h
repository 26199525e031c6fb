#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tnctl/command_file.h"

namespace tnctl {

/// A line that has no counterpart in the agent's settings.
struct Untranslated {
    size_t line = 0;
    std::string directive;
    std::string reason;
};

struct SnmpdConf {
    std::vector<FileCommand> commands;  ///< each with the line that it comes from
    std::vector<Untranslated> untranslated;
};

/// Translates the configuration of Net-SNMP's agent, snmpd.conf(5), into the commands of a settings file: communities,
/// users, trap receivers, contact and location. What can't be expressed exactly isn't translated: a line that restricts
/// access never becomes one that grants more. Accepts any text.
[[nodiscard]] SnmpdConf translateSnmpdConf(std::string_view text);

}  // namespace tnctl
