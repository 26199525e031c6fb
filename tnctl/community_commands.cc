#include "tnctl/community_commands.h"

#include <utility>

#include "contracts/snmp.h"
#include "tn/log.h"
#include "tnctl/access.h"
#include "tnctl/failure.h"
#include "tnctl/listing.h"
#include "tnctl/nearest.h"
#include "tnctl/numbers.h"
#include "tnctl/passwords.h"
#include "tnctl/snmp_words.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace community = snmp::community;
namespace field = tn::field;

namespace {

tn::message parseCommunityWords(const Session& session, const std::vector<std::string>& arguments) {
    return parseWords(communityWords(), arguments, [&](const Word& word, std::string_view value) {
        return readPassword(session.console, word, value);
    });
}

}  // namespace

const tn::message& communityCalled(const std::vector<tn::message>& communities, const std::string& nameOrId) {
    for (const tn::message& entry : communities)
        if (entry.get_string(community::Name) == nameOrId) return entry;
    const auto id = parseNumber(nameOrId);
    std::vector<std::string> names;
    for (const tn::message& entry : communities) {
        if (id && entry.get_u32(field::ObjectId, tn::kNoId) == *id) return entry;
        names.push_back(tn::escaped(entry.get_string(community::Name)));
    }
    const std::vector<std::string_view> known(names.begin(), names.end());
    throw Failure(kFailed, "no community has the name or id " + tn::escaped(nameOrId) +
                               (known.empty() ? "" : ": expected " + expectedOneOf(nameOrId, known)));
}

void listCommunities(const Session& session) {
    std::vector<Column> columns{{"ID", "id"}};
    for (const Word& word : communityWords()) columns.push_back({word.heading, word.name});
    std::vector<Json> rows;
    for (const tn::message& entry : Client(session.options.timeout).list(snmp::kCommunitiesPath)) {
        Json& row = rows.emplace_back(Json{{"id", entry.get_u32(field::ObjectId)}});
        row.update(showWords(communityWords(), entry, session.options.secrets));
        row["default"] = entry.get_bool(field::IsDefault);
        if (!session.options.json && row["addresses"].empty())
            row["addresses"] = "none: refuses everyone until edited, or until the agent restarts";
    }
    printList(session, columns, rows);
}

void addCommunity(const Session& session, const std::vector<std::string>& words) {
    tn::message added = parseCommunityWords(session, words);
    if (!added.has(community::Name)) throw Failure(kUsage, "name: expected name=VALUE for the new community");
    if (!session.options.force) checkPasswords({}, added);
    const std::vector<Access> access{accessAfter({}, added)};
    const bool told = confirmAccess(session, access);
    Client(session.options.timeout).ask(snmp::kCommunitiesPath, tn::cmd::AddObj, std::move(added));
    if (!told) printAccess(session, access);
}

void setCommunity(const Session& session, const std::string& nameOrId, const std::vector<std::string>& words) {
    tn::message change = parseCommunityWords(session, words);
    const Client client(session.options.timeout);
    const std::vector<tn::message> communities = client.list(snmp::kCommunitiesPath);
    const tn::message& current = communityCalled(communities, nameOrId);
    if (!session.options.force) checkPasswords(current, change);
    const std::vector<Access> access{accessAfter(current, change)};
    const bool told = confirmAccess(session, access);
    change.insert_u32(field::ObjectId, current.get_u32(field::ObjectId));
    client.ask(snmp::kCommunitiesPath, tn::cmd::SetObj, std::move(change));
    if (!told) printAccess(session, access);
}

void removeCommunity(const Session& session, const std::string& nameOrId) {
    const Client client(session.options.timeout);
    const std::vector<tn::message> communities = client.list(snmp::kCommunitiesPath);
    tn::message which;
    which.insert_u32(field::ObjectId, communityCalled(communities, nameOrId).get_u32(field::ObjectId));
    client.ask(snmp::kCommunitiesPath, tn::cmd::RemoveObj, std::move(which));
}

}  // namespace tnctl
