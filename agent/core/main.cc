#include "agent/core/start.h"
#include "tn/options.h"

int main(int argc, char** argv) {
    CLI::App app("Tarnix SNMP agent", "tarnix-snmpd");
    snmp::Options options;
    tn::addCommonOptions(app);
    snmp::addOptions(app, options);
    CLI11_PARSE(app, argc, argv);

    const auto agent = snmp::makeAgent(options);
    return snmp::runAgent(*agent);
}
