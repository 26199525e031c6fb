#include "tests/agent/wire.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <sstream>

namespace wire {

namespace {

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts) out.insert(out.end(), part.begin(), part.end());
    return out;
}

Bytes integer(uint64_t value, uint8_t tag = 0x02) {
    Bytes content;
    do {
        content.insert(content.begin(), static_cast<uint8_t>(value));
        value >>= 8;
    } while (value != 0);
    if ((content.front() & 0x80) != 0) content.insert(content.begin(), 0);
    return tlv(tag, content);
}

Bytes objectId(const std::string& dotted) {
    std::vector<uint32_t> ids;
    std::stringstream text(dotted);
    for (std::string id; std::getline(text, id, '.');) ids.push_back(static_cast<uint32_t>(std::stoul(id)));
    Bytes content{static_cast<uint8_t>(ids.at(0) * 40 + ids.at(1))};
    for (size_t i = 2; i < ids.size(); ++i) {
        Bytes groups{static_cast<uint8_t>(ids[i] & 0x7f)};
        for (uint32_t rest = ids[i] >> 7; rest != 0; rest >>= 7)
            groups.insert(groups.begin(), static_cast<uint8_t>(rest | 0x80));
        content = joined({content, groups});
    }
    return tlv(0x06, content);
}

Bytes text(const std::string& octets, uint8_t tag = 0x04) { return tlv(tag, Bytes(octets.begin(), octets.end())); }

bool isNumber(uint8_t tag) {
    constexpr uint8_t kNumbers[] = {0x02, 0x41, 0x42, 0x43, 0x46, 0x47};
    return std::find(std::begin(kNumbers), std::end(kNumbers), tag) != std::end(kNumbers);
}

Bytes value(const Binding& b) {
    if (isNumber(b.tag)) return integer(std::stoull(b.value), b.tag);
    return b.tag == 0x06 ? objectId(b.value) : text(b.value, b.tag);
}

uint64_t bigEndian(std::span<const uint8_t> octets, uint64_t above = 0) {
    for (const uint8_t octet : octets) above = above << 8 | octet;
    return above;
}

/// A cursor. All cursors in a message share `why`, which is empty until one of them met something that it didn't like.
struct Reader {
    std::span<const uint8_t> rest;
    std::string& why;

    void refuse(const std::string& reason) {
        if (why.empty()) why = reason;
        rest = {};
    }

    uint8_t peek() const { return rest.empty() ? 0 : rest.front(); }

    Reader enter(uint8_t tag) {
        Reader inner{{}, why};
        if (rest.size() < 2 || rest[0] != tag)
            return refuse("tag " + std::to_string(peek()) + " instead of " + std::to_string(tag)), inner;
        size_t length = rest[1];
        size_t header = 2;
        if (length >= 0x80) {
            header += length & 0x7f;
            if (header == 2 || header > 4 || rest.size() < header) return refuse("bad length"), inner;
            length = bigEndian(rest.first(header).subspan(2));
            if (length < (header == 3 ? 0x80U : 0x100U)) return refuse("length not minimal"), inner;
        }
        if (rest.size() < header + length) return refuse("length past the end"), inner;
        inner.rest = rest.subspan(header, length);
        rest = rest.subspan(header + length);
        return inner;
    }

    uint64_t number(uint8_t tag) {
        const auto octets = enter(tag).rest;
        if (octets.empty() || octets.size() > 9) return refuse("bad number"), 0;
        const bool negative = tag == 0x02 && (octets[0] & 0x80) != 0;
        const uint64_t result = bigEndian(octets, negative ? ~0ULL : 0);
        return tag == 0x02 ? static_cast<uint32_t>(result) : result;
    }
    uint32_t integer() { return static_cast<uint32_t>(number(0x02)); }

    std::string octets(uint8_t tag = 0x04) {
        const auto content = enter(tag).rest;
        return {content.begin(), content.end()};
    }

    std::string objectId() {
        const auto content = enter(0x06).rest;
        if (content.empty()) return refuse("empty OID"), "";
        std::string result = std::to_string(content[0] / 40) + "." + std::to_string(content[0] % 40);
        uint64_t id = 0;
        bool open = false;
        for (const uint8_t octet : content.subspan(1)) {
            if (!open && octet == 0x80) return refuse("OID with a leading 0x80"), "";
            id = id << 7 | (octet & 0x7f);
            open = (octet & 0x80) != 0;
            if (open) continue;
            result += "." + std::to_string(id);
            id = 0;
        }
        if (open) refuse("OID without an end");
        return result;
    }

    Binding binding() {
        Binding b;
        b.name = objectId();
        b.tag = peek();
        b.value = isNumber(b.tag) ? std::to_string(number(b.tag)) : b.tag == 0x06 ? objectId() : octets(b.tag);
        return b;
    }

    void end(const char* of) {
        if (!rest.empty()) refuse(std::string("something left over in ") + of);
    }
};

Bytes encodePdu(const Message& message) {
    Bytes list;
    for (const Binding& b : message.bindings) list = joined({list, tlv(0x30, joined({objectId(b.name), value(b)}))});
    return tlv(message.pdu, joined({integer(message.requestId), integer(message.errorStatus),
                                    integer(message.errorIndex), tlv(0x30, list)}));
}

/// Everything but version and community.
Message decodePdu(Reader& message) {
    Message m;
    m.pdu = message.peek();
    Reader pdu = message.enter(m.pdu);
    m.requestId = pdu.integer();
    m.errorStatus = pdu.integer();
    m.errorIndex = pdu.integer();
    Reader list = pdu.enter(0x30);
    pdu.end("the PDU");
    while (!list.rest.empty() && list.why.empty()) {
        Reader one = list.enter(0x30);
        m.bindings.push_back(one.binding());
        one.end("a varbind");
    }
    return m;
}

/// What was read, if all of it was liked.
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
    return tlv(0x30, joined({integer(message.version), text(message.community), encodePdu(message)}));
}

std::optional<Message> decode(std::span<const uint8_t> bytes, std::string& why) {
    why.clear();
    Reader in{bytes, why};
    Reader message = in.enter(0x30);
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
    return tlv(0x30, joined({text(scoped.contextEngineId), text(scoped.contextName), encodePdu(scoped.body)}));
}

Bytes encode(V3Message& m) {
    const Bytes header = joined({integer(m.id), integer(m.maxSize), text(m.flags), integer(m.model)});
    const Bytes priv = text(m.priv);
    const Bytes security =
        tlv(0x30, joined({text(m.engineId), integer(m.boots), integer(m.time), text(m.user), text(m.auth), priv}));
    Bytes message = tlv(0x30, joined({integer(3), tlv(0x30, header), tlv(0x04, security), m.data}));
    m.authAt = message.size() - m.data.size() - priv.size() - m.auth.size();
    return message;
}

std::optional<V3Message> decodeV3(std::span<const uint8_t> bytes, std::string& why) {
    why.clear();
    Reader in{bytes, why};
    Reader message = in.enter(0x30);
    in.end("the datagram");
    if (message.integer() != 3) message.refuse("version isn't 3");
    V3Message m;
    Reader header = message.enter(0x30);
    m.id = header.integer();
    m.maxSize = header.integer();
    m.flags = header.octets();
    m.model = header.integer();
    header.end("the header");
    Reader octets = message.enter(0x04);
    m.data.assign(message.rest.begin(), message.rest.end());
    Reader security = octets.enter(0x30);
    octets.end("the security parameters' octets");
    m.engineId = security.octets();
    m.boots = security.integer();
    m.time = security.integer();
    m.user = security.octets();
    m.auth = security.octets();
    m.authAt = bytes.size() - message.rest.size() - security.rest.size() - m.auth.size();
    m.priv = security.octets();
    security.end("the security parameters");
    return checked(m, why);
}

std::optional<ScopedPdu> decodeScopedPdu(std::span<const uint8_t> bytes, bool padded, std::string& why) {
    why.clear();
    Reader in{bytes, why};
    Reader scoped = in.enter(0x30);
    if (!padded) in.end("the message");
    ScopedPdu out;
    out.contextEngineId = scoped.octets();
    out.contextName = scoped.octets();
    out.body = decodePdu(scoped);
    scoped.end("the scoped PDU");
    return checked(out, why);
}

}  // namespace wire
