#include "agent/security/community_keep.h"

#include <algorithm>
#include <set>
#include <utility>

namespace snmp {

namespace change = contracts::snmp::change;

namespace {

tn::message nameIsTaken() {
    return tn::errorMsg(tn::error::Refused, "community with the same name already exists!");  // compat: 113
}

tn::message defaultStays() {
    return tn::errorMsg(tn::error::Refused, "can not remove default community");  // compat: 113
}

bool isRemoved(const tn::message& request, uint32_t id) {
    return std::ranges::count(request.get_u32_array(change::Removed), id) > 0;
}

}  // namespace

CommunityKeep::CommunityKeep() : Map("/tern/store/snmp-communities", "snmp community") {
    // Communities and passwords are secrets, which the right to read must not disclose.
    policySet().protectData();
}

void CommunityKeep::init() {
    if (!hasStore()) return;
    load();
    if (!objects().empty()) return;
    auto entry = std::make_unique<Item>();
    entry->name = "common";  // compat: 90
    seed(std::move(entry));
}

const Item* CommunityKeep::find(std::string_view name) const {
    return findIf([&](const Item& item) { return item.name == name; });
}

const Item* CommunityKeep::findId(uint32_t id) const {
    return findIf([&](const Item& item) { return item.id == id; });
}

bool CommunityKeep::hasUsers() const {
    return findIf([](const Item& item) { return item.security != security_level::None; }) != nullptr;
}

tn::message CommunityKeep::doAdd(Item* added) { return doSet(nullptr, added); }

tn::message CommunityKeep::doSet(Item* current, Item* changed) {
    const Item* other = findIf(
        [&](const Item& item) { return item.name == changed->name && (current == nullptr || item.id != current->id); });
    if (other == nullptr) return {};
    return nameIsTaken();
}

tn::message CommunityKeep::doRemove(Item* removed) {
    if (removed->id != 0) return {};
    return defaultStays();
}

tn::message CommunityKeep::check(const tn::message& request) const {
    if (isRemoved(request, 0)) return defaultStays();
    const std::vector<tn::message>& entries = request.get_message_array(change::Entries);
    std::set<uint32_t> ids;
    for (const tn::message& entry : entries) ids.insert(entry.get_u32(tn::field::ObjectId, tn::kNoId));
    if (ids.size() < entries.size() || ids.contains(tn::kNoId))
        return tn::errorMsg(tn::error::Refused, "each access entry needs its own id");
    // The names that remain: a change may exchange the names of two entries.
    std::set<std::string> names;
    for (const auto& [id, object] : objects())
        if (!ids.contains(id) && !isRemoved(request, id)) names.insert(static_cast<const Item&>(*object).name);
    for (const tn::message& entry : entries)
        if (!names.insert(entry.get_string(contracts::snmp::community::Name)).second) return nameIsTaken();
    return {};
}

tn::message CommunityKeep::undoOf(const tn::message& request) const {
    tn::message old;
    std::vector<uint32_t> touched = request.get_u32_array(change::Removed), added;
    for (const tn::message& entry : request.get_message_array(change::Entries))
        touched.push_back(entry.get_u32(tn::field::ObjectId));
    std::vector<tn::message> entries;
    for (const uint32_t id : touched) {
        const Item* item = findId(id);
        if (item == nullptr) {
            added.push_back(id);
            continue;
        }
        item->getConfig(entries.emplace_back(), 0);
        entries.back().insert_u32(tn::field::ObjectId, id);
    }
    old.insert_message_array(change::Entries, std::move(entries));
    old.insert_u32_array(change::Removed, std::move(added));
    return old;
}

tn::message CommunityKeep::apply(const tn::message& request) {
    std::vector<std::unique_ptr<tn::Object>> put;
    for (const tn::message& entry : request.get_message_array(change::Entries)) {
        auto item = std::make_unique<Item>();
        item->id = entry.get_u32(tn::field::ObjectId);
        item->restore(entry);
        put.push_back(std::move(item));
    }
    return replace(std::move(put), request.get_u32_array(change::Removed));
}

}  // namespace snmp
