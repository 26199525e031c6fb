#include "tnctl/import_command.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <istream>
#include <iterator>
#include <ostream>
#include <utility>
#include <vector>

#include "contracts/snmp.h"
#include "tn/log.h"
#include "tnctl/access.h"
#include "tnctl/configuration.h"
#include "tnctl/differences.h"
#include "tnctl/failure.h"
#include "tnctl/listing.h"
#include "tnctl/passwords.h"
#include "tnctl/settings_file.h"
#include "tnctl/snmpd_conf.h"

namespace tnctl {

namespace setting = contracts::snmp::setting;

namespace {

std::string contents(const Session& session, const std::string& name) {
    if (name == "-") return {std::istreambuf_iterator<char>(session.console.in), {}};
    errno = 0;
    std::ifstream file(name, std::ios::binary);
    std::string text(std::istreambuf_iterator<char>(file), {});
    if (!file.is_open() || errno == EISDIR) throw Failure(kFailed, tn::escaped(name) + ": " + std::strerror(errno));
    return text;
}

std::string passwordInFile(const Session& session, const Word& word, std::string_view value) {
    if (value == "-") throw Failure(kUsage, std::string(word.name) + ": expected a password or @FILE");
    return readPassword(session.console, word, value);
}

// Everything that the change lets in, and that was refused before.
std::vector<Access> accessGained(const Configuration& before, const Configuration& after) {
    std::vector<Access> gained;
    if (!after.settings.get_bool(setting::Enabled)) return gained;
    const bool wasOn = before.settings.get_bool(setting::Enabled);
    for (const tn::message& entry : after.entries) {
        const tn::message* old = entryWithId(before.entries, idOf(entry));
        if (!wasOn || old == nullptr || !isSameEntry(*old, entry)) gained.push_back(accessOf(entry));
    }
    return gained;
}

void confirmChange(const Session& session, const Configuration& before, const Configuration& after) {
    (void)confirmAccess(session, accessGained(before, after));
    const std::string engine = before.settings.get_string(setting::EngineId);
    if (engine.empty() || engine == after.settings.get_string(setting::EngineId)) return;
    // Users that are added have no keys yet.
    std::vector<tn::message> users;
    for (const tn::message& entry : before.entries)
        if (entryWithId(after.entries, idOf(entry)) != nullptr) users.push_back(entry);
    confirmEngineId(session, users);
}

std::string_view outcome(const AgentAccess& agent, bool isDryRun, bool isChanged) {
    if (!isChanged) return "no differences";
    if (isDryRun) return "nothing changed: --dry-run";
    return agent.isRunning() ? "applied; tnctl undo reverts it"
                             : "stored: no agent is running, it applies this when it starts";
}

void applyCommands(const Session& session, const std::vector<SettingsStep>& steps, bool isDryRun, Json& result) {
    const AgentAccess agent(session, WithoutStores::UseDefaults);
    Configuration next = agent.configuration();
    applySettings(steps, next, agent.names());
    ReferenceNames names = agent.names();
    for (const tn::message& entry : next.entries)
        names.communities[idOf(entry)] = entry.get_string(contracts::snmp::community::Name);
    const std::vector<std::string> lines = differences(agent.configuration(), next, names);
    if (!session.options.json)
        for (const std::string& line : lines) session.console.out << line << '\n';
    session.console.out << std::flush;  // above the prompt
    const bool isApplied = !isDryRun && !lines.empty();
    if (isApplied) {
        confirmChange(session, agent.configuration(), next);
        agent.apply(next);
    }
    result["differences"] = lines;
    result["applied"] = isApplied;
    if (session.options.json)
        session.console.out << jsonText(result) << '\n';
    else
        session.console.out << outcome(agent, isDryRun, !lines.empty()) << '\n';
}

}  // namespace

void exportSettings(const Session& session) {
    const AgentAccess agent(session, WithoutStores::Refuse);
    const std::string text = settingsText(agent.configuration(), agent.names(), session.options.secrets);
    session.console.out << "# Settings of an SNMP agent, by tnctl " TARNIX_VERSION
                           ". Apply them with: tnctl import FILE\n"
                        << text;
}

void importSettings(const Session& session, const ImportOptions& options) {
    try {
        const std::string text = contents(session, options.file);
        Json result = Json::object();
        std::vector<FileCommand> commands;
        if (options.isSnmpdConf) {
            SnmpdConf translated = translateSnmpdConf(text);
            commands = std::move(translated.commands);
            result["untranslated"] = Json::array();
            for (const Untranslated& each : translated.untranslated) {
                session.console.err << "tnctl: " << tn::escaped(options.file) << ":" << each.line
                                    << ": not translated: " << tn::escaped(each.directive) << ": " << each.reason
                                    << '\n';
                result["untranslated"].push_back(
                    {{"line", each.line}, {"directive", each.directive}, {"reason", each.reason}});
            }
        } else {
            commands = splitCommands(text);
        }
        const auto steps = parseSettings(
            commands, [&](const Word& word, std::string_view value) { return passwordInFile(session, word, value); });
        applyCommands(session, steps, options.isDryRun, result);
    } catch (const LineFault& fault) {
        throw Failure(kFailed, tn::escaped(options.file) + ":" + std::to_string(fault.line) + ": " + fault.what());
    }
}

void resetSettings(const Session& session) {
    Json result = Json::object();
    applyCommands(session, parseSettings({{1, {"snmp", "reset"}}}, {}), /*isDryRun=*/false, result);
}

}  // namespace tnctl
