#include "tests/agent/wire.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <ostream>
#include <sstream>

namespace wire {

namespace {

void append(Bytes& out, const Bytes& more) { out.insert(out.end(), more.begin(), more.end()); }

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
        append(content, groups);
    }
    return tlv(0x06, content);
}

Bytes text(uint8_t tag, const std::string& octets) { return tlv(tag, Bytes(octets.begin(), octets.end())); }

bool isNumber(uint8_t tag) {
    constexpr uint8_t kNumbers[] = {0x02, 0x41, 0x42, 0x43, 0x46, 0x47};
    return std::find(std::begin(kNumbers), std::end(kNumbers), tag) != std::end(kNumbers);
}

Bytes value(const Binding& b) {
    if (isNumber(b.tag)) return integer(std::stoull(b.value), b.tag);
    return b.tag == 0x06 ? objectId(b.value) : text(b.tag, b.value);
}

/// A cursor that remembers the first thing it didn't like.
struct Reader {
    std::span<const uint8_t> rest;
    std::string* why;
    bool good = true;

    bool refuse(const std::string& reason) {
        if (good) *why = reason;
        good = false;
        rest = {};
        return false;
    }

    uint8_t peek() const { return rest.empty() ? 0 : rest.front(); }

    Reader enter(uint8_t tag) {
        Reader inner{{}, why};
        if (rest.size() < 2 || rest[0] != tag) {
            refuse("tag " + std::to_string(peek()) + " instead of " + std::to_string(tag));
            inner.good = false;
            return inner;
        }
        size_t length = rest[1];
        size_t header = 2;
        if (length >= 0x80) {
            const size_t octets = length & 0x7f;
            if (octets == 0 || octets > 2 || rest.size() < 2 + octets) {
                refuse("bad length");
                return inner;
            }
            length = 0;
            for (size_t i = 0; i < octets; ++i) length = length << 8 | rest[header++];
            if (length < (octets == 1 ? 0x80U : 0x100U)) {
                refuse("length not minimal");
                return inner;
            }
        }
        if (rest.size() < header + length) {
            refuse("length past the end");
            return inner;
        }
        inner.rest = rest.subspan(header, length);
        rest = rest.subspan(header + length);
        return inner;
    }

    uint64_t number(uint8_t tag) {
        const Reader content = enter(tag);
        if (!good) return 0;
        const auto& octets = content.rest;
        if (octets.empty() || octets.size() > 9) return refuse("bad number"), 0;
        uint64_t result = tag == 0x02 && (octets[0] & 0x80) != 0 ? ~0ULL : 0;
        for (const uint8_t octet : octets) result = result << 8 | octet;
        return tag == 0x02 ? static_cast<uint32_t>(result) : result;
    }

    std::string octets(uint8_t tag) {
        const Reader content = enter(tag);
        return {content.rest.begin(), content.rest.end()};
    }

    std::string objectId() {
        const Reader content = enter(0x06);
        if (!good || content.rest.empty()) return refuse("empty OID"), "";
        std::string result = std::to_string(content.rest[0] / 40) + "." + std::to_string(content.rest[0] % 40);
        uint64_t id = 0;
        bool open = false;
        for (const uint8_t octet : content.rest.subspan(1)) {
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

    void end(const char* of) {
        if (good && !rest.empty()) refuse(std::string("something left over in ") + of);
    }
};

Binding binding(Reader& in) {
    Binding b;
    b.name = in.objectId();
    b.tag = in.peek();
    if (isNumber(b.tag)) {
        b.value = std::to_string(in.number(b.tag));
    } else {
        b.value = b.tag == 0x06 ? in.objectId() : in.octets(b.tag);
    }
    return b;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Binding& b) {
    return out << b.name << " [" << unsigned{b.tag} << "] " << b.value;
}

Bytes tlv(uint8_t tag, std::span<const uint8_t> content) {
    Bytes out{tag};
    if (content.size() >= 0x100) {
        append(out, {0x82, static_cast<uint8_t>(content.size() >> 8), static_cast<uint8_t>(content.size())});
    } else if (content.size() >= 0x80) {
        append(out, {0x81, static_cast<uint8_t>(content.size())});
    } else {
        out.push_back(static_cast<uint8_t>(content.size()));
    }
    out.insert(out.end(), content.begin(), content.end());
    return out;
}

namespace {

Bytes encodePdu(const Message& message) {
    Bytes list;
    for (const Binding& b : message.bindings) {
        Bytes content = objectId(b.name);
        append(content, value(b));
        append(list, tlv(0x30, content));
    }
    Bytes pdu = integer(message.requestId);
    append(pdu, integer(message.errorStatus));
    append(pdu, integer(message.errorIndex));
    append(pdu, tlv(0x30, list));
    return tlv(message.pdu, pdu);
}

/// Everything but version and community.
Message decodePdu(Reader& message) {
    Message m;
    m.pdu = message.peek();
    Reader pdu = message.enter(m.pdu);
    m.requestId = static_cast<uint32_t>(pdu.number(0x02));
    m.errorStatus = static_cast<uint32_t>(pdu.number(0x02));
    m.errorIndex = static_cast<uint32_t>(pdu.number(0x02));
    Reader list = pdu.enter(0x30);
    pdu.end("the PDU");
    while (list.good && !list.rest.empty()) {
        Reader one = list.enter(0x30);
        m.bindings.push_back(binding(one));
        one.end("a varbind");
        if (!one.good) list.good = false;
    }
    if (!pdu.good || !list.good) message.good = false;
    return m;
}

}  // namespace

Bytes encode(const Message& message) {
    Bytes whole = integer(message.version);
    append(whole, text(0x04, message.community));
    append(whole, encodePdu(message));
    return tlv(0x30, whole);
}

std::optional<Message> decode(std::span<const uint8_t> bytes, std::string& why) {
    Reader in{bytes, &why};
    Reader message = in.enter(0x30);
    in.end("the datagram");
    const auto version = static_cast<uint32_t>(message.number(0x02));
    const std::string community = message.octets(0x04);
    Message m = decodePdu(message);
    message.end("the message");
    if (!in.good || !message.good) return std::nullopt;
    m.version = version;
    m.community = community;
    return m;
}

Bytes encode(const ScopedPdu& scoped) {
    Bytes content = text(0x04, scoped.contextEngineId);
    append(content, text(0x04, scoped.contextName));
    append(content, encodePdu(scoped.body));
    return tlv(0x30, content);
}

Bytes encode(V3Message& m) {
    Bytes header = integer(m.id);
    append(header, integer(m.maxSize));
    append(header, text(0x04, m.flags));
    append(header, integer(m.model));
    Bytes security = text(0x04, m.engineId);
    append(security, integer(m.boots));
    append(security, integer(m.time));
    append(security, text(0x04, m.user));
    append(security, text(0x04, m.auth));
    const Bytes priv = text(0x04, m.priv);
    append(security, priv);
    Bytes whole = integer(3);
    append(whole, tlv(0x30, header));
    append(whole, tlv(0x04, tlv(0x30, security)));
    const size_t behindSecurity = m.data.size();
    append(whole, m.data);
    Bytes message = tlv(0x30, whole);
    m.authAt = message.size() - behindSecurity - priv.size() - m.auth.size();
    return message;
}

std::optional<V3Message> decodeV3(std::span<const uint8_t> bytes, std::string& why) {
    Reader in{bytes, &why};
    Reader message = in.enter(0x30);
    in.end("the datagram");
    if (message.number(0x02) != 3) message.refuse("version isn't 3");
    V3Message m;
    Reader header = message.enter(0x30);
    m.id = static_cast<uint32_t>(header.number(0x02));
    m.maxSize = static_cast<uint32_t>(header.number(0x02));
    m.flags = header.octets(0x04);
    m.model = static_cast<uint32_t>(header.number(0x02));
    header.end("the header");
    Reader octets = message.enter(0x04);
    m.data.assign(message.rest.begin(), message.rest.end());
    Reader security = octets.enter(0x30);
    octets.end("the security parameters' octets");
    m.engineId = security.octets(0x04);
    m.boots = static_cast<uint32_t>(security.number(0x02));
    m.time = static_cast<uint32_t>(security.number(0x02));
    m.user = security.octets(0x04);
    m.auth = security.octets(0x04);
    m.authAt = bytes.size() - message.rest.size() - security.rest.size() - m.auth.size();
    m.priv = security.octets(0x04);
    security.end("the security parameters");
    if (!in.good || !message.good || !header.good || !octets.good || !security.good) return std::nullopt;
    return m;
}

std::optional<ScopedPdu> decodeScopedPdu(std::span<const uint8_t> bytes, bool padded, std::string& why) {
    Reader in{bytes, &why};
    Reader scoped = in.enter(0x30);
    if (!padded) in.end("the message");
    ScopedPdu out;
    out.contextEngineId = scoped.octets(0x04);
    out.contextName = scoped.octets(0x04);
    out.body = decodePdu(scoped);
    scoped.end("the scoped PDU");
    if (!in.good || !scoped.good) return std::nullopt;
    return out;
}

}  // namespace wire
