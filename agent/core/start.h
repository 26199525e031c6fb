#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <memory>

#include "agent/core/snmp_looper.h"

namespace snmp {

/// The agent's command line, beside the options that every daemon has.
struct Options {
    uint16_t port = 161;
    uint16_t trapPort = kTrapPort;
    bool strictUsm = false;
    bool logRequests = false;
    bool debug = false;
};

void addOptions(CLI::App& app, Options& options);

/// Makes the agent. Owners that live in the same process are added to it before it runs.
[[nodiscard]] std::unique_ptr<SnmpLooper> makeAgent(const Options& options);

/// Registers what the agent serves, plug-ins excepted.
void startModules();

/// Takes the agent's place on the bus, loads its settings, registers what it serves, and runs it. @return exit status
int runAgent(SnmpLooper& agent);

}  // namespace snmp
