#include "wire/codec.h"

#include <ostream>

namespace wire {

namespace {

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes integer(uint64_t value, uint8_t tag = kInteger) {
    Bytes content;
    do {
        content.insert(content.begin(), static_cast<uint8_t>(value));
        value >>= 8;
    } while (value != 0);
    if ((content.front() & 0x80) != 0) content.insert(content.begin(), 0);
    return tlv(tag, content);
}

Bytes objectId(const std::string& dotted) {
    const Oid ids = parseOid(dotted);
    Bytes content{static_cast<uint8_t>(ids[0] * 40 + ids[1])};
    for (size_t i = 2; i < ids.size(); ++i) {
        Bytes groups{static_cast<uint8_t>(ids[i] & 0x7f)};
        for (uint32_t rest = ids[i] >> 7; rest != 0; rest >>= 7)
            groups.insert(groups.begin(), static_cast<uint8_t>(rest | 0x80));
        content = joined({content, groups});
    }
    return tlv(kOid, content);
}

Bytes text(const std::string& octets, uint8_t tag = kOctets) { return tlv(tag, Bytes(octets.begin(), octets.end())); }

Bytes value(const Binding& b) {
    if (isNumber(b.tag)) return integer(std::stoull(b.value), b.tag);
    return b.tag == kOid ? objectId(b.value) : text(b.value, b.tag);
}

Binding readBinding(Reader& in) {
    Binding b;
    b.name = dotted(in.objectId());
    b.tag = in.peek();
    b.value = isNumber(b.tag) ? std::to_string(in.number(b.tag))
              : b.tag == kOid ? dotted(in.objectId())
                              : in.octets(b.tag);
    return b;
}

Bytes encodePdu(const Message& message) {
    Bytes list;
    for (const Binding& b : message.bindings)
        list = joined({list, tlv(kSequence, joined({objectId(b.name), value(b)}))});
    return tlv(message.pdu, joined({integer(message.requestId), integer(message.errorStatus),
                                    integer(message.errorIndex), tlv(kSequence, list)}));
}

/// Everything but version and community.
Message decodePdu(Reader& message) {
    Message m;
    m.pdu = message.peek();
    Reader pdu = message.enter(m.pdu);
    m.requestId = pdu.integer();
    m.errorStatus = pdu.integer();
    m.errorIndex = pdu.integer();
    Reader list = pdu.enter(kSequence);
    pdu.end("the PDU");
    while (!list.isAtEnd() && !list.hasFailed()) {
        Reader one = list.enter(kSequence);
        m.bindings.push_back(readBinding(one));
        one.end("a varbind");
    }
    return m;
}

/// `read`, or nullopt if a reader has refused something.
template <class T>
std::optional<T> checked(T read, const std::string& why) {
    return why.empty() ? std::optional(std::move(read)) : std::nullopt;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Binding& b) {
    return out << b.name << " [" << unsigned{b.tag} << "] " << b.value;
}

Bytes tlv(uint8_t tag, std::span<const uint8_t> content) {
    const auto low = static_cast<uint8_t>(content.size());
    Bytes out{tag, low};
    if (content.size() >= 0x100) {
        out = {tag, 0x82, static_cast<uint8_t>(content.size() >> 8), low};
    } else if (content.size() >= 0x80) {
        out = {tag, 0x81, low};
    }
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

Bytes encode(const Message& message) {
    return tlv(kSequence, joined({integer(message.version), text(message.community), encodePdu(message)}));
}

std::optional<Message> decode(std::span<const uint8_t> bytes, std::string& why) {
    why.clear();
    Reader in{bytes, why};
    Reader message = in.enter(kSequence);
    in.end("the datagram");
    const uint32_t version = message.integer();
    const std::string community = message.octets();
    Message m = decodePdu(message);
    message.end("the message");
    m.version = version;
    m.community = community;
    return checked(m, why);
}

Bytes encode(const ScopedPdu& scoped) {
    return tlv(kSequence, joined({text(scoped.contextEngineId), text(scoped.contextName), encodePdu(scoped.body)}));
}

Bytes encode(V3Message& m) {
    const Bytes header = joined({integer(m.id), integer(m.maxSize), text(m.flags), integer(m.model)});
    const Bytes priv = text(m.priv);
    const Bytes security =
        tlv(kSequence, joined({text(m.engineId), integer(m.boots), integer(m.time), text(m.user), text(m.auth), priv}));
    Bytes message = tlv(kSequence, joined({integer(3), tlv(kSequence, header), tlv(kOctets, security), m.data}));
    m.authAt = message.size() - m.data.size() - priv.size() - m.auth.size();
    return message;
}

std::optional<V3Message> decodeV3(std::span<const uint8_t> bytes, std::string& why) {
    why.clear();
    Reader in{bytes, why};
    Reader message = in.enter(kSequence);
    in.end("the datagram");
    if (message.integer() != 3) message.refuse("version isn't 3");
    V3Message m;
    Reader header = message.enter(kSequence);
    m.id = header.integer();
    m.maxSize = header.integer();
    m.flags = header.octets();
    m.model = header.integer();
    header.end("the header");
    Reader octets = message.enter(kOctets);
    m.data.assign(message.rest().begin(), message.rest().end());
    Reader security = octets.enter(kSequence);
    octets.end("the security parameters' octets");
    m.engineId = security.octets();
    m.boots = security.integer();
    m.time = security.integer();
    m.user = security.octets();
    m.auth = security.octets();
    m.authAt = bytes.size() - message.rest().size() - security.rest().size() - m.auth.size();
    m.priv = security.octets();
    security.end("the security parameters");
    return checked(m, why);
}

std::optional<ScopedPdu> decodeScopedPdu(std::span<const uint8_t> bytes, bool padded, std::string& why) {
    why.clear();
    Reader in{bytes, why};
    Reader scoped = in.enter(kSequence);
    if (!padded) in.end("the message");
    ScopedPdu out;
    out.contextEngineId = scoped.octets();
    out.contextName = scoped.octets();
    out.body = decodePdu(scoped);
    scoped.end("the scoped PDU");
    return checked(out, why);
}

}  // namespace wire
