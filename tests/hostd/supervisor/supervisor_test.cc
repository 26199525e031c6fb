#include "hostd/supervisor/supervisor.h"

#include <unistd.h>

#include "contracts/supervisor.h"
#include "tests/hostd/ask.h"
#include "tests/hostd/manual_clock.h"
#include "tests/tn/tellers.h"
#include "tests/tn/temp_root.h"
#include "tn/looper.h"

namespace hostd {

namespace {
namespace field = tn::field;
namespace supervisor = contracts::supervisor;

class SupervisorTest : public ::testing::Test {
  protected:
    SupervisorTest() { restarts(); }
    void restarts() {
        journal = std::make_unique<UndoJournal>();
        journal->loadPermData();
        supervisor = std::make_unique<Supervisor>(tree.path("proc"), *journal);
    }

    void hasProcess(uint32_t pid, const std::string& name, uint64_t started, char state = 'S') {
        const std::string folder = "proc/" + std::to_string(pid);
        tree.write(folder + "/comm", name + "\n");
        tree.write(folder + "/stat", std::to_string(pid) + " (" + name + ") " + state +
                                         " 1 1 1 0 -1 4194560 1 0 0 0 2 3 0 0 20 0 1 0 " + std::to_string(started) +
                                         " 5000000 900 18446744073709551615\n");
    }
    uint32_t announces(std::optional<uint32_t> pid, uint32_t number, uint32_t rights = tn::right::All) {
        tn::message request = tn::with({}, supervisor::Number, number);
        if (pid) request.insert_u32(field::CallerPid, *pid);
        return errorOf(ask(*supervisor, supervisor::kAnnounce, std::move(request), rights));
    }
    using Lines = std::vector<std::string>;
    /// "pid name: numbers" of each, in order.
    Lines listed() {
        Lines all;
        for (const tn::message& item : rowsOf(*supervisor)) {
            std::string line = std::to_string(item.get_u32(supervisor::Pid)) + " " + item.get_string(field::Name) + ":";
            for (const uint32_t number : item.get_u32_array(supervisor::Numbers)) line += " " + std::to_string(number);
            all.push_back(std::move(line));
        }
        return all;
    }

    tn::TempRoot tree;
    ManualClock clock;
    std::unique_ptr<UndoJournal> journal;
    std::unique_ptr<Supervisor> supervisor;
};

TEST_F(SupervisorTest, ListsEachProcessOnceWithAllItsNumbers) {
    const auto own = static_cast<uint32_t>(::getpid());
    hasProcess(own, "tarnix-hostd", 10);
    hasProcess(4'000'001, "a b) (c", 20);  // a name made to confuse
    supervisor->announce(own, 24);
    EXPECT_EQ(announces({}, 1), 0U);  // without a pid: this process's own
    EXPECT_EQ(announces(4'000'001, 34), 0U);
    clock.time += 65'000ms;
    EXPECT_EQ(announces(4'000'001, 40), 0U);
    EXPECT_EQ(announces(4'000'001, 41, tn::right::Reading), tn::error::NotPermitted);
    EXPECT_TRUE(tn::isError(ask(*supervisor, supervisor::kAnnounce)));  // which number?
    EXPECT_EQ(listed(), (Lines{std::to_string(own) + " tarnix-hostd: 1 24", "4000001 a b) (c: 34 40"}));
    EXPECT_THAT(PrintToString(rowsOf(*supervisor).at(1)),
                HasSubstr("0x5:u32-array=34,40, 0x6:u32=4000001, 0x7:u32=65, 0xfe0010:string=\"a b) (c\""));
}

TEST_F(SupervisorTest, LeavesOutWhatHasGone) {
    for (const uint32_t pid : {100U, 101U, 102U, 103U}) {
        hasProcess(pid, "first", 10);
        announces(pid, pid - 60);
    }
    announces(999, 50);  // has ended before its announcement was read
    tree.remove("proc/100");
    hasProcess(101, "zombie", 10, 'Z');
    hasProcess(102, "stranger", 11);  // same pid, another process
    hasProcess(104, "successor", 30);
    announces(104, 43);  // takes the number of 103, which serves nothing any more
    EXPECT_EQ(listed(), Lines{"104 successor: 43"});
    EXPECT_EQ(ask(*supervisor, tn::cmd::GetCount).get_u32(field::Count), 1);
}

/// An undo record: `text` was done, and a request to {34} takes it back.
tn::message undoRecord(const std::string& text) {
    const tn::message undo = tn::request(std::vector<uint32_t>{34}, tn::cmd::Set);
    const tn::message record = tn::with({}, tn::undo::Old, tn::with(undo, field::Comment, "contact before " + text));
    return tn::with(tn::with(record, tn::undo::New, tn::with({}, field::Comment, text)), tn::undo::Text, text);
}

class UndoJournalTest : public SupervisorTest {
  protected:
    uint32_t records(const tn::message& record) { return errorOf(ask(*supervisor, tn::cmd::RecordUndo, record)); }
    std::vector<tn::message> all() { return rowsOf(*journal); }
};

TEST_F(UndoJournalTest, TellsPasswordsOnlyToThoseWhoMayWrite) {
    EXPECT_EQ(records(undoRecord("x")), 0U);
    const auto listed = all();
    EXPECT_EQ(listed.at(0).get_string(tn::undo::Text), "x");
    EXPECT_EQ(listed[0].get_u32(tn::undo::When), 1'700'000'000);
    const tn::message whole = ask(*journal, tn::cmd::GetObj, of(listed[0].get_u32(field::ObjectId)), tn::right::Write);
    for (const tn::message_id part : {tn::undo::Old, tn::undo::New})
        EXPECT_EQ(whole.get_message(part), undoRecord("x").get_message(part));

    const std::string secret = "contact before x";
    EXPECT_EQ(tellers(*journal, 1, secret, tn::right::Reading), std::set<uint32_t>());
    EXPECT_EQ(tellers(*journal, 1, secret, tn::right::Write), (std::set{tn::cmd::GetObj, tn::cmd::Get}));

    tn::Looper looper({1});
    tn::Listener subscriber;
    looper.addHandler(1, journal.get());
    looper.addHandler(2, &subscriber);
    subscriber.subscribe(journal->path(), tn::cmd::Changed, {});
    EXPECT_EQ(records(undoRecord("y")), 0U);
    looper.runOnce({});
    ASSERT_EQ(subscriber.heard.size(), 1U);
    EXPECT_EQ(subscriber.heard[0].get_string(tn::undo::Text), "y");
    EXPECT_FALSE(tn::holds(subscriber.heard[0], "contact before y"));
}

TEST_F(UndoJournalTest, KeepsTheLastHundredOverARestart) {
    const std::string tail(5000, 'x');  // is cut
    for (int i = 1; i <= 101; ++i) ASSERT_EQ(records(undoRecord(std::to_string(i) + tail)), 0U);
    const auto before = all();
    ASSERT_EQ(before.size(), 100);
    EXPECT_TRUE(before.front().get_string(tn::undo::Text).starts_with("2x"));
    EXPECT_TRUE(before.back().get_string(tn::undo::Text).starts_with("101x"));
    EXPECT_LT(before.back().get_string(tn::undo::Text).size(), tail.size());

    restarts();
    EXPECT_EQ(all(), before);
    EXPECT_EQ(records(undoRecord("after")), 0U);
    EXPECT_EQ(ask(*journal, tn::cmd::GetCount).get_u32(field::Count), 100);
    EXPECT_EQ(all().back().get_string(tn::undo::Text), "after");
    EXPECT_GT(all().back().get_u32(field::ObjectId), before.back().get_u32(field::ObjectId));
}

TEST_F(UndoJournalTest, ARecordGoesWhenItsUndoIsDone) {
    for (const char* text : {"a", "b", "c"}) records(undoRecord(text));
    const tn::message b = of(all()[1].get_u32(field::ObjectId));
    EXPECT_EQ(errorOf(ask(*journal, tn::cmd::RemoveObj, b)), 0U);
    EXPECT_EQ(errorOf(ask(*journal, tn::cmd::RemoveObj, b)), tn::error::NotFound);
    ASSERT_EQ(all().size(), 2);
    EXPECT_EQ(all()[1].get_string(tn::undo::Text), "c");
}

TEST_F(UndoJournalTest, RefusesWhatCouldNotBeUndone) {
    tn::message noDestination = undoRecord("x"), noCommand = undoRecord("x");
    noDestination.get_message_ref(tn::undo::Old).remove(field::Destination);
    noCommand.get_message_ref(tn::undo::Old).remove(field::Command);
    for (const tn::message& bad : {{}, noDestination, noCommand}) EXPECT_EQ(records(bad), tn::error::Refused);
}

}  // namespace
}  // namespace hostd
