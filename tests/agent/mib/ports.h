#pragma once

#include "agent/mib/columns.h"
#include "agent/mib/providers/get_all_provider.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/table_owner.h"

namespace snmp {

constexpr tn::string_id kName{1};
constexpr tn::u32_id kValue{2};

/// The record of a table that is keyed by object id.
struct Port : Data {
    unsigned int id = 0;
    unsigned int value = 0;
    std::string name;
    static std::unique_ptr<Data> build(const tn::message& m) {
        auto port = std::make_unique<Port>();
        port->id = m.get_u32(tn::field::ObjectId);
        port->name = m.get_string(kName);
        port->value = m.get_u32(kValue);
        return port;
    }
    void reverseBuild(tn::message& m) override { m.insert_u32(kValue, value); }
};

constexpr Column<Port> kPortColumns[] = {
    {1, "id", tag::Integer, &Port::id},
    {2, "name", tag::OctetString, &Port::name},
    {4, "value", tag::Integer, &Port::value},
};

/// A test with ports at {20, 0}, which an owner in the test's process serves.
class PortsTest : public AgentTest {
  protected:
    PortsTest() { agent->addHandler(kPath, &ports); }

    /// Adds ports with these ids; port 3 has the name "p3" and the value 30.
    void hasPorts(std::initializer_list<uint32_t> ids) {
        for (const uint32_t id : ids) put(ports.row(id), {{kName, "p" + std::to_string(id)}, {kValue, id * 10}});
    }

    inline static const std::vector<uint32_t> kPath = {20, 0};
    TableOwner ports;
};

}  // namespace snmp
