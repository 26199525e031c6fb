#include "tnctl/words.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "tests/tnctl/scripted_bus.h"

namespace tnctl {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string asTyped(const Word&, std::string_view value) { return std::string(value); }

/// An argument as JSON, after having been read.
std::string shown(std::span<const Word> words, const std::string& argument) {
    const tn::message fields = parseWords(words, {argument}, asTyped);
    EXPECT_EQ(fields.size(), 1U);
    const auto word = std::ranges::find(words, argument.substr(0, argument.find('=')), &Word::name);
    return word->type.show(fields, word->number).dump();
}

std::string refusal(std::span<const Word> words, const std::vector<std::string>& arguments,
                    const ReadSecret& readSecret = asTyped) {
    return refusalOf([&] { (void)parseWords(words, arguments, readSecret); });
}

TEST(Words, ValuesComeBackAsTheyWereGiven) {
    const std::pair<const char*, const char*> settings[] = {
        {"enabled=yes", "true"},
        {"enabled=off", "false"},
        {"contact=", R"("")"},
        {"contact=a = b", R"("a = b")"},
        {"engine-id=123456789012345678901234567", R"("123456789012345678901234567")"},
        {"trap-version=1", R"("1")"},
        {"trap-version=2c", R"("2c")"},
        {"trap-version=3", R"("3")"},
        {"trap-community=none", R"("none")"},
        {"trap-targets=192.0.2.1,2001:db8::1", R"(["192.0.2.1","2001:db8::1"])"},
        {"interfaces=all", R"("all")"},
        {"interfaces=none", R"("none")"},
        {"interfaces=1,0x10,4294967295", "[1,16,4294967295]"},
    };
    for (const auto& [argument, expected] : settings) EXPECT_EQ(shown(settingWords(), argument), expected);
    const std::pair<const char*, const char*> communities[] = {
        {"security=private", R"("private")"},
        {"authentication-protocol=sha1", R"("sha1")"},
        {"addresses=192.0.2.7", R"(["192.0.2.7/32"])"},
        {"addresses=0.0.0.0/0,::/0", R"(["0.0.0.0/0","::/0"])"},
        {"addresses=192.0.2.0/255.255.255.0,2001:db8::/32", R"(["192.0.2.0/24","2001:db8::/32"])"},
        {"addresses=10.0.0.1/255.0.0.255", R"(["10.0.0.1/255.0.0.255"])"},
    };
    for (const auto& [argument, expected] : communities) EXPECT_EQ(shown(communityWords(), argument), expected);
}

TEST(Words, WhatIsWrongIsToldByWhatWasExpected) {
    const std::pair<std::vector<std::string>, const char*> settings[] = {
        {{"enabld=yes"}, "did you mean enabled?"},
        {{"cont=x"}, "did you mean contact?"},
        {{"zzzz=x"}, "expected enabled, contact,"},
        {{"="}, "unknown word"},
        {{"contact"}, "expected contact=VALUE"},
        {{"enabled="}, "expected yes or no"},
        {{"contact=a", "contact=b"}, "given twice"},
        {{"contact=" + std::string(256, 'x')}, "at most 255"},
        {{"engine-id=" + std::string(28, 'x')}, "at most 27"},
        {{"engine-boots=1"}, "read-only"},
        {{"trap-version=2"}, "expected 1, 2c or 3"},
        {{"trap-targets="}, "expected addresses"},
        {{"trap-targets=192.0.2.1/24"}, "expected addresses"},
        {{"interfaces=0"}, "expected all, none"},
        {{"interfaces=1,,2"}, "expected all, none"},
        {{"trap-community="}, "name or id"},
        {{"contact=x", "enabled=\033[2J"}, "enabled=\\x1b[2J"},
    };
    for (const auto& [arguments, why] : settings) EXPECT_THAT(refusal(settingWords(), arguments), HasSubstr(why));

    const std::pair<const char*, const char*> communities[] = {
        {"name=", "1 to 255"},
        {"addresses=", "expected prefixes"},  // an empty list would let everyone in
        {"addresses=192.0.2.0/33", "expected prefixes"},
        {"security=3", "none, authorized or private"},
    };
    for (const auto& [argument, why] : communities) EXPECT_THAT(refusal(communityWords(), {argument}), HasSubstr(why));
}

TEST(Words, SecretsAreReadLastAndNeverRepeated) {
    int read = 0;
    const ReadSecret count = [&](const Word&, std::string_view) { return ++read, std::string("x"); };
    (void)refusal(communityWords(), {"authentication-password=-", "write-access=maybe"}, count);
    EXPECT_EQ(read, 0);
    const ReadSecret tooLong = [](const Word&, std::string_view) { return "secret" + std::string(2000, 'x'); };
    EXPECT_THAT(refusal(communityWords(), {"authentication-password=-"}, tooLong), Not(HasSubstr("secret")));
}

}  // namespace
}  // namespace tnctl
