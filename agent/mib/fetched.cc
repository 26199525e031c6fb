#include "agent/mib/fetched.h"

#include <algorithm>

#include "agent/mib/providers/data_provider.h"

namespace snmp {

bool Fetched::Run::isEnough(unsigned count, const std::optional<WantedFields>& fields) const {
    if (requested == 0) return false;
    if (list == nullptr) return true;
    const bool hasRows = list->rows.size() >= count || list->rows.size() < requested;
    return hasRows && (!wanted || (fields && std::ranges::includes(*wanted, *fields)));
}

const Data* Fetched::record(DataProvider& provider) {
    const auto [at, isNew] = records_.try_emplace(&provider);
    if (isNew) at->second = provider.get();
    return at->second.get();
}

void Fetched::drop() {
    records_.clear();
    at_.clear();
    after_.clear();
}

}  // namespace snmp
