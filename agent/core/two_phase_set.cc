#include "agent/core/two_phase_set.h"

#include "agent/core/operations.h"
#include "agent/mib/request_writes.h"

namespace snmp {

namespace {

/// Applies an operation to the varbinds from the cursor on, up to the first that fails.
ErrorStatus forEachBinding(Context& c, ErrorStatus (*operation)(Context&)) {
    while (!c.in.isSeqEnd()) {
        if (!c.processSeqStart()) return ErrorStatus::Critical;
        const ErrorStatus status = operation(c);
        if (status != ErrorStatus::NoError) return status;
        c.processSeqEnd();
    }
    return ErrorStatus::NoError;
}

/// The varbinds { name, current value } of the request's names: the Set that takes the request back.
std::vector<uint8_t> currentValues(Context& c) {
    c.in.restoreSeq(c.firstBinding);
    Context get(c, pdu::GetRequest);
    get.in.read(c.in.restOfSeq());
    (void)forEachBinding(get, snmpGet);
    return {get.out.bytes().begin(), get.out.bytes().end()};
}

/// Whether the value at the cursor can be set: it isn't one that can't be read.
bool hasValue(const Context& c) {
    const uint8_t tag = c.in.getType();
    return !c.in.isSeqEnd() && tag != tag::NoSuchObject && tag != tag::NoSuchInstance;
}

/// Sets the first `count` of these varbinds. False if one of them isn't there or can't be set.
bool restore(const Context& c, std::span<const uint8_t> values, uint32_t count) {
    Context set(c, pdu::SetRequest);
    set.in.read(values);
    bool isRestored = true;
    for (; count > 0; --count) {
        if (set.in.isSeqEnd() || !set.processSeqStart()) return false;
        isRestored = hasValue(set) && snmpSet(set) == ErrorStatus::NoError && isRestored;
        set.processSeqEnd();
    }
    return RequestWrites::writeNow() && isRestored;
}

/// Sets all varbinds.
/// @param done  receives the number of those that are set
ErrorStatus setAll(Context& c, uint32_t& done) {
    c.in.restoreSeq(c.firstBinding);
    c.bindingIndex = 0;
    const ErrorStatus status = forEachBinding(c, snmpSet);
    done = c.bindingIndex;
    if (status != ErrorStatus::NoError) {
        --done;
        // A plug-in's branch that doesn't check finds out only now that it hasn't the object.
        return status == ErrorStatus::NoSuchName ? ErrorStatus::NoCreation : status;
    }
    if (!RequestWrites::writeNow()) return ErrorStatus::CommitFailed;
    return c.out.hasOverflowed() ? ErrorStatus::TooBig : ErrorStatus::NoError;
}

}  // namespace

ErrorStatus answerSet(Context& c) {
    const ErrorStatus checked = forEachBinding(c, snmpCheckSet);
    if (checked != ErrorStatus::NoError) return checked;
    const std::vector<uint8_t> old = currentValues(c);
    uint32_t done = 0;
    const ErrorStatus status = setAll(c, done);
    if (status == ErrorStatus::NoError || restore(c, old, done)) return status;
    c.bindingIndex = 0;
    return ErrorStatus::UndoFailed;
}

}  // namespace snmp
