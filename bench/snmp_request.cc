#include "bench/snmp_request.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <stdexcept>

namespace bench {
namespace {

// X.690 and RFC 3416
constexpr uint8_t kInteger = 0x02, kOctets = 0x04, kNull = 0x05, kOid = 0x06, kSequence = 0x30;
constexpr uint8_t kGet = 0xa0, kGetNext = 0xa1, kResponse = 0xa2, kGetBulk = 0xa5;
constexpr uint8_t kNoSuchObject = 0x80, kEndOfMibView = 0x82;

std::string element(uint8_t tag, const std::string& content) {
    std::string out(1, static_cast<char>(tag));
    if (content.size() >= 0x80) {  // always two octets of length: shorter isn't needed to be right
        out += '\x82';
        out += static_cast<char>(content.size() >> 8);
    }
    return out + static_cast<char>(content.size() & 0xff) + content;
}

std::string integer(uint32_t value) {
    std::string out;
    for (int shift = 24; shift >= 0; shift -= 8) out += static_cast<char>(value >> shift);
    while (out.size() > 1 && out[0] == 0 && static_cast<uint8_t>(out[1]) < 0x80) out.erase(0, 1);
    return element(kInteger, out);
}

std::string encoded(const Oid& all) {
    std::string out(1, static_cast<char>(all[0] * 40 + all[1]));
    for (size_t i = 2; i < all.size(); ++i) {
        for (int shift = 28; shift > 0; shift -= 7) {
            if (all[i] >> shift != 0) out += static_cast<char>(0x80 | ((all[i] >> shift) & 0x7f));
        }
        out += static_cast<char>(all[i] & 0x7f);
    }
    return element(kOid, out);
}

uint8_t tagOf(const std::string& operation) {
    static const std::map<std::string, uint8_t> kTags{{"get", kGet}, {"getnext", kGetNext}, {"getbulk", kGetBulk}};
    const auto found = kTags.find(operation);
    if (found == kTags.end()) throw std::invalid_argument("expected get, getnext or getbulk, not " + operation);
    return found->second;
}

using Octets = std::span<const uint8_t>;

struct Element {
    uint8_t tag = 0;
    Octets content;
};

/// Takes the next element off the front; nothing when it doesn't fit.
std::optional<Element> take(Octets& from) {
    if (from.size() < 2) return {};
    const uint8_t tag = from[0];
    size_t length = from[1], head = 2;
    if (length >= 0x80) {
        const size_t octets = length & 0x7f;
        if (octets > 2 || from.size() < 2 + octets) return {};
        length = 0;
        for (size_t i = 0; i < octets; ++i) length = length << 8 | from[head++];
    }
    if (from.size() - head < length) return {};
    const Element out{tag, from.subspan(head, length)};
    from = from.subspan(head + length);
    return out;
}

/// The content of the next element when it has this tag, else nothing.
std::optional<Octets> take(Octets& from, uint8_t tag) {
    const auto element = take(from);
    return element && element->tag == tag ? std::optional(element->content) : std::nullopt;
}

bool isException(uint8_t tag) { return tag >= kNoSuchObject && tag <= kEndOfMibView; }

bool haveValues(Octets bindings) {
    if (bindings.empty()) return false;
    while (!bindings.empty()) {
        auto binding = take(bindings, kSequence);
        if (!binding || !take(*binding, kOid)) return false;
        const auto value = take(*binding);
        if (!value || isException(value->tag)) return false;
    }
    return true;
}

/// The numbers of an encoded name; empty when it is cut short or a number has more than 32 bits.
Oid decoded(Octets octets) {
    Oid out;
    uint64_t number = 0;
    bool open = false;
    for (const uint8_t octet : octets) {
        number = number << 7 | (octet & 0x7f);
        if (number > UINT32_MAX) return {};
        open = (octet & 0x80) != 0;
        if (open) continue;
        const auto whole = static_cast<uint32_t>(number);
        if (out.empty())
            out = {std::min(whole / 40, 2U), whole - 40 * std::min(whole / 40, 2U)};
        else
            out.push_back(whole);
        number = 0;
    }
    return open ? Oid{} : out;
}

std::optional<Binding> readBinding(Octets& bindings) {
    auto binding = take(bindings, kSequence);
    if (!binding) return {};
    const auto name = take(*binding, kOid);
    const auto value = take(*binding);
    if (!name || !value) return {};
    Binding out{decoded(*name), !isException(value->tag)};
    return out.name.empty() ? std::nullopt : std::optional(std::move(out));
}

struct Head {
    uint32_t id = 0;
    Octets bindings;
};

/// What leads to the bindings; nothing when it makes no sense or carries an error-status.
std::optional<Head> readHead(Octets answer, AnswerKind kind) {
    auto message = take(answer, kSequence);
    if (!message || !take(*message, kInteger) || !take(*message, kOctets)) return {};
    auto pdu = take(*message);
    if (!pdu || (kind == AnswerKind::Response && pdu->tag != kResponse)) return {};
    const auto id = take(pdu->content, kInteger);
    const auto status = take(pdu->content, kInteger);
    const auto index = take(pdu->content, kInteger);
    const auto bindings = take(pdu->content, kSequence);
    if (!id || id->size() != 4 || !status || status->size() != 1 || (*status)[0] != 0 || !index || !bindings) return {};
    uint32_t number = 0;
    for (const uint8_t octet : *id) number = number << 8 | octet;
    return Head{number, *bindings};
}

}  // namespace

Oid parseOid(const std::string& dotted) {
    Oid out;
    const char* at = dotted.data();
    const char* const end = at + dotted.size();
    while (at < end) {
        const auto [next, error] = std::from_chars(at, end, out.emplace_back());
        if (error != std::errc{} || (next < end && *next != '.')) break;
        at = next + 1;
    }
    if (at != end + 1 || out.size() < 2 || out[0] > 2) throw std::invalid_argument("not an OID: " + dotted);
    return out;
}

Datagram::Datagram(const Request& request) {
    std::string bindings;
    for (const Oid& name : request.oids) bindings += element(kSequence, encoded(name) + element(kNull, ""));
    const uint8_t tag = tagOf(request.operation);
    const std::string pdu = integer(0x7fffffff) + integer(0) + integer(tag == kGetBulk ? request.maxRepetitions : 0) +
                            element(kSequence, bindings);
    octets_ = element(kSequence, integer(1) + element(kOctets, request.community) + element(tag, pdu));
    if (octets_.size() > 65507) throw std::invalid_argument("the request doesn't fit a datagram");
    idAt_ = octets_.size() - pdu.size() + 2;
}

std::span<const uint8_t> Datagram::withId(uint32_t id) {
    for (size_t i = 0; i < 4; ++i) octets_[idAt_ + i] = static_cast<char>(id >> (24 - 8 * i));
    return {reinterpret_cast<const uint8_t*>(octets_.data()), octets_.size()};
}

std::span<const uint8_t> pduOf(std::span<const uint8_t> message) {
    auto content = take(message, kSequence);
    if (!content || !take(*content, kInteger) || !take(*content, kOctets)) return {};
    return *content;
}

uint32_t checkAnswer(std::span<const uint8_t> answer, AnswerKind kind) {
    const auto head = readHead(answer, kind);
    return head && haveValues(head->bindings) ? head->id : 0;
}

std::optional<Response> readResponse(std::span<const uint8_t> answer) {
    auto head = readHead(answer, AnswerKind::Response);
    if (!head) return {};
    Response out{head->id, {}};
    while (!head->bindings.empty()) {
        auto binding = readBinding(head->bindings);
        if (!binding) return {};
        out.bindings.push_back(std::move(*binding));
    }
    return out;
}

}  // namespace bench
