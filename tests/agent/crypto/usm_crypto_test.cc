#include "agent/crypto/usm_crypto.h"

#include <gtest/gtest.h>

#include "agent/ber/tags.h"
#include "agent/ber/usm_writer.h"
#include "agent/security/item.h"
#include "tests/agent/ber/octets.h"
#include "wire/manager.h"

namespace snmp {
namespace {

const std::string kEngine("\0\0\0\0\0\0\0\0\0\0\0\2", 12);

TEST(UsmCrypto, PasswordsOfAnyLengthAreStretchedWhole) {
    wire::Manager manager;
    manager.engineId = kEngine;
    for (const size_t length : {1UL, 7UL, 4096UL, 4097UL, 1048575UL, 1048576UL, 2000000UL}) {
        const std::string password = std::string(length - 1, 'p') + 'q';
        const Octets key = aKeyToBKey(passwordToAKey(password, digest_method::Md5), kEngine, digest_method::Md5);
        EXPECT_EQ(hex(key), hex(manager.key(password))) << length;
    }
    EXPECT_TRUE(passwordToAKey("", digest_method::Md5).empty());  // the engine id alone makes the key
    EXPECT_EQ(hex(aKeyToBKey({}, kEngine, digest_method::Md5)), "76 8F B3 2D CD 07 5D FA 58 63 FF EB C4 B7 51 C7");
}

TEST(UsmCrypto, NothingIsDigestedWithWhatIsTooShort) {
    const Octets pads(kPadsSize), message(20);
    EXPECT_EQ(digestMessage(message, pads, 8, 12, digest_method::Sha1).size(), 20U);
    EXPECT_TRUE(digestMessage(message, pads, 9, 12, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, pads, 21, 0, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, {}, 8, 12, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, pads, 8, 12, 2).empty());
}

TEST(UsmCrypto, NothingPassesForEncryptedWithoutAKeyAndASalt) {
    const auto canEncrypt = [](const Octets& key, const std::string& salt) {
        V3Info info;
        info.msgPrivacyParameters = salt;
        info.msgAuthenticationParameters.resize(kAuthParamsSize);
        UsmWriter out;
        out.startSeq(tag::Sequence);
        out.writeV3Info(info, security_level::Private);
        return out.cryptPacket(info, {.digest = Octets(kPadsSize, 2), .crypt = key});
    };
    EXPECT_TRUE(canEncrypt(Octets(16, 1), "8 octets"));
    EXPECT_FALSE(canEncrypt(Octets(15, 1), "8 octets") || canEncrypt({}, "8 octets"));
    EXPECT_FALSE(canEncrypt(Octets(16, 1), "short"));
    Octets noWholeBlock(9);
    EXPECT_FALSE(cryptMessageDES("8 octets", Octets(16, 1), noWholeBlock, false));
}

TEST(UsmCrypto, AnEntryOfAnUnknownProtocolOrWithoutAnEngineHasNoKeys) {
    Item item;
    item.authenticationPassword = "password";
    EXPECT_TRUE(item.keys("").digest.empty());
    item.authenticationProtocol = 2;
    EXPECT_TRUE(item.keys(kEngine).digest.empty());
    EXPECT_TRUE(item.keys(kEngine).crypt.empty());
    item.authenticationProtocol = digest_method::Sha1;
    EXPECT_EQ(item.keys(kEngine).digest.size(), kPadsSize);
    EXPECT_EQ(item.keys(kEngine).crypt.size(), 20U);
}

}  // namespace
}  // namespace snmp
