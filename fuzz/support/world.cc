#include "fuzz/support/world.h"

#include <utility>

#include "agent/core/start.h"
#include "agent/mib/branch.h"
#include "contracts/disks.h"
#include "contracts/interfaces.h"
#include "contracts/snmp.h"
#include "contracts/system.h"
#include "tn/log.h"

namespace entry = contracts::snmp::community;

World::World() {
    tn::setLogTarget(tn::LogTarget::None);
    tn::setSources(&still_);
    agent_ = std::make_unique<snmp::SnmpLooper>(uint16_t{0}, snmp::kTrapPort, std::chrono::milliseconds(1));
    agent_->addHandler(contracts::system_info::kPath, &system_);
    agent_->addHandler(contracts::interfaces::kPath, &interfaces_);
    agent_->addHandler(contracts::disks::kPath, &disks_);
    for (uint32_t id = 1; id <= 20; ++id) {
        interfaces_.row(id).insert_string(contracts::interfaces::Name, "if" + std::to_string(id));
        interfaces_.row(id).insert_u64(contracts::interfaces::InOctets, uint64_t{id} << 40);
        disks_.row(id).insert_u32(contracts::disks::Size, id);
    }
    snmp::startModules();
    // Stored settings would affect the next input.
    for (const unsigned setting : {4U, 6U}) snmp::branches.erase(snmp::OID{1, 3, 6, 1, 2, 1, 1, setting});
    add("r", false);
    add("w", true);
    add("v", true, {{1, 3, 6, 1, 2, 1, 1}, {1, 3, 6, 1, 2, 1, 2}, {1, 3, 6, 1, 4}}, {{1, 3, 6, 1, 2, 1, 2, 2, 1, 5}});
    tn::message elsewhere;
    elsewhere.insert_be32(entry::Address4, 0x0a000000);
    elsewhere.insert_be32(entry::Netmask4, 0xff000000);
    add("s", false, {}, {}, std::move(elsewhere));
    tn::message user;
    user.insert_u32(entry::Security, contracts::snmp::security::Authorized);
    add("k", false, {}, {}, std::move(user));
}

void World::add(const std::string& community, bool write, const std::vector<Name>& seen,
                const std::vector<Name>& hidden, tn::message more) {
    std::vector<tn::message> views;
    for (const auto* names : {&seen, &hidden}) {
        for (const Name& name : *names) {
            views.emplace_back().insert_u32_array(entry::Subtree, name);
            if (names == &hidden) views.back().insert_bool(entry::Excluded, true);
        }
    }
    tn::message m = std::move(more);
    m.insert_all(tn::request(agent_->communities().path(), tn::cmd::AddObj));
    m.insert_string(entry::Name, community);
    m.insert_bool(entry::WriteAccess, write);
    m.insert_message_array(entry::Views, std::move(views));
    (void)agent_->exchangeMessage(m);
}
