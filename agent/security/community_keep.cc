#include "agent/security/community_keep.h"

namespace snmp {

CommunityKeep::CommunityKeep() : Map("/tern/store/snmp-communities", "snmp community") {
    // Communities and passwords are secrets, which the right to read must not disclose.
    policySet().protectData();
}

void CommunityKeep::init() {
    if (!hasStore()) return;
    load();
    if (!objects().empty()) return;
    auto entry = std::make_unique<Item>();
    entry->id = allocator_.allocate();
    entry->name = "common";  // compat: 90
    insert(std::move(entry));
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
    return tn::errorMsg(tn::error::Refused, "community with the same name already exists!");  // compat: 113
}

tn::message CommunityKeep::doRemove(Item* removed) {
    if (removed->id != 0) return {};
    return tn::errorMsg(tn::error::Refused, "can not remove default community");  // compat: 113
}

}  // namespace snmp
