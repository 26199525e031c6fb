#include "soak/forge.h"

#include <algorithm>
#include <array>
#include <random>
#include <stdexcept>
#include <utility>

namespace soak {

namespace {

using wire::Bytes;

constexpr uint32_t kVersion1 = 0, kVersion3 = 3;
constexpr uint8_t kGet = 0xa0, kTrapV1 = 0xa4, kGetBulk = 0xa5, kSet = 0xa3;
constexpr std::array<const char*, 9> kPdus = {"Get",     "GetNext", "Response", "Set",   "trap v1",
                                              "GetBulk", "Inform",  "trap v2",  "Report"};
/// Of them, as often as in real traffic.
constexpr std::array<uint8_t, 8> kRequests = {0, 0, 0, 1, 1, 5, 5, 3};

/// Starts of names: scalars, columns of tables with all kinds of indices, the end of the tree, nothing.
constexpr std::array<std::array<uint32_t, 11>, 10> kNames = {{{1, 3, 6, 1, 2, 1, 1, 1, 0},
                                                              {1, 3, 6, 1, 2, 1, 1, 4, 0},
                                                              {1, 3, 6, 1, 2, 1, 2, 2, 1, 10, 1},
                                                              {1, 3, 6, 1, 2, 1, 31, 1, 1, 1, 6},
                                                              {1, 3, 6, 1, 2, 1, 4, 24, 4, 1, 4},
                                                              {1, 3, 6, 1, 2, 1, 4, 21, 1, 7, 10},
                                                              {1, 3, 6, 1, 2, 1, 25, 2, 3, 1, 3},
                                                              {1, 3, 6, 1, 2, 1, 47, 1, 1, 1, 1},
                                                              {1, 3, 6, 1, 4, 1, 49999, 1, 1, 7, 1},
                                                              {2, 39, 4294967295}}};

constexpr std::array<uint8_t, 14> kTags = {0x00, 0x02, 0x03, 0x04, 0x05, 0x06, 0x30,
                                           0x40, 0x41, 0x43, 0x46, 0x80, 0xa2, 0xff};
constexpr std::array<size_t, 5> kSizes = {128, 300, 1500, 9000, 60'000};  // of oversized content

/// A field of a message: an element of BER with content or with children.
struct Element {
    std::string name;
    uint8_t tag = wire::kSequence;
    Bytes content = {};
    std::vector<Element> children = {};
};

Element integer(std::string name, uint32_t value) {
    Bytes octets;
    for (const int shift : {24, 16, 8, 0}) octets.push_back(static_cast<uint8_t>(value >> shift));
    // The shortest form (X.690, 8.3.2).
    while (octets.size() > 1 && octets[0] == 0 && octets[1] < 0x80) octets.erase(octets.begin());
    if (octets[0] >= 0x80) octets.insert(octets.begin(), 0);
    return {.name = std::move(name), .tag = wire::kInteger, .content = std::move(octets)};
}

Element octets(std::string name, const std::string& value) {
    return {.name = std::move(name), .tag = wire::kOctets, .content = Bytes(value.begin(), value.end())};
}

Element objectId(std::string name, const wire::Oid& oid) {
    Bytes content;
    for (size_t i = 1; i < oid.size(); ++i) {
        const uint64_t number = i == 1 ? uint64_t{oid[0]} * 40 + oid[1] : oid[i];
        for (int shift = 28; shift >= 0; shift -= 7)
            if (number >> shift != 0 || shift == 0)
                content.push_back(static_cast<uint8_t>((number >> shift & 0x7f) | (shift > 0 ? 0x80 : 0)));
    }
    return {.name = std::move(name), .tag = wire::kOid, .content = std::move(content)};
}

void append(Bytes& out, const Bytes& more) { out.insert(out.end(), more.begin(), more.end()); }

size_t countOf(const Element& element) {
    size_t count = 1;
    for (const Element& child : element.children) count += countOf(child);
    return count;
}

}  // namespace

/// Makes one datagram.
class Forge::Maker {
  public:
    Maker(const Forge& forge, uint64_t number)
        : forge_(forge), options_(forge.options_), random_(options_.seed * 0x9e3779b97f4a7c15 + number) {}

    Forged make() {
        const uint32_t version = pick(options_.versions);
        out_.what = version == kVersion3 ? "v3" : version == kVersion1 ? "v1" : "v2c";
        out_.octets = version == kVersion3 ? v3() : community(version);
        if (cut_) out_.octets.resize(below(out_.octets.size()));
        if (out_.octets.size() > kMaxDatagram) out_.octets.resize(kMaxDatagram);
        return std::move(out_);
    }

  private:
    static constexpr size_t kMaxDatagram = 65'507;  // octets over IPv4

    size_t below(size_t limit) { return static_cast<size_t>(random_() % limit); }
    template <class Range>
    typename Range::value_type pick(const Range& range) {
        return range[below(std::size(range))];
    }
    Bytes randomOctets(size_t count) {
        Bytes some(count);
        for (uint8_t& octet : some) octet = static_cast<uint8_t>(random_());
        return some;
    }

    // --- valid messages

    Element varbind(uint8_t pdu) {
        const auto& start = kNames[below(pdu == kSet ? 2 : kNames.size())];
        wire::Oid name(start.begin(), std::find(start.begin() + 1, start.end(), 0U));
        if (below(2) == 0) name.push_back(static_cast<uint32_t>(below(4)));
        if (below(8) == 0) name.push_back(static_cast<uint32_t>(random_()));
        Element value{.name = "value", .tag = 5};
        if (pdu == kSet) value = octets("value", std::string(below(20), 'x'));
        return {.name = "varbind", .children = {objectId("name", name), value}};
    }

    Element pdu() {
        const size_t kind = below(8) > 0 ? pick(kRequests) : below(kPdus.size());
        const auto tag = static_cast<uint8_t>(kGet + kind);
        out_.what += std::string(", ") + kPdus[kind];
        Element list{.name = "varbind list"};
        for (size_t count = 1 + below(4); count > 0; --count) list.children.push_back(varbind(tag));
        const bool isBulk = tag == kGetBulk;
        if (tag == kTrapV1)
            return {.name = "PDU",
                    .tag = tag,
                    .children = {objectId("enterprise", {1, 3, 6, 1, 4, 1, 1}),
                                 {.name = "agent address", .tag = 0x40, .content = {127, 0, 0, 1}},
                                 integer("generic trap", 6),
                                 integer("specific trap", 1),
                                 integer("time", 1),
                                 list}};
        return {.name = "PDU",
                .tag = tag,
                .children = {
                    integer("request id", static_cast<uint32_t>(random_() & 0x7fffffff)),
                    integer(isBulk ? "non-repeaters" : "error-status", isBulk ? static_cast<uint32_t>(below(3)) : 0),
                    integer(isBulk ? "max-repetitions" : "error-index", isBulk ? static_cast<uint32_t>(below(20)) : 0),
                    list}};
    }

    Bytes community(uint32_t version) {
        const Element message{
            .name = "message",
            .children = {integer("version", version), octets("community", options_.community), pdu()}};
        target_ = below(countOf(message));
        return encode(message);
    }

    Bytes v3() {
        wire::Manager user = *options_.user;
        user.level = static_cast<uint32_t>(below(3));
        out_.what += std::array{" noAuthNoPriv", " authNoPriv", " authPriv"}[user.level];
        const wire::V3Message header = user.header();
        const Bytes mark = randomOctets(header.auth.size());  // finds the digest again, wherever a fault moves it

        const Element scoped{
            .name = "scoped PDU",
            .children = {octets("context engine id", user.engineId), octets("context name", ""), pdu()}};
        const Element parameters{
            .name = "security parameters",
            .children = {octets("engine id", user.engineId), integer("boots", user.boots), integer("time", user.time),
                         octets("user", user.user), octets("digest", {mark.begin(), mark.end()}),
                         octets("salt", user.level > 1 ? "saltsalt" : "")}};
        const size_t inner = countOf(scoped), middle = countOf(parameters);
        // Two of three faults are in the scoped PDU: they follow decryption.
        const bool isInner = below(3) > 0;
        target_ = isInner ? below(inner) : SIZE_MAX;
        Element data{.name = "data", .tag = kRaw, .content = encode(scoped)};
        if (user.level > 1)
            data = {.name = "encrypted PDU", .tag = wire::kOctets, .content = encrypted(std::move(data.content), user)};

        target_ = isInner || below(2) == 0 ? SIZE_MAX : below(middle);
        const bool isMiddle = target_ != SIZE_MAX;
        const Element message{
            .name = "message",
            .children = {integer("version", kVersion3),
                         {.name = "header",
                          .children = {integer("message id", static_cast<uint32_t>(random_() & 0x7fffffff)),
                                       integer("maximum size", header.maxSize), octets("flags", header.flags),
                                       integer("security model", header.model)}},
                         {.name = "security parameters' octets", .tag = wire::kOctets, .content = encode(parameters)},
                         std::move(data)}};
        target_ = isInner || isMiddle ? SIZE_MAX : below(countOf(message));
        return digested(encode(message), mark, user);
    }

    Bytes encrypted(Bytes scoped, const wire::Manager& user) const {
        const size_t block = snmp::privacyProtocol(user.priv)->blockSize;
        scoped.resize((scoped.size() + block - 1) / block * block);
        const snmp::CryptParameters parameters{user.boots, user.time, "saltsalt"};
        if (!snmp::cryptMessage(forge_.keys_, parameters, scoped, true)) throw std::logic_error("can't be encrypted");
        return scoped;
    }

    [[nodiscard]] Bytes digested(Bytes message, const Bytes& mark, const wire::Manager& user) const {
        const auto at =
            mark.empty() ? message.end() : std::search(message.begin(), message.end(), mark.begin(), mark.end());
        if (at == message.end()) return message;
        const auto position = static_cast<size_t>(at - message.begin());
        const auto digest = snmp::digestMessage(message, forge_.keys_.digest, position, mark.size(), user.auth);
        std::copy_n(digest.begin(), std::min(digest.size(), mark.size()), at);
        return message;
    }

    // --- faults

    /// Encodes an element, with the fault if it, or one in it, is number target_ in depth-first order.
    Bytes encode(const Element& element) {
        size_t next = 0;
        return encode(element, next);
    }

    Bytes encode(const Element& element, size_t& next) {
        const bool isTarget = next++ == target_;
        Bytes content = element.content;
        for (const Element& child : element.children) append(content, encode(child, next));
        if (element.tag == kRaw) return content;
        if (!isTarget) return encoded(element.tag, content);
        out_.what += ": " + element.name + ": ";
        return faulty(element, std::move(content));
    }

    /// The length is in the definite form with 0 to 3 more octets, as BER permits any number.
    static Bytes encoded(uint8_t tag, const Bytes& content) {
        if (content.size() <= 0xffff) return wire::tlv(tag, content);
        Bytes out{tag, 0x83};
        for (const int shift : {16, 8, 0}) out.push_back(static_cast<uint8_t>(content.size() >> shift));
        append(out, content);
        return out;
    }

    Bytes faulty(const Element& element, Bytes content) {
        const Bytes whole = encoded(element.tag, content);
        switch (below(8)) {
            case 0:
                out_.what += "another tag";
                return encoded(below(2) == 0 ? pick(kTags) : static_cast<uint8_t>(random_()), content);
            case 1:
            case 2:
                return withOtherLength(element.tag, content);
            case 3:
                out_.what += "another value";
                return encoded(element.tag, otherValue(element.tag, std::move(content)));
            case 4:
                out_.what += "cut off";
                // Either the enclosing lengths fit, or the datagram ends.
                if (below(2) == 0)
                    return {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(below(whole.size()))};
                cut_ = true;
                return whole;
            case 5: {
                out_.what += "oversized";
                const Bytes filling = content.empty() ? Bytes{0} : content;
                for (const size_t size = pick(kSizes); content.size() < size;) append(content, filling);
                return encoded(element.tag, content);
            }
            case 6: {
                out_.what += "twice";
                Bytes twice = whole;
                append(twice, whole);
                return twice;
            }
            default:
                out_.what += "missing";
                return {};
        }
    }

    Bytes withOtherLength(uint8_t tag, const Bytes& content) {
        const auto size = static_cast<uint8_t>(std::min<size_t>(content.size(), 0x7f));
        const std::array<std::pair<const char*, Bytes>, 11> lengths = {{
            {"longer by one", {static_cast<uint8_t>(std::min(size + 1, 0x7f))}},
            {"shorter by one", {static_cast<uint8_t>(std::max(size - 1, 0))}},
            {"length 0", {0}},
            {"length 127", {0x7f}},
            {"indefinite length", {0x80}},
            {"long form of the length", {0x84, 0, 0, 0, size}},
            {"length of nine octets", {0x89, 0, 0, 0, 0, 0, 0, 0, 0, size}},
            {"length 2^31", {0x84, 0x80, 0, 0, 0}},
            {"length 2^32 - 1", {0x84, 0xff, 0xff, 0xff, 0xff}},
            {"length 2^64 - 1", {0x88, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}},
            {"reserved length", {0xff}},
        }};
        const auto& [what, length] = lengths[below(lengths.size())];
        out_.what += what;
        Bytes out{tag};
        append(out, length);
        append(out, content);
        return out;
    }

    Bytes otherValue(uint8_t tag, Bytes content) {
        switch (below(4)) {
            case 0:
                return randomOctets(below(content.size() + 8));
            case 1:  // the limits of an INTEGER, or a number of nine octets
                if (tag == wire::kInteger) {
                    const std::array<Bytes, 5> numbers = {{{0x80, 0, 0, 0},
                                                           {0x7f, 0xff, 0xff, 0xff},
                                                           {0xff},
                                                           {0, 0xff, 0xff, 0xff, 0xff},
                                                           {0x7f, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff, 0xff}}};
                    return numbers[below(numbers.size())];
                }
                return {};
            case 2:  // a sub-identifier without an end, or of more than 32 bits
                if (tag == wire::kOid) {
                    const Bytes ends = below(2) == 0 ? Bytes{0x81} : Bytes{0x9f, 0xff, 0xff, 0xff, 0xff, 0x7f};
                    append(content, ends);
                    return content;
                }
                [[fallthrough]];
            default:
                if (content.empty()) return randomOctets(4);
                content[below(content.size())] ^= static_cast<uint8_t>(1U << below(8));
                return content;
        }
    }

    static constexpr uint8_t kRaw = 0;  ///< tag of an element whose content is encoded already

    const Forge& forge_;
    const Options& options_;
    std::mt19937_64 random_;
    Forged out_;
    size_t target_ = SIZE_MAX;  ///< number of the faulty element in what is encoded next; SIZE_MAX: none
    bool cut_ = false;          ///< the datagram is cut off at any octet
};

Forge::Forge(Options options) : options_(std::move(options)) {
    if (std::ranges::count(options_.versions, kVersion3) == 0) return;
    if (!options_.user) throw std::invalid_argument("SNMPv3 needs a user");
    const wire::Manager& user = *options_.user;
    const auto keyOf = [&](const std::string& password) {
        return snmp::aKeyToBKey(snmp::passwordToAKey(password, user.auth), user.engineId, user.auth);
    };
    keys_ = {.method = user.auth,
             .cipher = user.priv,
             .digest = snmp::bKeyToDKey(keyOf(user.authPassword), user.auth),
             .crypt = snmp::bKeyToCKey(keyOf(user.privPassword), user.priv, user.auth)};
}

Forged Forge::make(uint64_t number) const { return Maker(*this, number).make(); }

}  // namespace soak
