#include "tnctl/settings_commands.h"

#include <utility>

#include "contracts/snmp.h"
#include "tnctl/access.h"
#include "tnctl/client.h"
#include "tnctl/configuration.h"
#include "tnctl/id_names.h"
#include "tnctl/listing.h"
#include "tnctl/snmp_words.h"
#include "tnctl/value_types.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace setting = snmp::setting;

namespace {

bool changesEngineId(const Client& client, const tn::message& change) {
    if (!change.has(setting::EngineId)) return false;
    const std::string current = client.ask(snmp::kSettingsPath, tn::cmd::Get).get_string(setting::EngineId);
    return !current.empty() && current != change.get_string(setting::EngineId);
}

}  // namespace

void showSettings(const Session& session) {
    const Client client(session.options.timeout);
    Json settings = showWords(settingWords(), client.ask(snmp::kSettingsPath, tn::cmd::Get), session.options.secrets);
    nameIds(settings["trap-community"], communityNames, client);
    nameIds(settings["trap-generators"], generatorNames, client);
    nameIds(settings["interfaces"], interfaceNames, client);
    printObject(session, settings);
}

void setSettings(const Session& session, const std::vector<std::string>& words) {
    tn::message change =
        parseWords(settingWords(), words, [](const Word&, std::string_view value) { return std::string(value); });
    const bool enables = change.get_bool(setting::Enabled);
    const Client client(session.options.timeout);
    const bool newEngine = changesEngineId(client, change);
    std::vector<tn::message> communities;
    if (enables || newEngine || change.has(kCommunityReference)) communities = client.list(snmp::kCommunitiesPath);
    ReferenceNames names;
    if (change.has(kGeneratorReferences)) names.generators = generatorNames(client);
    if (change.has(kInterfaceReferences)) names.interfaces = interfaceNames(client);
    resolveReferences(communities, names, change);
    if (newEngine) confirmEngineId(session, communities);
    std::vector<Access> access;
    if (enables)
        for (const tn::message& entry : communities) access.push_back(accessOf(entry));
    const bool told = confirmAccess(session, access);
    client.ask(snmp::kSettingsPath, tn::cmd::Set, std::move(change));
    if (enables && !told) printAccess(session, access);
}

}  // namespace tnctl
