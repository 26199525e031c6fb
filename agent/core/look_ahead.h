#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "agent/ber/in_stream.h"
#include "agent/ber/view.h"
#include "agent/mib/context.h"
#include "agent/mib/fetches.h"
#include "tn/address.h"

namespace snmp {

/// Looks through requests for what they will fetch from owners, so that all of it is requested in one round trip. Only
/// Gets are looked through: what other requests fetch isn't known beforehand. Nothing is looked through from a request
/// on that may change something. Logs nothing and counts nothing: the requests are served afterwards.
class LookAhead {
  public:
    /// Adds the fetches of the request that is being served. False if it may change something.
    [[nodiscard]] bool add(Context& serving);
    /// Adds the fetches of a datagram that waits, unless it will be refused. False if it may change something: a Set,
    /// and SNMPv3, whose PDU may be encrypted.
    [[nodiscard]] bool add(std::span<const uint8_t> datagram, const tn::IPAddr6& source);
    /// The fetches added so far. None remain, nor does the memory of a large request.
    [[nodiscard]] std::vector<tn::message> take();

  private:
    /// Adds the fetches of the varbinds from the cursor on, as far as they can be read.
    void addBindings(const View* view);
    /// Reads the name of the next varbind. False if there is none, or none that can be read.
    bool readName();

    InStream in_{{}};
    OID name_;  ///< read last
    Fetches fetches_;
};

}  // namespace snmp
