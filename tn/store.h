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
class Store {
  public:
    /// @param path   a platform path ("/tern/store/snmpd"), looked for under root(); its folder is made when missing
    /// @param flags  bit 0 create when missing, bit 2 write through; 5 is what everybody passes
    explicit Store(const std::string& path, unsigned flags = 5);
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    [[nodiscard]] bool find(uint32_t id) const;
    [[nodiscard]] message get(uint32_t id) const;     ///< empty when it isn't there
    [[nodiscard]] std::vector<uint32_t> ids() const;  ///< ascending
    [[nodiscard]] bool set(uint32_t id, const message& m);
    [[nodiscard]] bool remove(uint32_t id);
    /// Why the last set or remove failed: one line for an error reply.
    [[nodiscard]] const std::string& lastError() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tn
