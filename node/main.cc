#include "agent/core/start.h"
#include "hostd/owners.h"
#include "hostd/supervisor/end_process.h"
#include "tn/daemon.h"
#include "tn/options.h"

namespace {

/// Runs the agent and the owners. @return exit status
int serve(int argc, char** argv) {
    CLI::App app("SNMP agent and Linux host data in one process", "tarnix-node");
    snmp::Options agentOptions;
    hostd::Options hostOptions;
    tn::addCommonOptions(app);
    snmp::addOptions(app, agentOptions);
    hostd::addOptions(app, hostOptions);
    if (const auto leave = tn::parseOptions(app, argc, argv)) return *leave;

    hostd::Owners owners(hostOptions);
    std::vector<uint32_t> numbers = owners.numbers();
    numbers.push_back(tn::number::Snmp);
    if (!tn::startDaemon(numbers)) return 1;

    const auto agent = snmp::makeAgent(agentOptions);
    snmp::beginTrials(*agent, agentOptions);  // before threads are started
    owners.addTo(*agent);                     // before the agent runs, because it queries the version text at startup
    return snmp::runAgent(*agent);
}

}  // namespace

int main(int argc, char** argv) { hostd::endProcess(serve(argc, argv)); }
