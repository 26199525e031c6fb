#pragma once

#include <span>
#include <string>
#include <vector>

#include "tnctl/command_file.h"
#include "tnctl/configuration.h"
#include "tnctl/words.h"

namespace tnctl {

/// A command of a settings file, with its words checked: one of those that `tnctl export` writes.
struct SettingsStep {
    enum class Kind { Reset, Set, Add, Change, Remove };
    size_t line = 0;
    Kind kind = Kind::Reset;
    std::string name;       ///< of the entry to change or remove: name or id
    tn::message fields;     ///< of a Set, Add or SetObj; references as typed (value_types.h)
    bool isForced = false;  ///< --force: passwords may be short or missing
};

/// Checks commands: snmp reset, snmp set, snmp community add, set and remove, each with or without "tnctl" before it.
/// Throws LineFault.
[[nodiscard]] std::vector<SettingsStep> parseSettings(const std::vector<FileCommand>& commands,
                                                      const ReadSecret& readSecret);

/// Applies commands in their order to a configuration. An entry that is added takes the place of the one with the same
/// name. Throws LineFault, with the configuration unspecified, for an unknown name and for what the commands refuse.
void applySettings(std::span<const SettingsStep> steps, Configuration& configuration, const ReferenceNames& names);

/// The commands that make this configuration, one per line.
/// @param secrets  false: passwords are left out, and comments name them
[[nodiscard]] std::string settingsText(const Configuration& configuration, const ReferenceNames& names, bool secrets);

}  // namespace tnctl
