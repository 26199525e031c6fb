#include "agent/mib/providers/get_all_multi_provider.h"

#include <algorithm>

namespace snmp {

void GetAllMultiProvider::addSource(GetAllProvider::BuildRows build, std::span<const uint32_t> path,
                                    uint32_t objectClass, uint32_t base) {
    insert({base, nullptr, nullptr, {{path.begin(), path.end()}, build, objectClass}});
}

void GetAllMultiProvider::addSource(RowsFunction function, uint32_t base, WriteFunction write) {
    insert({base, function, write, {}});
}

std::string GetAllMultiProvider::source() const {
    std::string all;
    for (const MultiSource& source : sources_)
        all += (all.empty() ? "" : ", ") + (source.function != nullptr ? "the agent" : pathText(source.source.path));
    return all;
}

void GetAllMultiProvider::insert(MultiSource source) {
    const auto at = std::find_if(sources_.begin(), sources_.end(),
                                 [&](const MultiSource& other) { return other.base > source.base; });
    sources_.insert(at, std::move(source));
}

size_t GetAllMultiProvider::sourceOf(uint32_t id) const {
    size_t i = sources_.size();
    while (i > 0 && sources_[i - 1].base > id) --i;
    return i > 0 ? i - 1 : sources_.size();
}

bool GetAllMultiProvider::fetch(size_t source, const Key& key, const MapTable* table, unsigned int count,
                                VData& out) const {
    const MultiSource& s = sources_[source];
    const size_t from = out.rows.size();
    if (s.function != nullptr) {
        s.function(out.rows);
    } else if (!GetAllProvider::getData(key.removeNamespace(s.base), table, s.source, count, out)) {
        return false;
    }
    keepOwn(source, key, table, from, count, out.rows);
    return true;
}

void GetAllMultiProvider::keepOwn(size_t source, const Key& key, const MapTable* table, size_t from, unsigned int count,
                                  Rows& rows) const {
    const OID end = source + 1 < sources_.size() ? OID(sources_[source + 1].base) : OID();
    const auto unwanted = [&](const std::unique_ptr<Data>& row) {
        const OID index = table->getKey(row.get());
        if (index < OID(sources_[source].base) || (!end.empty() && !(index < end))) return true;
        if (count == 0) return index != key.index;
        return !key.index.empty() && !(key.index < index);
    };
    rows.erase(std::remove_if(rows.begin() + static_cast<std::ptrdiff_t>(from), rows.end(), unwanted), rows.end());
    rows.resize(std::min(rows.size(), from + std::max(count, 1U)));
}

std::unique_ptr<VData> GetAllMultiProvider::getData(const Key& key, const MapTable* table, unsigned int count) {
    auto out = std::make_unique<VData>();
    const size_t owner = key.empty() ? 0 : sourceOf(key.objectId);
    if (count == 0) {
        if (owner == sources_.size() || !fetch(owner, key, table, 0, *out)) return nullptr;
        return out;
    }
    // An id below all ranges is a position before the first row.
    size_t source = owner == sources_.size() ? 0 : owner;
    if (owner != sources_.size() && !key.empty()) fetch(source++, key, table, count, *out);
    for (; source < sources_.size() && out->rows.size() < count; ++source)
        fetch(source, Key(), table, count - static_cast<unsigned>(out->rows.size()), *out);
    return out;
}

std::unique_ptr<VData> GetAllMultiProvider::getFirst(unsigned int count, const MapTable* table) {
    return getData(Key(), table, count);
}

bool GetAllMultiProvider::getCountCMD(unsigned int& n) {
    n = 0;
    bool any = false;
    for (const MultiSource& s : sources_) {
        unsigned int own = 0;
        Rows rows;
        if (s.function != nullptr) {
            s.function(rows);
            own = static_cast<unsigned int>(rows.size());
        } else if (!GetAllProvider::getCount(s.source, own)) {
            continue;
        }
        n += own;
        any = true;
    }
    return any;
}

bool GetAllMultiProvider::setData(Data* row, const MapTable* table) {
    const size_t owner = sourceOf(table->getKey(row).front());
    if (owner == sources_.size()) return false;
    const MultiSource& s = sources_[owner];
    if (s.function != nullptr) return s.write != nullptr && s.write(*row);
    return GetAllProvider::setData(row, table, s.source, s.base);
}

}  // namespace snmp
