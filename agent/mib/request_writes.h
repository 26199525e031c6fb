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
    ~RequestWrites();  ///< performs the pending writes; the reply is built already and can't report a failure
    RequestWrites(const RequestWrites&) = delete;
    RequestWrites& operator=(const RequestWrites&) = delete;

    /// Calls `write` at the end of the request, or at once if no request is being answered.
    /// @param write  returns false if it fails, after logging the reason
    static void atEnd(std::function<bool()> write);
    /// Performs the pending writes now, in the order of their atEnd() calls. False if one of them fails.
    static bool writeNow();
};

/// A record that Sets change. It is written once per request, in its final state. It must outlive the request.
class WriteOnce {
  public:
    /// @param write  writes the record. If that fails, logs the reason and returns false
    explicit WriteOnce(bool (*write)(const tn::message&)) : write_(write) {}

    /// The change that isn't written yet, on which the next Set of the request is based; null if there is none. Valid
    /// until the next set() or the end of the request.
    [[nodiscard]] const tn::message* waiting() const { return change_ ? &*change_ : nullptr; }
    /// Writes `change` at the end of the request. It replaces a change that isn't written yet.
    void set(tn::message change);

  private:
    bool (*write_)(const tn::message&);
    std::optional<tn::message> change_;  ///< the change that isn't written yet
};

}  // namespace snmp
