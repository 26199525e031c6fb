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

namespace tn {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char kStore[] = "/tern/store/snmpd";

message sized(size_t octets) {
    message m;
    m.insert_string(string_id(1), std::string(octets, 'x'));
    return m;
}

std::string contents(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

class StoreTest : public testing::Test {
  protected:
    [[nodiscard]] static std::string file() { return rooted(kStore); }

    void write(const std::string& octets) const { temporary.write(kStore, octets); }
    /// A store of 20 messages, closed.
    static void fill() {
        Store store(kStore);
        for (uint32_t id = 0; id < 20; ++id) ASSERT_TRUE(store.set(id, sized(1500)));
    }
    static void overwrite(size_t offset, const std::string& octets) {
        std::fstream out(file(), std::ios::binary | std::ios::in | std::ios::out);
        out.seekp(static_cast<std::streamoff>(offset)) << octets;
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
            if (each.is_regular_file() && each.file_size() > 0)
                all[each.path().string()] = contents(each.path().string());
        }
        for (auto& [name, octets] : all) {
            if (name.ends_with("-shm")) octets.clear();  // an index of the -wal file, made anew by whoever reads
        }
        return all;
    }
    /// Opens what lies there and tries everything: one line says what is wrong, and no octet changes.
    static void expectRefused(const std::string& reason) {
        const auto before = everyFile();
        testing::internal::CaptureStderr();
        {
            Store store(kStore);
            EXPECT_FALSE(store.find(0));
            EXPECT_TRUE(store.get(0).empty());
            EXPECT_TRUE(store.ids().empty());
            EXPECT_FALSE(store.set(0, numbered(1)));
            EXPECT_FALSE(store.remove(0));
            EXPECT_THAT(store.lastError(), AllOf(HasSubstr(reason), Not(HasSubstr("\n"))));
        }
        const std::string lines = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 1) << lines;
        EXPECT_THAT(lines, HasSubstr(file()));
        EXPECT_THAT(lines, HasSubstr(reason));
        for (const auto& [name, octets] : before) EXPECT_TRUE(everyFile()[name] == octets) << name << " was written";
    }

    TempRoot temporary;
};

TEST_F(StoreTest, KeepsWhatWasSetAcrossAReopening) {
    {
        Store store(kStore);
        EXPECT_FALSE(store.find(0));
        for (const uint32_t id : {7U, 0U, 0xfffffffeU}) ASSERT_TRUE(store.set(id, numbered(id)));
        ASSERT_TRUE(store.set(7, numbered(70)));
        ASSERT_TRUE(store.set(8, numbered(8)));
        ASSERT_TRUE(store.remove(8));
        ASSERT_TRUE(store.remove(8)) << "what isn't there is removed already";
    }
    const Store store(kStore);
    EXPECT_THAT(store.ids(), ElementsAre(0, 7, 0xfffffffe));
    EXPECT_EQ(store.get(7).get_u32(u32_id(1)), 70U);
    EXPECT_TRUE(store.find(0));
    EXPECT_FALSE(store.find(8));
    EXPECT_TRUE(store.get(8).empty());
}

TEST_F(StoreTest, NobodyElseCanReadAnyOfItsFiles) {
    const mode_t before = umask(0);
    Store store(kStore);
    ASSERT_TRUE(store.set(0, numbered(1)));
    umask(before);
    size_t files = 0;
    for (const auto& each : std::filesystem::directory_iterator(rooted("/tern/store"))) {
        struct stat status {};
        ASSERT_EQ(stat(each.path().c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600U) << each.path();
        ++files;
    }
    EXPECT_EQ(files, 3U) << "the store, its -wal and its -shm, and nothing left of making it";
    struct stat folder {};
    ASSERT_EQ(stat(rooted("/tern/store").c_str(), &folder), 0);
    EXPECT_EQ(folder.st_mode & 07777, 0700U);
}

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

TEST_F(StoreTest, FileThatIsNotAStoreIsRefused) {
    write("contact = noc\n" + std::string(200, '#'));
    expectRefused("another program's file");
    write("short");
    expectRefused("another program's file");
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());
    expectRefused("is a directory");
    std::filesystem::remove(file());
    ASSERT_EQ(mkfifo(file().c_str(), 0600), 0);
    expectRefused("isn't a regular file");
    std::filesystem::rename(file(), file() + "-elsewhere");
    std::filesystem::create_symlink(file() + "-elsewhere", file());
    expectRefused("is a symbolic link");
}

TEST_F(StoreTest, DamagedOrForeignStoreIsRefused) {
    const struct {
        std::function<void()> happens;
        const char* reason;
    } cases[] = {
        {[] { overwrite(4096 * 2, std::string(4096, '\x5a')); }, ""},
        {[] { std::filesystem::resize_file(file(), 4096 * 3 + 100); }, ""},
        {[] { execute("UPDATE messages SET value = x'0102' WHERE id = 15"); }, "message 15"},
        {[] { execute("PRAGMA user_version = 2"); }, "layout 2"},
        {[] { execute("PRAGMA application_id = 0"); }, "another application's database"},
    };
    for (const auto& [happens, reason] : cases) {
        fill();
        happens();
        expectRefused(reason);
        std::filesystem::remove(file());
    }
}

TEST_F(StoreTest, DamagedStoreKeepsItsUnmergedChanges) {
    fill();
    execute("UPDATE messages SET value = x'0102' WHERE id = 15", /*merge=*/false);
    ASSERT_GT(std::filesystem::file_size(file() + "-wal"), 0U);
    expectRefused("message 15");
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

/// Writes until it is killed, and tells each number once its set has returned true.
int writeForever(int told) {
    Store store(kStore);
    for (uint32_t n = 1;; ++n) {
        if (!store.set(n % 16, numbered(n)) || ::write(told, &n, sizeof n) != sizeof n) return 1;
    }
}

TEST_F(StoreTest, KilledProcessLosesNothingItWasToldIsSet) {
    for (int round = 0; round < 10; ++round) {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        Child child([&] { return writeForever(ends[1]); });
        close(ends[1]);
        std::map<uint32_t, uint32_t> told;
        uint32_t n = 0;
        for (int i = 0; i < 20 + 7 * round && read(ends[0], &n, sizeof n) == sizeof n; ++i) told[n % 16] = n;
        child.end(SIGKILL);
        while (read(ends[0], &n, sizeof n) == sizeof n) told[n % 16] = n;
        close(ends[0]);
        ASSERT_GE(told.size(), 16U);

        const Store store(kStore);
        for (const auto& [id, last] : told) {
            const uint32_t kept = store.get(id).get_u32(u32_id(1));
            EXPECT_TRUE(kept == last || kept == last + 16) << id << ": told " << last << ", kept " << kept;
        }
    }
}

constexpr int kNoRights = 77;

/// Runs the body in a child that sees a 512 KiB file system under the root. @return its exit status
int onSmallDisk(const std::function<void()>& body) {
    Child child([&] {
        if (unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER) != 0 ||
            mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            mount("tmpfs", root().c_str(), "tmpfs", 0, "size=512k") != 0) {
            return kNoRights;
        }
        body();
        return testing::Test::HasFailure() ? 1 : 0;
    });
    return child.exitStatus();
}

TEST_F(StoreTest, FullDiskFailsTheSetAndKeepsTheOldValue) {
    const int status = onSmallDisk([] {
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
    });
    if (status == kNoRights) GTEST_SKIP() << "NOT TESTED: no right to mount a small file system";
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tn
