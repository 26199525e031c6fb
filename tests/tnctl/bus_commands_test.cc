#include "tests/tnctl/scripted_bus.h"

namespace tnctl {
namespace {

class Undo : public CommandTest {
  protected:
    Undo() {
        journal.rows = {parseFields({"0xfe0001:u32=4", "3:string=changed snmp settings", "4:u32=1700000000"}),
                        parseFields({"0xfe0001:u32=9", "3:string=added snmp community", "4:u32=1700000000"})};
        tn::message old = tn::request(Path{34, 1}, tn::cmd::RemoveObj);
        old.insert_u32(tn::field::ObjectId, 2);
        tn::message record = journal.rows[1];
        record.insert_message(tn::undo::Old, old);
        record.insert_message(tn::undo::New, parseFields({"0xfe0001:u32=2", "5:string=ops", "11:string=geheim",
                                                          "27:message[]={8:be32=10.0.0.0 9:be32=255.0.0.0}"}));
        journal.answers[tn::cmd::GetObj] = record;
    }
};

TEST_F(Undo, TakesTheNewestBackAndThenItsRecordOut) {
    ASSERT_EQ(type("undo"), kDone) << err;
    EXPECT_EQ(out, "undone: added snmp community\n");
    expectOne(communities.asked, tn::cmd::RemoveObj, {"0xfe0001:u32=2", "0xff000a:bool=yes"});
    expectOne(journal.changes(), tn::cmd::RemoveObj, {"0xfe0001:u32=9"});
}

TEST_F(Undo, KeepsTheRecordWhenItsOwnerRefuses) {
    communities.answers[tn::cmd::RemoveObj] = tn::errorMsg(tn::error::Refused, "can not remove default community");
    EXPECT_EQ(type("undo 9"), kFailed);
    EXPECT_EQ(err, "tnctl: can not remove default community\n");
    EXPECT_EQ(out, "");
    EXPECT_THAT(journal.changes(), IsEmpty());
}

TEST_F(Undo, ListsItsRecordsWithoutSecretsAndReportsWhenThereAreNone) {
    ASSERT_EQ(type("--json undo list"), kDone) << err;
    const std::string changes{"community ops: added: ops may read from 10.0.0.0/8 with SNMPv1, v2c or v3"};
    EXPECT_EQ(
        Json::parse(out)[1],
        (Json{{"id", 9}, {"when", 1700000000}, {"text", "added snmp community"}, {"changes", Json::array({changes})}}));
    tn::message change = tn::request(std::vector<uint32_t>{34}, tn::cmd::Set);
    tn::message setting;
    setting.insert_message(tn::undo::New, parseFields({"2:string=hello"}));
    change.insert_string(contracts::snmp::setting::Contact, "noc");
    setting.insert_message(tn::undo::Old, change);
    std::swap(journal.answers[tn::cmd::GetObj], setting);
    ASSERT_EQ(type("undo list"), kDone) << err;
    EXPECT_THAT(out, HasSubstr("contact: noc -> hello\n"));
    std::swap(journal.answers[tn::cmd::GetObj], setting);
    ASSERT_EQ(type("undo show"), kDone) << err;
    EXPECT_THAT(out, Not(HasSubstr("geheim")));
    EXPECT_EQ(type("undo lst"), kUsage);
    tn::message secret;
    secret.insert_message(tn::undo::Old, parseFields({"12:string=geheim"}));
    journal.answers[tn::cmd::GetObj] = secret;
    ASSERT_EQ(type("message 1,1 get-object"), kDone) << err;
    EXPECT_EQ(out, "2:message=\n  12:string=***\n");
    ASSERT_EQ(type("message 1,1 get-object --secrets"), kDone) << err;
    EXPECT_EQ(out, "2:message=\n  12:string=geheim\n");
    journal.answers[tn::cmd::GetObj] = tn::errorMsg(tn::error::NotFound, "no such undo record");
    EXPECT_EQ(type("undo 5"), kFailed);
    EXPECT_EQ(journal.asked.back().get_u32(tn::field::ObjectId), 5U);
    journal.rows.clear();
    EXPECT_EQ(type("undo"), kFailed);
    EXPECT_EQ(err, "tnctl: nothing to undo\n");
    EXPECT_THAT(communities.asked, IsEmpty());
}

class Bus : public CommandTest {};

TEST_F(Bus, ProcessesAreListedInColumns) {
    supervisor.rows = {
        parseFields({"0xfe0001:u32=812", "5:u32[]=34", "6:u32=812", "7:u32=3700", "0xfe0010:string=tarnix-snmpd"}),
        parseFields({"0xfe0001:u32=97", "5:u32[]=1,24", "6:u32=97", "7:u32=42", "0xfe0010:string=ev\nil"})};
    ASSERT_EQ(type("processes"), kDone) << err;
    EXPECT_EQ(out,
              "PID  NAME          UP    NUMBERS\n"
              "812  tarnix-snmpd  1h1m  34\n"
              "97   ev\\nil        42s   1,24\n");
}

TEST_F(Bus, AListThatNeverEndsIsGivenUp) {
    supervisor.rows = {parseFields({"6:u32=1"})};
    supervisor.rowsPerPage = 0;
    EXPECT_EQ(type("processes"), kFailed);
}

TEST_F(Bus, MessageSendsAnyCommandAndPrintsItsReply) {
    settings.answers[0xfe000d] = parseFields({"2:string=noc", "0xfe0014:u32=7"});
    ASSERT_EQ(type("message 34 0xfe000d 5:u32=1 5:string=-x"), kDone) << err;
    EXPECT_EQ(out, "2:string=noc\n0xfe0014:u32=7  # count\n");
    EXPECT_EQ(fieldsOf(settings.asked[0]), parseFields({"5:u32=1", "5:string=-x"}));
    ASSERT_EQ(type("message 34 get --json"), kDone) << err;
    EXPECT_EQ(Json::parse(out), (Json{{"2:string", "noc"}, {"0xfe0014:u32", 7}}));

    settings.answers[0xfe000d] = tn::errorMsg(tn::error::NotPermitted, "not permitted");
    EXPECT_EQ(type("message 34 get"), kFailed);
    EXPECT_EQ(err, "tnctl: not permitted\n");
    for (const char* line : {"message 24, get", "message 24.2 get", "message 24,2 gte", "message 24,2 0x100000000"})
        EXPECT_EQ(type(line), kUsage) << line;
    EXPECT_EQ(type(std::vector<std::string>{"message", "", "get"}), kUsage);
}

TEST_F(Bus, WatchPrintsWhatItAskedForUntilTheLoopEnds) {
    const auto soon = [this](const std::function<void()>& notify) {
        looper.addTimer(
            [this, notify] {
                notify();
                looper.defer([this] { looper.shutdown(); });  // notifications within a process wait for the loop too
            },
            std::chrono::milliseconds(1));
    };
    soon([this] {
        settings.notify(0x10004, parseFields({"2:string=unasked"}));
        settings.notifyChange(tn::kNoId, parseFields({"2:string=noc"}));
    });
    ASSERT_EQ(type("watch 34 --json"), kDone) << err;
    EXPECT_EQ(Json::parse(out)["command"], tn::cmd::Changed);
    EXPECT_EQ(Json::parse(out)["fields"], (Json{{"2:string", "noc"}}));
    soon([this] { communities.notifyChange(3, parseFields({"11:string=geheim"})); });
    ASSERT_EQ(type("watch 34,1 changed"), kDone) << err;
    EXPECT_THAT(out, HasSubstr("changed\n  11:string=***\n  0xfe0001:u32=3  # object-id\n"));
    EXPECT_EQ(type("watch 34,9"), kFailed);  // no owner, and its process is up
}

}  // namespace
}  // namespace tnctl
