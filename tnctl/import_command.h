#pragma once

#include <string>

#include "tnctl/session.h"

namespace tnctl {

/// Prints the configuration as commands (settingsText); as a JSON array of lines with --json.
void exportSettings(const Session& session);

struct ImportOptions {
    std::string file;          ///< "-" is standard input
    bool isDryRun = false;     ///< change nothing
    bool isSnmpdConf = false;  ///< the file is an snmpd.conf
};
/// Prints what the file changes and applies it as one change, after the confirmations that its commands need. Throws
/// Failure, with nothing changed; for a faulty line its text begins with FILE:LINE.
void importSettings(const Session& session, const ImportOptions& options);

/// The settings of a new agent, as one change.
void resetSettings(const Session& session);

}  // namespace tnctl
