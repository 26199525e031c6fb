#include "tn/store.h"

#include <sqlite3.h>

#include <algorithm>
#include <optional>

#include "tn/log.h"
#include "tn/paths.h"
#include "tn/sources.h"
#include "tn/store_file.h"

namespace tn {

namespace {

constexpr unsigned kCreate = 1;
constexpr unsigned kWriteThrough = 4;

/// One use of a prepared statement. The destructor ends its read transaction and makes it ready for the next use.
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

}  // namespace

struct Store::Impl {
    std::string file;
    Database db;
    Statement select, list, upsert, erase;  // after db: finalized before it closes
    std::string lastError;
    unsigned flags = 0;
    bool usable = false;                                   ///< for reading
    bool isWritable = true;                                ///< while it is usable
    bool isMissing = false;                                ///< and read as empty, since it can't be created
    bool recoversFromReads = false;                        ///< from failed ones
    std::optional<std::chrono::milliseconds> readAgainAt;  ///< while a failed read disables it
    std::map<uint32_t, message> unwrittenSeeds;            ///< written before the next change

    std::string open();
    std::string openForReading();
    std::string start();
    bool reopen();
    bool mayRead();
    bool mayWrite();
    std::string verify();
    void giveUp(const std::string& reason);
    bool failed(std::string_view what);
    bool set(uint32_t id, const message& m);
    bool change(const Use& use, std::string_view what);
    bool next(const Use& use);
};

/// Opens and checks the file. @return why it can't be used, or empty
std::string Store::Impl::open() {
    if (std::string reason = openStoreFile(file, (flags & kCreate) != 0, db); !reason.empty()) return reason;
    if (std::string reason = verify(); !reason.empty()) return reason;
    makePrivate(file);
    if (!execute(db.get(), "PRAGMA journal_mode = WAL")) return sqlite3_errmsg(db.get());
    execute(db.get(), (flags & kWriteThrough) != 0 ? "PRAGMA synchronous = FULL" : "PRAGMA synchronous = NORMAL");
    upsert =
        prepare(db.get(), "INSERT INTO messages VALUES (?, ?) ON CONFLICT (id) DO UPDATE SET value = excluded.value");
    erase = prepare(db.get(), "DELETE FROM messages WHERE id = ?");
    return upsert && erase ? "" : sqlite3_errmsg(db.get());
}

/// Opens and checks a file that open() can't use, in case it only can't be written, or created. @return why it can't be
/// used, or empty
std::string Store::Impl::openForReading() {
    select.reset();
    list.reset();
    isMissing = (flags & kCreate) != 0 && isMissingOrEmpty(file);
    std::string reason = isMissing ? openEmpty(db) : openUnwritable(file, db);
    return reason.empty() ? verify() : reason;
}

/// Opens the file, if it can't be written, for reading. @return why it can't be written, or empty
std::string Store::Impl::start() {
    for (Statement* statement : {&select, &list, &upsert, &erase}) statement->reset();
    db.reset();  // the files of an open database stay read-only, even if another connection is opened
    isMissing = false;
    std::string reason = open();
    isWritable = reason.empty();
    usable = isWritable || openForReading().empty();
    if (!usable) giveUp(reason);
    return reason;
}

/// Opens the file once more, unless that would replace what others have stored meanwhile. @return whether it can be
/// written
bool Store::Impl::reopen() {
    if (isMissing && !isMissingOrEmpty(file)) {
        lastError = "store: " + file + ": was missing at startup: restart to read it";
        return false;
    }
    const std::string reason = start();
    if (!usable && recoversFromReads) readAgainAt = sinceBoot() + kReadAgain;
    if (isWritable) {
        swarn << "store: " << file << ": usable again";
    } else {
        lastError = "store: " + file + ": " + reason;
    }
    return isWritable;
}

bool Store::Impl::mayRead() {
    if (usable || !readAgainAt || sinceBoot() < *readAgainAt) return usable;
    readAgainAt.reset();
    reopen();
    return usable;
}

bool Store::Impl::mayWrite() {
    if (!mayRead() || (!isWritable && !reopen())) return false;
    std::erase_if(unwrittenSeeds, [this](const auto& seed) { return set(seed.first, seed.second); });
    return true;
}

/// Reads the whole store, and writes nothing if that fails: a caller that read half of a damaged store would consider
/// the rest missing and overwrite it with defaults.
/// @return why the store is damaged, or empty
std::string Store::Impl::verify() {
    if (std::string reason = checkStoreFile(db.get()); !reason.empty()) return reason;
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
    mayMergeOnClose(db.get(), true);
    return "";
}

void Store::Impl::giveUp(const std::string& reason) {
    usable = false;
    if (db) mayMergeOnClose(db.get(), false);
    lastError = "store: " + file + ": " + reason;
    swarn << "store: " << file << ": " << reason << "; file left unchanged";
}

/// Saves SQLite's reason as lastError. @return false
bool Store::Impl::failed(std::string_view what) {
    lastError = "store: " + file + ": " + std::string(what) + ": " + sqlite3_errmsg(db.get());
    return false;
}

bool Store::Impl::set(uint32_t id, const message& m) {
    const flat_message bytes = m.flatten();
    if (bytes.empty()) {
        lastError = "store: " + file + ": message nested too deeply";
        return false;
    }
    const Use use(upsert, id);
    use.bind(bytes);
    return change(use, "not written");
}

bool Store::Impl::change(const Use& use, std::string_view what) { return use.step() == SQLITE_DONE || failed(what); }

/// Steps to the next row. @return false if there is none. A failure, such as a busy or unreadable file, disables the
/// store.
bool Store::Impl::next(const Use& use) {
    const int result = use.step();
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        giveUp(sqlite3_errmsg(db.get()));
        if (recoversFromReads) readAgainAt = sinceBoot() + kReadAgain;
    }
    return result == SQLITE_ROW;
}

Store::Store(const std::string& path, unsigned flags) : impl_(std::make_unique<Impl>()) {
    impl_->file = rooted(path);
    impl_->flags = flags;
    const std::string reason = impl_->start();
    if (impl_->usable && !impl_->isWritable)
        swarn << "store: " << impl_->file << (impl_->isMissing ? ": can't be created: " : ": can only be read: ")
              << reason;
}

Store::~Store() = default;

bool Store::find(uint32_t id) const {
    if (!impl_->mayRead()) return false;
    return impl_->next(Use(impl_->select, id));
}

message Store::get(uint32_t id) const {
    message m;
    if (!impl_->mayRead()) return m;
    const Use use(impl_->select, id);
    if (impl_->next(use) && !message::unflatten(use.bytes(1), m)) {
        impl_->giveUp("is damaged: message " + std::to_string(id) + " can't be read");
    }
    return m;
}

std::vector<uint32_t> Store::ids() const {
    std::vector<uint32_t> found;
    if (!impl_->mayRead()) return found;
    const Use use(impl_->list);
    while (impl_->next(use)) found.push_back(static_cast<uint32_t>(use.number(0)));
    if (!impl_->usable) found.clear();
    return found;
}

bool Store::set(uint32_t id, const message& m) {
    if (!impl_->mayWrite() || !impl_->set(id, m)) return false;
    impl_->unwrittenSeeds.erase(id);
    return true;
}

bool Store::seed(uint32_t id, const message& m) {
    if (!impl_->mayRead()) return false;
    if (!set(id, m)) impl_->unwrittenSeeds.insert_or_assign(id, m);
    return true;
}

bool Store::remove(uint32_t id) {
    if (!impl_->mayWrite()) return false;
    impl_->unwrittenSeeds.erase(id);
    return impl_->change(Use(impl_->erase, id), "not removed");
}

bool Store::change(const std::map<uint32_t, message>& stored, const std::vector<uint32_t>& removed) {
    if (!impl_->mayWrite()) return false;
    if (!execute(impl_->db.get(), "BEGIN IMMEDIATE")) return impl_->failed("not written");
    bool isDone = std::ranges::all_of(stored, [this](const auto& entry) { return set(entry.first, entry.second); }) &&
                  std::ranges::all_of(removed, [this](uint32_t id) { return remove(id); });
    if (isDone) isDone = execute(impl_->db.get(), "COMMIT") || impl_->failed("not written");
    // A full disk has ended the transaction already.
    if (!isDone && sqlite3_get_autocommit(impl_->db.get()) == 0) execute(impl_->db.get(), "ROLLBACK");
    return isDone;
}

void Store::recoversFromReads() { impl_->recoversFromReads = true; }

const std::string& Store::lastError() const { return impl_->lastError; }

}  // namespace tn
