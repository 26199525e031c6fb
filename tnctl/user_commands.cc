#include "tnctl/user_commands.h"

#include <ostream>
#include <utility>

#include "contracts/snmp.h"
#include "contracts/snmp_status.h"
#include "tn/log.h"
#include "tnctl/access.h"
#include "tnctl/client.h"
#include "tnctl/client_lines.h"
#include "tnctl/community_commands.h"
#include "tnctl/failure.h"
#include "tnctl/listing.h"
#include "tnctl/passwords.h"
#include "tnctl/snmp_words.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace snmp_status = contracts::snmp_status;
namespace community = snmp::community;

namespace {

constexpr size_t kMaxUserName = 32;  // octets of msgUserName (RFC 3414, 2.4)

tn::message parseUser(const Session& session, const std::string& name, const std::vector<std::string>& words) {
    if (name.empty() || name.size() > kMaxUserName)
        throw Failure(kUsage, "NAME: expected a user name of 1 to 32 octets");
    tn::message user = parseWords(userWords(), words, [&](const Word& word, std::string_view value) {
        return readPassword(session.console, word, value);
    });
    user.insert_string(community::Name, name);
    const auto unlessGiven = [&user](tn::u32_id field, uint32_t value) {
        if (!user.has(field)) user.insert_u32(field, value);
    };
    unlessGiven(community::Security, snmp::security::Private);
    unlessGiven(community::AuthenticationProtocol, snmp::authentication::Sha256);
    unlessGiven(community::EncryptionProtocol, snmp::encryption::Aes128);
    if (user.get_u32(community::Security) == snmp::security::None)
        throw Failure(kUsage,
                      "security=none: expected authorized or private (tnctl snmp community add adds an entry "
                      "without a security level)");
    return user;
}

/// Throws Failure (kFailed) for what would make the user useless.
void checkPossible(const Client& client, const std::string& name, const tn::message& settings) {
    if (settings.get_string(snmp::setting::EngineId).empty())
        throw Failure(kFailed,
                      "engine-id isn't set, and SNMPv3 needs it: tnctl snmp set engine-id=NAME, with a name "
                      "that no other agent has");
    for (const tn::message& entry : client.list(snmp::kCommunitiesPath))
        if (entry.get_string(community::Name) == name)
            throw Failure(kFailed, tn::escaped(name) +
                                       ": exists already: see tnctl snmp user show, and tnctl snmp "
                                       "community set to change it");
}

Service serviceOf(const Client& client) {
    const tn::message status = client.ask(snmp_status::kPath, tn::cmd::Get);
    return {.port = status.get_u32(snmp_status::Port),
            .standard = status.get_bool(snmp_status::Standard),
            .enabled = status.get_bool(snmp_status::Enabled)};
}

Json toJson(const std::vector<ClientLines>& clients) {
    Json all = Json::object();
    for (const ClientLines& client : clients) {
        std::string text;
        for (const std::string& line : client.lines) text += (text.empty() ? "" : "\n") + line;
        all[std::string(client.client)] = text;
    }
    return all;
}

void noteIfOff(const Session& session, const Service& service) {
    if (!service.enabled)
        session.console.err << "tnctl: the service is off and answers nobody: tnctl snmp set enabled=yes\n";
}

}  // namespace

void addUser(const Session& session, const std::string& name, const std::vector<std::string>& words,
             const std::optional<std::string>& passwordsFrom) {
    tn::message user = parseUser(session, name, words);
    const Client client(session.options.timeout);
    checkPossible(client, name, client.ask(snmp::kSettingsPath, tn::cmd::Get));
    const Service service = serviceOf(client);
    fillPasswords(session.console, passwordsFrom, user);
    if (!session.options.force) checkPasswords({}, user);
    const std::vector<Access> access{accessAfter({}, user)};
    const bool told = confirmAccess(session, access);
    client.ask(snmp::kCommunitiesPath, tn::cmd::AddObj, user);
    if (!told) printAccess(session, access);
    if (!session.options.json) {
        const std::vector<ClientLines> clients = clientLines(user, service, session.options.secrets);
        session.console.out << clients.front().lines.front() << '\n';
    }
    noteIfOff(session, service);
}

void showEntry(const Session& session, const std::string& nameOrId) {
    const Client client(session.options.timeout);
    const std::vector<tn::message> entries = client.list(snmp::kCommunitiesPath);
    const tn::message& entry = communityCalled(entries, nameOrId);
    const Service service = serviceOf(client);
    Json shown = {{"id", entry.get_u32(tn::field::ObjectId)}};
    shown.update(showWords(communityWords(), entry, session.options.secrets));
    const std::vector<ClientLines> clients = clientLines(entry, service, session.options.secrets);
    if (session.options.json) {
        shown["clients"] = toJson(clients);
        return printObject(session, shown);
    }
    printObject(session, shown);
    std::ostream& out = session.console.out;
    for (const ClientLines& one : clients) {
        out << '\n' << one.title << ":\n";
        for (const std::string& line : one.lines) out << "  " << line << '\n';
    }
    if (!service.standard)
        out << "\nThe agent runs without --standard: it refuses a GetBulk of more than 50 repetitions.\n";
    noteIfOff(session, service);
}

}  // namespace tnctl
