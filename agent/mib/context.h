#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/tags.h"
#include "agent/ber/usm_reader.h"
#include "agent/ber/usm_writer.h"
#include "agent/mib/error_status.h"

namespace snmp {

constexpr uint32_t kVersion1 = 0;
constexpr uint32_t kVersion2c = 1;
constexpr uint32_t kVersion3 = 3;

/// One varbind consumed by Context::peek.
struct RequestItem {
    OID name;  ///< as read, without the prefix
};

/// The state of one request being answered; every MIB operation receives it. The reply is written in the same pass in
/// which the request is read.
struct Context {
    explicit Context(std::span<const uint8_t> datagram) : in(datagram) {}
    /// Starts over with another request; nothing of the last one is left but its memory, which is used again.
    /// @param datagram  is copied
    void begin(std::span<const uint8_t> datagram);
    /// Frees the memory if it is more than 256 KiB, so that one large datagram doesn't keep it allocated. The reply is
    /// then gone.
    void end();

    // The request as read, and the reply.
    UsmReader in;
    UsmWriter out;
    uint32_t version = kVersion1;
    std::string community;             ///< community string or user name
    uint8_t pduType = kNoTag;          ///< tag of the request PDU
    V3Error v3Error = V3Error::None;   ///< reported instead of an answer
    InStream::StreamPos firstBinding;  ///< where its varbinds begin

    /// Messages with each V3Error since the process started: usmStats (RFC 3414, 5).
    static std::array<uint32_t, kV3Errors> v3counters;

    // The varbind being served.
    OID requestedName;          ///< its name, as read
    uint32_t bindingIndex = 0;  ///< its position in the request, from 1
    OID oid;                    ///< the name below the serving branch's prefix; the whole name for a Set
    OID branchPrefix;           ///< the prefix under which the serving branch is registered
    OID setPrefix, setSuffix;   ///< the two pieces of a Set's name
    ErrorStatus branchStatus = ErrorStatus::NoError;  ///< set by a branch whose getNext failed for a reason of its own

    // GetBulk bookkeeping; all 0 for other PDUs.
    uint32_t nonRepeaters = 0;      ///< non-repeating varbinds still to serve
    uint32_t maxRepetitions = 0;    ///< at most 50; set once the non-repeaters are used up
    uint32_t pendingEndOfView = 0;  ///< remaining varbinds of the name being served

    [[nodiscard]] bool isV1() const { return version == kVersion1; }
    [[nodiscard]] bool isBulk() const { return pduType == pdu::GetBulkRequest; }

    /// Enters the next varbind and reads its name into requestedName and oid.
    /// @return false when it can't be read or has a first arc above 2: no reply can carry such a name
    bool processSeqStart();
    /// Leaves the varbind, at its end wherever the cursor is. Always true.
    bool processSeqEnd();
    /// Appends requestedName and an empty value; the caller opens and closes the varbind around it.
    /// @param tag  NULL or one of the three exception values
    void processAddError(uint8_t tag);
    /// Appends a whole varbind { name, endOfMibView } for each remaining one, as far as they fit into a reply.
    void addEndOfMibView(const OID& name);

    /// Consumes the current varbind and those after it whose names begin with `prefix`, so that one fetch serves them
    /// all; within the non-repeaters of a GetBulk no more than are left, which are counted down. The request is then in
    /// the last varbind consumed, after its name. bindingIndex stays at the first.
    /// @return at least one item, the current varbind
    [[nodiscard]] std::vector<RequestItem> peek(const OID& prefix);
};

}  // namespace snmp
