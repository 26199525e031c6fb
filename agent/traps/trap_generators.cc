#include "agent/traps/trap_generators.h"

#include "agent/log.h"
#include "contracts/interfaces.h"

namespace snmp {

std::vector<TrapGenerator> scribers;

void startSubscribers(const std::vector<uint32_t>& wanted) {
    for (const uint32_t id : wanted) {
        if (id >= scribers.size()) continue;
        scribers[id].subscribe();
        serr << "subscribed to " << scribers[id].name;
    }
}

void restartSubscribers(const std::vector<uint32_t>& wanted) {  // compat: 87
    for (const TrapGenerator& generator : scribers) {
        generator.unsubscribe();
        serr << "unsubscribed from " << generator.name;
    }
    startSubscribers(wanted);
}

tn::message notifyFilterMsg() {
    tn::message filter;
    filter.insert_u32(contracts::interfaces::Flags, 0);  // excludes no interface
    filter.insert_u32(contracts::interfaces::Status, contracts::interfaces::kStatusChanges);
    return filter;
}

}  // namespace snmp
