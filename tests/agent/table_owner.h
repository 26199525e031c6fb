#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tn/handler.h"

namespace snmp {

/// An owner of a table, in the process of the test: answers get-all as owners do, from rows that the test puts in and
/// takes out. Rows are keyed by id; keyed by content when `keyFields` names the fields of the key, in order.
class TableOwner : public tn::Handler {
  public:
    tn::message handle(const tn::message& request, uint32_t rights) override;

    /// Adds or replaces the row of this id.
    tn::message& row(uint32_t id);
    void loses(uint32_t id) { rows.erase(id); }

    std::map<uint32_t, tn::message> rows;
    std::vector<tn::be32_id> keyFields;  ///< empty for a table keyed by id
    size_t pageSize = 1000;              ///< items of one reply at most
    std::vector<tn::message> requests;
    bool remembers = true;  ///< a fuzzer never stops asking
    unsigned fetches = 0;
    /// Put in the place of the true answer when set, to answer nonsense.
    std::function<tn::message(const tn::message&)> lies;

  private:
    tn::message getAll(const tn::message& request) const;
    [[nodiscard]] std::vector<uint32_t> keyOf(const tn::message& m) const;
};

}  // namespace snmp
