#include "agent/traps/trap_generators.h"

#include "agent/log.h"
#include "contracts/interfaces.h"

namespace snmp {

std::vector<Scriber> scribers;

void startSubscribers(const std::vector<uint32_t>& wanted) {
    for (const uint32_t index : wanted) {
        if (index >= scribers.size()) continue;
        scribers[index].subscribe();
        serr << "subscribed to " << scribers[index].name;
    }
}

void restartSubscribers(const std::vector<uint32_t>& wanted) {
    for (const Scriber& scriber : scribers) {
        scriber.unsubscribe();
        serr << "unsubscribed from " << scriber.name;
    }
    startSubscribers(wanted);
}

tn::message notifyFilterMsg() {
    tn::message filter;
    filter.insert_u32(contracts::interfaces::Flags, 0);  // excludes none
    filter.insert_u32(contracts::interfaces::Status, contracts::interfaces::kStatusChanges);
    return filter;
}

}  // namespace snmp
