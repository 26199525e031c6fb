#include "tests/agent/agent_test.h"

#include "agent/status/statistics.h"
#include "agent/traps/interface_traps.h"
#include "agent/traps/trap_generators.h"
#include "agent/traps/trap_makers.h"
#include "tests/agent/ber/octets.h"
#include "tn/log_limiter.h"

namespace snmp {

AgentTest::AgentTest() {
    tn::setSources(&sources);
    tn::forgetLines();
    statistics = {};
    agent = std::make_unique<SnmpLooper>(uint16_t{0});
}

AgentTest::~AgentTest() {
    agent.reset();
    branches.clear();
    scribers.clear();
    trapMakers.clear();
    trapRules = &kFixedRules;
    ifStateMap.clear();
    interfaceFilter.clear();
    tn::setSources(nullptr);
}

ScriptedOwner& AgentTest::owner(std::span<const uint32_t> path) {
    auto& slot = owners[{path.begin(), path.end()}];
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

std::string AgentTest::errorOf(std::span<const uint32_t> path, uint32_t command, const Fields& fields) {
    tn::message request = tn::request(path, command);
    return tn::getError(agent->exchangeMessage(put(request, fields)));
}

void AgentTest::change(const Fields& settings) { EXPECT_EQ(errorOf(agent->path(), tn::cmd::Set, settings), ""); }

void AgentTest::changeEntry(const std::string& name, Fields what) {
    what.emplace_back(tn::field::ObjectId, agent->communities().find(name)->id);
    EXPECT_EQ(errorOf(agent->communities().path(), tn::cmd::SetObj, what), "");
}

void AgentTest::opensCommon(bool write) {
    const tn::message anywhere = messageOf({{22, tn::IPAddr6()}, {23, 0U}});
    changeEntry("common", {{7, write}, {27, Messages{anywhere}}});
}

void AgentTest::addEntry(const std::string& name, const std::string& addresses, uint32_t security, Fields more) {
    const auto prefix = tn::IPPrefix6::parse(addresses);
    const tn::message address = prefix->isIPv4()
                                    ? messageOf({{8, Ip4{prefix->address().getIPv4()}}, {9, Ip4{prefix->mask4()}}})
                                    : messageOf({{22, prefix->address()}, {23, uint32_t{prefix->length()}}});
    more.insert(more.end(), {{5, name}, {15, security}, {27, Messages{address}}});
    EXPECT_EQ(errorOf(agent->communities().path(), tn::cmd::AddObj, more), "");
}

void AgentTest::removeEntry(const std::string& name) {
    const uint32_t id = agent->communities().find(name)->id;
    EXPECT_EQ(errorOf(agent->communities().path(), tn::cmd::RemoveObj, {{tn::field::ObjectId, id}}), "");
}

std::optional<wire::Message> AgentTest::askBytes(const wire::Bytes& request, const std::string& source) {
    Context context(request);
    context.rules = agent->v3Server().rules;
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

wire::Message AgentTest::must(uint8_t pdu, const std::vector<std::string>& names, uint32_t version,
                              uint32_t nonRepeaters, uint32_t repetitions) {
    wire::Message request{
        .version = version, .pdu = pdu, .errorStatus = nonRepeaters, .errorIndex = repetitions, .bindings = {}};
    for (const std::string& name : names) request.bindings.push_back(null(name));
    return must(request);
}

std::string AgentTest::shown(const std::vector<wire::Binding>& bindings) {
    std::string all;
    for (const auto& [name, tag, value] : bindings) {
        std::string text = value;
        const auto printable = [](char c) { return c >= ' ' && c <= '~'; };
        if (tag == tag::Integer) {
            text = std::to_string(static_cast<int32_t>(std::stoul(value)));
        } else if (tag == tag::IpAddress) {
            text.clear();
            for (const char c : value) text += (text.empty() ? "" : ".") + std::to_string(static_cast<uint8_t>(c));
        } else if (tag == tag::NoSuchInstance || value.empty()) {
            text = tag == tag::OctetString ? "''" : "-";
        } else if (!std::ranges::all_of(value, printable)) {
            text = hex({reinterpret_cast<const uint8_t*>(value.data()), value.size()});
        }
        all += (all.empty() ? "" : " ") + text;
    }
    return all;
}

std::string AgentTest::values(const std::vector<std::string>& names) {
    const wire::Message reply = get(names);
    return reply.errorStatus == 0 ? shown(reply.bindings) : "error " + std::to_string(reply.errorStatus);
}

std::string AgentTest::row(const std::string& entry, const std::vector<uint32_t>& columns, const std::string& index) {
    std::vector<std::string> names;
    for (const uint32_t column : columns) names.push_back(entry + std::to_string(column) + "." + index);
    return values(names);
}

std::vector<wire::Binding> AgentTest::walk(const std::string& prefix, uint32_t repetitions, uint32_t version) {
    std::vector<wire::Binding> all;
    const std::string start = prefix.ends_with('.') ? prefix.substr(0, prefix.size() - 1) : prefix;
    for (OID last(prefix); all.size() < 100'000;) {
        const std::string from = all.empty() ? start : all.back().name;
        const wire::Message reply = repetitions == 0 ? next({from}, version) : bulk({from}, 0, repetitions);
        if (reply.errorStatus != 0 || reply.bindings.empty()) return all;
        for (const wire::Binding& binding : reply.bindings) {
            OID name(binding.name);
            if (binding.tag == tag::EndOfMibView || !name.hasPrefix(OID(prefix))) return all;
            EXPECT_LT(last, name);
            if (!(last < name)) return all;
            last = std::move(name);
            all.push_back(binding);
        }
    }
    return all;
}

}  // namespace snmp
