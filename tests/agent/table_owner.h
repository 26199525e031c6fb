#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tn/handler.h"

namespace snmp {

/// An owner of a table, in the process of the test: answers get-all as owners do, from rows that the test puts in and
/// takes out. Rows are keyed by id; keyed by content when `keyFields` names the fields of the key, in order. Asked by
/// the first of these fields alone, rows that agree in them count as one.
class TableOwner : public tn::Handler {
  public:
    tn::message handle(const tn::message& request, uint32_t rights) override;

    /// Adds or replaces the row of this id.
    tn::message& row(uint32_t id);
    void loses(uint32_t id) { rows.erase(id); }

    std::map<uint32_t, tn::message> rows;
    using KeyField = std::variant<tn::u32_id, tn::be32_id, tn::raw_id>;
    std::vector<KeyField> keyFields = {tn::field::ObjectId};
    size_t pageSize = 1000;  ///< items of one reply at most
    std::vector<tn::message> requests;
    bool remembers = true;  ///< a fuzzer never stops asking
    unsigned fetches = 0;
    /// Put in the place of the true answer when set, to answer nonsense.
    std::function<tn::message(const tn::message&)> lies;

  private:
    using RowKey = std::vector<std::string>;  ///< the octets of each field of the key
    using Ordered = std::vector<std::pair<RowKey, const tn::message*>>;
    tn::message getAll(const tn::message& request) const;
    [[nodiscard]] RowKey keyOf(const tn::message& m) const;
    [[nodiscard]] RowKey askedKey(const tn::message& key, const Ordered& ordered) const;
};

}  // namespace snmp
