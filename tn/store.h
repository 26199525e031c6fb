#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tn/message.h"

namespace tn {

/// A file of messages keyed by a 32-bit id, kept in SQLite. A set or remove that returned true survives a killed
/// process and a pulled plug (WAL, synchronous=FULL).
///
/// A file that is corrupt, not ours or unreadable, when it is opened or later, is reported with one line on standard
/// error and not written from then on: the store is then empty and every change fails with a text that says so. So a
/// caller never mistakes an unreadable file for a missing one and overwrites it with defaults.
///
/// For one thread at a time. Another process that writes to the same file is waited for, a second at most.
class Store {
  public:
    /// Opens the store and reads all of it, which proves it undamaged.
    /// @param path   a platform path ("/tern/store/snmpd"), looked for under root(); its folder is made when missing
    /// @param flags  bit 0: create the file when it is missing; bit 2: write through, without which a pulled plug may
    ///               lose the latest changes
    explicit Store(const std::string& path, unsigned flags = 5);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    /// Whether there is a message with this id.
    [[nodiscard]] bool find(uint32_t id) const;
    /// The message with this id; empty when there is none.
    [[nodiscard]] message get(uint32_t id) const;
    /// All ids, ascending.
    [[nodiscard]] std::vector<uint32_t> ids() const;
    /// Writes a message, in place of the one with this id. False, the old one unchanged, when that fails: lastError()
    /// says why.
    [[nodiscard]] bool set(uint32_t id, const message& m);
    /// Removes the message with this id; succeeds when there is none. False as set.
    [[nodiscard]] bool remove(uint32_t id);
    /// Why the last set or remove failed: one line for an error reply. Empty before the first failure.
    [[nodiscard]] const std::string& lastError() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tn
