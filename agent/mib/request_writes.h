#pragma once

#include <functional>
#include <optional>

#include "tn/message.h"

namespace snmp {

/// Exists while a request is answered, and postpones the writes of its Sets until it is destroyed, before the reply is
/// sent. So a hundred Sets of one record in a datagram cost one write to the disk. There must be only one at a time.
class RequestWrites {
  public:
    RequestWrites();
    ~RequestWrites();  ///< performs the pending writes
    RequestWrites(const RequestWrites&) = delete;
    RequestWrites& operator=(const RequestWrites&) = delete;

    /// Calls `write` at the end of the request, or at once if no request is being answered.
    /// @param write  logs its own failure: the reply, which is built already, can't report it
    static void atEnd(std::function<void()> write);
    /// Performs the pending writes now, in the order of their atEnd() calls.
    static void writeNow();
};

/// A record that Sets change. It is written once per request, in its final state. It must outlive the request.
class WriteOnce {
  public:
    /// @param write  writes the record; logs its own failure
    explicit WriteOnce(void (*write)(const tn::message&)) : write_(write) {}

    /// The change that isn't written yet, on which the next Set of the request is based; null if there is none. Valid
    /// until the next set() or the end of the request.
    [[nodiscard]] const tn::message* waiting() const { return change_ ? &*change_ : nullptr; }
    /// Writes `change` at the end of the request. It replaces a change that isn't written yet.
    void set(tn::message change);

  private:
    void (*write_)(const tn::message&);
    std::optional<tn::message> change_;  ///< the change that isn't written yet
};

}  // namespace snmp
