#include "fuzz/support/world.h"

#include "agent/mib/branch.h"
#include "agent/modules/host_module.h"
#include "agent/modules/interface_module.h"
#include "agent/modules/system_module.h"
#include "agent/modules/vendor_module.h"
#include "contracts/disks.h"
#include "contracts/interfaces.h"
#include "contracts/snmp.h"
#include "contracts/system.h"
#include "tn/log.h"

World::World() {
    tn::setLogTarget(tn::LogTarget::None);
    tn::setSources(&still_);
    agent_ = std::make_unique<snmp::SnmpLooper>(uint16_t{0});
    const std::pair<std::span<const uint32_t>, snmp::TableOwner*> owners[] = {
        {contracts::system_info::kPath, &system_},
        {contracts::interfaces::kPath, &interfaces_},
        {contracts::disks::kPath, &disks_}};
    for (const auto& [path, owner] : owners) {
        owner->remembers = false;
        agent_->addHandler(path, owner);
    }
    for (uint32_t id = 1; id <= 20; ++id) {
        interfaces_.row(id).insert_string(contracts::interfaces::Name, "if" + std::to_string(id));
        interfaces_.row(id).insert_u64(contracts::interfaces::InOctets, uint64_t{id} << 40);
        disks_.row(id).insert_u32(contracts::disks::Size, id);
    }
    snmp::start_system_module();
    snmp::start_host_module();
    snmp::start_vendor_module();
    snmp::start_interface_module();
    // Stored settings would affect the next input.
    for (const unsigned setting : {4U, 6U}) snmp::branches.erase(snmp::OID{1, 3, 6, 1, 2, 1, 1, setting});
    add("r", false);
    add("w", true);
}

void World::add(const std::string& community, bool write) {
    tn::message m = tn::request(agent_->communities().path(), tn::cmd::AddObj);
    m.insert_string(contracts::snmp::community::Name, community);
    m.insert_bool(contracts::snmp::community::WriteAccess, write);
    (void)agent_->exchangeMessage(m);
}
