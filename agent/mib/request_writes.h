#pragma once

#include <functional>
#include <optional>

#include "tn/message.h"

namespace snmp {

/// One request while it is being answered. What its Sets write waits until all of them have been read, and is written
/// when this ends, before the answer leaves: so a hundred Sets of one record in a datagram cost one write to the disk.
class RequestWrites {
  public:
    RequestWrites();
    ~RequestWrites();
    RequestWrites(const RequestWrites&) = delete;
    RequestWrites& operator=(const RequestWrites&) = delete;

    /// Calls `write` at the end of the request; at once when none is being answered.
    static void atEnd(std::function<void()> write);
    /// Writes what waits without waiting any longer.
    static void writeNow();
};

/// What Sets change: written once for each request, as the last of them left it.
class WriteOnce {
  public:
    /// @param write  says itself when it fails
    explicit WriteOnce(void (*write)(const tn::message&)) : write_(write) {}

    /// What waits to be written, from which the next Set of the request goes on; null when there is nothing.
    [[nodiscard]] const tn::message* waiting() const { return change_ ? &*change_ : nullptr; }
    void set(tn::message change);

  private:
    void (*write_)(const tn::message&);
    std::optional<tn::message> change_;
};

}  // namespace snmp
