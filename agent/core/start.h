#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>
#include <string>

#include "agent/core/snmp_looper.h"

namespace snmp {

/// The agent's own options; tn::addCommonOptions adds those of every daemon.
struct Options {
    uint16_t port = 161;
    uint16_t trapPort = kTrapPort;
    std::string plugins;  ///< folder to search before tn::pluginFolders(); empty: none
    bool strictUsm = false;
    bool standard = false;
    bool logRequests = false;
    bool debug = false;
};

void addOptions(CLI::App& app, Options& options);

/// Creates the agent.
[[nodiscard]] std::unique_ptr<SnmpLooper> makeAgent(const Options& options);

/// Begins the trials of the plug-ins that runAgent() is to load: while the process has one thread (see tryPlugins).
void beginTrials(const SnmpLooper& agent, const Options& options);

/// Registers the agent's own objects; those of plug-ins follow.
void startModules();

/// Listens on the bus, loads the settings, registers all objects, starts the trap generators, and runs the loop. Owners
/// in the same process are added before.
/// @return exit status of the process; 1 if the agent's bus socket can't be opened
int runAgent(SnmpLooper& agent);

}  // namespace snmp
