#include "agent/core/create_reply.h"

#include <algorithm>

#include "agent/core/operations.h"
#include "agent/core/snmp_looper.h"
#include "agent/core/two_phase_set.h"
#include "agent/core/v3_reply.h"
#include "agent/core/walks.h"
#include "agent/log.h"
#include "agent/status/statistics.h"

namespace snmp {

namespace {

using AnswerFunction = ErrorStatus (*)(Context&);

struct Operation {
    uint8_t pdu;
    AnswerFunction answer;       ///< answers the current varbind
    AnswerFunction answerAll;    ///< answers all of them (Rules::isListAnsweredAtOnce); null if `answer` always does
    bool Item::*access;          ///< the access right that the community or user needs
    ErrorStatus denied;          ///< the error without that right (compat: 17)
    ErrorStatus standardDenied;  ///< the same with Rules::isListAnsweredAtOnce
    Counter counter;             ///< counts these requests,
    Counter refusal;             ///< and those denied
};

constexpr Operation kOperations[] = {
    {pdu::GetRequest, snmpGet, nullptr, &Item::readAccess, ErrorStatus::NoSuchName, ErrorStatus::AuthErr, Counter::Get,
     Counter::NoReadAccess},
    {pdu::GetNextRequest, snmpGetNextGetBulk, answerNext, &Item::readAccess, ErrorStatus::NoSuchName,
     ErrorStatus::AuthErr, Counter::GetNext, Counter::NoReadAccess},
    {pdu::GetBulkRequest, snmpGetNextGetBulk, answerBulk, &Item::readAccess, ErrorStatus::NoSuchName,
     ErrorStatus::AuthErr, Counter::GetBulk, Counter::NoReadAccess},
    {pdu::SetRequest, snmpSet, answerSet, &Item::writeAccess, ErrorStatus::ReadOnly, ErrorStatus::NoAccess,
     Counter::Set, Counter::NoWriteAccess},
};

/// State of the request that only this file needs.
struct Request {
    const Item* entry = nullptr;  ///< access entry of the community or user
    uint32_t id = 0;
    uint32_t repetitions = 0;  ///< GetBulk's max-repetitions; 0 once the repeating varbinds have begun
    size_t replyBindings = 0;  ///< position of the first varbind in the reply
};

const Operation* operationOf(uint8_t pduType) {
    const auto* operation = std::ranges::find(std::begin(kOperations), std::end(kOperations), pduType, &Operation::pdu);
    return operation != std::end(kOperations) ? operation : nullptr;
}

bool drop(Context& c, Counter cause, const tn::lstream& log, std::string_view why) {
    c.refuse(cause);
    log << why;
    return false;
}

Counter versionCounter(uint32_t version) {
    constexpr Counter kOfVersion[] = {Counter::V1, Counter::V2c, Counter::V2c, Counter::V3};
    return version <= kVersion3 ? kOfVersion[version] : Counter::None;
}

bool copyVersion(Context& c, const IPAddr6& source) {
    const int version = c.in.getVersion();
    if (!slog.isMuted()) slog << "packet from: " << source.str() << " version: " << version;
    if (version == -1) return drop(c, Counter::Malformed, dlog, "bad version");
    c.version = static_cast<uint32_t>(version);
    statistics.counters.add(versionCounter(c.version));
    c.out.startSeq(tag::Sequence);
    c.out.add(c.version, tag::Integer);
    return true;
}

bool admitCommunity(Context& c, const IPAddr6& source, Request& request) {
    if (!c.in.getString(&c.community)) {
        c.refuse(Counter::Malformed);
        return false;
    }
    if (!slog.isMuted()) slog << "community: " << c.community;
    request.entry = loop->communities().find(c.community);
    // An entry with a security level is a v3 user, whose name must not give access as a community. Every other entry is
    // a community, too (compat: 58).
    const Counter cause = request.entry == nullptr          ? Counter::NoCommunity
                          : request.entry->security != 0    ? Counter::NeedsV3
                          : !request.entry->accepts(source) ? Counter::WrongSource
                                                            : Counter::None;
    if (cause != Counter::None) return drop(c, cause, slog, " authentification failed");  // compat: 99
    c.out.add(c.community, tag::OctetString);
    return true;
}

/// Reads the PDU up to the first varbind.
bool readPduHeader(Context& c, Request& request) {
    c.pduType = c.in.getType();
    if (c.in.enterSeq() < 0 || (c.v3Error != V3Error::None && !isReportable(c.pduType))) return false;
    if (!c.in.getInt(&request.id) || !c.in.getInt(&c.nonRepeaters) || !c.in.getInt(&request.repetitions) ||
        c.in.enterSeq() < 0) {
        return false;
    }
    c.in.saveSeq(c.firstBinding);
    return true;
}

bool copyPduHeader(Context& c, Request& request) {
    // A Report about a message that wasn't decrypted has the request id 0 (RFC 3412, 7.1).
    const bool isSealed = c.version == kVersion3 && c.in.isSealed();
    if (!isSealed && !readPduHeader(c, request)) {
        if (!isReportable(c.pduType)) c.refusal = Counter::NoRequest;  // whatever its header is like
        return drop(c, Counter::Malformed, dlog, "bad packet");
    }
    if (const Operation* operation = operationOf(c.pduType)) statistics.counters.add(operation->counter);
    c.out.startSeq(c.v3Error != V3Error::None ? pdu::Report : pdu::Response);
    c.out.add(request.id, tag::Integer);
    c.out.addErrorStatus(0);
    c.out.addErrorIndex(0);
    c.out.startSeq(tag::Sequence);
    request.replyBindings = c.out.size();
    return true;
}

/// Checks the counters of a GetBulk. In other PDUs the same fields are error-status and error-index, which mean nothing
/// in a request: the counters are set to 0.
ErrorStatus setBulkCounters(Context& c, Request& request) {
    if (!c.isBulk()) {
        c.nonRepeaters = 0;
        request.repetitions = 0;
        return ErrorStatus::NoError;
    }
    // A negative number requests nothing (RFC 3416, 4.2.3).
    if (c.rules->isListAnsweredAtOnce) {
        if (c.nonRepeaters > INT32_MAX) c.nonRepeaters = 0;
        if (request.repetitions > INT32_MAX) request.repetitions = 0;
    }
    if (c.rules->isEmptyBulkRefused && request.repetitions == 0 && c.nonRepeaters == 0) {
        dlog << "error: no data requested";
        return ErrorStatus::BadValue;
    }
    if (request.repetitions > c.rules->maxRepetitions) {
        c.refuse(Counter::Repetitions);
        dlog << "error: max repetitions exceeded";
        return ErrorStatus::TooBig;
    }
    return ErrorStatus::NoError;
}

ErrorStatus answerBinding(Context& c, const Operation& operation, Request& request) {
    if (c.nonRepeaters == 0 && request.repetitions != 0) {
        c.maxRepetitions = request.repetitions;
        request.repetitions = 0;
    }
    if (!(request.entry->*operation.access)) {
        c.refuse(operation.refusal);
        return c.rules->isListAnsweredAtOnce ? operation.standardDenied : operation.denied;
    }
    const ErrorStatus status = operation.answer(c);
    if (status == ErrorStatus::NoError && c.isBulk() && c.pendingEndOfView != 0 && !c.out.hasOverflowed()) {
        tn::strangersErr << "incomplete request " << c.pendingEndOfView;
        c.addEndOfMibView(c.requestedName);
    }
    return status;
}

ErrorStatus answerBindings(Context& c, Request& request) {
    const Operation* operation = operationOf(c.pduType);
    const bool isForV2 = c.isV1() && c.isBulk() && !c.rules->isBulkServedInV1;
    if (operation == nullptr || isForV2) {
        c.refuse(Counter::NoRequest);
        dlog << "unknown request command: " << unsigned{c.pduType};
        return ErrorStatus::Critical;
    }
    const bool isAllowed = request.entry->*operation->access;
    if (!request.entry->view.isEverything()) c.view = &request.entry->view;
    AnswerFunction answerAll = c.rules->isListAnsweredAtOnce ? operation->answerAll : nullptr;
    if (answerAll == nullptr && c.view != nullptr && operation->answer == snmpGetNextGetBulk) answerAll = answerInView;
    if (answerAll != nullptr && isAllowed) {
        c.maxRepetitions = request.repetitions;
        const ErrorStatus status = answerAll(c);
        if (status == ErrorStatus::Critical) c.refuse(Counter::Malformed);
        return status;
    }
    while (!c.in.isSeqEnd()) {
        if (!c.processSeqStart()) {
            c.refuse(Counter::Malformed);
            return ErrorStatus::Critical;
        }
        // With max-repetitions 0, the repeating varbinds are left out.
        if (c.isBulk() && c.nonRepeaters == 0 && request.repetitions == 0 && c.maxRepetitions == 0) break;
        const ErrorStatus status = answerBinding(c, *operation, request);
        if (status != ErrorStatus::NoError) return status;      // compat: 32
        if (c.out.hasOverflowed()) return ErrorStatus::TooBig;  // compat: 12
        c.processSeqEnd();
    }
    return ErrorStatus::NoError;
}

void addNullBinding(Context& c) {
    c.out.startSeq(tag::Sequence);
    { c.processAddError(tag::Null); }
    c.out.endSeq();
}

/// Appends the varbind that failed, with NULL. In v1 (RFC 1157, 4.1.2) also appends those after it, as far as they fit.
void addUnserved(Context& c, uint32_t failed) {
    if (!c.isV1()) return addNullBinding(c);  // compat: 15
    c.in.restoreSeq(c.firstBinding);
    c.bindingIndex = 0;
    while (!c.out.hasOverflowed() && !c.in.isSeqEnd() && c.processSeqStart()) {
        if (c.bindingIndex >= failed) addNullBinding(c);  // compat: 16
        c.processSeqEnd();
    }
}

/// The error-status of a v1 response (RFC 3584, 4.4).
ErrorStatus v1Status(ErrorStatus status) {
    switch (status) {
        case ErrorStatus::WrongValue:
        case ErrorStatus::WrongEncoding:
        case ErrorStatus::WrongType:
        case ErrorStatus::WrongLength:
        case ErrorStatus::InconsistentValue:
            return ErrorStatus::BadValue;
        case ErrorStatus::NoAccess:
        case ErrorStatus::NotWritable:
        case ErrorStatus::NoCreation:
        case ErrorStatus::InconsistentName:
        case ErrorStatus::AuthErr:
            return ErrorStatus::NoSuchName;
        case ErrorStatus::ResourceUnavailable:
        case ErrorStatus::CommitFailed:
        case ErrorStatus::UndoFailed:
            return ErrorStatus::GenErr;
        default:
            return status;
    }
}

/// Turns the reply into an error response with the varbinds of the request as received. After tooBig, the list is empty
/// (RFC 3416, 4.2.1), in v1 only if it doesn't fit (RFC 1157, 4.1.2).
void rewriteWithRequest(Context& c, ErrorStatus status, const Request& request) {
    if (c.isV1()) status = v1Status(status);
    c.out.truncate(request.replyBindings);
    if (status != ErrorStatus::TooBig || c.isV1()) {
        c.in.restoreSeq(c.firstBinding);
        c.out.append(c.in.restOfSeq());
    }
    if (status != ErrorStatus::TooBig) c.out.addErrorIndex(c.bindingIndex);
    if (c.out.hasOverflowed()) {
        status = ErrorStatus::TooBig;
        c.out.addErrorIndex(0);
        c.out.truncate(request.replyBindings);
    }
    c.out.addErrorStatus(static_cast<uint8_t>(status));
}

/// Turns the reply into an error response: the varbinds that were answered, then those that weren't, with NULL. After
/// tooBig, and after an error that no varbind caused, the list is empty.
void rewriteAsError(Context& c, ErrorStatus status, const Request& request) {
    if (!dlog.isMuted()) dlog << "error: " << errorStatusText(status);
    if (c.rules->doErrorsRepeatList) return rewriteWithRequest(c, status, request);
    const uint32_t failed = c.bindingIndex;
    if (failed > 0 && status != ErrorStatus::TooBig) addUnserved(c, failed);
    if (status == ErrorStatus::NoSuchName && !c.out.hasOverflowed()) c.out.addErrorIndex(failed);  // compat: 14
    if (c.out.hasOverflowed()) {
        status = ErrorStatus::TooBig;
        c.out.addErrorIndex(0);
    }
    c.out.addErrorStatus(static_cast<uint8_t>(status));
    if (status == ErrorStatus::TooBig) c.out.truncate(request.replyBindings);
}

bool closeMessage(Context& c, const Request& request) {
    c.out.endSeq();  // varbind list
    c.out.endSeq();  // PDU
    if (c.version == kVersion3) return closeV3(c, request.entry);
    c.out.endSeq();  // message
    return true;
}

/// @return what became of the request
Counter makeReply(Context& c, const IPAddr6& source) {
    Request request;
    if (!copyVersion(c, source)) return Counter::Dropped;
    if (c.version > kVersion3) {  // compat: 1
        drop(c, Counter::UnknownVersion, dlog, "peer version not supported");
        return Counter::Dropped;
    }
    const bool admitted =
        c.version == kVersion3 ? admitUser(c, source, request.entry) : admitCommunity(c, source, request);
    if (!admitted || !copyPduHeader(c, request)) return Counter::Dropped;

    ErrorStatus status = setBulkCounters(c, request);  // compat: 116
    if (status == ErrorStatus::NoError) status = c.v3Error != V3Error::None ? snmpV3(c) : answerBindings(c, request);
    if (status == ErrorStatus::Critical) {
        dlog << "critical error";
        return Counter::Dropped;
    }
    if (status != ErrorStatus::NoError) {
        rewriteAsError(c, status, request);
        statistics.countError(c.out.errorStatus());
    } else if (c.v3Error == V3Error::None) {
        statistics.countVarbinds(c.pduType == pdu::SetRequest, c.bindingIndex);
    }
    if (!closeMessage(c, request)) {
        c.refuse(Counter::NotSendable);
        return Counter::Dropped;
    }
    if (c.v3Error != V3Error::None) return Counter::Reports;
    return status == ErrorStatus::NoError ? Counter::Answered : Counter::Errors;
}

/// The user's name, for the log. Empty for an entry that is also a community, because communities are secrets.
std::string_view loggedUser(const Context& c) {
    if (c.version != kVersion3) return {};
    const Item* entry = loop->communities().find(c.community);
    const bool isCommunity = entry != nullptr && entry->security == security_level::None;
    return isCommunity ? std::string_view() : std::string_view(c.community);
}

}  // namespace

bool createReply(Context& c, const IPAddr6& source) {
    const Counter result = makeReply(c, source);
    statistics.counters.add(result);
    statistics.counters.add(Counter::Varbinds, c.bindingIndex);
    const bool isForbidden = c.refusal == Counter::NoReadAccess || c.refusal == Counter::NoWriteAccess;
    if (isForbidden && c.version != kVersion3) ++statistics.forbiddenUses;
    statistics.countDatagram(source, c.refusal, c.refusal != Counter::None ? loggedUser(c) : std::string_view());
    return result != Counter::Dropped;
}

}  // namespace snmp
