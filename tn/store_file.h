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

// The functions below that return text return the reason of a failure in one line; empty text is success.

/// Opens the SQLite file of a store. A file that isn't a store is recognised by its header and never opened with
/// SQLite.
///
/// @param create  creates a missing or empty file, and its folder (mode 0700). The file gets its name only when it is
///                complete, so a process that is killed meanwhile leaves no partial store.
/// @param db      the open database; unspecified after a failure
[[nodiscard]] std::string openStoreFile(const std::string& file, bool create, Database& db);

/// Whether the file has no data to lose. An empty file counts as missing: a full disk leaves one of a copy, and
/// touch(1) creates one.
[[nodiscard]] bool isMissingOrEmpty(const std::string& file);

/// Opens an empty store in memory, for a file that can't be created.
[[nodiscard]] std::string openEmpty(Database& db);

/// Opens the SQLite file of a store for reading only, on a disk that can't be written. SQLite then needs the side files
/// of a killed process to read its -wal file, and none after a proper end.
[[nodiscard]] std::string openUnwritable(const std::string& file, Database& db);

/// Reads the whole file, and checks that it is undamaged and has the layout that this program knows. Writes nothing,
/// and calls mayMergeOnClose(db, false), so that closing the database doesn't write either.
[[nodiscard]] std::string checkStoreFile(sqlite3* db);

/// Sets whether closing the database may merge the -wal file into it, which writes to the file.
void mayMergeOnClose(sqlite3* db, bool on);

/// Sets the mode of the file and its side files (-wal, -shm) to 0600. A failure is logged.
void makePrivate(const std::string& file);

/// Executes SQL without results. False on failure, with the reason in the database's sqlite3_errmsg.
bool execute(sqlite3* db, const std::string& sql);
/// Prepares a statement. nullptr on failure, with the reason in the database's sqlite3_errmsg.
[[nodiscard]] Statement prepare(sqlite3* db, std::string_view sql);

}  // namespace tn
