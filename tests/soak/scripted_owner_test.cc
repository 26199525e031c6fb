#include "soak/scripted_owner.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>

#include "tnctl/message_fields.h"

namespace soak {
namespace {

/// Records what would happen to the process.
struct Recorder : ScriptedOwner {
    using ScriptedOwner::ScriptedOwner;
    std::string events;
    void wait(std::chrono::milliseconds time) override { events += " wait " + std::to_string(time.count()); }
    void hang() override { events += " hang"; }
    void die(int status) override { events += " die " + std::to_string(status); }

    tn::message ask(uint32_t command = tn::cmd::Get) { return handle(tn::request({}, command), 0); }
};

tn::message fields(const std::vector<std::string>& texts) { return tnctl::parseFields(texts); }

TEST(ScriptedOwner, EachRequestPerformsTheLinesUpToTheNextReplyAndTheLastReplyRepeats) {
    Recorder owner(R"(answer 1:u32=7 2:string='two words'  # comment
delay 50ms
delay 2s
error refused "not now"
die 3
for get-all
hang
repeat
for 77
answer 1:bool=yes
lie empty
repeat)");
    EXPECT_EQ(owner.ask(), fields({"1:u32=7", "2:string=two words"}));
    EXPECT_EQ(tn::getError(owner.ask()), "not now");
    EXPECT_EQ(owner.events, " wait 50 wait 2000");
    owner.ask();
    owner.ask();
    owner.ask(tn::cmd::GetAll);
    EXPECT_EQ(owner.events, " wait 50 wait 2000 die 3 die 3 hang");
    for (const bool isAnswer : {true, false, true}) EXPECT_EQ(owner.ask(77).empty(), !isAnswer);
}

TEST(ScriptedOwner, LiesAreThePreviousAnswerFalsified) {
    Recorder owner(R"(answer 1:u32=7 0xfe0002:message[]='{1:u32=1},{1:u32=2}'
lie kinds
lie order
lie endless
lie large)");
    owner.ask();
    EXPECT_EQ(owner.ask(), fields({"1:string=7", "0xfe0002:message[]={1:string=1},{1:string=2}"}));
    EXPECT_EQ(owner.ask(), fields({"1:u32=7", "0xfe0002:message[]={1:u32=2},{1:u32=1}"}));
    EXPECT_TRUE(owner.ask().has(tn::field::Continue));
    EXPECT_GT(owner.ask().flatSize(), 200'000U);
}

TEST(ScriptedOwner, WrongLineIsAnErrorWithItsNumber) {
    for (const auto& [script, why] : std::initializer_list<std::pair<const char*, const char*>>{
             {"answer\nfoo", "line 2: unknown line 'foo'"},
             {"answer\n\ndelay 5", "line 3: expected a time such as 50ms or 2s, not '5'"},
             {"answer 1:u32", "line 1: 1:u32: expected NUMBER:KIND=VALUE"},
             {"error odd", "line 1: unknown error code 'odd'"},
             {"lie twice", "line 1: unknown lie 'twice'"},
             {"for odd", "line 1: unknown command 'odd'"},
             {"die 256", "line 1: die: expected a status of 0 to 255"},
             {"answer 'x", "line 1: quote without an end"},
             {"answer\nrepeat\nhang", "line 3: this line isn't reached: it follows a repeat"},
             {"delay 1s\nrepeat", "line 2: the list of lines has no reply"},
             {"answer\ndelay 1s", "line 2: no reply follows the last delay"}}) {
        try {
            ScriptedOwner{script};
            ADD_FAILURE() << script;
        } catch (const std::runtime_error& failure) {
            EXPECT_STREQ(failure.what(), why);
        }
    }
}

}  // namespace
}  // namespace soak
