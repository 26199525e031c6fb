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
    for (manager.auth = 0; manager.auth <= 5; ++manager.auth) {
        for (const size_t length : {7UL, 4096UL, 4097UL, 1048576UL, 2000000UL}) {
            const std::string password = std::string(length - 1, 'p') + 'q';
            const Octets key = aKeyToBKey(passwordToAKey(password, manager.auth), kEngine, manager.auth);
            EXPECT_EQ(hex(key), hex(manager.key(password))) << manager.auth << " " << length;
        }
    }
    EXPECT_TRUE(passwordToAKey("", digest_method::Md5).empty());  // the engine id alone makes the key
    EXPECT_EQ(hex(aKeyToBKey({}, kEngine, digest_method::Md5)), "76 8F B3 2D CD 07 5D FA 58 63 FF EB C4 B7 51 C7");
}

TEST(UsmCrypto, DigestsAndCiphersAreThoseOfTheirStandards) {
    const Octets key = {'J', 'e', 'f', 'e'};  // RFC 4231, 4.3; the first octets of each digest
    const std::string text = "what do ya want for nothing?";
    const std::pair<uint32_t, const char*> digests[] = {{digest_method::Sha224, "A3 0E 01 09 8B C6 DB BF"},
                                                        {digest_method::Sha256, "5B DC C1 46 BF 60 75 4E"},
                                                        {digest_method::Sha384, "AF 45 D2 E3 76 48 40 31"},
                                                        {digest_method::Sha512, "16 4B 7A 7B FC F8 19 E2"}};
    for (const auto& [method, digest] : digests) {
        const Octets made = digestMessage(Octets(text.begin(), text.end()), bKeyToDKey(key, method), 0, 0, method);
        EXPECT_EQ(hex(std::span(made).first(8)), digest);
    }
    // NIST SP 800-38A, F.3.13 to F.3.18: its IV is 00 01 02 ... 0F
    const CryptParameters parameters{0x00010203, 0x04050607, "\x08\x09\x0A\x0B\x0C\x0D\x0E\x0F"};
    const Octets plain = {0x6B, 0xC1, 0xBE, 0xE2, 0x2E, 0x40, 0x9F, 0x96};
    const std::tuple<uint32_t, Octets, const char*> ciphers[] = {
        {crypt_method::Aes128,
         {0x2B, 0x7E, 0x15, 0x16, 0x28, 0xAE, 0xD2, 0xA6, 0xAB, 0xF7, 0x15, 0x88, 0x09, 0xCF, 0x4F, 0x3C},
         "3B 3F D9 2E B7 2D AD 20"},
        {crypt_method::Aes192,
         {0x8E, 0x73, 0xB0, 0xF7, 0xDA, 0x0E, 0x64, 0x52, 0xC8, 0x10, 0xF3, 0x2B,
          0x80, 0x90, 0x79, 0xE5, 0x62, 0xF8, 0xEA, 0xD2, 0x52, 0x2C, 0x6B, 0x7B},
         "CD C8 0D 6F DD F1 8C AB"},
        {crypt_method::Aes256,
         {0x60, 0x3D, 0xEB, 0x10, 0x15, 0xCA, 0x71, 0xBE, 0x2B, 0x73, 0xAE, 0xF0, 0x85, 0x7D, 0x77, 0x81,
          0x1F, 0x35, 0x2C, 0x07, 0x3B, 0x61, 0x08, 0xD7, 0x2D, 0x98, 0x10, 0xA3, 0x09, 0x14, 0xDF, 0xF4},
         "DC 7E 84 BF DA 79 16 4B"},
    };
    for (const auto& [cipher, secret, sealed] : ciphers) {
        const UserKeys keys{.cipher = cipher, .digest = {}, .crypt = secret};
        Octets octets = plain;
        ASSERT_TRUE(cryptMessage(keys, parameters, octets, true));
        EXPECT_EQ(hex(octets), sealed);
        ASSERT_TRUE(cryptMessage(keys, parameters, octets, false));
        EXPECT_EQ(octets, plain);
    }
}

TEST(UsmCrypto, NothingIsDigestedWithWhatIsTooShort) {
    const Octets pads(128), message(20);
    EXPECT_EQ(digestMessage(message, pads, 8, 12, digest_method::Sha1).size(), 20U);
    EXPECT_TRUE(digestMessage(message, pads, 9, 12, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, pads, 21, 0, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, {}, 8, 12, digest_method::Sha1).empty());
    EXPECT_TRUE(digestMessage(message, pads, 8, 12, digest_method::Sha512).empty());  // has longer pads
    EXPECT_TRUE(digestMessage(message, pads, 8, 12, 6).empty());
}

TEST(UsmCrypto, NothingPassesForEncryptedWithoutAKeyAndASalt) {
    const auto canEncrypt = [](uint32_t cipher, const Octets& key, const std::string& salt) {
        V3Info info;
        info.msgPrivacyParameters = salt;
        info.msgAuthenticationParameters.resize(12);
        UsmWriter out;
        out.startSeq(tag::Sequence);
        out.writeV3Info(info, security_level::Private);
        return out.cryptPacket(info, {.cipher = cipher, .digest = Octets(128, 2), .crypt = key});
    };
    for (const auto& [cipher, size] :
         {std::pair{0U, 16U}, std::pair{1U, 16U}, std::pair{2U, 24U}, std::pair{3U, 32U}}) {
        EXPECT_TRUE(canEncrypt(cipher, Octets(size, 1), "8 octets"));
        EXPECT_FALSE(canEncrypt(cipher, Octets(size - 1, 1), "8 octets") || canEncrypt(cipher, {}, "8 octets"));
        EXPECT_FALSE(canEncrypt(cipher, Octets(size, 1), "short"));
    }
    EXPECT_FALSE(canEncrypt(4, Octets(64, 1), "8 octets"));
    Octets noWholeBlock(9);
    EXPECT_FALSE(cryptMessageDES("8 octets", Octets(16, 1), noWholeBlock, false));
}

TEST(UsmCrypto, AnEntryOfAnUnknownProtocolOrWithoutAnEngineHasNoKeys) {
    Item item;
    item.authenticationPassword = "password";
    EXPECT_TRUE(item.keys("").digest.empty());
    item.authenticationProtocol = 6;
    EXPECT_TRUE(item.keys(kEngine).digest.empty());
    EXPECT_TRUE(item.keys(kEngine).crypt.empty());
    item.authenticationProtocol = digest_method::Sha1;
    EXPECT_EQ(item.keys(kEngine).digest.size(), 128U);
    EXPECT_EQ(item.keys(kEngine).crypt.size(), 20U);
    item.encryptionProtocol = 4;
    EXPECT_EQ(item.keys(kEngine).digest.size(), 128U);
    EXPECT_TRUE(item.keys(kEngine).crypt.empty());
}

}  // namespace
}  // namespace snmp
