#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tn/message.h"

namespace tn {

/// A SQLite file of messages, keyed by 32-bit ids. A set or remove that returned true survives the death of the process
/// and a power failure (WAL, synchronous=FULL).
///
/// A file that is corrupt, unreadable or another program's, when it is opened or later, disables the store: that is
/// reported in one line on standard error, the store is empty, every change fails, and the file is never written again.
/// A caller that fills a missing file with defaults therefore can't overwrite an unreadable one.
///
/// A file that is complete, but can't be written when it is opened (full disk, read-only file system), is read; every
/// change tries to open it again, and fails if that fails. The same holds for a missing file that can't be created; if
/// somebody else creates it, all changes fail. A failure to write affects only the change.
///
/// For one thread at a time. If another process is writing to the file, operations wait, at most 1 s. A read that has
/// waited in vain disables the store; a change fails.
class Store {
  public:
    /// Opens the store and reads all of it, which proves it undamaged.
    /// @param path   platform path ("/tern/store/snmpd")
    /// @param flags  bit 0: create a missing file, and its folder; bit 2: write through, without which a power failure
    ///               may lose the latest changes
    explicit Store(const std::string& path, unsigned flags = 5);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Whether there is a message with this id.
    [[nodiscard]] bool find(uint32_t id) const;
    /// The message with this id; empty if there is none.
    [[nodiscard]] message get(uint32_t id) const;
    /// All ids, ascending.
    [[nodiscard]] std::vector<uint32_t> ids() const;
    /// Stores a message, in place of the one with this id. False on failure: the old one is unchanged, and lastError()
    /// has the reason.
    [[nodiscard]] bool set(uint32_t id, const message& m);
    /// Stores a message that an empty store begins with: if it can't be written now, before the next change. False if
    /// the store can't be read.
    [[nodiscard]] bool seed(uint32_t id, const message& m);
    /// Removes the message with this id; succeeds if there is none. False on failure, as for set.
    [[nodiscard]] bool remove(uint32_t id);
    /// Stores and removes several messages in one transaction: all or none, also if the process dies meanwhile. False
    /// on failure, as for set.
    [[nodiscard]] bool change(const std::map<uint32_t, message>& stored, const std::vector<uint32_t>& removed);
    /// From now on, a failed read disables the store for kReadAgain only. For callers that don't take what they can't
    /// read for missing later than that.
    void recoversFromReads();
    static constexpr std::chrono::seconds kReadAgain{10};  ///< longer than a request takes that reads before it writes
    /// The reason of the last failure, one line for an error reply. Empty until the first failure.
    [[nodiscard]] const std::string& lastError() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tn
