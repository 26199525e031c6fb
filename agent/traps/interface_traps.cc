#include "agent/traps/interface_traps.h"

#include <algorithm>
#include <functional>
#include <string>

#include "agent/ber/tags.h"
#include "agent/log.h"
#include "agent/traps/trap_generators.h"
#include "agent/traps/trap_makers.h"
#include "contracts/interfaces.h"
#include "tn/looper.h"

namespace snmp {

std::map<uint32_t, uint32_t> ifStateMap;
std::set<uint32_t> interfaceFilter;

namespace {

namespace interfaces = contracts::interfaces;

constexpr uint32_t kSeededStatus = 0x10103;  // bits of Status that seeding records (compat: 81)

const OID kIfIndex = {1, 3, 6, 1, 2, 1, 2, 2, 1, 1};
const OID kIfAdminStatus = {1, 3, 6, 1, 2, 1, 2, 2, 1, 7};
const OID kIfOperStatus = {1, 3, 6, 1, 2, 1, 2, 2, 1, 8};

bool isWanted(uint32_t interface) {
    return interfaceFilter.empty() || interfaceFilter.contains(0) || interfaceFilter.contains(interface);
}

bool isSeeded = false;

/// Calls `take` with the item of each interface that can send traps: ObjectId, Status and Disabled. False if the owner
/// failed before it had listed all.
bool forEachInterface(const std::function<void(const tn::message&)>& take) {
    tn::message request = tn::request(interfaces::kPath, interfaces::kList);
    for (uint32_t next = 0;; request.insert_u32(tn::field::Continue, next)) {
        const tn::message reply = tn::getLooper()->exchangeMessage(request);
        if (tn::isError(reply)) return false;
        for (const tn::message& item : reply.get_message_array(tn::field::Objects)) {
            if (!item.has(tn::field::ObjectId) || !item.has(interfaces::Flags) || !item.has(interfaces::Status))
                continue;
            if ((item.get_u32(interfaces::Flags) & interfaces::kInternal) != 0) continue;
            take(item);
        }
        if (!reply.has(tn::field::Continue) || reply.get_u32(tn::field::Continue) <= next) return true;
        next = reply.get_u32(tn::field::Continue);
    }
}

tn::message statusChange(const tn::message& item) {
    tn::message change = tn::request({}, interfaces::kStatusChanged);
    change.insert_vector(tn::field::Source, interfaces::kPath);
    change.insert_u32(tn::field::ObjectId, item.get_u32(tn::field::ObjectId));
    change.insert_u32(interfaces::Status, item.get_u32(interfaces::Status));
    if (item.get_bool(tn::field::Disabled)) change.insert_bool(tn::field::Disabled, true);
    return change;
}

/// Drops an interface that is down if there are too many: on a host of containers it has probably been removed. The
/// kernel assigns ids in ascending order, so the lowest is the oldest.
void forgetOldest() {
    if (ifStateMap.size() <= kMaxStates) return;
    const auto oldest = std::ranges::find(ifStateMap, 0U, [](const auto& entry) { return entry.second; });
    if (oldest != ifStateMap.end()) ifStateMap.erase(oldest);
}

/// Records the state. False if the interface was in this state already. Seeding records fewer bits (compat: 81), so the
/// first notification of an interface that was up is always a change.
bool noteState(uint32_t interface, uint32_t state) {
    const auto [known, isNew] = ifStateMap.try_emplace(interface, state);
    if (isNew) {
        forgetOldest();
        return true;
    }
    if (known->second == state) return false;
    known->second = state;
    return true;
}

std::string upOrDown(bool isUp) { return isUp ? "1" : "2"; }

}  // namespace

void seedLinkStates() {
    isSeeded = forEachInterface([](const tn::message& item) {
        ifStateMap.try_emplace(item.get_u32(tn::field::ObjectId), item.get_u32(interfaces::Status) & kSeededStatus);
    });
}

std::vector<tn::message> missedStatusChanges() {
    std::vector<tn::message> changes;
    if (!isSeeded) {
        seedLinkStates();
        return changes;
    }
    forEachInterface([&](const tn::message& item) {
        const uint32_t status = item.get_u32(interfaces::Status);
        const bool isUp = (status & interfaces::status::Up) != 0;
        if (isUp != ((status & interfaces::status::Operational) != 0)) return;
        const auto known = ifStateMap.find(item.get_u32(tn::field::ObjectId));
        // Only Up is compared: a seeded state doesn't have the bit Operational.
        const bool wasUp = known != ifStateMap.end() && (known->second & interfaces::status::Up) != 0;
        if (isUp != wasUp) changes.push_back(statusChange(item));
    });
    return changes;
}

bool areLinkTrapsSent(uint32_t interface) {
    return isWanted(interface) && std::ranges::find(trapMakers, &interfaceTrapMaker) != trapMakers.end();
}

void interfaceSubscribe() {
    trapMakers.push_back(interfaceTrapMaker);
    tn::getLooper()->subscribe(interfaces::kPath, interfaces::kStatusChanged, notifyFilterMsg());
}

void interfaceUnSubscribe() {
    const auto maker = std::ranges::find(trapMakers, &interfaceTrapMaker);
    if (maker != trapMakers.end()) trapMakers.erase(maker);
    tn::getLooper()->unsubscribe(interfaces::kPath, interfaces::kStatusChanged, notifyFilterMsg());
}

bool interfaceTrapMaker(std::vector<VariableBinding>& bindings, const tn::message& message, OID& trapOid,
                        unsigned int& generic, unsigned int& specific) {
    if (!std::ranges::equal(message.get_u32_array(tn::field::Source), interfaces::kPath)) return false;
    if (!message.has(interfaces::Status) || !message.has(tn::field::ObjectId)) return false;
    const uint32_t interface = message.get_u32(tn::field::ObjectId);
    if (!isWanted(interface)) {
        sout << "trap filtred";  // compat: 100
        return false;
    }
    const uint32_t state =
        message.get_u32(interfaces::Status) & (interfaces::status::Up | interfaces::status::Operational);
    if (!noteState(interface, state)) {
        sout << "same status";
        return false;
    }
    const bool isUp = (state & interfaces::status::Up) != 0;
    trapOid = isUp ? OID{1, 3, 6, 1, 6, 3, 1, 1, 5, 4} : OID{1, 3, 6, 1, 6, 3, 1, 1, 5, 3};
    generic = isUp ? generic_trap::LinkUp : generic_trap::LinkDown;
    specific = 0;
    const bool isEnabled =
        trapRules->linkTrapsHaveIfAdminStatus ? !message.get_bool(tn::field::Disabled) : isUp;  // compat: 80
    const auto bind = [&](const OID& column, const std::string& value) {
        const OID name = trapRules->linkTrapsNameInstances ? column + interface : column;  // compat: 79
        bindings.push_back({name, tag::Integer, value});
    };
    bind(kIfIndex, std::to_string(interface));
    bind(kIfAdminStatus, upOrDown(isEnabled));
    bind(kIfOperStatus, upOrDown((state & interfaces::status::Operational) != 0));
    return true;
}

}  // namespace snmp
