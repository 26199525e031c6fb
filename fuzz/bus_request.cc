// A message that another process sends to the agent, or that is in its store: whatever it contains, the reply can be
// sent, and what is stored is the same when it is read again. What a request changed is restored afterwards.
//
// The first octet selects the rights of the sender.
#include <cstdlib>

#include "agent/security/item.h"
#include "agent/status/statistics.h"
#include "agent/system/settings.h"
#include "fuzz/support/world.h"

namespace {

namespace change = contracts::snmp::change;
namespace field = tn::field;

void require(bool condition) {
    if (!condition) std::abort();
}

tn::message entries() {
    tn::message all = tn::request(snmp::loop->communities().path(), tn::cmd::GetAll);
    all.insert_u32(field::MaxObjects, 1000);
    return snmp::loop->exchangeMessage(all);
}

/// The world with two plug-ins, one of which failed, and a request that restores it.
struct Agent {
    Agent() { snmp::statistics.plugins = {{"ifx.so", "", {"1.3.6.1.4.1"}}, {"bad.so", "missing symbol", {}}}; }

    World world;
    tn::message settings = snmp::loop->settings().getConfig(), listed = entries();

    void restore() const {
        const tn::message now = entries();
        if (snmp::loop->settings().getConfig() == settings && now == listed) return;
        tn::message all = settings;
        std::vector<uint32_t> removed;
        for (const tn::message& entry : now.get_message_array(field::Objects)) {
            const uint32_t id = entry.get_u32(field::ObjectId);
            if (id != 0) removed.push_back(id);
        }
        for (const tn::message& entry : listed.get_message_array(field::Objects))
            std::erase(removed, entry.get_u32(field::ObjectId));
        all.insert_u32_array(field::Destination, snmp::loop->path());
        all.insert_u32(field::Command, change::kApply);
        all.insert_u32_array(change::Removed, removed);
        all.insert_message_array(change::Entries, listed.get_message_array(field::Objects));
        require(snmp::loop->exchangeMessage(all).empty());
    }
};

void checkRecords(const tn::message& record) {
    const snmp::Settings read = snmp::Settings::read(record);
    require(snmp::Settings::read(read.getConfig()).getConfig() == read.getConfig());
    snmp::Item item, again;
    item.restore(record);
    tn::message first, second;
    item.getConfig(first, 0);
    again.restore(first);
    again.getConfig(second, 0);
    require(first == second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Agent agent;
    tn::message request;
    if (size == 0 || !tn::message::unflatten({data + 1, size - 1}, request)) return 0;
    checkRecords(request);
    const tn::message reply = snmp::loop->dispatchMessage(request, data[0]);
    tn::message received;
    require(tn::message::unflatten(reply.flatten(), received) && received == reply);
    agent.restore();
    return 0;
}
