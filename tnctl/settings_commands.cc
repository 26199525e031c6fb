#include "tnctl/settings_commands.h"

#include <utility>

#include "contracts/snmp.h"
#include "tnctl/access.h"
#include "tnctl/client.h"
#include "tnctl/community_commands.h"
#include "tnctl/id_names.h"
#include "tnctl/listing.h"
#include "tnctl/snmp_words.h"
#include "tnctl/value_types.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace setting = snmp::setting;

namespace {

// References as typed, see value_types.h.
constexpr tn::string_id kCommunityReference{setting::TrapCommunity.number};
constexpr tn::string_array_id kGeneratorReferences{setting::TrapGenerators.number};
constexpr tn::string_array_id kInterfaceReferences{setting::Interfaces.number};

// Generators and interfaces by their ids.
void resolveReferences(const Client& client, tn::message& change) {
    if (change.has(kGeneratorReferences)) {
        const auto& typed = change.get_string_array(kGeneratorReferences);
        change.insert_u32_array(setting::TrapGenerators, idsCalled(generatorNames(client), "trap generator", typed));
        change.remove(kGeneratorReferences);
    }
    if (change.has(kInterfaceReferences)) {
        const auto& typed = change.get_string_array(kInterfaceReferences);
        change.insert_message_array(setting::Interfaces,
                                    interfaceFilter(idsCalled(interfaceNames(client), "interface", typed)));
        change.remove(kInterfaceReferences);
    }
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
    std::vector<tn::message> communities;
    if (enables || change.has(kCommunityReference)) communities = client.list(snmp::kCommunitiesPath);
    if (change.has(kCommunityReference)) {
        const tn::message& sender = communityCalled(communities, change.get_string(kCommunityReference));
        change.insert_u32(setting::TrapCommunity, sender.get_u32(tn::field::ObjectId));
        change.remove(kCommunityReference);
    }
    resolveReferences(client, change);
    std::vector<Access> access;
    if (enables)
        for (const tn::message& entry : communities) access.push_back(accessOf(entry));
    const bool told = confirmAccess(session, access);
    client.ask(snmp::kSettingsPath, tn::cmd::Set, std::move(change));
    if (enables && !told) printAccess(session, access);
}

}  // namespace tnctl
