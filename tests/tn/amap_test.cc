#include "tn/amap.h"

#include "tests/tn/listener.h"
#include "tests/tn/temp_root.h"
#include "tn/looper.h"

namespace tn {
namespace {

constexpr char kShelfStore[] = "/tern/store/shelf";
constexpr uint32_t kShelf = 70;
constexpr string_id kName{5};
constexpr string_id kAuthor{7};
constexpr uint32_t kWithAuthor = 2;  // GetFlags

struct Book : Object {
    void getConfig(message& out, uint32_t flags) const override {
        out.insert_string(kName, name);
        if ((flags & kWithAuthor) != 0) out.insert_string(kAuthor, "anonymous");
    }
    void setConfig(const message& in) override { name = in.get_string(kName, name); }
    std::string name;
};

/// Refuses two books of one name, and to give away the first.
class Shelf : public Map<Book> {
  public:
    explicit Shelf(const std::string& store) : Map(store, "book") { load(); }
    using AMap::seed;

  private:
    message doAdd(Book* added) override { return doSet(nullptr, added); }
    message doSet(Book* current, Book* changed) override {
        const Book* same = findIf([&](const Book& book) {
            return book.name == changed->name && (current == nullptr || book.id != current->id);
        });
        return same == nullptr ? message() : errorMsg(error::Refused, "two of " + changed->name);
    }
    message doRemove(Book* removed) override {
        return removed->id == 0 ? errorMsg(error::Refused, "never") : message();
    }
};

class MapTest : public testing::Test {
  protected:
    MapTest() {
        looper.addHandler(std::vector<uint32_t>{number::Supervisor}, &supervisor);
        open();
    }
    void open(const std::string& store = kShelfStore) {
        shelf = std::make_unique<Shelf>(store);
        looper.addHandler(std::vector<uint32_t>{kShelf, 1}, shelf.get());
    }
    message ask(uint32_t command, const message& m = {}) {
        return looper.dispatchMessage(with(with(m, field::Destination, {kShelf, 1}), field::Command, command));
    }
    static message of(uint32_t id) { return with({}, field::ObjectId, id); }
    static message book(const std::string& name) { return with({}, kName, name); }
    static message book(uint32_t id, const std::string& name) { return with(of(id), kName, name); }
    uint32_t add(const std::string& name) { return ask(cmd::AddObj, book(name)).get_u32(field::ObjectId, kNoId); }
    static std::vector<std::string> listed(const std::vector<message>& objects) {
        std::vector<std::string> all;
        for (const message& m : objects) {
            const std::string id = std::to_string(m.get_u32(field::ObjectId));
            all.push_back(id + " " + (m.get_bool(field::Gone) ? "gone" : m.get_string(kName)));
        }
        return all;
    }
    std::vector<std::string> names() { return listed(ask(cmd::GetAll).get_message_array(field::Objects)); }
    /// Does what the last undo record says.
    message undo() {
        if (supervisor.heard.empty()) return errorMsg(error::NotFound, "nothing recorded");
        return looper.dispatchMessage(with(supervisor.heard.back().get_message(undo::Old), field::NoUndo, true));
    }

    TempRoot temporary;
    Looper looper{{kShelf}};
    Listener supervisor;  // gets the undo records
    std::unique_ptr<Shelf> shelf;
};

TEST_F(MapTest, ObjectsGetTheLowestFreeIdAndOutliveTheProcess) {
    for (const uint32_t id : {0U, 1U, 2U}) EXPECT_EQ(add(std::string(1, static_cast<char>('a' + id))), id);
    EXPECT_THAT(ask(cmd::RemoveObj, of(1)), IsEmpty());
    open();
    EXPECT_THAT(names(), ElementsAre("0 a", "2 c"));
    EXPECT_EQ(add("d"), 1U);
    EXPECT_EQ(ask(cmd::GetCount).get_u32(field::Count), 3U);
}

TEST_F(MapTest, RefusedChangeChangesNothing) {
    add("a");
    add("b");
    EXPECT_EQ(errorOf(ask(cmd::SetObj, book(1, "a"))), error::Refused);
    EXPECT_EQ(errorOf(ask(cmd::AddObj, book("a"))), error::Refused);
    EXPECT_EQ(errorOf(ask(cmd::AddObj, book(1, "c"))), error::Refused) << "its id is taken";
    EXPECT_EQ(errorOf(ask(cmd::RemoveObj, of(0))), error::Refused);
    EXPECT_EQ(supervisor.heard.size(), 2U);
    open();
    EXPECT_THAT(names(), ElementsAre("0 a", "1 b"));
    EXPECT_EQ(add("c"), 2U) << "a refused addition gives its id back";
}

TEST_F(MapTest, UnknownIdIsAnErrorThatNamesIt) {
    for (const uint32_t command : {cmd::GetObj, cmd::SetObj, cmd::RemoveObj}) {
        EXPECT_EQ(errorOf(ask(command, of(9))), error::NotFound);
        EXPECT_EQ(getError(ask(command, of(9))), "there is no book 9");
        EXPECT_EQ(errorOf(ask(command)), error::NotFound) << "no id at all";
    }
}

TEST_F(MapTest, StoreThatRefusesLeavesTheOldValue) {
    std::filesystem::create_directories(rooted("/tern/store/taken"));
    testing::internal::CaptureStderr();
    open("/tern/store/taken");
    testing::internal::GetCapturedStderr();
    const message reply = ask(cmd::AddObj, book("a"));
    EXPECT_EQ(errorOf(reply), error::StoreFailed);
    EXPECT_THAT(getError(reply), HasSubstr("is a directory"));
    shelf->seed(std::make_unique<Book>());
    EXPECT_THAT(names(), IsEmpty());
    EXPECT_THAT(supervisor.heard, IsEmpty());
}

TEST_F(MapTest, WhatAnEmptyStoreBeginsWithIsStoredAsSoonAsItCanBe) {
    const std::string folder = rooted("/tern/later");
    std::filesystem::create_symlink(folder + "-not-yet", folder);
    testing::internal::CaptureStderr();
    open("/tern/later/books");
    shelf->seed(std::make_unique<Book>());
    EXPECT_EQ(errorOf(ask(cmd::SetObj, book(0, "a"))), error::StoreFailed);
    EXPECT_THAT(names(), ElementsAre("0 "));
    std::filesystem::remove(folder);
    EXPECT_FALSE(isError(ask(cmd::AddObj, book("b"))));
    testing::internal::GetCapturedStderr();
    open("/tern/later/books");
    EXPECT_THAT(names(), ElementsAre("0 ", "1 b"));
}

TEST_F(MapTest, EachChangeCanBeTakenBack) {
    add("a");
    add("b");
    EXPECT_THAT(ask(cmd::SetObj, book(1, "renamed")), IsEmpty());
    EXPECT_FALSE(isError(undo()));
    EXPECT_THAT(names(), ElementsAre("0 a", "1 b"));
    EXPECT_EQ(supervisor.heard.size(), 3U) << "an undo isn't recorded";

    add("c");
    EXPECT_THAT(ask(cmd::RemoveObj, of(1)), IsEmpty());
    EXPECT_EQ(supervisor.heard.back().get_string(undo::Text), "book 1 removed");
    EXPECT_EQ(undo().get_u32(field::ObjectId), 1U);
    EXPECT_THAT(names(), ElementsAre("0 a", "1 b", "2 c"));

    add("d");
    const message again = supervisor.heard.back().get_message(undo::New);
    EXPECT_FALSE(isError(undo()));
    EXPECT_THAT(names(), ElementsAre("0 a", "1 b", "2 c"));
    EXPECT_EQ(looper.dispatchMessage(again).get_u32(field::ObjectId), 3U) << "done again under the same id";
}

TEST_F(MapTest, GetAllContinuesWhereThePageEnded) {
    for (const char* name : {"a", "b", "c", "d", "e"}) add(name);
    message page = with(with({}, field::MaxObjects, 2), field::GetFlags, kWithAuthor);
    message reply = ask(cmd::GetAll, page);
    EXPECT_EQ(reply.size(field::Objects), 2U);
    EXPECT_TRUE(reply.get_message_array(field::Objects).at(0).has(kAuthor));
    EXPECT_EQ(reply.get_u32(field::Continue), 2U);

    EXPECT_FALSE(ask(cmd::GetObj, of(0)).has(kAuthor));
    EXPECT_TRUE(ask(cmd::GetObj, with(of(0), field::GetFlags, kWithAuthor)).has(kAuthor));

    ask(cmd::RemoveObj, of(2));
    reply = ask(cmd::GetAll, with(page, field::Continue, 2));
    EXPECT_EQ(reply.get_message_array(field::Objects).at(0).get_string(kName), "d") << "its start has gone meanwhile";
    EXPECT_FALSE(reply.has(field::Continue)) << "that was the last one";

    EXPECT_EQ(ask(cmd::GetAll, with({}, field::Continue, 99)).size(field::Objects), 0U);
}

TEST_F(MapTest, PagesFitIntoAPacketWhateverTheObjectsHold) {
    open("");  // without a store: a hundred durable additions take a second
    for (char c = 0; c < 100; ++c) add(std::string(kMaxPacket / 10, c));
    size_t seen = 0;
    message page;
    for (int pages = 0; pages < 100; ++pages) {
        const message reply = ask(cmd::GetAll, page);
        EXPECT_LT(reply.flatSize(), kMaxPacket - 1000);
        seen += reply.size(field::Objects);
        if (!reply.has(field::Continue)) break;
        page = with({}, field::Continue, reply.get_u32(field::Continue));
    }
    EXPECT_EQ(seen, 100U);
}

TEST_F(MapTest, SubscribersHearOfEachChange) {
    Listener reader;
    looper.addHandler(2, &reader);
    reader.subscribe(std::vector<uint32_t>{kShelf, 1}, cmd::Changed, {});
    add("a");
    add("b");
    ask(cmd::SetObj, book(1, "c"));
    ask(cmd::RemoveObj, of(1));
    for (int i = 0; i < 20 && reader.heard.size() < 4; ++i) looper.runOnce({});
    EXPECT_THAT(listed(reader.heard), ElementsAre("0 a", "1 b", "1 c", "1 gone"));
}

}  // namespace
}  // namespace tn
