#include "tnctl/message_fields.h"

#include "tests/tnctl/scripted_bus.h"
#include "tnctl/message_text.h"

namespace tnctl {
namespace {

TEST(MessageFields, EachKindIsReadAndShown) {
    const tn::message m =
        parseFields({"0xfe0001:u32=0xff", "1:bool=yes", "3:u64=18446744073709551615", "4:addr6=2001:db8::1",
                     "5:string=a=b:\n", "5:u32=7", "6:raw=00ff7f", "7:u32[]=1,2,3", "8:string[]=a,,b",
                     "10:u32[]=", "27:message[]={8:u32=1 9:u32=2},{}",
                     "28:message={0xff0007:u32=5 2:message={11:string=geheim 12:string=geheim}}"});
    std::ostringstream text;
    printFields(text, messageJson(m, Secrets::Hide));
    EXPECT_EQ(text.str(),
              "0xfe0001:u32=255  # object-id\n1:bool=yes\n3:u64=18446744073709551615\n4:addr6=2001:db8::1\n"
              "5:string=a=b:\\n\n5:u32=7\n6:raw=00ff7f\n7:u32[]=1,2,3\n8:string[]=a,-,b\n10:u32[]=\n"
              "27:message[]=\n  -\n    8:u32=1\n    9:u32=2\n  -\n"
              "28:message=\n  0xff0007:u32=5  # command\n  2:message=\n    11:string=***\n    12:string=***\n");
    const Json shown = messageJson(m, Secrets::Show);
    EXPECT_EQ(shown["8:string[]"], (Json{"a", "", "b"}));
    EXPECT_EQ(shown["28:message"]["2:message"]["12:string"], "geheim");
    EXPECT_EQ(parseFields({"2:be32=192.0.2.1"}), parseFields({"2:be32=0xc0000201"}));
    EXPECT_EQ(messageJson(parseFields({"9:be32[]=10.0.0.1,10.0.0.2"}), Secrets::Show)["9:u32[]"].size(), 2U);
}

TEST(MessageFields, WrongOnesAreRefusedWithoutRepeatingTheirValues) {
    std::string deep = "1:u32=1";
    for (int i = 0; i < 17; ++i) deep = "1:message={" + deep + "}";
    const std::pair<const char*, std::vector<std::string>> rows[] = {
        {"expected NUMBER:KIND=VALUE", {"secret", "5=secret"}},
        {"did you mean string?", {"5:strin=secret"}},
        {"at most 0x7ffffff", {"0x8000000:u32=1"}},
        {"5:u32: expected a 32-bit number", {"5:u32=-1", "5:u32=4294967296", "5:u32=0x"}},
        {"64-bit", {"5:u64=18446744073709551616"}},
        {"hexadecimal", {"5:raw=abc", "5:raw=0x"}},
        {"IPv4", {"5:be32=::1"}},
        {"numbers", {"5:u32[]=1,"}},
        {"{FIELD", {"5:message={1:u32=1", "5:message=1:u32=1}", deep}},
        {"1:u32: expected a 32-bit number", {"5:message={1:u32=x}"}},
        {"the bus sets this field", {"0xff0001:u32[]=24"}},
    };
    for (const auto& [why, texts] : rows)
        for (const std::string& text : texts) {
            const std::string said = refusalOf([&] { (void)parseFields({text}); });
            EXPECT_THAT(said, HasSubstr(why)) << text;
            EXPECT_TRUE(text == "secret" || said.find("secret") == std::string::npos) << said;
        }
    EXPECT_THROW((void)parseFields({"5:u32=1", "5:u32=2"}), Failure);
}

}  // namespace
}  // namespace tnctl
