#include "agent/crypto/usm_crypto.h"

#include <gtest/gtest.h>

#include "agent/security/item.h"
#include "tests/agent/ber/octets.h"
#include "wire/manager.h"

namespace snmp {
namespace {

const std::string kEngine("\0\0\0\0\0\0\0\0\0\0\0\2", 12);

TEST(UsmCrypto, PasswordsBecomeTheKeysOfRfc3414) {  // A.3
    const std::tuple<uint32_t, const char*, const char*> cases[] = {
        {digest_method::Md5, "9F AF 32 83 88 4E 92 83 4E BC 98 47 D8 ED D9 63",
         "52 6F 5E ED 9F CC E2 6F 89 64 C2 93 07 87 D8 2B"},
        {digest_method::Sha1, "9F B5 CC 03 81 49 7B 37 93 52 89 39 FF 78 8D 5D 79 14 52 11",
         "66 95 FE BC 92 88 E3 62 82 23 5F C7 15 1F 12 84 97 B3 8F 3F"},
    };
    for (const auto& [method, password, localised] : cases) {
        const Octets key = passwordToAKey("maplesyrup", method);
        EXPECT_EQ(hex(key), password);
        EXPECT_EQ(hex(aKeyToBKey(key, kEngine, method)), localised);
    }
    EXPECT_TRUE(passwordToAKey("", digest_method::Md5).empty());  // the engine id alone makes the key
    EXPECT_EQ(hex(aKeyToBKey({}, kEngine, digest_method::Md5)), "76 8F B3 2D CD 07 5D FA 58 63 FF EB C4 B7 51 C7");
}

TEST(UsmCrypto, PasswordsOfAnyLengthAreStretchedWhole) {
    wire::Manager manager;
    manager.engineId = kEngine;
    for (const size_t length : {1UL, 7UL, 4096UL, 4097UL, 1048575UL, 1048576UL, 2000000UL}) {
        const std::string password = std::string(length - 1, 'p') + 'q';
        const Octets key = aKeyToBKey(passwordToAKey(password, digest_method::Md5), kEngine, digest_method::Md5);
        EXPECT_EQ(hex(key), hex(manager.key(password))) << length;
    }
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
