#include "tn/store.h"

#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>

#include "tests/tn/child.h"
#include "tests/tn/listener.h"
#include "tests/tn/temp_root.h"
#include "tn/sources.h"

namespace tn {
namespace {

using testing::AllOf;
using testing::Not;

constexpr char kStore[] = "/tern/store/snmpd";

message sized(size_t octets) { return with({}, string_id(1), std::string(octets, 'x')); }

std::string contents(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// The machine's clock, ahead of its time.
class LaterClock : public Sources {
  public:
    explicit LaterClock(std::chrono::nanoseconds by) : by_(by) { setSources(this); }
    ~LaterClock() override { setSources(nullptr); }
    uint64_t bootNanoseconds() override { return Sources::bootNanoseconds() + static_cast<uint64_t>(by_.count()); }

  private:
    std::chrono::nanoseconds by_;
};

class StoreTest : public testing::Test {
  protected:
    [[nodiscard]] static std::string file() { return rooted(kStore); }

    void write(const std::string& octets) const { temporary.write(kStore, octets); }
    /// A store of 20 messages, closed.
    static void fill() {
        Store store(kStore);
        for (uint32_t id = 0; id < 20; ++id) ASSERT_TRUE(store.set(id, sized(1500)));
        ASSERT_EQ(std::filesystem::status(rooted("/tern/store")).permissions(), std::filesystem::perms(0700));
    }
    /// @param merge  false leaves the change in the -wal file, as a killed process does
    static void execute(const std::string& sql, bool merge = true) {
        sqlite3* db = nullptr;
        ASSERT_EQ(sqlite3_open(file().c_str(), &db), SQLITE_OK);
        sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, merge ? 0 : 1, nullptr);
        EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(db);
        sqlite3_close(db);
    }
    static std::map<std::string, std::string> everyFile() {
        std::map<std::string, std::string> all;
        for (const auto& each : std::filesystem::recursive_directory_iterator(root())) {
            const std::string name = each.path();
            if (!each.is_regular_file() || name.ends_with("-shm")) continue;  // an index, which each reader rebuilds
            if (each.file_size() > 0) all[name] = contents(name);
        }
        return all;
    }
    /// Opens what lies there and tries everything: one line says what is wrong, and no octet changes.
    static void expectRefused(const std::string& reason) {
        const auto before = everyFile();
        testing::internal::CaptureStderr();
        {
            Store store(kStore);
            EXPECT_FALSE(store.find(0) || !store.get(0).empty() || !store.ids().empty());
            EXPECT_FALSE(store.set(0, numbered(1)) || store.remove(0));
            EXPECT_THAT(store.lastError(), AllOf(HasSubstr(reason), Not(HasSubstr("\n"))));
        }
        const std::string lines = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
        EXPECT_THAT(lines, AllOf(HasSubstr(file()), HasSubstr(reason)));
        for (const auto& [name, octets] : before) EXPECT_TRUE(everyFile()[name] == octets) << name << " was written";
    }

    TempRoot temporary;
};

TEST_F(StoreTest, MissingFileIsNotMadeUnlessAskedAndAnEmptyOneBecomesAStore) {
    testing::internal::CaptureStderr();
    Store store(kStore, 4);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("No such file"));
    EXPECT_FALSE(store.set(0, numbered(1)));
    EXPECT_FALSE(std::filesystem::exists(file()));

    write("");                                                // what a full disk left of one
    temporary.write(std::string(kStore) + ".new", "SQLite");  // of a process that was killed while it made one
    Store remade(kStore);
    EXPECT_TRUE(remade.set(0, numbered(1))) << remade.lastError();
    EXPECT_FALSE(std::filesystem::exists(file() + ".new"));
}

TEST_F(StoreTest, FileThatIsNotAStoreOrIsDamagedIsRefused) {
    namespace fs = std::filesystem;
    const char spoil[] = "UPDATE messages SET value = x'0102' WHERE id = 15";
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"another program's file", [&] { write("contact = noc\n" + std::string(200, '#')); }},
        {"another program's file", [&] { write("short"); }},
        {"is a directory", [] { fs::remove(file()), fs::create_directory(file()); }},
        {"isn't a regular file", [] { fs::remove(file()), mkfifo(file().c_str(), 0600); }},
        {"is a symbolic link", [] { fs::rename(file(), file() + "-"), fs::create_symlink(file() + "-", file()); }},
        {"", [] { std::fstream(file(), std::ios::in | std::ios::out).seekp(8192) << std::string(4096, 'Z'); }},
        {"", [] { fs::resize_file(file(), 4096 * 3 + 100); }},
        {"message 15", [&] { execute(spoil); }},
        {"message 15", [&] { execute(spoil, /*merge=*/false); }},
        {"layout 2", [] { execute("PRAGMA user_version = 2"); }},
        {"another application's database", [] { execute("PRAGMA application_id = 0"); }},
    };
    for (const auto& [reason, happens] : cases) {
        fill();
        happens();
        expectRefused(reason);
        temporary.remove("tern/store");
    }
}

TEST_F(StoreTest, MessageThatCannotBeReadForAMomentIsNotTakenForMissing) {
    const std::function<bool(const Store&)> reads[] = {
        [](const Store& store) { return store.find(0); },
        [](const Store& store) { return !store.get(0).empty(); },
        [](const Store& store) { return !store.ids().empty(); },
    };
    for (const auto& read : reads) {
        Store store(kStore);
        ASSERT_TRUE(store.set(0, sized(1500)));
        execute("UPDATE messages SET id = 0", /*merge=*/false);  // by another process: not in this one's cache
        const std::string wal = contents(file() + "-wal");
        std::filesystem::resize_file(file() + "-wal", 0);  // reading it fails
        testing::internal::CaptureStderr();
        EXPECT_FALSE(read(store));
        EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("file left unchanged"));
        std::ofstream(file() + "-wal", std::ios::binary) << wal;
        EXPECT_FALSE(store.set(0, numbered(1))) << "defaults take the place of what is there";
        EXPECT_THAT(store.lastError(), HasSubstr(file()));
    }
}

TEST_F(StoreTest, FailedReadIsTriedAgainOnlyWhenARequestThatReliedOnItIsOver) {
    Store store(kStore);
    ASSERT_TRUE(store.set(0, numbered(42)));
    store.recoversFromReads();
    execute("UPDATE messages SET id = 1", /*merge=*/false);
    const std::string wal = contents(file() + "-wal");
    std::filesystem::resize_file(file() + "-wal", 0);
    EXPECT_FALSE(store.find(1));
    std::ofstream(file() + "-wal", std::ios::binary) << wal;
    EXPECT_FALSE(store.set(1, numbered(0)) || store.find(1));
    const LaterClock later(Store::kReadAgain);
    EXPECT_EQ(store.get(1).get_u32(u32_id(1)), 42U) << store.lastError();
    EXPECT_TRUE(store.set(1, numbered(43))) << store.lastError();
}

TEST_F(StoreTest, FullDiskFailsTheSetAndKeepsTheOldValue) {
    constexpr int kNoRights = 77;
    const auto fillsUp = [] {
        uint32_t written = 0;
        {
            Store store(kStore);
            ASSERT_TRUE(store.set(0, numbered(42)));
            while (written < 100 && store.set(written + 1, sized(16 << 10))) ++written;
            ASSERT_LT(written, 100U) << "the disk never filled";
            EXPECT_THAT(store.lastError(), HasSubstr("full"));
            EXPECT_FALSE(store.set(0, sized(200 << 10)));
            EXPECT_EQ(store.get(0).get_u32(u32_id(1)), 42U);
        }
        const Store store(kStore);
        EXPECT_EQ(store.get(0).get_u32(u32_id(1)), 42U);
        EXPECT_EQ(store.ids().size(), written + 1) << "and everything that was answered";
    };
    const auto isFullAtTheStart = [this] {
        temporary.remove("tern");
        ASSERT_TRUE(Store(kStore).set(0, numbered(42)));
        temporary.write("tern/filler", std::string(512 << 10, 'x'));  // without room for SQLite's side files
        Store store(kStore);
        EXPECT_EQ(store.get(0).get_u32(u32_id(1)), 42U);
        EXPECT_FALSE(store.set(0, numbered(43)));
        EXPECT_THAT(store.lastError(), HasSubstr(file()));
        temporary.remove("tern/filler");
        EXPECT_TRUE(store.set(0, numbered(43))) << store.lastError();
        EXPECT_EQ(store.get(0).get_u32(u32_id(1)), 43U);
    };
    const auto isFullBeforeTheFirst = [this] {
        temporary.remove("tern");
        temporary.write("filler", std::string(512 << 10, 'x'));
        Store store(kStore), other(kStore);
        EXPECT_FALSE(store.find(0));
        EXPECT_FALSE(store.set(0, numbered(42)));
        EXPECT_THAT(store.lastError(), HasSubstr(file()));
        temporary.remove("filler");
        EXPECT_TRUE(store.set(0, numbered(43))) << store.lastError();
        EXPECT_EQ(Store(kStore).get(0).get_u32(u32_id(1)), 43U);
        EXPECT_FALSE(other.set(0, numbered(44))) << "replaces what it hasn't read";
        EXPECT_THAT(other.lastError(), HasSubstr("restart"));
    };
    Child child([&] {  // sees a file system of 512 KiB under the root
        if (unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", root().c_str(), "tmpfs", 0, "size=512k") != 0)
            return kNoRights;
        fillsUp();
        isFullAtTheStart();
        isFullBeforeTheFirst();
        return HasFailure() ? 1 : 0;
    });
    const int status = child.exitStatus();
    if (status == kNoRights) GTEST_SKIP() << "NOT TESTED: no right to mount a small file system";
    EXPECT_EQ(status, 0);
}

TEST_F(StoreTest, AChangeOfSeveralMessagesIsMadeWholeOrNotAtAll) {
    fill();
    message nested;
    for (size_t depth = 0; depth <= kMaxNesting; ++depth) {
        message outer;
        outer.insert_message(message_id(1), std::move(nested));
        nested = std::move(outer);
    }
    Store store(kStore);
    EXPECT_FALSE(store.change({{1, sized(1)}, {30, sized(1)}, {31, nested}}, {2}));
    EXPECT_THAT(store.lastError(), testing::HasSubstr("nested too deeply"));
    EXPECT_EQ(store.get(1), sized(1500));
    EXPECT_FALSE(store.find(30));
    EXPECT_TRUE(store.change({{1, sized(1)}, {30, sized(1)}}, {2, 99})) << store.lastError();
    const Store again(kStore);
    EXPECT_EQ(again.get(1), sized(1));
    EXPECT_TRUE(again.find(30));
    EXPECT_FALSE(again.find(2));
}

}  // namespace
}  // namespace tn
