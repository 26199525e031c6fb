#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tn/handler.h"

namespace snmp {

/// An owner of a table in the test's process. It answers get-all as owners do, from rows that the test adds and
/// removes. Rows are keyed by id, or by the fields in `keyFields`. In a request with only the first fields of the key,
/// rows that agree in these count as one.
class TableOwner : public tn::Handler {
  public:
    tn::message handle(const tn::message& request, uint32_t rights) override;

    /// The row with this id, added if there is none.
    tn::message& row(uint32_t id);
    void loses(uint32_t id) { rows.erase(id); }

    std::map<uint32_t, tn::message> rows;
    using KeyField = std::variant<tn::u32_id, tn::be32_id, tn::raw_id>;
    std::vector<KeyField> keyFields = {tn::field::ObjectId};
    size_t pageSize = 1000;             ///< maximum number of items in a reply
    bool leavesOutUnwanted = false;     ///< sends only the fields in tn::field::Fields
    std::vector<tn::message> requests;  ///< all requests, if `remembers`
    bool remembers = true;              ///< false for fuzzers, whose requests would fill the memory
    unsigned fetches = 0;               ///< number of get-all requests
    /// Replaces the reply to get-all if it is set, for invalid replies.
    std::function<tn::message(const tn::message&)> lies;

  private:
    using RowKey = std::vector<std::string>;  ///< octets of each key field
    using Ordered = std::vector<std::pair<RowKey, const tn::message*>>;
    tn::message getAll(const tn::message& request) const;
    [[nodiscard]] RowKey keyOf(const tn::message& m) const;
    [[nodiscard]] RowKey askedKey(const tn::message& key, const Ordered& ordered) const;
};

}  // namespace snmp
