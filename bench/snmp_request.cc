#include "bench/snmp_request.h"

#include <algorithm>
#include <stdexcept>

namespace bench {
namespace {

constexpr uint32_t kAnyId = 0x7fffffff;  // four octets in its shortest form

bool isException(uint8_t tag) { return tag >= wire::kNoSuchObject && tag <= wire::kEndOfMibView; }

/// Skips version and community; the PDU is next.
wire::Reader enterMessage(std::span<const uint8_t> octets, std::string& why) {
    wire::Reader message = wire::Reader(octets, why).enter(wire::kSequence);
    message.enter(wire::kInteger);
    message.enter(wire::kOctets);
    return message;
}

/// Reads the message up to its bindings, sets `id`, and returns a cursor over the bindings. Refuses an error-status.
wire::Reader enterBindings(std::span<const uint8_t> answer, AnswerKind kind, uint32_t& id, std::string& why) {
    wire::Reader message = enterMessage(answer, why);
    wire::Reader pdu = message.enter(kind == AnswerKind::Response ? kResponse : message.peek());
    id = pdu.integer();
    if (pdu.integer() != 0) pdu.refuse("error-status");
    pdu.integer();
    return pdu.enter(wire::kSequence);
}

/// Skips the next binding. @return true if it has a value. `name`, unless nullptr, is set
bool readBinding(wire::Reader& bindings, wire::Oid* name) {
    wire::Reader binding = bindings.enter(wire::kSequence);
    if (name != nullptr) {
        *name = binding.objectId();
    } else {
        binding.enter(wire::kOid);
    }
    const uint8_t tag = binding.peek();
    binding.enter(tag);
    return !isException(tag);
}

}  // namespace

Datagram::Datagram(const Request& request) {
    wire::Message message;
    message.community = request.community;
    message.pdu = request.pdu;
    message.requestId = kAnyId;
    if (message.pdu == kGetBulk) message.errorIndex = request.maxRepetitions;
    for (const wire::Oid& name : request.oids) message.bindings.push_back({wire::dotted(name), wire::kNull, ""});
    octets_ = wire::encode(message);
    if (octets_.size() > 65'507) throw std::invalid_argument("the request doesn't fit a datagram");
    std::string why;
    const wire::Reader pdu = enterMessage(octets_, why).enter(message.pdu);
    idAt_ = static_cast<size_t>(pdu.rest().data() - octets_.data()) + 2;
}

std::span<const uint8_t> Datagram::withId(uint32_t id) {
    for (size_t i = 0; i < 4; ++i) octets_[idAt_ + i] = static_cast<uint8_t>(id >> (24 - 8 * i));
    return octets_;
}

std::span<const uint8_t> pduOf(std::span<const uint8_t> message) {
    std::string why;
    return enterMessage(message, why).rest();
}

uint32_t checkAnswer(std::span<const uint8_t> answer, AnswerKind kind) {
    std::string why;
    uint32_t id = 0;
    wire::Reader bindings = enterBindings(answer, kind, id, why);
    bool hasValues = !bindings.isAtEnd();
    while (hasValues && !bindings.isAtEnd()) hasValues = readBinding(bindings, nullptr);
    return hasValues && why.empty() ? id : 0;
}

std::optional<Response> readResponse(std::span<const uint8_t> answer) {
    std::string why;
    Response out;
    wire::Reader bindings = enterBindings(answer, AnswerKind::Response, out.id, why);
    while (!bindings.isAtEnd()) {
        Binding& binding = out.bindings.emplace_back();
        binding.hasValue = readBinding(bindings, &binding.name);
    }
    return why.empty() ? std::optional(std::move(out)) : std::nullopt;
}

}  // namespace bench
