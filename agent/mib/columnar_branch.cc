#include "agent/mib/columnar_branch.h"

#include <algorithm>

#include "agent/log.h"
#include "agent/mib/keep.h"
#include "agent/mib/objects.h"

namespace snmp {

namespace {

OID indexOf(const OID& item) { return {item.data() + std::min<size_t>(1, item.size()), item.data() + item.size()}; }

/// Writes the varbind { name, exception }. In v1, which has no exceptions, returns kNotMine.
Answer missing(Context& c, const OID& name, uint8_t exception) {
    if (c.isV1()) return kNotMine;
    c.out.startSeq(tag::Sequence);
    c.out.addOID(name, tag::ObjectIdentifier);
    c.out.addNull(exception);
    c.out.endSeq();
    return kAnswered;
}

/// Ends a varbind whose remaining rows can't be fetched: with endOfMibView, or in v1 with noSuchName.
Answer endOfView(Context& c, const OID& name) {
    if (!c.isV1()) {
        c.addEndOfMibView(name);
        c.pendingEndOfView = 0;
        return kAnswered;
    }
    c.pendingEndOfView = 0;
    c.branchStatus = ErrorStatus::NoSuchName;
    return kNotMine;
}

void logGroup(const std::vector<RequestItem>& items, const OID& prefix) {
    if (dlog.isMuted() || items.size() < 2) return;
    dlog << "grouping OIDs";
    for (const RequestItem& item : items) dlog << "oid >" << item.name << nameNote(prefix + item.name);
}

}  // namespace

ColumnarBranch* addColumnarBranch(const OID& oid, Table* table) {
    auto* branch = keep<ColumnarBranch>(table);
    addBranch(oid) = branch;
    return branch;
}

// The index is compared because the owner may return the nearest row or several rows, and because an index that
// continues after its last element decodes as well (compat: 25).
std::unique_ptr<VData> ColumnarBranch::fetchRow(const OID& index, const std::optional<WantedFields>& wanted) const {
    Key key = table_->createKey(index, /*strict=*/true);
    if (key.bad) return nullptr;
    key.wanted = wanted;
    std::unique_ptr<VData> list = table_->get(key);
    if (list == nullptr) return nullptr;
    std::erase_if(list->rows, [&](const std::unique_ptr<Data>& row) { return table_->getKey(row.get()) != index; });
    return list->rows.empty() ? nullptr : std::move(list);
}

const Data* ColumnarBranch::rowAt(Context& c, const OID& index, const std::optional<WantedFields>& wanted) const {
    Fetched::Run& run = c.fetched.at(table_, index);
    if (!run.isEnough(1, wanted)) run = {fetchRow(index, wanted), 1, wanted};
    return run.list != nullptr ? run.list->rows.front().get() : nullptr;
}

const Rows* ColumnarBranch::rowsAfter(Context& c, const OID& index, unsigned int count,
                                      const std::optional<WantedFields>& wanted) const {
    Fetched::Run& run = c.fetched.after(table_, index);
    if (!run.isEnough(count, wanted)) {
        Key key = table_->createKey(index, /*strict=*/false);
        key.skipFirst = !key.empty() && !key.relaxed;
        key.wanted = wanted;
        run = {table_->getNext(key, count), count, wanted};
        if (run.list == nullptr && c.rules->doWalksContinue) run = {searchAfter(index, count), count, {}};
    }
    return run.list != nullptr ? &run.list->rows : nullptr;
}

std::unique_ptr<VData> ColumnarBranch::searchAfter(const OID& index, unsigned int count) const {
    constexpr unsigned kFirstPart = 64;
    constexpr unsigned kMaxSearched = 65'536;  // rows
    for (unsigned part = kFirstPart;; part *= 4) {
        std::unique_ptr<VData> list = table_->getFirst(part);
        const bool isAll = list->rows.size() < part || part >= kMaxSearched;
        std::erase_if(list->rows, [&](const auto& row) { return !(index < table_->getKey(row.get())); });
        if (isAll || list->rows.size() >= count) return list;
    }
}

bool ColumnarBranch::writeRow(Context& c, const OID& prefix, Columns::const_iterator column, const Data* row) const {
    OID& name = c.branchPrefix;
    name = prefix;
    name += column->first;
    table_->addKeyToName(row, name);
    c.out.startSeq(tag::Sequence);
    c.out.addOID(name, tag::ObjectIdentifier);
    column->second.packer->pack(c, row);
    c.out.endSeq();
    --c.pendingEndOfView;
    return c.pendingEndOfView > 0 && !c.out.hasOverflowed();
}

Answer ColumnarBranch::get(Context& c) {
    const OID prefix = c.branchPrefix;
    const std::vector<RequestItem> items = c.peek(prefix);
    logGroup(items, prefix);
    const std::optional<WantedFields> wanted = wantedBy(items);
    const uint32_t position = c.bindingIndex;
    for (size_t i = 0; i < items.size() && !c.out.hasOverflowed(); ++i) {
        c.bindingIndex = position + static_cast<uint32_t>(i);
        if (getItem(c, prefix, items[i].name, wanted) == kNotMine) return kNotMine;
    }
    return kAnswered;
}

// A name of column 0 stands for the first one.
std::optional<WantedFields> ColumnarBranch::wantedBy(const std::vector<RequestItem>& items) const {
    WantedFields all;
    for (const RequestItem& item : items) {
        const auto column = columns_.lower_bound(item.name.empty() ? 0 : item.name.front());
        if (column == columns_.end()) continue;
        const std::optional<WantedFields>& wanted = column->second.wanted;
        if (!wanted) return {};
        for (const uint32_t field : *wanted)
            if (std::ranges::find(all, field) == all.end()) all.push_back(field);
    }
    std::ranges::sort(all);
    return all;
}

Answer ColumnarBranch::getItem(Context& c, const OID& prefix, const OID& item,
                               const std::optional<WantedFields>& wanted) const {
    const bool isStandard = c.rules->hasExceptions;
    const unsigned int number = item.empty() ? 0 : item.front();
    const auto column = number == 0 && !isStandard ? columns_.begin() : columns_.find(number);  // compat: 23
    const uint8_t exception = isStandard && column == columns_.end() ? tag::NoSuchObject : tag::NoSuchInstance;
    const OID index = indexOf(item);
    const Key key = table_->createKey(index, /*strict=*/true);
    if (item.size() < 2 || key.bad) {
        tn::strangersErr << (item.empty() ? "bad oid key" : "bad key");
        return missing(c, isStandard ? prefix + item : prefix, exception);  // compat: 22
    }
    if (key.empty()) tn::strangersErr << "empty key";
    if (!dlog.isMuted()) dlog << "col " << item.front() << " key " << key.objectId << nameNote(prefix + item);
    const Data* row = column != columns_.end() ? rowAt(c, index, wanted) : nullptr;
    if (row == nullptr) {
        tn::strangersErr << "bad oid or column does not exist " << std::hex << item.front() << ' '
                         << row;                      // compat: 111
        return missing(c, prefix + item, exception);  // compat: 24
    }
    c.out.startSeq(tag::Sequence);
    c.out.addOID(prefix + item, tag::ObjectIdentifier);
    column->second.packer->pack(c, row);
    c.out.endSeq();
    return kAnswered;
}

Answer ColumnarBranch::getNext(Context& c) {
    if (c.pendingEndOfView > 0) return continueHere(c);

    const OID prefix = c.branchPrefix;
    const unsigned int repetitions = std::max(c.nonRepeaters > 0 ? 1U : c.maxRepetitions, 1U);
    const std::vector<RequestItem> items = c.peek(prefix);
    logGroup(items, prefix);
    const std::optional<WantedFields> wanted = wantedBy(items);
    const uint32_t position = c.bindingIndex;
    for (size_t i = 0; i < items.size() && !c.out.hasOverflowed(); ++i) {
        c.bindingIndex = position + static_cast<uint32_t>(i);
        if (getNextItem(c, prefix, items[i].name, repetitions, wanted) == kNotMine) return kNotMine;
    }
    return kAnswered;
}

Answer ColumnarBranch::getNextItem(Context& c, const OID& prefix, const OID& item, unsigned int repetitions,
                                   const std::optional<WantedFields>& wanted) const {
    c.pendingEndOfView = repetitions;
    const unsigned int asked = item.empty() ? 0 : item.front();
    auto column = columns_.lower_bound(asked);
    if (column == columns_.end())
        return c.rules->doWalksContinue ? complete(c, prefix, item) : endOfView(c, prefix + item);  // compat: 5
    // The index belongs to the requested column. In a later one, the first row is next.
    if (const OID index = column->first == asked ? indexOf(item) : OID(); !index.empty()) {
        const Rows* rows = rowsAfter(c, index, repetitions, wanted);
        if (rows == nullptr) return endOfView(c, prefix + item);  // compat: 6
        for (const std::unique_ptr<Data>& row : *rows) {
            if (!writeRow(c, prefix, column, row.get())) return kAnswered;
        }
        if (!dlog.isMuted()) dlog << "missing rows: " << c.pendingEndOfView;
        ++column;
    }
    if (wrap(c, prefix, column)) return kAnswered;
    return complete(c, prefix, item);
}

bool ColumnarBranch::wrap(Context& c, const OID& prefix, Columns::const_iterator column) const {
    if (column == columns_.end()) return false;
    const Rows* rows = rowsAfter(c, OID(), c.pendingEndOfView, table_->wanted());  // further columns may follow
    if (rows == nullptr || rows->empty()) return false;
    for (; column != columns_.end(); ++column) {
        for (const std::unique_ptr<Data>& row : *rows) {
            if (!writeRow(c, prefix, column, row.get())) return true;
        }
    }
    return false;
}

Answer ColumnarBranch::complete(Context& c, const OID& prefix, const OID& item) const {
    if (!dlog.isMuted()) dlog << "completion " << c.pendingEndOfView;
    c.branchPrefix = prefix;
    if (getNextCompletion(c) == kNotMine) return kNotMine;
    if (c.pendingEndOfView == 0 || c.out.hasOverflowed()) return kAnswered;
    tn::strangersErr << "end of mib";
    return endOfView(c, prefix + item);
}

Answer ColumnarBranch::continueHere(Context& c) const {
    const OID prefix = c.branchPrefix;
    if (!dlog.isMuted()) dlog << "finishing " << c.pendingEndOfView << " with oid: " << prefix;
    if (wrap(c, prefix, columns_.begin())) return kAnswered;
    c.branchPrefix = prefix;
    return getNextCompletion(c);
}

ErrorStatus ColumnarBranch::check(Context& c) {
    const auto column = c.setSuffix.empty() ? columns_.end() : columns_.find(c.setSuffix.front());
    if (column == columns_.end()) return ErrorStatus::NoCreation;
    const Packer& packer = *column->second.packer;
    const ErrorStatus status = packer.checkObject(c.setPrefix + column->first, c);
    if (status != ErrorStatus::NoError) return status;
    const OID index = indexOf(c.setSuffix);
    const std::unique_ptr<VData> list = index.empty() ? nullptr : fetchRow(index, {});
    return list != nullptr ? packer.checkValue(list->rows.front().get(), c) : ErrorStatus::NoCreation;
}

Answer ColumnarBranch::set(Context& c) {
    if (c.setSuffix.size() < 2) return kNotMine;
    const auto column = columns_.find(c.setSuffix.front());
    if (column == columns_.end()) return kNotMine;
    const OID index = indexOf(c.setSuffix);
    const std::unique_ptr<VData> list = fetchRow(index, {});
    if (list == nullptr) return kNotMine;
    Data* row = list->rows.front().get();
    // Both may fail, and the Set succeeds all the same (compat: 27, 28). pack() then writes the value in `row`.
    column->second.packer->take(row, c);
    if (!table_->set(index, row) && c.rules->areRefusalsReported) {
        c.branchStatus = ErrorStatus::CommitFailed;
        return kNotMine;
    }
    c.out.startSeq(tag::Sequence);
    c.out.addOID(c.setPrefix + c.setSuffix, tag::ObjectIdentifier);
    column->second.packer->pack(c, row);
    c.out.endSeq();
    return kAnswered;
}

void ColumnarBranch::addFetches(const std::vector<RequestItem>& items, Fetches& fetches) const {
    const std::optional<WantedFields> wanted = wantedBy(items);
    for (const RequestItem& item : items) {
        if (item.name.size() != 2 || !columns_.contains(item.name.front())) continue;
        Key key;
        key.index = indexOf(item.name);
        key.objectId = key.index.front();
        key.wanted = wanted;
        const tn::message request = table_->request(key);
        if (!request.empty()) fetches.add(table_, request);
    }
}

}  // namespace snmp
