#include "tests/agent/agent_test.h"

#include <cstdlib>
#include <filesystem>

#include "agent/system/scribers.h"
#include "agent/traps/interface_traps.h"
#include "agent/traps/trap_makers.h"

namespace snmp {

AgentTest::AgentTest() {
    std::string folder = (std::filesystem::temp_directory_path() / "tarnix-agent-XXXXXX").string();
    root_ = mkdtemp(folder.data());
    tn::setRoot(root_);
    tn::setSources(&sources);
    agent = std::make_unique<SnmpLooper>(uint16_t{0});
}

AgentTest::~AgentTest() {
    agent.reset();
    branches.clear();
    scribers.clear();
    trapMakers.clear();
    ifStateMap.clear();
    interfaceFilter.clear();
    tn::setSources(nullptr);
    std::filesystem::remove_all(root_);
}

ScriptedOwner& AgentTest::owner(const std::vector<uint32_t>& path) {
    auto& slot = owners[path];
    if (!slot) {
        slot = std::make_unique<ScriptedOwner>();
        agent->addHandler(path, slot.get());
    }
    return *slot;
}

void AgentTest::restart() {
    agent.reset();
    agent = std::make_unique<SnmpLooper>(uint16_t{0});
    for (const auto& [path, handler] : owners) agent->addHandler(path, handler.get());
    agent->init();
}

void AgentTest::opensCommon(bool write) {
    tn::message change = tn::request(agent->communities().path(), tn::cmd::SetObj);
    change.insert_u32(tn::field::ObjectId, 0);
    change.insert_bool(7, write);
    tn::message anywhere;
    anywhere.insert_addr6(22, {});
    anywhere.insert_u32(23, 0);
    change.insert_message_array(27, {anywhere});
    ASSERT_FALSE(tn::isError(agent->exchangeMessage(change)));
}

void AgentTest::addEntry(const std::string& name, const std::string& addresses, uint32_t security) {
    tn::message entry = tn::request(agent->communities().path(), tn::cmd::AddObj);
    entry.insert_string(5, name);
    entry.insert_u32(15, security);
    const auto prefix = tn::IPPrefix6::parse(addresses);
    tn::message address;
    if (prefix->isIPv4()) {
        address.insert_be32(8, prefix->address().getIPv4());
        address.insert_be32(9, prefix->mask4());
    } else {
        address.insert_addr6(22, prefix->address());
        address.insert_u32(23, prefix->length());
    }
    entry.insert_message_array(27, {address});
    const tn::message reply = agent->exchangeMessage(entry);
    ASSERT_FALSE(tn::isError(reply)) << tn::getError(reply);
}

std::optional<wire::Message> AgentTest::askBytes(const wire::Bytes& request, const std::string& source) {
    Context context(request);
    if (!createReply(context, *tn::IPAddr6::parse(source))) return std::nullopt;
    std::string why;
    auto reply = wire::decode(context.out.bytes(), why);
    EXPECT_TRUE(reply) << why;
    EXPECT_LE(context.out.size(), kMaxMessage);
    return reply;
}

std::optional<wire::Message> AgentTest::ask(const wire::Message& request, const std::string& source) {
    return askBytes(wire::encode(request), source);
}

wire::Message AgentTest::must(const wire::Message& request) {
    const auto reply = ask(request);
    EXPECT_TRUE(reply) << "no answer";
    return reply.value_or(wire::Message{});
}

namespace {
std::vector<wire::Binding> named(const std::vector<std::string>& names) {
    std::vector<wire::Binding> bindings;
    for (const std::string& name : names) bindings.push_back({name, tag::Null, ""});
    return bindings;
}
}  // namespace

wire::Message AgentTest::get(const std::vector<std::string>& names, uint32_t version) {
    return must({.version = version, .pdu = pdu::GetRequest, .bindings = named(names)});
}

wire::Message AgentTest::next(const std::vector<std::string>& names, uint32_t version) {
    return must({.version = version, .pdu = pdu::GetNextRequest, .bindings = named(names)});
}

wire::Message AgentTest::bulk(const std::vector<std::string>& names, uint32_t nonRepeaters, uint32_t repetitions) {
    return must(
        {.pdu = pdu::GetBulkRequest, .errorStatus = nonRepeaters, .errorIndex = repetitions, .bindings = named(names)});
}

std::vector<wire::Binding> AgentTest::walk(const std::string& prefix, uint32_t repetitions, uint32_t version) {
    std::vector<wire::Binding> all;
    for (OID last(prefix); all.size() < 100000;) {
        const std::string from = all.empty() ? prefix : all.back().name;
        const wire::Message reply = repetitions == 0 ? next({from}, version) : bulk({from}, 0, repetitions);
        if (reply.errorStatus != 0 || reply.bindings.empty()) return all;
        for (const wire::Binding& binding : reply.bindings) {
            OID name(binding.name);
            if (binding.tag == tag::EndOfMibView || !name.startsWith(OID(prefix))) return all;
            EXPECT_LT(last, name);
            if (!(last < name)) return all;
            last = std::move(name);
            all.push_back(binding);
        }
    }
    return all;
}

wire::Message AgentTest::set(const std::vector<wire::Binding>& bindings, uint32_t version) {
    return must({.version = version, .pdu = pdu::SetRequest, .bindings = bindings});
}

}  // namespace snmp
