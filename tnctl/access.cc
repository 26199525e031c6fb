#include "tnctl/access.h"

#include <algorithm>
#include <istream>
#include <ostream>

#include "contracts/snmp.h"
#include "tn/log.h"
#include "tnctl/failure.h"
#include "tnctl/listing.h"
#include "tnctl/prefixes.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace community = snmp::community;

namespace {

// Every IPv4 address, and so every IPv6 prefix that has all addresses, too. A mask bit of one distinguishes 0 from 1 at
// its place: a prefix that has the first and the last address of IPv4, which differ in every bit, has all of them.
bool isEverywhere(const tn::IPPrefix6& prefix) {
    return prefix.has(tn::IPAddr6::ofIPv4(0)) && prefix.has(tn::IPAddr6::ofIPv4(UINT32_MAX));
}

std::string prefixTexts(const std::vector<tn::IPPrefix6>& prefixes) {
    std::string text;
    for (const tn::IPPrefix6& prefix : prefixes) text += (text.empty() ? "" : ",") + prefix.str();
    return text;
}

std::string_view withWhat(uint32_t security) {
    if (security == 0) return "SNMPv1, v2c or v3";
    return security == snmp::security::Authorized ? "SNMPv3, authenticated" : "SNMPv3, authenticated and encrypted";
}

Json toJson(const Access& access) {
    Json from = Json::array();
    for (const tn::IPPrefix6& prefix : access.from) from.push_back(prefix.str());
    return {{"name", access.name},       {"read-access", access.read}, {"write-access", access.write},
            {"limited", access.limited}, {"addresses", from},          {"everyone", access.toEveryone()}};
}

/// @param what  the consequence, in lower case
void confirm(Console& console, std::string what) {
    if (!console.interactive) throw Failure(kUsage, what + ": nothing changed; use --yes to confirm");
    what.front() = 'T';
    console.err << what << ". Continue? [y/N] " << std::flush;
    std::string answer;
    std::getline(console.in, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") throw Failure(kFailed, "nothing changed");
}

}  // namespace

bool Access::toEveryone() const { return grants() && std::any_of(from.begin(), from.end(), isEverywhere); }

std::string Access::text() const {
    const std::string who = tn::escaped(name);
    if (!read && !write) return who + " may neither read nor write";
    if (from.empty())
        return who +
               " has no access yet: it has no addresses. An edit without addresses or a restart of the agent opens it "
               "to every IPv4 source";
    const std::string what = std::string(read && write ? "read and write"
                                         : read        ? "read"
                                                       : "write") +
                             (limited ? " what its views include" : "");
    const std::string where = toEveryone() ? "everywhere (" + prefixTexts(from) + ")" : prefixTexts(from);
    return who + " may " + what + " from " + where + " with " + std::string(withWhat(security));
}

Access accessOf(const tn::message& entry) {
    Access access;
    access.name = entry.get_string(community::Name);
    access.read = entry.get_bool(community::ReadAccess, access.read);
    access.write = entry.get_bool(community::WriteAccess, access.write);
    access.security = entry.get_u32(community::Security);
    access.limited = !entry.get_message_array(community::Views).empty();
    access.from = prefixesOf(entry.get_message_array(community::Addresses));
    return access;
}

Access accessAfter(const tn::message& entry, const tn::message& change) {
    Access access = accessOf(entry);
    access.name = change.get_string(community::Name, access.name);
    access.read = change.get_bool(community::ReadAccess, access.read);
    access.write = change.get_bool(community::WriteAccess, access.write);
    access.security = change.get_u32(community::Security, access.security);
    if (change.has(community::Views)) access.limited = !change.get_message_array(community::Views).empty();
    if (change.has(community::Addresses)) access.from = prefixesOf(change.get_message_array(community::Addresses));
    if (access.from.empty()) access.from.push_back(tn::IPPrefix6::ofIPv4(0, 0));
    return access;
}

bool confirmAccess(const Session& session, const std::vector<Access>& accesses) {
    const bool open = std::any_of(accesses.begin(), accesses.end(), [](const Access& a) { return a.toEveryone(); });
    if (!open || session.options.yes) return false;
    for (const Access& access : accesses) session.console.err << access.text() << '\n';
    confirm(session.console, "this grants access to all addresses");
    return true;
}

void confirmEngineId(const Session& session, const std::vector<tn::message>& entries) {
    std::string users;
    for (const tn::message& entry : entries)
        if (entry.get_u32(community::Security) != snmp::security::None)
            users += (users.empty() ? "" : ", ") + tn::escaped(entry.get_string(community::Name));
    if (users.empty() || session.options.yes) return;
    session.console.err << "The keys of SNMPv3 users are made from their passwords and the engine id: those of "
                        << users
                        << " change.\nStations discover the new engine id; those that store localised keys, and trap "
                           "receivers, must be configured again.\n";
    confirm(session.console, "this changes the keys of all SNMPv3 users");
}

void printAccess(const Session& session, const std::vector<Access>& accesses) {
    std::ostream& out = session.console.out;
    if (session.options.json) {
        Json array = Json::array();
        for (const Access& access : accesses) array.push_back(toJson(access));
        out << jsonText(array) << '\n';
        return;
    }
    for (const Access& access : accesses) out << access.text() << '\n';
}

}  // namespace tnctl
