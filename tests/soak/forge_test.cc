#include "soak/forge.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace soak {
namespace {

wire::Manager manager() {
    return {.user = "forged",
            .level = 2,
            .auth = snmp::digest_method::Sha256,
            .priv = snmp::crypt_method::Aes128,
            .authPassword = "authentication",
            .privPassword = "encryption",
            .engineId = "engine",
            .boots = 3,
            .time = 70'000};
}

TEST(Forge, SameSeedAndNumberGiveTheSameFaultOfAnyFieldAndKind) {
    const Forge forge({.seed = 5, .versions = {0, 1, 3}, .user = manager()});
    const Forge same({.seed = 5, .versions = {0, 1, 3}, .user = manager()});
    const Forge other({.seed = 6, .versions = {0, 1, 3}, .user = manager()});
    std::set<std::string> faults;
    unsigned different = 0;
    for (uint64_t number = 0; number < 20'000; ++number) {
        const Forged forged = forge.make(number);
        if (number < 100) {
            EXPECT_EQ(forged.octets, same.make(number).octets);
            different += forged.octets != other.make(number).octets ? 1 : 0;
        }
        faults.insert(forged.what.substr(forged.what.find(": ") + 2));
    }
    EXPECT_GT(different, 95U);
    for (const std::string field :
         {"message", "version", "community",     "PDU",        "request id",   "error-index",    "varbind list",
          "varbind", "name",    "value",         "header",     "flags",        "engine id",      "boots",
          "digest",  "salt",    "encrypted PDU", "scoped PDU", "context name", "max-repetitions"})
        for (const std::string fault : {"another tag", "length 2^31", "another value", "cut off", "oversized", "twice"})
            EXPECT_TRUE(faults.contains(field + ": " + fault)) << field << ": " << fault;
}

// A receiver would otherwise refuse the message before it reaches the fault.
TEST(Forge, FaultInTheScopedPduFollowsAValidDigestAndDecryption) {
    const Forge forge({.seed = 1, .versions = {3}, .user = manager()});
    unsigned opened = 0, refused = 0;
    for (uint64_t number = 0; number < 5'000; ++number) {
        const Forged forged = forge.make(number);
        const std::string field = forged.what.substr(forged.what.find(": ") + 2);
        if (!field.starts_with("varbind") && !field.starts_with("name") && !field.starts_with("context")) continue;
        if (field.ends_with("cut off") || field.ends_with("oversized")) continue;  // of the whole datagram
        std::string why;
        const auto reply = manager().open(forged.octets, why);
        EXPECT_NE(why, "not signed") << forged.what;
        EXPECT_NE(why, "not encrypted") << forged.what;
        ++(reply ? opened : refused);
    }
    EXPECT_GT(opened, 50U);
    EXPECT_GT(refused, 500U);
}

TEST(Forge, OneFaultLeavesTheRestOfTheMessageValid) {
    const Forge forge({.seed = 2, .versions = {1}, .community = "common"});
    unsigned found = 0;
    for (uint64_t number = 0; number < 5'000; ++number) {
        const Forged forged = forge.make(number);
        if (!forged.what.ends_with(": request id: another value")) continue;
        std::string why;
        const auto message = wire::decode(forged.octets, why);
        if (!message) continue;  // a number with too many octets
        EXPECT_EQ(message->community, "common");
        EXPECT_FALSE(message->bindings.empty());
        ++found;
    }
    EXPECT_GT(found, 5U);
}

}  // namespace
}  // namespace soak
