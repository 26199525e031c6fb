#include "hostd/supervisor.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include "tests/hostd/hand_clock.h"
#include "tests/hostd/temp_tree.h"
#include "tn/paths.h"

namespace hostd {

namespace {
namespace field = tn::field;

class SupervisorTest : public ::testing::Test {
  protected:
    SupervisorTest() {
        tn::setRoot(tree.path("root"));
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
    tn::message announces(uint32_t pid, uint32_t number) {
        tn::message request;
        request.insert_u32(tn::announce::Number, number);
        request.insert_u32(field::CallerPid, pid);
        return ask(tn::cmd::Announce, std::move(request));
    }
    tn::message ask(uint32_t command, tn::message request = {}) {
        request.insert_u32(field::Command, command);
        return supervisor->handle(request);
    }
    /// "pid name: numbers" of each, in order.
    std::vector<std::string> listed() {
        std::vector<std::string> all;
        const tn::message reply = ask(tn::cmd::GetAll);
        for (const tn::message& item : reply.get_message_array(field::Objects)) {
            std::string line = std::to_string(item.get_u32(process::Pid)) + " " + item.get_string(process::Name) + ":";
            for (const uint32_t number : item.get_u32_array(process::Numbers)) line += " " + std::to_string(number);
            all.push_back(std::move(line));
        }
        return all;
    }
    using Lines = std::vector<std::string>;

    test::TempTree tree;
    test::HandClock clock;
    std::unique_ptr<UndoJournal> journal;
    std::unique_ptr<Supervisor> supervisor;
};

TEST_F(SupervisorTest, ListsEachProcessOnceWithAllItsNumbers) {
    const auto own = static_cast<uint32_t>(::getpid());
    hasProcess(own, "tarnix-hostd", 10);
    hasProcess(4'000'001, "a b) (c", 20);  // a name made to confuse
    supervisor->announce(own, 24);
    supervisor->announce(own, 1);
    EXPECT_TRUE(announces(4'000'001, 34).empty());
    clock.milliseconds += 65'000;
    EXPECT_TRUE(announces(4'000'001, 40).empty());
    EXPECT_EQ(listed(), (Lines{std::to_string(own) + " tarnix-hostd: 1 24", "4000001 a b) (c: 34 40"}));
    EXPECT_EQ(ask(tn::cmd::GetAll).get_message_array(field::Objects)[1].get_u32(process::Age), 65);
    EXPECT_EQ(ask(tn::cmd::GetCount).get_u32(field::Count), 2);
}

TEST_F(SupervisorTest, AnAnnouncementWithoutAPidIsThisProcesss) {
    hasProcess(static_cast<uint32_t>(::getpid()), "tarnix-node", 10);
    tn::message request;
    request.insert_u32(tn::announce::Number, 34);
    EXPECT_TRUE(ask(tn::cmd::Announce, request).empty());
    EXPECT_EQ(listed(), Lines{std::to_string(::getpid()) + " tarnix-node: 34"});
    EXPECT_TRUE(tn::isError(ask(tn::cmd::Announce)));  // which number?
}

TEST_F(SupervisorTest, LeavesOutWhatHasGone) {
    hasProcess(100, "old", 10);
    hasProcess(101, "zombie", 10);
    hasProcess(102, "reused", 10);
    hasProcess(103, "moved", 10);
    for (const uint32_t pid : {100U, 101U, 102U, 103U}) announces(pid, pid - 60);
    announces(999, 50);  // has ended before its announcement was read
    tree.remove("proc/100");
    hasProcess(101, "zombie", 10, 'Z');
    hasProcess(102, "stranger", 11);  // same pid, another process
    hasProcess(104, "successor", 30);
    announces(104, 43);  // takes the number of 103, which serves nothing any more
    EXPECT_EQ(listed(), Lines{"104 successor: 43"});
}

TEST_F(SupervisorTest, RefusesAnnouncementsFromThoseWhoMayOnlyRead) {
    tn::message request;
    request.insert_u32(field::Command, tn::cmd::Announce);
    request.insert_u32(tn::announce::Number, 34);
    uint32_t code = 0;
    EXPECT_TRUE(tn::isError(supervisor->handle(request, tn::right::Reading), &code));
    EXPECT_EQ(code, tn::error::NotPermitted);
}

/// An undo record: `text` was done, and request `command` to {34} takes it back.
tn::message undoRecord(const std::string& text, uint32_t command = tn::cmd::Set) {
    tn::message oldRequest = tn::request(std::vector<uint32_t>{34}, command);
    oldRequest.insert_string(2, "contact before " + text);
    tn::message newRequest;
    newRequest.insert_string(2, text);
    tn::message record;
    record.insert_message(tn::undo::Old, std::move(oldRequest));
    record.insert_message(tn::undo::New, std::move(newRequest));
    record.insert_string(tn::undo::Text, text);
    return record;
}

class UndoJournalTest : public SupervisorTest {
  protected:
    tn::message askJournal(uint32_t command, tn::message request = {}, uint32_t rights = tn::right::All) {
        request.insert_u32(field::Command, command);
        return journal->handle(request, rights);
    }
    tn::message of(uint32_t id) {
        tn::message request;
        request.insert_u32(field::ObjectId, id);
        return request;
    }
    /// Every record, page by page, as a client reads them.
    std::vector<tn::message> all() {
        std::vector<tn::message> records;
        tn::message request;
        for (int pages = 0; pages < 10; ++pages) {
            const tn::message reply = askJournal(tn::cmd::GetAll, request);
            for (const tn::message& item : reply.get_message_array(field::Objects)) records.push_back(item);
            if (!reply.has(field::Continue)) return records;
            request.insert_u32(field::Continue, reply.get_u32(field::Continue));
        }
        ADD_FAILURE() << "pages never end";
        return records;
    }
};

TEST_F(UndoJournalTest, TellsPasswordsOnlyToThoseWhoMayWrite) {
    EXPECT_TRUE(ask(tn::cmd::RecordUndo, undoRecord("x")).empty());
    const auto listed = all();
    ASSERT_EQ(listed.size(), 1);
    EXPECT_EQ(listed[0].get_string(tn::undo::Text), "x");
    EXPECT_EQ(listed[0].get_u32(tn::undo::When), 1'700'000'000);
    EXPECT_FALSE(listed[0].has(tn::undo::New));
    EXPECT_FALSE(listed[0].has(tn::undo::Old));

    const uint32_t id = listed[0].get_u32(field::ObjectId);
    uint32_t code = 0;
    EXPECT_TRUE(tn::isError(askJournal(tn::cmd::GetObj, of(id), tn::right::Reading), &code));
    EXPECT_EQ(code, tn::error::NotPermitted);
    const tn::message whole = askJournal(tn::cmd::GetObj, of(id), tn::right::Write);
    EXPECT_EQ(whole.get_message(tn::undo::Old), undoRecord("x").get_message(tn::undo::Old));
    EXPECT_EQ(whole.get_message(tn::undo::New), undoRecord("x").get_message(tn::undo::New));
}

TEST_F(UndoJournalTest, KeepsTheLastHundredOverARestart) {
    for (int i = 1; i <= 101; ++i) ASSERT_TRUE(ask(tn::cmd::RecordUndo, undoRecord(std::to_string(i))).empty());
    const auto before = all();
    ASSERT_EQ(before.size(), 100);
    EXPECT_EQ(before.front().get_string(tn::undo::Text), "2");
    EXPECT_EQ(before.back().get_string(tn::undo::Text), "101");
    EXPECT_EQ(askJournal(tn::cmd::GetCount).get_u32(field::Count), 100);

    journal = std::make_unique<UndoJournal>();
    journal->loadPermData();
    EXPECT_EQ(all(), before);
    supervisor = std::make_unique<Supervisor>(tree.path("proc"), *journal);
    EXPECT_TRUE(ask(tn::cmd::RecordUndo, undoRecord("after")).empty());
    EXPECT_EQ(all().size(), 100);
    EXPECT_EQ(all().back().get_string(tn::undo::Text), "after");
    EXPECT_GT(all().back().get_u32(field::ObjectId), before.back().get_u32(field::ObjectId));
}

TEST_F(UndoJournalTest, ARecordGoesWhenItsUndoIsDone) {
    for (const char* text : {"a", "b", "c"}) ask(tn::cmd::RecordUndo, undoRecord(text));
    const uint32_t b = all()[1].get_u32(field::ObjectId);
    EXPECT_TRUE(askJournal(tn::cmd::RemoveObj, of(b)).empty());
    EXPECT_TRUE(tn::isError(askJournal(tn::cmd::RemoveObj, of(b))));
    EXPECT_TRUE(tn::isError(askJournal(tn::cmd::GetObj, of(b))));
    ASSERT_EQ(all().size(), 2);
    EXPECT_EQ(all()[1].get_string(tn::undo::Text), "c");
}

TEST_F(UndoJournalTest, RefusesWhatCouldNotBeUndone) {
    tn::message noDestination = undoRecord("x");
    noDestination.get_message_ref(tn::undo::Old).remove(field::Destination);
    tn::message noCommand = undoRecord("x");
    noCommand.get_message_ref(tn::undo::Old).remove(field::Command);
    for (const tn::message& bad : {tn::message(), noDestination, noCommand})
        EXPECT_TRUE(tn::isError(ask(tn::cmd::RecordUndo, bad)));
    EXPECT_TRUE(all().empty());
}

TEST_F(UndoJournalTest, ALongTextIsCutSoThatAPageFitsIntoAPacket) {
    for (int i = 0; i < 100; ++i) ask(tn::cmd::RecordUndo, undoRecord(std::string(5000, 'x')));
    EXPECT_EQ(all().size(), 100);
    EXPECT_LT(askJournal(tn::cmd::GetAll).flatten().size(), tn::kMaxPacket);
}

TEST_F(UndoJournalTest, AForeignStoreFileIsAnErrorReply) {
    journal.reset();
    tree.remove("root/tern/store");
    tree.write("root/tern/store/undo", std::string(8192, 'x'));
    journal = std::make_unique<UndoJournal>();
    journal->loadPermData();
    supervisor = std::make_unique<Supervisor>(tree.path("proc"), *journal);
    uint32_t code = 0;
    EXPECT_TRUE(tn::isError(ask(tn::cmd::RecordUndo, undoRecord("x")), &code));
    EXPECT_EQ(code, tn::error::StoreFailed);
    EXPECT_TRUE(all().empty());
}

// ---- what get-all promises for every table keyed by id

class IdTableTest : public UndoJournalTest {
  protected:
    IdTableTest() {
        for (const char* text : {"1", "2", "3", "4"}) ask(tn::cmd::RecordUndo, undoRecord(text));
        askJournal(tn::cmd::RemoveObj, of(2));
    }
    tn::message from(uint32_t start, uint32_t most) {
        tn::message request;
        request.insert_u32(field::Continue, start);
        request.insert_u32(field::MaxObjects, most);
        return askJournal(tn::cmd::GetAll, request);
    }
    /// "id>next" of each item, "!" for one that has gone, "..." when more follow.
    static std::string shape(const tn::message& reply) {
        std::string text;
        for (const tn::message& item : reply.get_message_array(field::Objects)) {
            text += std::to_string(item.get_u32(field::ObjectId));
            if (item.get_bool(field::Gone)) text += "!";
            if (item.has(field::NextId)) text += ">" + std::to_string(item.get_u32(field::NextId));
            text += " ";
        }
        return text + (reply.has(field::Continue) ? "..." + std::to_string(reply.get_u32(field::Continue)) : "");
    }
};

TEST_F(IdTableTest, ItemsStartAtTheRowAskedFor) {
    EXPECT_EQ(shape(askJournal(tn::cmd::GetAll)), "1>3 3>4 4 ");
    EXPECT_EQ(shape(from(3, 1)), "3>4 ...4");
    EXPECT_EQ(shape(from(4, 5)), "4 ");
    EXPECT_EQ(shape(from(1, 2)), "1>3 3>4 ...4");
}

TEST_F(IdTableTest, ARowThatHasGoneDoesNotEndAWalk) {
    EXPECT_EQ(shape(from(2, 2)), "2!>3 3>4 ...4");
    EXPECT_EQ(shape(from(9, 2)), "9! ");
    EXPECT_EQ(shape(from(tn::kNoId, 2)), std::to_string(tn::kNoId) + "! ");
    uint32_t code = 0;
    EXPECT_TRUE(tn::isError(from(2, 1), &code));
    EXPECT_EQ(code, tn::error::NotFound);
}

}  // namespace
}  // namespace hostd
