#include "agent/ber/usm_writer.h"

#include <gtest/gtest.h>

#include "agent/ber/tags.h"

namespace snmp {
namespace {

TEST(UsmWriter, WithoutAKeyNothingPassesForEncryptedOrSigned) {
    const Octets key(16, 1), pads(kPadsSize, 2);
    const auto canFinish = [](uint32_t level, const UserKeys& keys, const std::string& salt) {
        V3Info info;
        info.msgPrivacyParameters = salt;
        info.msgAuthenticationParameters.resize(kAuthParamsSize);
        UsmWriter out;
        out.startSeq(tag::Sequence);
        out.writeV3Info(info, level);
        const bool isCrypted = out.cryptPacket(info, keys);
        out.endSeq();
        return isCrypted && out.signPacket(info, keys);
    };
    EXPECT_TRUE(canFinish(security_level::None, {}, ""));
    EXPECT_FALSE(canFinish(security_level::Authorized, {}, ""));
    EXPECT_TRUE(canFinish(security_level::Authorized, {.digest = pads, .crypt = {}}, ""));
    EXPECT_FALSE(canFinish(security_level::Private, {.digest = pads, .crypt = {}}, "8 octets"));
    EXPECT_FALSE(canFinish(security_level::Private, {.digest = pads, .crypt = key}, "short"));
    EXPECT_TRUE(canFinish(security_level::Private, {.digest = pads, .crypt = key}, "8 octets"));
}

}  // namespace
}  // namespace snmp
