#include "tnctl/configuration.h"

#include <net/if.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <utility>

#include "contracts/snmp.h"
#include "contracts/snmp_settings.h"
#include "tn/bus_socket.h"
#include "tn/looper.h"
#include "tn/paths.h"
#include "tn/store.h"
#include "tnctl/community_commands.h"
#include "tnctl/failure.h"
#include "tnctl/prefixes.h"
#include "tnctl/snmp_words.h"
#include "tnctl/value_types.h"

namespace tnctl {

namespace snmp = contracts::snmp;
namespace change = snmp::change;
namespace community = snmp::community;
namespace setting = snmp::setting;
namespace stored = snmp::store;

namespace {

constexpr uint32_t kDefaultEntry = 0;

/// Copies the setting of a word. A list that is absent becomes an empty one, as a request needs it.
void copySetting(const Word& word, const tn::message& from, tn::message& to) {
    for (const tn::message::Field& field : from.fields())
        if (field.number() == word.number) to.insert_field(field);
    if (word.number == setting::Interfaces.number && !from.has(setting::Interfaces))
        to.insert_message_array(setting::Interfaces, {});
    if (word.number == setting::DisabledPlugins.number && !from.has(setting::DisabledPlugins))
        to.insert_string_array(setting::DisabledPlugins, {});
}

std::string plainText(const Json& value) {
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_string()) return value.get<std::string>();
    if (!value.is_array()) return value.dump();
    std::string text;
    for (const Json& element : value) text += (text.empty() ? "" : ",") + plainText(element);
    return text.empty() ? "none" : text;
}

void nameAll(Json& ids, const IdNames& names) {
    const auto nameOne = [&](Json& id) {
        if (!id.is_number()) return;
        if (const auto found = names.find(id.get<uint32_t>()); found != names.end()) id = found->second;
    };
    if (!ids.is_array()) return nameOne(ids);
    for (Json& id : ids) nameOne(id);
}

IdNames localInterfaces() {
    IdNames names;
    const std::unique_ptr<struct if_nameindex[], decltype(&if_freenameindex)> list(if_nameindex(), if_freenameindex);
    for (const struct if_nameindex* each = list.get(); each != nullptr && each->if_index != 0; ++each)
        names[each->if_index] = each->if_name;
    return names;
}

template <class Query>
IdNames namesOr(const Query& query, IdNames otherwise) {
    try {
        return query();
    } catch (const Failure&) {
        return otherwise;
    }
}

/// Applies a request of change::kApply.
void applyTo(Configuration& configuration, const tn::message& request) {
    for (const Word& word : settingWords())
        for (const tn::message::Field& field : request.fields())
            if (field.number() == word.number) configuration.settings.insert_field(field);
    const auto& removed = request.get_u32_array(change::Removed);
    const auto& put = request.get_message_array(change::Entries);
    std::erase_if(configuration.entries, [&](const tn::message& entry) {
        return std::ranges::count(removed, idOf(entry)) > 0 || entryWithId(put, idOf(entry)) != nullptr;
    });
    configuration.entries.insert(configuration.entries.end(), put.begin(), put.end());
    std::ranges::sort(configuration.entries, {}, idOf);
}

bool exists(const std::string& file) {
    std::error_code fault;
    const bool isThere = std::filesystem::exists(file, fault);
    if (fault) throw Failure(kFailed, file + ": " + fault.message());
    return isThere;
}

/// The entries in the agent's store, as the agent loads them.
std::vector<tn::message> storedEntries() {
    std::vector<tn::message> entries;
    if (!exists(tn::rooted(stored::kEntries))) return entries;
    const tn::Store store(stored::kEntries);
    for (const uint32_t id : store.ids()) {
        tn::message& entry = entries.emplace_back(store.get(id));
        entry.insert_u32(tn::field::ObjectId, id);
        if (entry.get_message_array(community::Addresses).empty())
            entry.insert_message_array(community::Addresses, {prefixMessage(tn::IPPrefix6::ofIPv4(0, 0))});
    }
    if (!store.lastError().empty()) throw Failure(kFailed, store.lastError());
    return entries;
}

void actAsOwnerOfStores() {
    struct stat folder {};
    const std::filesystem::path file = tn::rooted(stored::kSettings);
    if (geteuid() != 0 || stat(file.parent_path().c_str(), &folder) != 0 || folder.st_uid == 0) return;
    if (setegid(folder.st_gid) != 0 || seteuid(folder.st_uid) != 0)
        throw Failure(kFailed, file.string() + ": can't act as its owner: " + std::strerror(errno));
}

}  // namespace

Configuration defaultConfiguration() {
    Configuration made;
    for (const snmp::Setting& row : snmp::kSettings)
        if (!row.name.empty() && row.settable) insertDefault(row, made.settings);
    tn::message& entry = made.entries.emplace_back(newEntry());
    entry.insert_string(community::Name, "common");
    entry.insert_u32(tn::field::ObjectId, kDefaultEntry);
    return made;
}

tn::message newEntry() {
    tn::message entry;
    entry.insert_bool(community::ReadAccess, true);
    entry.insert_message_array(community::Addresses, {});
    return entry;
}

bool isSameEntry(const tn::message& a, const tn::message& b) {
    return showWords(communityWords(), a, /*secrets=*/true) == showWords(communityWords(), b, /*secrets=*/true);
}

uint32_t idOf(const tn::message& entry) { return entry.get_u32(tn::field::ObjectId, tn::kNoId); }

const tn::message* entryWithId(const std::vector<tn::message>& entries, uint32_t id) {
    const auto found = std::ranges::find(entries, id, idOf);
    return found == entries.end() ? nullptr : &*found;
}

tn::message changeBetween(const Configuration& before, const Configuration& after) {
    tn::message request;
    for (const Word& word : settingWords())
        if (word.settable &&
            word.type.show(before.settings, word.number) != word.type.show(after.settings, word.number))
            copySetting(word, after.settings, request);
    std::vector<tn::message> put;
    for (const tn::message& entry : after.entries)
        if (const auto* old = entryWithId(before.entries, idOf(entry)); old == nullptr || !isSameEntry(*old, entry))
            put.push_back(entry);
    std::vector<uint32_t> removed;
    for (const tn::message& entry : before.entries)
        if (entryWithId(after.entries, idOf(entry)) == nullptr) removed.push_back(idOf(entry));
    if (!put.empty()) request.insert_message_array(change::Entries, std::move(put));
    if (!removed.empty()) request.insert_u32_array(change::Removed, std::move(removed));
    return request;
}

void resolveReferences(const std::vector<tn::message>& entries, const ReferenceNames& names, tn::message& change) {
    if (change.has(kCommunityReference)) {
        const tn::message& sender = communityCalled(entries, change.get_string(kCommunityReference));
        change.remove(kCommunityReference);
        change.insert_u32(setting::TrapCommunity, idOf(sender));
    }
    if (change.has(kGeneratorReferences)) {
        auto ids = idsCalled(names.generators, "trap generator", change.get_string_array(kGeneratorReferences));
        change.remove(kGeneratorReferences);
        change.insert_u32_array(setting::TrapGenerators, std::move(ids));
    }
    if (change.has(kInterfaceReferences)) {
        auto ids = idsCalled(names.interfaces, "interface", change.get_string_array(kInterfaceReferences));
        change.remove(kInterfaceReferences);
        change.insert_message_array(setting::Interfaces, interfaceFilter(ids));
    }
}

std::string settingText(const Word& word, const tn::message& settings, const ReferenceNames& names) {
    Json value = word.type.show(settings, word.number);
    if (word.number == setting::TrapCommunity.number) nameAll(value, names.communities);
    if (word.number == setting::TrapGenerators.number) nameAll(value, names.generators);
    if (word.number == setting::Interfaces.number) nameAll(value, names.interfaces);
    return plainText(value);
}

std::string valueText(const Word& word, const tn::message& in) { return plainText(word.type.show(in, word.number)); }

ReferenceNames referenceNames(const Client& client, const std::vector<tn::message>& entries) {
    ReferenceNames names;
    for (const tn::message& entry : entries) names.communities[idOf(entry)] = entry.get_string(community::Name);
    names.generators = namesOr([&] { return generatorNames(client); },
                               {{snmp::trap::kStartTrap, "start-trap"}, {snmp::trap::kInterfaces, "interfaces"}});
    names.interfaces = namesOr([&] { return interfaceNames(client); }, localInterfaces());
    return names;
}

AgentAccess::AgentAccess(const Session& session, WithoutStores without) : client_(session.options.timeout) {
    const tn::message reply =
        tn::getLooper()->exchangeMessage(tn::request(snmp::kSettingsPath, tn::cmd::Get), session.options.timeout);
    uint32_t code = 0;
    isRunning_ = !tn::isError(reply, &code) || code != tn::error::Unreachable;
    if (isRunning_) {
        if (tn::isError(reply)) throw Failure(kFailed, tn::getError(reply));
        stored_ = {reply, client_.list(snmp::kCommunitiesPath)};
        current_ = stored_;
    } else {
        actAsOwnerOfStores();
        if (without == WithoutStores::Refuse && !exists(tn::rooted(stored::kSettings)))
            throw Failure(kFailed, tn::getError(reply) + ", and " + tn::rooted(stored::kSettings) +
                                       " doesn't exist (see --root)");
        readStores();
    }
    names_ = referenceNames(client_, current_.entries);
}

void AgentAccess::readStores() {
    stored_ = defaultConfiguration();
    if (auto entries = storedEntries(); !entries.empty()) stored_.entries = std::move(entries);
    tn::message pending;
    if (exists(tn::rooted(stored::kSettings))) {
        const tn::Store store(stored::kSettings);
        stored_.settings.insert_all(store.get(stored::kCurrent));
        pending = store.get(stored::kPending);
        if (!store.lastError().empty()) throw Failure(kFailed, store.lastError());
    }
    current_ = stored_;
    applyTo(current_, pending);
}

void AgentAccess::apply(const Configuration& next) const {
    const tn::message request = changeBetween(stored_, next);
    if (isRunning_) {
        client_.ask(snmp::kSettingsPath, change::kApply, request);
        return;
    }
    std::string why;
    if (!tn::isRootSafe(why)) throw Failure(kFailed, why);
    // Without the folder of the bus no agent runs.
    const std::array<uint32_t, 1> number{tn::number::Snmp};
    if (exists(tn::busFolder()) && !tn::claimBusNumbers(number, why)) throw Failure(kFailed, why);
    tn::Store store(stored::kSettings);
    if (!store.set(stored::kPending, request)) throw Failure(kFailed, store.lastError());
}

}  // namespace tnctl
