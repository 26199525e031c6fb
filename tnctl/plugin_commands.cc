#include "tnctl/plugin_commands.h"

#include <filesystem>
#include <ostream>
#include <set>
#include <utility>
#include <vector>

#include "contracts/snmp.h"
#include "contracts/snmp_status.h"
#include "tnctl/client.h"
#include "tnctl/failure.h"
#include "tnctl/listing.h"
#include "tnctl/nearest.h"

namespace tnctl {

namespace setting = contracts::snmp::setting;
namespace snmp_status = contracts::snmp_status;

namespace {

std::string nameOf(const tn::message& plugin) {
    return std::filesystem::path(plugin.get_string(tn::field::Name)).stem();
}

std::vector<tn::message> pluginsOf(const Client& client) {
    return client.ask(snmp_status::kPath, tn::cmd::Get).get_message_array(snmp_status::Plugins);
}

/// What the plug-in does now and, if a switch has changed that since, from the next start on.
std::string stateOf(const tn::message& plugin) {
    const std::string fault = plugin.get_string(snmp_status::Text);
    const bool isOff = plugin.get_bool(tn::field::Disabled);
    if (fault == snmp_status::kDisabled) return isOff ? "disabled" : "disabled until the agent's next start";
    const std::string now = fault.empty() ? "loaded" : "not loaded: " + fault;
    return isOff ? now + " (disabled from the agent's next start on)" : now;
}

}  // namespace

void listPlugins(const Session& session) {
    std::vector<Json> rows;
    for (const tn::message& plugin : pluginsOf(Client(session.options.timeout)))
        rows.push_back({{"name", nameOf(plugin)},
                        {"state", stateOf(plugin)},
                        {"serves", plugin.get_string_array(snmp_status::Serves)},
                        {"file", plugin.get_string(tn::field::Name)}});
    printList(session, {{"PLUG-IN", "name"}, {"STATE", "state"}, {"FILE", "file"}, {"SERVES", "serves"}}, rows);
}

void switchPlugin(const Session& session, const std::string& name, bool isEnabled) {
    const Client client(session.options.timeout);
    std::vector<std::string> off =
        client.ask(contracts::snmp::kSettingsPath, tn::cmd::Get).get_string_array(setting::DisabledPlugins);
    std::set<std::string> names(off.begin(), off.end());
    for (const tn::message& plugin : pluginsOf(client)) names.insert(nameOf(plugin));
    if (!names.contains(name)) {
        const std::vector<std::string_view> known(names.begin(), names.end());
        throw Failure(kFailed,
                      "no plug-in is called " + name +
                          (known.empty() ? ": the agent has none" : ": expected " + expectedOneOf(name, known)));
    }
    std::erase(off, name);
    if (!isEnabled) off.push_back(name);
    tn::message change;
    change.insert_string_array(setting::DisabledPlugins, std::move(off));
    client.ask(contracts::snmp::kSettingsPath, tn::cmd::Set, std::move(change));
    session.console.out << name << (isEnabled ? " is enabled" : " is disabled") << " from the agent's next start on\n";
}

}  // namespace tnctl
