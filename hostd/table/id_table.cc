#include "hostd/table/id_table.h"

namespace hostd {

tn::message IdTable::setRow(uint32_t id, const tn::message& request) { return OwnerTable::changeRow(id, request); }

void IdTable::refreshRows(std::span<const Row> rows) { refreshIds(std::vector<uint32_t>(rows.begin(), rows.end())); }

IdTable::Row IdTable::rowFrom(uint32_t id) const {
    const auto found = firstFrom(id);
    return found ? *found : kEnd;
}

}  // namespace hostd
