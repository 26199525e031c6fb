#include "agent/core/look_ahead.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include "agent/mib/columnar_branch.h"
#include "agent/mib/packer.h"
#include "agent/mib/providers/data_provider.h"
#include "agent/mib/providers/get_all_provider.h"
#include "contracts/interfaces.h"
#include "tests/agent/agent_test.h"
#include "tests/agent/said.h"
#include "tests/tn/peers.h"

namespace snmp {
namespace {

namespace interfaces = contracts::interfaces;

constexpr uint32_t kFirst[] = {77, 1}, kSecond[] = {77, 2};

struct Numbered : Data {
    unsigned int number = 0;
    static std::unique_ptr<Data> build(const tn::message& m) {
        auto record = std::make_unique<Numbered>();
        record->number = m.get_u32(interfaces::Mtu);
        return record;
    }
};

/// The agent on a free port. Process 77 owns the scalars 1.3.1, 1.3.2 and, also {77, 1}, 1.3.3.
class LookAheadTest : public AgentTest {
  protected:
    LookAheadTest() {
        agent.reset();
        client = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const int other = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        EXPECT_EQ(bind(other, reinterpret_cast<sockaddr*>(&address), length), 0);
        EXPECT_EQ(getsockname(other, reinterpret_cast<sockaddr*>(&address), &length), 0);
        close(other);
        EXPECT_EQ(connect(client, reinterpret_cast<sockaddr*>(&address), length), 0);
        agent = std::make_unique<SnmpLooper>(ntohs(address.sin_port));
        opensCommon(true);
        agent->enable();
        for (const auto& [number, provider] : {std::pair(1U, &first), std::pair(2U, &second), std::pair(3U, &third)})
            addScalarLeaf(OID{1, 3, number}, &packer, provider);
    }
    ~LookAheadTest() override { close(client); }

    void query(const std::vector<std::string>& names, uint8_t pdu = pdu::GetRequest,
               const std::string& community = "common") const {
        wire::Message request;
        request.community = community;
        request.pdu = pdu;
        for (const std::string& name : names) request.bindings.push_back({name, tag::Integer, "1"});
        const wire::Bytes bytes = wire::encode(request);
        EXPECT_GT(send(client, bytes.data(), bytes.size(), 0), 0);
    }
    /// The values of the replies, after the loop has run.
    [[nodiscard]] std::vector<std::string> replies() const {
        while (agent->runOnce({})) continue;
        std::vector<std::string> all;
        std::string why;
        uint8_t reply[2000];
        for (ssize_t size = 0; (size = recv(client, reply, sizeof reply, MSG_DONTWAIT)) > 0;)
            all.push_back(shown(wire::decode(std::span(reply).first(static_cast<size_t>(size)), why).value().bindings));
        return all;
    }
    /// Reads requests that arrive in one packet, without answering.
    static std::vector<tn::message> reads(int connection, size_t count) {
        std::vector<tn::message> all = tn::RawPeer::readPacket(connection);
        EXPECT_EQ(all.size(), count);
        EXPECT_FALSE(tn::isReadable(connection, 20)) << "more requests than expected";
        return all;
    }
    /// Answers a request with its path and a number, as 100 * path + number.
    static void answer(int connection, const tn::message& request, uint32_t number) {
        tn::message reply;
        reply.insert_u32(interfaces::Mtu, 100 * request.get_u32_array(tn::field::Destination).back() + number);
        reply.insert_u32(tn::field::ReplyTo, request.get_u32(tn::field::RequestId));
        tn::RawPeer::write(connection, reply);
    }
    /// A conversation in which the requests of each batch are answered after all of them were read.
    static tn::RawPeer::Conversation answersInBatches(const std::vector<size_t>& batches) {
        return [=](int connection) {
            for (const size_t batch : batches) {
                uint32_t number = 0;
                for (const tn::message& request : reads(connection, batch)) answer(connection, request, number++);
            }
        };
    }

    int client;
    DataNumPacker packer{static_cast<unsigned int Data::*>(&Numbered::number), tag::Integer};
    GetProvider first{Numbered::build, kFirst, tn::cmd::Get, tn::cmd::Set, 0};
    GetProvider second{Numbered::build, kSecond, tn::cmd::Get, tn::cmd::Set, 0};
    GetProvider third{Numbered::build, kFirst, tn::cmd::Get, tn::cmd::Set, 0};
};

TEST_F(LookAheadTest, WhatTheWaitingGetsFetchIsRequestedTogetherAndAnewForEach) {
    // The first Get opens the connection. The GetNext uses the reply for the last Get, which has to query again.
    const tn::RawPeer peer(77, {answersInBatches({1, 3, 4, 1})});
    query({"1.3.1.0"});
    EXPECT_THAT(replies(), ElementsAre("100"));
    query({"1.3.1.0", "1.3.2.0", "1.3.3.0", "1.3.1.0", "1.3.2.1", "1.3.0.0"});
    EXPECT_THAT(replies(), ElementsAre(HasSubstr("100 201 102 100"))) << "once for each provider";
    query({"1.3.1.0"});
    query({"1.3.1.0", "1.3.2.0"});
    query({"1.3.2.0"}, pdu::GetRequest, "stranger");
    query({"1.3.2"}, pdu::GetNextRequest);
    query({"1.3.2.0"});
    EXPECT_THAT(replies(), ElementsAre("100", "101 202", "203", "200"));
}

TEST_F(LookAheadTest, NothingIsFetchedAheadOfASet) {
    const tn::RawPeer peer(77, {answersInBatches({1, 1, 1, 3})});
    query({"1.3.1.0"});
    query({"1.3.2.0"}, pdu::SetRequest);  // a get and a set
    query({"1.3.2.0"});
    query({"1.3.1.0", "1.3.2.0"});
    EXPECT_THAT(replies(), ElementsAre("100", "1", "200", "101 202"));
}

TEST_F(LookAheadTest, AnOwnerThatDiesFailsTheFetchThatItWasHandling) {
    const tn::RawPeer peer(77, {[](int connection) {
                                    answer(connection, tn::RawPeer::read(connection), 0);
                                    answer(connection, reads(connection, 3).front(), 1);
                                },
                                answersInBatches({1})});
    query({"1.3.1.0"});
    EXPECT_THAT(replies(), ElementsAre("100"));
    query({"1.3.1.0", "1.3.2.0", "1.3.3.0"});
    EXPECT_THAT(said([this] { EXPECT_THAT(replies(), ElementsAre("101 0 100")); }),
                HasSubstr("GetProvider::getData error: bus: 77: disconnected before it replied"));
}

TEST_F(LookAheadTest, RowsOfSeveralIndexesAreRequestedTogether) {
    GetAllProvider rows(kFirst, oneRow<Numbered::build>, 0);
    MapTable table(&rows, false);
    table.addIndex(&packer, tn::field::ObjectId.number);
    ColumnarBranch branch(&table);
    branch.addLeaf(1, &packer, WantedFields{interfaces::Mtu.full()});
    branch.addLeaf(2, &packer, WantedFields{interfaces::Kind.full()});
    addBranch(OID{1, 3, 4}) = &branch;
    const tn::RawPeer peer(77, {[](int connection) {
                               answer(connection, tn::RawPeer::read(connection), 0);
                               for (const tn::message& request : reads(connection, 3)) {
                                   EXPECT_EQ(request.get_u32_array(tn::field::Fields).size(), 2U);
                                   const uint32_t id = request.get_u32(tn::field::Continue);
                                   tn::message item;
                                   item.insert_u32(interfaces::Mtu, id);
                                   item.insert_u32(tn::field::ObjectId, id);
                                   tn::message reply;
                                   reply.insert_message_array(tn::field::Objects, {item});
                                   reply.insert_u32(tn::field::ReplyTo, request.get_u32(tn::field::RequestId));
                                   tn::RawPeer::write(connection, reply);
                               }
                           }});
    query({"1.3.1.0"});
    EXPECT_THAT(replies(), ElementsAre("100"));
    query({"1.3.4.1.7", "1.3.4.2.7", "1.3.4.1.8", "1.3.4.1.9", "1.3.4.3.9"});
    EXPECT_THAT(replies(), ElementsAre(HasSubstr("7 7 8 9")));
    branches.erase(OID{1, 3, 4});
}

}  // namespace
}  // namespace snmp
