#include "tnctl/message_fields.h"

#include <gmock/gmock.h>

#include "tests/tnctl/scripted_bus.h"
#include "tnctl/message_text.h"

namespace tnctl {
namespace {

using testing::HasSubstr;

TEST(MessageFields, EachKindBecomesItsField) {
    const tn::message m = parseFields({"1:bool=yes", "0x10:u32=0xff", "2:be32=192.0.2.1", "3:u64=18446744073709551615",
                                       "4:addr6=2001:db8::1", "5:string=a=b:c", "6:raw=00ff7f", "7:u32[]=1,2,3",
                                       "8:string[]=a,,b", "9:be32[]=10.0.0.1,10.0.0.2", "10:u32[]=", "5:u32=7",
                                       "11:message={0xff0007:u32=5 2:message={3:u32=4}}", "12:message[]={1:u32=1},{}"});
    EXPECT_TRUE(m.get_bool(1));
    EXPECT_EQ(m.get_u32(0x10), 0xffU);
    EXPECT_EQ(m.get_be32(2), 0xc0000201U);
    EXPECT_EQ(m.get_u64(3), UINT64_MAX);
    EXPECT_EQ(m.get_addr6(4).str(), "2001:db8::1");
    EXPECT_EQ(m.get_string(5), "a=b:c");
    EXPECT_EQ(m.get_u32(5), 7U);
    EXPECT_EQ(m.get_raw(6), (std::vector<uint8_t>{0x00, 0xff, 0x7f}));
    EXPECT_EQ(m.get_u32_array(7), (std::vector<uint32_t>{1, 2, 3}));
    EXPECT_EQ(m.get_string_array(8), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(m.get_be32_array(9), (std::vector<uint32_t>{0x0a000001, 0x0a000002}));
    EXPECT_TRUE(m.has_array(tn::u32_array_id(10)));
    EXPECT_EQ(m.get_message(11).get_message(2).get_u32(3), 4U);
    ASSERT_EQ(m.size(tn::message_array_id(12)), 2U);
    EXPECT_TRUE(m.get_message_array(12)[1].empty());
}

TEST(MessageFields, WrongOnesAreRefusedWithoutRepeatingTheirValues) {
    std::string deep = "1:u32=1";
    for (int i = 0; i < 17; ++i) deep = "1:message={" + deep + "}";
    const std::pair<std::string, const char*> rows[] = {
        {"secret", "expected NUMBER:KIND=VALUE"},
        {"5=secret", "expected NUMBER:KIND=VALUE"},
        {"5:strin=secret", "did you mean string?"},
        {"0x8000000:u32=1", "at most 0x7ffffff"},
        {"5:u32=-1", "5:u32: expected a number of 32 bits"},
        {"5:u32=4294967296", "32 bits"},
        {"5:u32=0x", "32 bits"},
        {"5:u64=18446744073709551616", "64 bits"},
        {"5:raw=abc", "hexadecimal"},
        {"5:raw=0x", "hexadecimal"},
        {"5:be32=::1", "IPv4"},
        {"5:u32[]=1,", "numbers"},
        {"5:message={1:u32=1", "{FIELD"},
        {"5:message=1:u32=1}", "{FIELD"},
        {"5:message={1:u32=x}", "1:u32: expected a number"},
        {"0xff0001:u32[]=24", "the bus itself"},
        {deep, "{FIELD"},
    };
    for (const auto& [text, why] : rows) {
        const std::string said = refusalOf([&text = text] { (void)parseFields({text}); });
        EXPECT_THAT(said, HasSubstr(why)) << text;
        EXPECT_TRUE(text == "secret" || said.find("secret") == std::string::npos) << said;
    }
    EXPECT_THROW((void)parseFields({"5:u32=1", "5:u32=2"}), Failure);
}

TEST(MessageText, ShowsEveryFieldOnALineOfItsOwn) {
    tn::message m = parseFields({"0xfe0001:u32=3", "5:string=a\nb", "6:raw=00ff",
                                 "10:u32[]=", "27:message[]={8:u32=1 9:u32=2},{}", "28:message={11:string=geheim}"});
    std::ostringstream text;
    printFields(text, messageJson(m, Secrets::Hide));
    EXPECT_EQ(text.str(),
              "0xfe0001:u32=3  # object-id\n"
              "5:string=a\\nb\n"
              "6:raw=00ff\n"
              "10:u32[]=\n"
              "27:message[]=\n"
              "  -\n"
              "    8:u32=1\n"
              "    9:u32=2\n"
              "  -\n"
              "28:message=\n"
              "  11:string=***\n");
    EXPECT_EQ(messageJson(m, Secrets::Show)["28:message"]["11:string"], "geheim");
}

}  // namespace
}  // namespace tnctl
