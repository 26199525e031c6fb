#include "agent/mib/scalar_leaf.h"

#include <algorithm>

namespace snmp {

bool ScalarLeaf::fetch(Context& c, const Data*& record) const {
    if (provider_ == nullptr) return true;
    record = c.fetched.record(*provider_);
    return record != nullptr;
}

void ScalarLeaf::writeInstance(Context& c, const Data* record) const {
    c.branchPrefix.push_back(ZERO_OID.front());
    c.out.startSeq(tag::Sequence);
    {
        c.out.addOID(c.branchPrefix, tag::ObjectIdentifier);
        packer_->pack(c, record);
    }
    c.out.endSeq();
    c.branchPrefix.pop_back();
}

Answer ScalarLeaf::passOn(Context& c) {
    if (c.pendingEndOfView == 0) return kAnswered;
    const OID prefix = c.branchPrefix;
    const Answer answer = getNextCompletion(c);
    if (answer != kNotMine) c.addEndOfMibView(prefix);  // compat: 4
    return answer;
}

Answer ScalarLeaf::get(Context& c) {
    const Data* record = nullptr;
    if (c.oid != ZERO_OID || !fetch(c, record)) return kNotMine;
    writeInstance(c, record);
    return kAnswered;
}

Answer ScalarLeaf::getNext(Context& c) {
    if (!c.oid.empty()) return kNotMine;

    const bool continuing = c.pendingEndOfView > 0;
    const Data* record = nullptr;
    const bool isThere = fetch(c, record);
    // v1 has no endOfMibView: let the caller search the following branches for the next object.
    if (!isThere && !continuing && c.isV1()) return kNotMine;
    if (!continuing) {
        c.pendingEndOfView = 1;
        if (c.isBulk() && c.nonRepeaters == 0) c.pendingEndOfView = c.maxRepetitions;
        if (c.nonRepeaters > 0) --c.nonRepeaters;
    }
    if (!isThere) return passOn(c);
    writeInstance(c, record);
    --c.pendingEndOfView;
    // Only the scalar in which the walk began turns the remaining repetitions into endOfMibView, under its own name.
    return continuing ? getNextCompletion(c) : passOn(c);
}

ErrorStatus ScalarLeaf::check(Context& c) {
    if (c.setSuffix != ZERO_OID) return ErrorStatus::NoCreation;  // compat: 31
    if (provider_ == nullptr) return ErrorStatus::NotWritable;
    const ErrorStatus status = packer_->checkObject(c.setPrefix, c);
    if (status != ErrorStatus::NoError) return status;
    const std::unique_ptr<Data> record = provider_->get();
    return record != nullptr ? packer_->checkValue(record.get(), c) : ErrorStatus::NoCreation;
}

Answer ScalarLeaf::set(Context& c) {
    if (provider_ == nullptr) return kNotMine;  // compat: 29
    const std::unique_ptr<Data> record = provider_->get();
    if (record == nullptr) return kNotMine;
    // Both may fail, and the Set succeeds all the same (compat: 27). pack() then writes the value in `record`.
    packer_->take(record.get(), c);
    if (!provider_->set(record.get()) && c.rules->areRefusalsReported) {
        c.branchStatus = ErrorStatus::CommitFailed;
        return kNotMine;
    }
    c.out.startSeq(tag::Sequence);
    {
        c.out.addOID(c.oid, tag::ObjectIdentifier);
        packer_->pack(c, record.get());
    }
    c.out.endSeq();
    return kAnswered;
}

void ScalarLeaf::addFetches(const std::vector<RequestItem>& items, Fetches& fetches) const {
    const tn::message* request = provider_ != nullptr ? provider_->request() : nullptr;
    if (request != nullptr && std::ranges::find(items, ZERO_OID, &RequestItem::name) != items.end())
        fetches.add(provider_, *request);
}

}  // namespace snmp
