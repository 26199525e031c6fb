#include "agent/core/start.h"
#include "tn/daemon.h"
#include "tn/options.h"

int main(int argc, char** argv) {
    CLI::App app("SNMP agent that fetches its data over the message bus", "tarnix-snmpd");
    snmp::Options options;
    tn::addCommonOptions(app);
    snmp::addOptions(app, options);
    if (const auto status = tn::parseOptions(app, argc, argv)) return *status;

    constexpr uint32_t kNumber = tn::number::Snmp;
    if (!tn::startDaemon({&kNumber, 1})) return 1;
    const auto agent = snmp::makeAgent(options);
    snmp::beginTrials(*agent, options);
    return snmp::runAgent(*agent);
}
