#pragma once

#include "tests/agent/agent_test.h"
#include "wire/manager.h"

namespace snmp {

/// An agent with an engine id and a user for each protocol, 100 s up; 1.3.1.0 is the number 1.
class V3Test : public AgentTest {
  protected:
    static constexpr uint32_t kBoots = 5;
    static constexpr uint32_t kTime = 100;

    V3Test() {
        change({{setting::EngineId, "core1"}, {setting::EngineBoots, kBoots}});
        addUser("md5", false);
        addUser("sha", true);
        addScalarConstNumLeaf(OID{1, 3, 1}, 1, tag::Integer);
        sources.uptime += kTime;
        Context::v3counters = {};
    }

    void addUser(const std::string& name, bool sha, const std::string& password = "authentication",
                 uint32_t security = 0, const std::string& addresses = "0.0.0.0/0") {
        addEntry(name, addresses, security,
                 {{20, sha ? 1U : 0U}, {11, password}, {12, password.empty() ? "" : "encryption"}});
    }

    static wire::Manager manager(uint32_t level, const std::string& user = "md5") {
        return {.user = user,
                .level = level,
                .sha = user == "sha",
                .authPassword = "authentication",
                .privPassword = "encryption",
                .engineId = engineId("core1"),
                .boots = kBoots,
                .time = kTime};
    }
    static std::string engineId(const std::string& text) { return std::string("\x80\x00\xC3\x4F\x04", 5) + text; }
    static wire::Message getOne(const std::string& name = "1.3.1.0") {
        return {.pdu = pdu::GetRequest, .requestId = 99, .bindings = {null(name)}};
    }

    /// What the agent answers, read by that manager; nothing when it stays silent.
    std::optional<wire::Manager::Reply> send(const wire::Manager& m, const wire::Bytes& octets,
                                             const std::string& source = "127.0.0.1") {
        context_.begin(octets);
        if (!createReply(context_, *tn::IPAddr6::parse(source))) return std::nullopt;
        EXPECT_LE(context_.out.size(), kMaxMessage);
        std::string why;
        const auto reply = m.open(context_.out.bytes(), why);
        EXPECT_TRUE(reply) << why;
        return reply;
    }
    std::optional<wire::Manager::Reply> ask(const wire::Manager& m, const wire::Message& body = getOne()) {
        return send(m, m.request(body));
    }

    /// The number of the error that the agent reports; -1 for a response, nothing for silence.
    static std::optional<int> errorOf(const std::optional<wire::Manager::Reply>& reply) {
        if (!reply) return std::nullopt;
        const wire::Message& body = reply->scoped.body;
        if (body.pdu == pdu::Response) return -1;
        EXPECT_EQ(body.pdu, pdu::Report);
        EXPECT_EQ(body.bindings.size(), 1U);
        if (body.bindings.size() != 1) return std::nullopt;
        const std::string prefix = "1.3.6.1.6.3.15.1.1.";  // usmStats
        const auto& [name, tag, value] = body.bindings.front();
        EXPECT_EQ(name.substr(0, prefix.size()), prefix);
        EXPECT_EQ(tag, tag::Counter32);
        const int error = std::stoi(name.substr(prefix.size())) - 1;
        EXPECT_EQ(value, std::to_string(Context::v3counters.at(static_cast<size_t>(error))));
        return error;
    }
    std::optional<int> errorOf(const wire::Manager& m) { return errorOf(ask(m)); }

  private:
    Context context_{{}};  // one for all requests, as the agent has it
};

}  // namespace snmp
