#include "tnctl/id_names.h"

#include <algorithm>

#include "contracts/interfaces.h"
#include "contracts/snmp.h"
#include "tn/log.h"
#include "tnctl/failure.h"
#include "tnctl/nearest.h"
#include "tnctl/numbers.h"
#include "tnctl/snmp_words.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace {

IdNames namesIn(const std::vector<tn::message>& items, tn::string_id name) {
    IdNames names;
    for (const tn::message& item : items) names[item.get_u32(tn::field::ObjectId, tn::kNoId)] = item.get_string(name);
    return names;
}

uint32_t idCalled(const IdNames& names, std::string_view what, const std::string& nameOrId) {
    const auto named = std::ranges::find(names, nameOrId, [](const auto& entry) { return entry.second; });
    if (named != names.end()) return named->first;
    if (const auto id = parseNumber(nameOrId)) return static_cast<uint32_t>(*id);
    std::vector<std::string> shown;
    for (const auto& [id, name] : names) shown.push_back(tn::escaped(name));
    const std::vector<std::string_view> known(shown.begin(), shown.end());
    throw Failure(kFailed, "no " + std::string(what) + " is called " + tn::escaped(nameOrId) +
                               (known.empty() ? "" : ": expected " + expectedOneOf(nameOrId, known)));
}

}  // namespace

IdNames generatorNames(const Client& client) {
    const tn::message reply = client.ask(snmp::kTrapsPath, snmp::trap::kListGenerators);
    return namesIn(reply.get_message_array(tn::field::Objects), tn::field::Name);
}

IdNames communityNames(const Client& client) {
    return namesIn(client.list(snmp::kCommunitiesPath), snmp::community::Name);
}

IdNames interfaceNames(const Client& client) {
    return namesIn(client.list(contracts::interfaces::kPath), contracts::interfaces::Name);
}

std::vector<uint32_t> idsCalled(const IdNames& names, std::string_view what,
                                const std::vector<std::string>& namesOrIds) {
    std::vector<uint32_t> ids;
    for (const std::string& nameOrId : namesOrIds) ids.push_back(idCalled(names, what, nameOrId));
    return ids;
}

void nameIds(Json& ids, IdNames (*ask)(const Client&), const Client& client) {
    if (ids.empty() || (!ids.is_array() && !ids.is_number())) return;
    IdNames names;
    try {
        names = ask(client);
    } catch (const Failure&) {
        return;
    }
    for (Json& id : ids)  // a number is its own only element
        if (const auto found = names.find(id.get<uint32_t>()); found != names.end()) id = found->second;
}

}  // namespace tnctl
