#pragma once

#include <functional>
#include <optional>

#include "tn/message.h"

namespace snmp {

/// One request while it is being answered. Its Sets' writes are postponed until this is destroyed, before the reply is
/// sent: so a hundred Sets of one record in a datagram cost one write to the disk. At most one exists at a time.
class RequestWrites {
  public:
    RequestWrites();
    ~RequestWrites();
    RequestWrites(const RequestWrites&) = delete;
    RequestWrites& operator=(const RequestWrites&) = delete;

    /// Calls `write` at the end of the request, or at once when no request is being answered.
    static void atEnd(std::function<void()> write);
    /// Performs the pending writes now, in the order of their atEnd.
    static void writeNow();
};

/// A record that Sets change: written once per request, in its final state.
class WriteOnce {
  public:
    /// @param write  logs its own failure
    explicit WriteOnce(void (*write)(const tn::message&)) : write_(write) {}

    /// The pending change, which the next Set of the request builds on; null when there is none.
    [[nodiscard]] const tn::message* waiting() const { return change_ ? &*change_ : nullptr; }
    /// Makes `change` the record to write at the end of the request, in the place of one that is pending.
    void set(tn::message change);

  private:
    void (*write_)(const tn::message&);
    std::optional<tn::message> change_;
};

}  // namespace snmp
