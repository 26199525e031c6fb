#include "tn/store_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "tn/log.h"
#include "tn/paths.h"

namespace tn {

namespace {

constexpr std::chrono::milliseconds kBusyTimeout{1000};

// What makes a SQLite file a store: offsets and magic are from the SQLite file format, section 1.3.
constexpr uint32_t kApplicationId = 0x546e5374;  // "TnSt"
constexpr int kLayout = 1;                       // user_version
constexpr std::string_view kMagic("SQLite format 3\0", 16);
constexpr size_t kApplicationIdAt = 68;
constexpr size_t kHeader = 100;

std::string errnoText() { return std::strerror(errno); }

/// Why this file isn't a store, judged by its header; empty if it is one.
std::string whyNotAStore(const std::string& file) {
    const int fd = open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return errno == ELOOP ? "is a symbolic link" : errnoText();
    struct stat status {};
    std::array<char, kHeader> header{};
    ssize_t length = -1;
    if (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)) length = pread(fd, header.data(), header.size(), 0);
    const std::string reason = errnoText();
    close(fd);
    if (S_ISDIR(status.st_mode)) return "is a directory";
    if (!S_ISREG(status.st_mode)) return "isn't a regular file";
    if (length < 0) return reason;
    if (length < static_cast<ssize_t>(header.size()) || std::memcmp(header.data(), kMagic.data(), kMagic.size()) != 0) {
        return "isn't a store: damaged, or another program's file";
    }
    uint32_t id = 0;
    for (size_t i = 0; i < 4; ++i) id = id << 8 | static_cast<unsigned char>(header[kApplicationIdAt + i]);
    return id == kApplicationId ? "" : "is another application's database";
}

/// Opens an existing SQLite file. @return the reason of a failure, or empty
std::string openDatabase(const std::string& file, Database& db) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
    db.reset(opened);
    if (opened == nullptr) return "out of memory";
    if (result != SQLITE_OK) return sqlite3_errmsg(opened);
    // A database opened for writing that can't be written is silently read-only; sets would then fail one by one.
    if (sqlite3_db_readonly(opened, "main") == 1) return "can't be written";
    sqlite3_busy_timeout(opened, static_cast<int>(kBusyTimeout.count()));
    return "";
}

/// Makes an empty database an empty store. @return the reason of a failure, or empty
std::string layOut(sqlite3* db) {
    const std::string sql =
        "PRAGMA journal_mode = MEMORY; PRAGMA synchronous = FULL; BEGIN;"
        "PRAGMA application_id = " +
        std::to_string(kApplicationId) + "; PRAGMA user_version = " + std::to_string(kLayout) +
        "; CREATE TABLE messages (id INTEGER PRIMARY KEY, value BLOB NOT NULL); COMMIT;";
    return execute(db, sql) ? "" : sqlite3_errmsg(db);
}

/// Creates an empty store under another name and renames it, so that the file under the final name is a complete store
/// at any time. @return the reason of a failure, or empty
std::string createFile(const std::string& file) {
    if (!makeFolder(std::filesystem::path(file).parent_path(), 0700)) return errnoText();
    const std::string fresh = file + ".new";
    unlink(fresh.c_str());  // of a process that was killed here
    const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) return errnoText();
    close(fd);

    Database db;
    std::string reason = openDatabase(fresh, db);
    if (reason.empty()) reason = layOut(db.get());
    db.reset();
    if (reason.empty() && rename(fresh.c_str(), file.c_str()) != 0) reason = errnoText();
    if (!reason.empty()) unlink(fresh.c_str());
    return reason;
}

}  // namespace

bool isMissingOrEmpty(const std::string& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) return errno == ENOENT;
    return S_ISREG(status.st_mode) && status.st_size == 0;
}

std::string openEmpty(Database& db) {
    std::string reason = openDatabase(":memory:", db);
    return reason.empty() ? layOut(db.get()) : reason;
}

std::string openStoreFile(const std::string& file, bool create, Database& db) {
    if (create && isMissingOrEmpty(file)) {
        if (std::string reason = createFile(file); !reason.empty()) return reason;
    }
    if (std::string reason = whyNotAStore(file); !reason.empty()) return reason;
    return openDatabase(file, db);
}

std::string openUnwritable(const std::string& file, Database& db) {
    if (std::string reason = whyNotAStore(file); !reason.empty()) return reason;
    std::string uri = "file:";
    for (const char c : file) uri += c == '%' ? "%25" : c == '?' ? "%3f" : c == '#' ? "%23" : std::string(1, c);
    if (isMissingOrEmpty(file + "-wal")) uri += "?immutable=1";  // no side files, no locks
    sqlite3* opened = nullptr;
    const int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_URI;
    const int result = sqlite3_open_v2(uri.c_str(), &opened, flags, nullptr);
    db.reset(opened);
    if (opened == nullptr) return "out of memory";
    return result == SQLITE_OK ? "" : sqlite3_errmsg(opened);
}

std::string checkStoreFile(sqlite3* db) {
    mayMergeOnClose(db, false);
    const Statement check = prepare(db, "PRAGMA quick_check(1)");
    if (!check || sqlite3_step(check.get()) != SQLITE_ROW) return sqlite3_errmsg(db);
    const std::string verdict(reinterpret_cast<const char*>(sqlite3_column_text(check.get(), 0)));
    // A line that only names the database may precede the finding.
    if (verdict != "ok") return "is damaged: " + verdict.substr(verdict.rfind('\n') + 1);

    const Statement layout = prepare(db, "PRAGMA user_version");
    if (!layout || sqlite3_step(layout.get()) != SQLITE_ROW) return sqlite3_errmsg(db);
    if (const int version = sqlite3_column_int(layout.get(), 0); version != kLayout) {
        return "has layout " + std::to_string(version) + ", this program knows " + std::to_string(kLayout);
    }
    return "";
}

void mayMergeOnClose(sqlite3* db, bool on) {
    sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, on ? 0 : 1, nullptr);
}

// SQLite copies the mode to files that it creates later. Not fchmod: closing any descriptor drops SQLite's locks.
void makePrivate(const std::string& file) {
    for (const char* side : {"", "-wal", "-shm"}) {
        const std::string part = file + side;
        if (fchmodat(AT_FDCWD, part.c_str(), 0600, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT)
            swarn << "store: " << part << ": can't set file mode: " << errnoText();
    }
}

bool execute(sqlite3* db, const std::string& sql) {
    return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

Statement prepare(sqlite3* db, std::string_view sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v3(db, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    return Statement(statement);
}

}  // namespace tn
