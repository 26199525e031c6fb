#include "tn/store.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <optional>

#include "tn/log.h"
#include "tn/paths.h"

namespace tn {

namespace {

constexpr unsigned kCreate = 1;
constexpr unsigned kWriteThrough = 4;
constexpr std::chrono::milliseconds kBusyTimeout{1000};

// What makes a SQLite file a store: offsets and magic are from the SQLite file format, section 1.3.
constexpr uint32_t kApplicationId = 0x546e5374;  // "TnSt"
constexpr int kLayout = 1;                       // user_version
constexpr std::string_view kMagic("SQLite format 3\0", 16);
constexpr size_t kApplicationIdAt = 68;
constexpr size_t kHeader = 100;

struct CloseDatabase {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct Finalize {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

/// Leaves a kept statement ready for its next use, and its read transaction ended, however the function is left.
class Use {
  public:
    explicit Use(const Statement& statement) : statement_(statement.get()) {}
    Use(const Statement& statement, uint32_t id) : Use(statement) { sqlite3_bind_int64(statement_, 1, id); }
    ~Use() {
        sqlite3_reset(statement_);
        sqlite3_clear_bindings(statement_);
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    [[nodiscard]] int step() const { return sqlite3_step(statement_); }
    void bind(const flat_message& bytes) const {
        sqlite3_bind_blob64(statement_, 2, bytes.data(), bytes.size(), SQLITE_STATIC);
    }
    [[nodiscard]] int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }
    [[nodiscard]] std::span<const uint8_t> bytes(int column) const {
        const auto* first = static_cast<const uint8_t*>(sqlite3_column_blob(statement_, column));
        return {first, static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
    }

  private:
    sqlite3_stmt* statement_;
};

std::string errnoText() { return std::strerror(errno); }

/// Why this file isn't a store, told from its first octets, so that SQLite never opens a file that isn't ours; empty
/// when it is one.
std::string notAStore(const std::string& file) {
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
        return "isn't a store: damaged, or something else's file";
    }
    uint32_t id = 0;
    for (size_t i = 0; i < 4; ++i) id = id << 8 | static_cast<unsigned char>(header[kApplicationIdAt + i]);
    return id == kApplicationId ? "" : "is another application's database";
}

bool execute(sqlite3* db, const std::string& sql) {
    return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

Statement prepare(sqlite3* db, std::string_view sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v3(db, sql.data(), static_cast<int>(sql.size()), SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
    return Statement(statement);
}

/// Opens a SQLite file that is there. @return why it can't be, or empty
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

/// Makes an empty store under another name and moves it into place, so that a file under the store's own name is a
/// whole store at every instant. @return why that failed, or empty
std::string createFile(const std::string& file) {
    if (!makeFolder(std::filesystem::path(file).parent_path(), 0700)) return errnoText();
    const std::string fresh = file + ".new";
    unlink(fresh.c_str());  // of a process that was killed here
    const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) return errnoText();
    close(fd);

    Database db;
    std::string reason = openDatabase(fresh, db);
    const std::string sql =
        "PRAGMA journal_mode = MEMORY; PRAGMA synchronous = FULL; BEGIN;"
        "PRAGMA application_id = " +
        std::to_string(kApplicationId) + "; PRAGMA user_version = " + std::to_string(kLayout) +
        "; CREATE TABLE messages (id INTEGER PRIMARY KEY, value BLOB NOT NULL); COMMIT;";
    if (reason.empty() && !execute(db.get(), sql)) reason = sqlite3_errmsg(db.get());
    db.reset();
    if (reason.empty() && rename(fresh.c_str(), file.c_str()) != 0) reason = errnoText();
    if (!reason.empty()) unlink(fresh.c_str());
    return reason;
}

}  // namespace

struct Store::Impl {
    std::string file;
    Database db;
    Statement select, list, upsert, erase;  // after db: finalized before it closes
    std::string lastError;
    bool usable = false;

    std::string open(unsigned flags);
    std::string verify();
    void giveUp(const std::string& reason);
    bool failed(std::string_view what);
    bool change(const Use& use, std::string_view what);
    bool next(const Use& use);
};

/// @return why the file can't be used, or empty
std::string Store::Impl::open(unsigned flags) {
    struct stat status {};
    const bool missing = stat(file.c_str(), &status) != 0 && errno == ENOENT;
    // An empty file has nothing to lose: it is what a full disk leaves of a copy, or somebody's touch.
    const bool blank = !missing && S_ISREG(status.st_mode) && status.st_size == 0;
    if ((missing || blank) && (flags & kCreate) != 0) {
        if (std::string reason = createFile(file); !reason.empty()) return reason;
    }
    if (std::string reason = notAStore(file); !reason.empty()) return reason;
    if (std::string reason = openDatabase(file, db); !reason.empty()) return reason;
    if (std::string reason = verify(); !reason.empty()) return reason;

    // SQLite copies the mode to files it creates later. Not fchmod: closing any descriptor drops SQLite's locks.
    for (const char* side : {"", "-wal", "-shm"}) {
        const std::string part = file + side;
        if (fchmodat(AT_FDCWD, part.c_str(), 0600, AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT)
            serr << "store: " << part << ": its mode can't be set: " << errnoText();
    }
    if (!execute(db.get(), "PRAGMA journal_mode = WAL")) return sqlite3_errmsg(db.get());
    execute(db.get(), (flags & kWriteThrough) != 0 ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    upsert =
        prepare(db.get(), "INSERT INTO messages VALUES (?, ?) ON CONFLICT (id) DO UPDATE SET value = excluded.value");
    erase = prepare(db.get(), "DELETE FROM messages WHERE id = ?");
    return upsert && erase ? "" : sqlite3_errmsg(db.get());
}

/// Reads everything there is without writing: whoever meets half of a damaged store takes the rest for missing and
/// writes defaults over it.
std::string Store::Impl::verify() {
    sqlite3_db_config(db.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    const Statement check = prepare(db.get(), "PRAGMA quick_check(1)");
    if (!check || sqlite3_step(check.get()) != SQLITE_ROW) return sqlite3_errmsg(db.get());
    const std::string verdict(reinterpret_cast<const char*>(sqlite3_column_text(check.get(), 0)));
    // A line that only names the database may stand before the finding.
    if (verdict != "ok") return "is damaged: " + verdict.substr(verdict.rfind('\n') + 1);

    const Statement layout = prepare(db.get(), "PRAGMA user_version");
    if (!layout || sqlite3_step(layout.get()) != SQLITE_ROW) return sqlite3_errmsg(db.get());
    if (const int version = sqlite3_column_int(layout.get(), 0); version != kLayout) {
        return "has layout " + std::to_string(version) + ", this program knows " + std::to_string(kLayout);
    }

    select = prepare(db.get(), "SELECT id, value FROM messages WHERE id = ?");
    list = prepare(db.get(), "SELECT id, value FROM messages ORDER BY id");
    if (!select || !list) return "is damaged: " + std::string(sqlite3_errmsg(db.get()));
    const Use use(list);
    int result = SQLITE_DONE;
    while ((result = use.step()) == SQLITE_ROW) {
        message ignored;
        if (use.number(0) < 0 || use.number(0) > kNoId || !message::unflatten(use.bytes(1), ignored)) {
            return "is damaged: message " + std::to_string(use.number(0)) + " can't be read";
        }
    }
    if (result != SQLITE_DONE) return sqlite3_errmsg(db.get());
    sqlite3_db_config(db.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
    return "";
}

void Store::Impl::giveUp(const std::string& reason) {
    usable = false;
    if (db) sqlite3_db_config(db.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    lastError = "store: " + file + ": " + reason;
    serr << "store: " << file << ": " << reason << "; it is left as it is";
}

/// Keeps SQLite's reason for the caller. @return false
bool Store::Impl::failed(std::string_view what) {
    lastError = "store: " + file + ": " + std::string(what) + ": " + sqlite3_errmsg(db.get());
    return false;
}

bool Store::Impl::change(const Use& use, std::string_view what) { return use.step() == SQLITE_DONE || failed(what); }

/// Whether there is a row, or another one. A failure, such as a busy or unreadable file, disables the store.
bool Store::Impl::next(const Use& use) {
    const int result = use.step();
    if (result != SQLITE_ROW && result != SQLITE_DONE) giveUp(sqlite3_errmsg(db.get()));
    return result == SQLITE_ROW;
}

Store::Store(const std::string& path, unsigned flags) : impl_(std::make_unique<Impl>()) {
    impl_->file = rooted(path);
    const std::string reason = impl_->open(flags);
    impl_->usable = reason.empty();
    if (!impl_->usable) impl_->giveUp(reason);
}

Store::~Store() = default;

bool Store::find(uint32_t id) const {
    if (!impl_->usable) return false;
    return impl_->next(Use(impl_->select, id));
}

message Store::get(uint32_t id) const {
    message m;
    if (!impl_->usable) return m;
    const Use use(impl_->select, id);
    if (impl_->next(use) && !message::unflatten(use.bytes(1), m)) {
        impl_->giveUp("is damaged: message " + std::to_string(id) + " can't be read");
    }
    return m;
}

std::vector<uint32_t> Store::ids() const {
    std::vector<uint32_t> found;
    if (!impl_->usable) return found;
    const Use use(impl_->list);
    while (impl_->next(use)) found.push_back(static_cast<uint32_t>(use.number(0)));
    if (!impl_->usable) found.clear();
    return found;
}

bool Store::set(uint32_t id, const message& m) {
    if (!impl_->usable) return false;
    const flat_message bytes = m.flatten();
    if (bytes.empty()) {
        impl_->lastError = "store: " + impl_->file + ": a message is nested too deep";
        return false;
    }
    const Use use(impl_->upsert, id);
    use.bind(bytes);
    return impl_->change(use, "not written");
}

bool Store::remove(uint32_t id) {
    if (!impl_->usable) return false;
    return impl_->change(Use(impl_->erase, id), "not removed");
}

const std::string& Store::lastError() const { return impl_->lastError; }

}  // namespace tn
