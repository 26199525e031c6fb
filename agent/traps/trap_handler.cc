#include "agent/traps/trap_handler.h"

#include "agent/traps/trap_generators.h"

namespace snmp {

namespace trap = contracts::snmp::trap;

namespace {

tn::message generator(uint32_t id, const std::string& name) {
    tn::message item;
    item.insert_u32(tn::field::ObjectId, id);
    item.insert_string(tn::field::Name, name);
    return item;
}

}  // namespace

void TrapHandler::init() { policySet().add_policy(trap::kListGenerators, tn::right::Reading | tn::right::Write); }

tn::message TrapHandler::cmdUnknown(const tn::message&, uint32_t command) {
    tn::message reply;
    if (command != trap::kListGenerators) return reply;
    std::vector<tn::message>& generators = reply.get_message_array_ref(tn::field::Objects);
    generators.push_back(generator(trap::kStartTrap, "start-trap"));
    for (uint32_t i = 0; i < scribers.size(); ++i) generators.push_back(generator(i, scribers[i].name));
    return reply;
}

}  // namespace snmp
