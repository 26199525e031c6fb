#include "agent/core/start.h"

#include "agent/core/plugins.h"
#include "agent/log.h"
#include "agent/modules/bridge_module.h"
#include "agent/modules/entity_module.h"
#include "agent/modules/health_module.h"
#include "agent/modules/host_module.h"
#include "agent/modules/interface_module.h"
#include "agent/modules/ip_module.h"
#include "agent/modules/system_module.h"
#include "agent/modules/usm_module.h"
#include "agent/modules/vendor_module.h"
#include "agent/modules/vm_module.h"
#include "agent/traps/trap_generators.h"
#include "contracts/supervisor.h"
#include "tn/paths.h"
#include "tn/sources.h"

namespace snmp {

namespace {

namespace supervisor = contracts::supervisor;

constexpr std::chrono::milliseconds kStartupTrapAfter{100};
constexpr std::chrono::milliseconds kLatePluginInterval{100};

void announce(SnmpLooper& agent) {
    tn::message m;
    m.insert_vector(tn::field::Destination, supervisor::kPath);
    m.insert_u32(supervisor::Number, tn::number::Snmp);
    agent.sendCmd(std::move(m), supervisor::kAnnounce);
}

/// Loads the late plug-ins when their trials are over, and subscribes to their trap generators.
void followLatePlugins(SnmpLooper& agent) {
    const size_t known = scribers.size();
    const bool isLeft = loadLatePlugins();
    if (scribers.size() > known) restartSubscribers(agent.settings().get(setting::TrapGenerators));
    if (isLeft) agent.addTimer([&agent] { followLatePlugins(agent); }, kLatePluginInterval);
}

}  // namespace

void addOptions(CLI::App& app, Options& options) {
    app.add_option("--port", options.port, "UDP port of the SNMP service")
        ->check(CLI::Range(1, 65535))
        ->option_text("N [161]");
    app.add_option("--trap-port", options.trapPort, "UDP port of trap targets without a port")
        ->check(CLI::Range(1, 65535))
        ->option_text("N [162]");
    app.add_flag(
        "--strict-usm", options.strictUsm,
        "Reject SNMPv3 messages whose digest is shorter or longer than its protocol requires, and never sign a "
        "Report to an unauthenticated message. Without it, users can be impersonated and passwords guessed offline");
    app.add_flag(
        "--standard", options.standard,
        "Answer as RFC 3416, RFC 3412 and RFC 3414 require, and v1 as RFC 1157 requires; includes --strict-usm. "
        "Without it, answers differ where managers and scripts for Tarnix routers depend on it");
    app.add_option("--plugins", options.plugins, "Load the plug-ins of this folder, too, before the installed ones")
        ->check(CLI::ExistingDirectory)
        ->option_text("DIR");
    app.add_flag("--log-requests", options.logRequests,
                 "Log two lines for each request: its source, and its community or user");
    app.add_flag("--debug", options.debug, "Log the steps of each request");
}

std::unique_ptr<SnmpLooper> makeAgent(const Options& options) {
    slog.mute(!options.logRequests);
    dlog.mute(!options.debug);
    serr << "loop = new SnmpLooper();";  // compat: 103
    auto agent = std::make_unique<SnmpLooper>(options.port, options.trapPort);
    agent->v3Server().strictDigest = options.strictUsm;
    if (options.standard) agent->setRules(kStandardRules);
    return agent;
}

void startModules() {
    start_system_module();
    start_host_module();
    start_vendor_module();
    start_ip_module();
    start_bridge_module();
    start_interface_module();
    start_entity_module();
    start_health_module();
    start_vm_module();
    start_usm_module();
}

void beginTrials(const SnmpLooper& agent, const Options& options) {
    const Settings settings = agent.storedSettings();
    const auto& disabled = settings.get(setting::DisabledPlugins);
    if (!options.plugins.empty()) tryPlugins(options.plugins, disabled, startModules);
    for (const std::string& folder : tn::pluginFolders()) tryPlugins(folder, disabled, startModules);
}

int runAgent(SnmpLooper& agent) {
    if (!agent.listen()) return 1;
    serr << "loop->init();";
    agent.init();
    startModules();
    loadPlugins(tn::sinceBoot() + kPluginTime);
    trapMakers.push_back(alderTrapMaker);
    startSubscribers(agent.settings().get(setting::TrapGenerators));
    followLatePlugins(agent);
    agent.addTimer([&agent] { agent.startup(); }, kStartupTrapAfter);
    announce(agent);
    return agent.run();
}

}  // namespace snmp
