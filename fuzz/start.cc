// What an agent finds in its store when it starts: the settings, or a change that the last run didn't complete. The
// agent starts, sends its trap and those that it missed, and reports its status. Another start finds the same settings,
// and nothing to complete.
//
// Bit 0 of the first octet selects what the message is that follows: the settings, or the change.
#include <cstdlib>

#include "agent/core/snmp_looper.h"
#include "contracts/interfaces.h"
#include "contracts/snmp.h"
#include "contracts/snmp_status.h"
#include "tests/agent/table_owner.h"
#include "tests/tn/temp_root.h"
#include "tn/log.h"
#include "tn/store.h"

namespace {

namespace interfaces = contracts::interfaces;
namespace snmp_status = contracts::snmp_status;
namespace stored = contracts::snmp::store;

void require(bool condition) {
    if (!condition) std::abort();
}

/// Lists its rows as the owner of the interfaces does.
struct Links : snmp::TableOwner {
    tn::message handle(const tn::message& request, uint32_t rights) override {
        tn::message list = request;
        list.insert_u32(tn::field::Command, tn::cmd::GetAll);
        list.insert_u32(tn::field::MaxObjects, 1000);
        return TableOwner::handle(list, rights);
    }
};

/// Starts an agent. @return its settings, without the number of its starts
tn::message start() {
    Links links;
    links.row(1).insert_u32(interfaces::Flags, 0);
    snmp::SnmpLooper agent(uint16_t{0});
    agent.addHandler(interfaces::kPath, &links);
    agent.init();
    agent.startup();
    for (const uint32_t status : {0U, interfaces::status::Up | interfaces::status::Operational}) {
        links.row(1).insert_u32(interfaces::Status, status);
        for (const uint32_t command : {interfaces::kStatusChanged, tn::cmd::Changed})
            agent.resubscribed(interfaces::kPath, command);
    }
    const tn::message status = agent.exchangeMessage(tn::request(snmp_status::kPath, tn::cmd::Get));
    require(status.get_bool(snmp_status::Open) == agent.isEnabled());
    tn::message settings = agent.settings().getConfig();
    settings.remove(snmp::setting::EngineBoots);
    agent.shutdown();
    return settings;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    tn::setLogTarget(tn::LogTarget::None);
    tn::message found;
    if (size == 0 || !tn::message::unflatten({data + 1, size - 1}, found)) return 0;
    const tn::TempRoot root;
    require(tn::Store(stored::kSettings).set((data[0] & 1) != 0 ? stored::kPending : stored::kCurrent, found));
    const tn::message settings = start();
    require(!tn::Store(stored::kSettings).find(stored::kPending));
    require(start() == settings);
    return 0;
}
