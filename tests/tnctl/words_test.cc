#include "tnctl/words.h"

#include <gtest/gtest.h>

#include "tnctl/failure.h"
#include "tnctl/snmp_words.h"

namespace tnctl {
namespace {

std::string asTyped(const Word&, std::string_view value) { return std::string(value); }

const Word& wordCalled(std::span<const Word> words, std::string_view name) {
    for (const Word& word : words)
        if (word.name == name) return word;
    throw std::logic_error("no such word");
}

struct Row {
    const char* argument;
    const char* shown;  ///< as JSON, after having been read
};

void expectShown(std::span<const Word> words, const Row& row) {
    SCOPED_TRACE(row.argument);
    const std::string_view argument(row.argument);
    const Word& word = wordCalled(words, argument.substr(0, argument.find('=')));
    const tn::message fields = parseWords(words, {row.argument}, asTyped);
    EXPECT_EQ(fields.size(), 1U);
    EXPECT_EQ(word.type.show(fields, word.number).dump(), row.shown);
}

void expectRefused(std::span<const Word> words, const std::vector<std::string>& arguments, const std::string& why) {
    SCOPED_TRACE(arguments.back());
    try {
        (void)parseWords(words, arguments, asTyped);
        FAIL() << "was taken";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.code, kUsage);
        EXPECT_NE(std::string(failure.what()).find(why), std::string::npos) << failure.what();
    }
}

TEST(Words, ValuesComeBackAsTheyWereGiven) {
    for (const Row& row : {
             Row{"enabled=yes", "true"},
             Row{"enabled=off", "false"},
             Row{"contact=", R"("")"},
             Row{"contact=a = b", R"("a = b")"},
             Row{"engine-id=123456789012345678901234567", R"("123456789012345678901234567")"},
             Row{"trap-version=1", R"("1")"},
             Row{"trap-version=2c", R"("2c")"},
             Row{"trap-version=3", R"("3")"},
             Row{"trap-community=none", R"("none")"},
             Row{"trap-targets=192.0.2.1,2001:db8::1", R"(["192.0.2.1","2001:db8::1"])"},
             Row{"trap-targets=none", "[]"},
             Row{"interfaces=all", R"("all")"},
             Row{"interfaces=none", R"("none")"},
             Row{"interfaces=1,0x10,4294967295", "[1,16,4294967295]"},
         })
        expectShown(settingWords(), row);
    for (const Row& row : {
             Row{"security=private", R"("private")"},
             Row{"authentication-protocol=sha1", R"("sha1")"},
             Row{"addresses=192.0.2.7", R"(["192.0.2.7/32"])"},
             Row{"addresses=0.0.0.0/0,::/0", R"(["0.0.0.0/0","::/0"])"},
             Row{"addresses=192.0.2.0/255.255.255.0,2001:db8::/32", R"(["192.0.2.0/24","2001:db8::/32"])"},
             Row{"addresses=10.0.0.1/255.0.0.255", R"(["10.0.0.1/255.0.0.255"])"},
         })
        expectShown(communityWords(), row);
}

TEST(Words, WhatIsWrongIsToldByWhatWasExpected) {
    const std::pair<std::vector<std::string>, const char*> settings[] = {
        {{"enabld=yes"}, "did you mean enabled?"},
        {{"cont=x"}, "did you mean contact?"},
        {{"zzzz=x"}, "expected enabled, contact,"},
        {{"="}, "unknown word"},
        {{"contact"}, "expected contact=VALUE"},
        {{"enabled="}, "expected yes or no"},
        {{"enabled=1"}, "expected yes or no"},
        {{"contact=a", "contact=b"}, "given twice"},
        {{"contact=" + std::string(256, 'x')}, "at most 255"},
        {{"engine-id=" + std::string(28, 'x')}, "at most 27"},
        {{"engine-boots=1"}, "can't be set"},
        {{"trap-version=2"}, "expected 1, 2c or 3"},
        {{"trap-targets="}, "expected addresses"},
        {{"trap-targets=192.0.2.1,"}, "expected addresses"},
        {{"trap-targets=192.0.2.1/24"}, "expected addresses"},
        {{"interfaces=0"}, "expected all, none"},
        {{"interfaces=1,,2"}, "expected all, none"},
        {{"trap-community="}, "name or id"},
        {{"contact=x", "enabled=\033[2J"}, "enabled=\\x1b[2J"},
    };
    for (const auto& [arguments, why] : settings) expectRefused(settingWords(), arguments, why);

    const std::pair<std::vector<std::string>, const char*> communities[] = {
        {{"name="}, "1 to 255"},
        {{"addresses="}, "expected prefixes"},  // an empty list would let everyone in
        {{"addresses=192.0.2.0/33"}, "expected prefixes"},
        {{"addresses=2001:db8::/129"}, "expected prefixes"},
        {{"addresses=2001:db8::/255.0.0.0"}, "expected prefixes"},
        {{"addresses=192.0.2.0/24 "}, "expected prefixes"},
        {{"addresses=300.0.0.1"}, "expected prefixes"},
        {{"security=3"}, "none, authorized or private"},
    };
    for (const auto& [arguments, why] : communities) expectRefused(communityWords(), arguments, why);
}

TEST(Words, SecretsAreReadLastAndNeverRepeated) {
    int read = 0;
    const ReadSecret count = [&](const Word&, std::string_view) { return ++read, std::string("x"); };
    EXPECT_THROW((void)parseWords(communityWords(), {"authentication-password=-", "write-access=maybe"}, count),
                 Failure);
    EXPECT_EQ(read, 0);
    try {
        const ReadSecret tooLong = [](const Word&, std::string_view) { return "secret" + std::string(2000, 'x'); };
        (void)parseWords(communityWords(), {"authentication-password=-"}, tooLong);
        FAIL() << "was taken";
    } catch (const Failure& failure) {
        EXPECT_EQ(std::string(failure.what()).find("secret"), std::string::npos) << failure.what();
    }
}

}  // namespace
}  // namespace tnctl
