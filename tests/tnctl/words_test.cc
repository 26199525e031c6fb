#include "tnctl/words.h"

#include <algorithm>

#include "tests/tnctl/scripted_bus.h"

namespace tnctl {
namespace {

std::string asTyped(const Word&, std::string_view value) { return std::string(value); }

/// What is shown of an argument once it has been read.
Json shown(std::span<const Word> words, const std::string& argument) {
    const auto word = std::ranges::find(words, argument.substr(0, argument.find('=')), &Word::name);
    return word->type.show(parseWords(words, {argument}, asTyped), word->number);
}

std::string refusal(std::span<const Word> words, const std::vector<std::string>& arguments,
                    const ReadSecret& readSecret = asTyped) {
    return refusalOf([&] { (void)parseWords(words, arguments, readSecret); });
}

TEST(Words, ValuesComeBackAsTheyWereGiven) {
    for (const std::string text : {"contact=", "contact=a = b", "engine-id=123456789012345678901234567",
                                   "trap-version=1", "trap-version=2c", "trap-version=3", "trap-community=none"})
        EXPECT_EQ(shown(settingWords(), text), text.substr(text.find('=') + 1));
    for (const char* yes : {"enabled=yes", "enabled=no", "enabled=off"})
        EXPECT_EQ(shown(settingWords(), yes), yes == std::string("enabled=yes"));
    EXPECT_EQ(shown(settingWords(), "trap-targets=192.0.2.1,2001:db8::1"), (Json{"192.0.2.1", "2001:db8::1"}));
    EXPECT_EQ(shown(settingWords(), "interfaces=0x10,4294967295"), (Json{16, 4294967295}));
    for (const std::string text : {"security=private", "authentication-protocol=sha1", "encryption-protocol=aes256"})
        EXPECT_EQ(shown(communityWords(), text), text.substr(text.find('=') + 1));
    const std::pair<const char*, const char*> synonyms[] = {
        {"security=noAuthNoPriv", "none"},      {"security=authNoPriv", "authorized"},
        {"security=authPriv", "private"},       {"authentication-protocol=SHA", "sha1"},
        {"authentication-protocol=Md5", "md5"}, {"authentication-protocol=SHA-512", "sha512"},
        {"encryption-protocol=AES", "aes128"},  {"encryption-protocol=AES-192", "aes192"},
    };
    for (const auto& [typed, word] : synonyms) EXPECT_EQ(shown(communityWords(), typed), word) << typed;
    EXPECT_EQ(shown(communityWords(), "addresses=192.0.2.7,192.0.2.0/255.255.255.0,10.0.0.1/255.0.0.255,::/0"),
              (Json{"192.0.2.7/32", "192.0.2.0/24", "10.0.0.1/255.0.0.255", "::/0"}));
}

TEST(Words, WhatIsWrongIsReportedWithWhatWasExpected) {
    const std::pair<const char*, std::vector<std::string>> settings[] = {
        {"did you mean enabled?", {"enabld=yes"}},
        {"did you mean contact?", {"cont=x"}},
        {"expected enabled, contact,", {"zzzz=x"}},
        {"unknown key", {"="}},
        {"expected contact=VALUE", {"contact"}},
        {"expected yes or no", {"enabled="}},
        {"at most 255", {"contact=" + std::string(256, 'x')}},
        {"at most 27", {"engine-id=" + std::string(28, 'x')}},
        {"read-only", {"engine-boots=1"}},
        {"expected 1, 2c or 3", {"trap-version=2"}},
        {"expected addresses", {"trap-targets=", "trap-targets=192.0.2.1/24"}},
        {"expected all, none", {"interfaces=0", "interfaces=1,,2"}},
        {"name or id", {"trap-community="}},
        {"enabled=\\x1b[2J", {"enabled=\033[2J"}},
    };
    for (const auto& [why, arguments] : settings)
        for (const std::string& argument : arguments)
            EXPECT_THAT(refusal(settingWords(), {"location=x", argument}), HasSubstr(why));
    EXPECT_THAT(refusal(settingWords(), {"contact=a", "contact=b"}), HasSubstr("given twice"));
    for (const char* argument : {"addresses=", "addresses=192.0.2.0/33"})  // an empty list would let everyone in
        EXPECT_THAT(refusal(communityWords(), {argument}), HasSubstr("expected prefixes"));
    EXPECT_THAT(refusal(communityWords(), {"name="}), HasSubstr("1 to 255"));
    EXPECT_THAT(refusal(communityWords(), {"security=3"}), HasSubstr("none, authorized or private"));
    // The other key extension, with which no message would be understood.
    EXPECT_THAT(refusal(communityWords(), {"encryption-protocol=AES-256-C"}), HasSubstr("aes192 or aes256"));
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
