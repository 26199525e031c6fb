#include "wire/reader.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <stdexcept>

namespace wire {

namespace {

uint64_t bigEndian(std::span<const uint8_t> octets, uint64_t above = 0) {
    for (const uint8_t octet : octets) above = above << 8 | octet;
    return above;
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
    if (at != end + 1 || out.size() < 2) throw std::invalid_argument("not an OID: " + dotted);
    return out;
}

std::string dotted(const Oid& name) {
    std::string out;
    for (const uint32_t number : name) out += (out.empty() ? "" : ".") + std::to_string(number);
    return out;
}

bool isNumber(uint8_t tag) {
    constexpr uint8_t kNumbers[] = {kInteger, 0x41, 0x42, 0x43, 0x46, 0x47};
    return std::find(std::begin(kNumbers), std::end(kNumbers), tag) != std::end(kNumbers);
}

void Reader::refuse(const std::string& reason) {
    if (why_.empty()) why_ = reason;
    rest_ = {};
}

Reader Reader::enter(uint8_t tag) {
    Reader inner{{}, why_};
    if (rest_.size() < 2 || rest_[0] != tag)
        return refuse("tag " + std::to_string(peek()) + " instead of " + std::to_string(tag)), inner;
    size_t length = rest_[1];
    size_t header = 2;
    if (length >= 0x80) {
        header += length & 0x7f;
        if (header == 2 || header > 4 || rest_.size() < header) return refuse("bad length"), inner;
        length = bigEndian(rest_.first(header).subspan(2));
        if (length < (header == 3 ? 0x80U : 0x100U)) return refuse("length not minimal"), inner;
    }
    if (rest_.size() < header + length) return refuse("length past the end"), inner;
    inner.rest_ = rest_.subspan(header, length);
    rest_ = rest_.subspan(header + length);
    return inner;
}

uint64_t Reader::number(uint8_t tag) {
    const auto octets = enter(tag).rest_;
    if (octets.empty() || octets.size() > 9) return refuse("bad number"), 0;
    const bool negative = tag == kInteger && (octets[0] & 0x80) != 0;
    const uint64_t result = bigEndian(octets, negative ? ~0ULL : 0);
    return tag == kInteger ? static_cast<uint32_t>(result) : result;
}

std::string Reader::octets(uint8_t tag) {
    const auto content = enter(tag).rest_;
    return {content.begin(), content.end()};
}

Oid Reader::objectId() {
    const auto content = enter(kOid).rest_;
    if (content.empty()) return refuse("empty OID"), Oid{};
    Oid result{content[0] / 40U, content[0] % 40U};
    uint64_t id = 0;
    bool open = false;
    for (const uint8_t octet : content.subspan(1)) {
        if (!open && octet == 0x80) return refuse("OID with a leading 0x80"), Oid{};
        id = id << 7 | (octet & 0x7f);
        if (id > UINT32_MAX) return refuse("OID with a number of more than 32 bits"), Oid{};
        open = (octet & 0x80) != 0;
        if (open) continue;
        result.push_back(static_cast<uint32_t>(id));
        id = 0;
    }
    if (open) refuse("OID without an end");
    return result;
}

void Reader::end(const char* of) {
    if (!rest_.empty()) refuse(std::string("something left over in ") + of);
}

}  // namespace wire
