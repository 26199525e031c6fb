#include "agent/ber/usm_reader.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "agent/ber/tags.h"
#include "agent/mib/context.h"
#include "tests/agent/ber/octets.h"
#include "wire/manager.h"

namespace snmp {
namespace {

/// A manager and the agent's keys for its one user.
struct Peers {
    wire::Manager manager{.user = "ops",
                          .level = 2,
                          .authPassword = "authentication",
                          .privPassword = "encryption",
                          .engineId = "engine"};
    V3ServerInfo server;
    UserKeys keys;

    Peers() {
        server.engineId = manager.engineId;
        keys.digest = bKeyToDKey(manager.key(manager.authPassword), keys.method);
        keys.crypt = manager.key(manager.privPassword);
    }
    [[nodiscard]] wire::Bytes sealed(const wire::Bytes& scoped) const { return manager.seal(manager.header(), scoped); }
    bool opens(UsmReader& in) {
        V3Error error = V3Error::None;
        return in.getVersion() == 3 && in.readV3Info(error) && in.decryptAndCheckSignature(error, keys, server) &&
               error == V3Error::None;
    }
};

TEST(UsmReader, PlaintextEndsTheMessageWhateverFollowsTheCiphertext) {
    Peers peers;
    const wire::Bytes scoped = wire::encode(wire::ScopedPdu{"engine", "", {.pdu = pdu::GetRequest, .bindings = {}}});
    std::string why;
    auto followed = wire::decodeV3(peers.sealed(scoped), why);
    ASSERT_TRUE(followed) << why;
    followed->data.insert(followed->data.end(), {5, 0});
    wire::Manager signer = peers.manager;  // signs what it doesn't encrypt again
    signer.level = 1;
    followed->auth = signer.header().auth;
    UsmReader in(signer.seal(*followed, followed->data));
    ASSERT_TRUE(peers.opens(in));
    EXPECT_EQ(in.getType(), pdu::GetRequest);
    in.exitSeq();  // the scoped PDU
    in.exitSeq();  // the message, whose length counted all of it
    EXPECT_EQ(in.getType(), kNoTag);
    EXPECT_EQ(in.position(), in.size());
}

TEST(UsmReader, WhatHoldsNoScopedPduIsAgainAsItWasReceived) {
    Peers peers;
    const wire::Bytes message = peers.sealed(wire::Bytes(16, 0xAA));
    UsmReader in(message);
    EXPECT_FALSE(peers.opens(in));
    EXPECT_EQ(hex(in.bytes()), hex(message));
}

TEST(UsmReader, ASealedMessageHasNoContextNameOfTheMessageBefore) {
    Peers peers;
    peers.server.strictDigest = true;
    const wire::Bytes scoped = wire::encode(wire::ScopedPdu{"engine", "ctx", {.pdu = pdu::GetRequest, .bindings = {}}});
    Context c(peers.sealed(scoped));
    ASSERT_TRUE(peers.opens(c.in));
    EXPECT_EQ(c.in.v3Info().contextName, "ctx");
    peers.manager.authPassword = "another password";
    c.begin(peers.sealed(scoped));
    EXPECT_FALSE(peers.opens(c.in));
    EXPECT_TRUE(c.in.isSealed());
    EXPECT_EQ(c.in.v3Info().contextName, "");
}

TEST(UsmReader, SecurityParametersThatLeaveTheirOctetStringAreRefused) {
    const wire::Manager stranger;
    wire::Bytes message = stranger.request({.pdu = pdu::GetRequest, .bindings = {}});
    const auto canRead = [&message] {
        UsmReader in(message);
        V3Error error = V3Error::None;
        return in.getVersion() == 3 && in.readV3Info(error);
    };
    EXPECT_TRUE(canRead());
    const wire::Bytes header = {tag::OctetString, 16, tag::Sequence, 14};
    const auto found = std::search(message.begin(), message.end(), header.begin(), header.end());
    ASSERT_NE(found, message.end());
    --found[1];
    EXPECT_FALSE(canRead());
}

}  // namespace
}  // namespace snmp
