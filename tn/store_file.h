#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <string_view>

namespace tn {

struct CloseDatabase {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// Each function below that returns text says with it, in one line, why it failed; empty text is success.

/// Opens the SQLite file of a store. A file that isn't one is recognised by its first octets and never given to SQLite.
///
/// @param create  makes a missing or empty file a store, and its folder (mode 0700). The file gets its name only when
/// it
///                is whole, so a process that is killed meanwhile leaves no half of a store.
/// @param db      the open database; unspecified after a failure
[[nodiscard]] std::string openStoreFile(const std::string& file, bool create, Database& db);

/// Reads the whole file, and checks that it is undamaged and of the layout that this program knows. Writes nothing,
/// also not when the database is closed later, unless it succeeds.
[[nodiscard]] std::string checkStoreFile(sqlite3* db);

/// Whether closing may merge the -wal file into the database, which writes to it.
void mayMergeOnClose(sqlite3* db, bool on);

/// Sets the mode 0600 of the file and its side files. A failure is logged.
void makePrivate(const std::string& file);

/// False when it fails: the reason is the database's sqlite3_errmsg.
bool execute(sqlite3* db, const std::string& sql);
/// nullptr when that fails: the reason is the database's sqlite3_errmsg.
[[nodiscard]] Statement prepare(sqlite3* db, std::string_view sql);

}  // namespace tn
