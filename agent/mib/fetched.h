#pragma once

#include <map>
#include <memory>
#include <optional>
#include <utility>

#include "agent/ber/oid.h"
#include "agent/mib/data.h"
#include "agent/mib/key.h"

namespace snmp {

class DataProvider;
class Table;

/// What was fetched for one request. A record is fetched once and serves every varbind that needs it: fifty names of
/// one record cost one exchange, and their values are of the same moment. The same holds for a run of rows, unless a
/// later varbind needs more rows or other fields. A Set fetches anew, and nothing outlives the request.
class Fetched {
  public:
    /// Rows from one position on.
    struct Run {
        std::unique_ptr<VData> list;         ///< null if the owner doesn't know the position
        unsigned requested = 0;              ///< rows requested from the owner; 0 before the first fetch
        std::optional<WantedFields> wanted;  ///< fields requested; all if absent
        /// Whether this serves a request for `count` rows with these fields. The list must have these fields, and
        /// either that many rows or all that there are. True for a position that the owner doesn't know.
        [[nodiscard]] bool isEnough(unsigned count, const std::optional<WantedFields>& fields) const;
    };

    /// The provider's record; null if it has none. Valid until drop().
    const Data* record(DataProvider& provider);
    /// The rows at exactly this index, and the rows after it. Not fetched here: the caller fetches and stores them if
    /// the run isn't enough. Valid until drop().
    Run& at(const Table* table, const OID& index) { return at_[{table, index}]; }
    Run& after(const Table* table, const OID& index) { return after_[{table, index}]; }

    void drop();

  private:
    using Runs = std::map<std::pair<const Table*, OID>, Run>;

    std::map<const DataProvider*, std::unique_ptr<Data>> records_;
    Runs at_, after_;
};

}  // namespace snmp
