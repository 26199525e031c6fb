#include "agent/mib/table.h"

#include <algorithm>
#include <span>

#include "agent/log.h"

namespace snmp {

namespace {

constexpr size_t kMaxOctets = 16;  // of the longest address as an index

/// For an index with a number above 255: the octets before that number, then octets of 255. No row that begins with the
/// same octets is greater, so a walk continues after them instead of at the table's start. Empty for any other index.
OID lastBefore(std::span<const unsigned int> index) {
    const auto above = std::ranges::find_if(index, [](unsigned int id) { return id > 255; });
    OID octets;
    if (above == index.end()) return octets;
    octets.assign(index.begin(), above);
    octets.resize(std::max(octets.size(), kMaxOctets), 255);
    return octets;
}

}  // namespace

OID Table::getKey(const Data* row) const {
    OID key;
    addKeyToName(row, key);
    return key;
}

bool MapTable::hasStdKey() const {
    if (indexes_.empty()) swarn << "map table without index";
    return indexes_.size() == 1 && indexes_.front().second == tn::field::ObjectId.number && !noStdKey_;
}

void Table::addWanted(const std::optional<WantedFields>& fields) {
    if (!wanted_ || !fields) {
        wanted_.reset();
        return;
    }
    wanted_->insert(wanted_->end(), fields->begin(), fields->end());
    std::ranges::sort(*wanted_);
    wanted_->erase(std::unique(wanted_->begin(), wanted_->end()), wanted_->end());
}

std::unique_ptr<VData> MapTable::getNext(const Key& key, unsigned int count) {
    // The greatest possible id means "no id" (tn::kNoId), so its key is empty. No row follows it.
    if (key.empty() && !key.index.empty()) return std::make_unique<VData>();
    return provider_->getData(key, this, count);
}

unsigned int MapTable::count() {
    unsigned int n = 0;
    return provider_->getCountCMD(n) ? n : 0;
}

void MapTable::addKeyToName(const Data* row, OID& name) const {
    for (const auto& [packer, fieldId] : indexes_) packer->addKeyToName(row, name);
}

bool MapTable::addKeyToMessage(const OID& index, tn::message& m) const {  // compat: 25
    OID rest = index;
    for (const auto& [packer, fieldId] : indexes_) {
        const size_t left = rest.size();
        if (packer->addKeyToMessage(rest, m, fieldId)) continue;
        tn::strangersOut << "incomplete key";
        OID nearest = lastBefore(std::span(index).last(left));
        if (!nearest.empty()) (void)packer->addKeyToMessage(nearest, m, fieldId);
        return false;
    }
    return true;
}

void MapTable::addKeyToMessage(const Data* row, tn::message& m) const {
    m.clear();
    for (const auto& [packer, fieldId] : indexes_) packer->addKeyToMessage(row, m, fieldId);
}

Key MapTable::createKey(const OID& index, bool strict) const {
    Key key;
    if (index.empty()) return key;
    key.index = index;
    if (hasStdKey()) {
        key.objectId = index.front();
        return key;
    }
    if (addKeyToMessage(index, key.message)) return key;
    if (strict) {
        key.bad = true;
        return key;
    }
    tn::strangersOut << "relaxed key";
    key.relaxed = true;
    key.message.insert_bool(tn::field::KeyIncomplete, true);
    return key;
}

Key StaticMuxTable::createKey(const OID& index, bool) const {
    Key key;
    key.index = index;
    if (!index.empty()) key.objectId = index.front();
    return key;
}

std::unique_ptr<VData> StaticMuxTable::get(const Key& key) {
    const auto at = providers_.find(OID(key.objectId));
    if (at == providers_.end()) return nullptr;
    return rowsFrom(at, std::next(at), 1);
}

std::unique_ptr<VData> StaticMuxTable::getNext(const Key& key, unsigned int count) {
    const auto from = key.index.empty() ? providers_.begin() : providers_.upper_bound(OID(key.objectId));
    return rowsFrom(from, providers_.end(), count);
}

std::unique_ptr<VData> StaticMuxTable::getFirst(unsigned int count) {
    return rowsFrom(providers_.begin(), providers_.end(), count);
}

bool StaticMuxTable::set(const OID& index, Data* row) {
    const auto at = providers_.find(index);
    return at != providers_.end() && at->second->set(row);
}

std::unique_ptr<VData> StaticMuxTable::rowsFrom(Providers::const_iterator at, Providers::const_iterator end,
                                                unsigned int count) {
    auto list = std::make_unique<VData>();
    for (; at != end && list->rows.size() < count; ++at) {
        std::unique_ptr<Data> row = at->second->get();
        if (row == nullptr) continue;
        static_cast<MuxRow&>(*row).rowId = at->first.front();
        list->rows.push_back(std::move(row));
    }
    return list;
}

}  // namespace snmp
