#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "agent/ber/oid.h"
#include "agent/ber/rules.h"
#include "agent/ber/tags.h"
#include "agent/ber/usm_reader.h"
#include "agent/ber/usm_writer.h"
#include "agent/ber/view.h"
#include "agent/mib/error_status.h"
#include "agent/mib/fetched.h"
#include "agent/status/counters.h"

namespace snmp {

// The version field of a message (RFC 1157, RFC 1901, RFC 3412).
constexpr uint32_t kVersion1 = 0;
constexpr uint32_t kVersion2c = 1;
constexpr uint32_t kVersion3 = 3;

/// One varbind consumed by Context::peek.
struct RequestItem {
    OID name;  ///< as read, without the prefix of the branch
};

/// The state of one request while it is answered; every MIB operation receives it. Reading the request and writing the
/// reply are one pass.
struct Context {
    // Octets of memory that the next request may reuse. A request's names and texts are proportional to its size.
    static constexpr size_t kRetainedRequest = size_t{4} << 10;
    static constexpr size_t kRetainedReply = size_t{64} << 10;

    explicit Context(std::span<const uint8_t> datagram) : in(datagram) {}
    /// For a request that the agent makes itself in order to answer another one. Its varbinds, without a list around
    /// them, are still to be read by `in`. Branches may answer it with exceptions, whatever the version of the other.
    Context(const Context& other, uint8_t type)
        : rules(other.rules),
          in(std::span<const uint8_t>()),
          version(kVersion2c),
          community(other.community),
          pduType(type) {}
    /// Starts over with another request. Reuses the memory of the last one.
    /// @param datagram  is copied
    void begin(std::span<const uint8_t> datagram);
    /// Ends a request after its reply was sent: drops what was fetched for it. If request or reply has more memory than
    /// is retained, all of it is freed, so that one large datagram doesn't keep that much. @return whether it was
    bool end();

    const Rules* rules = &kFixedRules;  ///< of all requests
    const View* view = nullptr;         ///< what the sender may see; null: everything

    // The request as read, and the reply.
    UsmReader in;
    UsmWriter out;
    uint32_t version = kVersion1;
    std::string community;             ///< community string or user name
    uint8_t pduType = kNoTag;          ///< tag of the request PDU
    V3Error v3Error = V3Error::None;   ///< if not None, the reply is a Report of it
    Counter refusal = Counter::None;   ///< why the request is refused; see refuse
    InStream::StreamPos firstBinding;  ///< position of the first varbind in the request
    Fetched fetched;                   ///< from owners, for this request

    /// Number of messages with each V3Error since the process started: usmStats (RFC 3414, 5), and with --standard also
    /// snmpMPDStats (RFC 3412, 5) and snmpUnknownContexts (RFC 3413, 4.1).
    static std::array<uint32_t, kV3Errors> v3counters;

    // The current varbind.
    OID requestedName;          ///< its name, as read
    uint32_t bindingIndex = 0;  ///< its position in the request, from 1
    OID oid;                    ///< its name after the branch's prefix; in a Set the whole name
    OID branchPrefix;           ///< the prefix under which the serving branch is registered; not in a Set
    OID setPrefix, setSuffix;   ///< in a Set: the branch's prefix and the rest of the name
    /// The error that ends the request. Set by a getNext() that returns kNotMine and ends the walk; without it, the
    /// walk continues in the next branch. Set by a set() that returns kNotMine.
    ErrorStatus branchStatus = ErrorStatus::NoError;

    uint32_t nonRepeaters = 0;    ///< GetBulk: non-repeating varbinds that aren't served yet. 0 for other PDUs
    uint32_t maxRepetitions = 0;  ///< GetBulk: 1 to 50, once all non-repeating varbinds are served. Otherwise 0
    /// GetNext and GetBulk: repetitions of the current varbind that aren't written yet. A branch that ends before them
    /// passes them on to the next one. Those that remain at the end of the tree become endOfMibView.
    uint32_t pendingEndOfView = 0;

    /// Records why the request is refused. The first cause holds.
    void refuse(Counter cause) {
        if (refusal == Counter::None) refusal = cause;
    }

    [[nodiscard]] bool isInView(const OID& name) const { return view == nullptr || view->has(name); }
    [[nodiscard]] bool isV1() const { return version == kVersion1; }
    [[nodiscard]] bool isBulk() const { return pduType == pdu::GetBulkRequest; }

    /// Enters the next varbind and reads its name into requestedName and oid.
    /// @return false if the name can't be read or has a first arc above 2, which a reply can't contain. The request is
    ///         then dropped
    bool processSeqStart();
    /// Leaves the current varbind: moves the cursor of `in` to its end. Always true.
    bool processSeqEnd();
    /// Appends requestedName and an empty value. The caller opens and closes the varbind.
    /// @param tag  NULL or one of the three exceptions
    void processAddError(uint8_t tag);
    /// Appends a whole varbind { name, endOfMibView } for each repetition that remains, as far as they fit into a
    /// reply, and decrements pendingEndOfView.
    void addEndOfMibView(const OID& name);

    /// Consumes the current varbind and those directly after it whose names begin with `prefix` and are in the
    /// view, so that one call of a branch serves them all. In a GetBulk, non-repeating and repeating varbinds aren't
    /// mixed, and nonRepeaters is decremented for each non-repeating one. Afterwards `in` is inside the last varbind
    /// consumed, after its name. bindingIndex remains that of the first one: the caller advances it.
    /// @return their names; the first one is that of the current varbind
    [[nodiscard]] std::vector<RequestItem> peek(const OID& prefix);
};

}  // namespace snmp
