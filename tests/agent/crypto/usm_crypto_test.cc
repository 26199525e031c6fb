#include "agent/crypto/usm_crypto.h"

#include <gtest/gtest.h>

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

TEST(UsmCrypto, NothingIsDigestedOrEncryptedWithWhatIsTooShort) {
    const Octets pads(kPadsSize), message(20);
    EXPECT_EQ(digestMessage(message, pads, 8, 12, digest_method::Sha1).size(), 20U);
    EXPECT_TRUE(digestMessage(message, pads, 9, 12, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, pads, 21, 0, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, {}, 8, 12, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, pads, 8, 12, 2).empty());

    const Octets key(16, 1), shortKey(15, 1);
    Octets text(16), odd(9);
    EXPECT_FALSE(cryptMessageDES("7octets", key, text, true));
    EXPECT_FALSE(cryptMessageDES("8 octets", shortKey, text, true));
    EXPECT_FALSE(cryptMessageDES("8 octets", key, odd, false));
    EXPECT_EQ(text, Octets(16));
    EXPECT_TRUE(cryptMessageDES("8 octets", key, text, true));
    EXPECT_NE(text, Octets(16));
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
