#include "agent/ber/out_stream.h"

#include <arpa/inet.h>

#include <array>
#include <bit>
#include <cstdlib>

#include "agent/ber/encoding.h"
#include "agent/ber/tags.h"
#include "agent/ber/variable_binding.h"
#include "tn/log.h"

namespace snmp {

namespace {

constexpr size_t kUsualMessage = 1500;  // octets, allocated at once: replies rarely exceed an Ethernet frame
constexpr size_t kUsualDepth = 8;       // open values
constexpr size_t kMaxHeader = 4;        // octets of tag and length

// Counted as lines caused by strangers: the value may be one that any peer sent.
// compat: 115
void logRefusal(std::string_view text) { tn::strangersOut << std::string("SNMP OutStream: ").append(text); }

}  // namespace

OutStream::OutStream() {
    data_.resize(kUsualMessage);
    seqStarts_.reserve(kUsualDepth);
}

void OutStream::clear() {
    size_ = 0;
    seqStarts_.clear();
    errorStatusPos_ = 0;
    errorIndexPos_ = 0;
    digestPos_ = 0;
    reserved_ = 0;
    limit_ = kMaxMessage;
}

uint8_t* OutStream::grow(size_t n) {
    if (size_ + n > data_.size()) data_.resize(2 * (size_ + n));
    size_ += n;
    return data_.data() + size_ - n;
}

// Appends tag, length and room for the content. Returns the first octet of the content.
uint8_t* OutStream::startValue(size_t contentLen, uint8_t tag) {
    uint8_t* at = grow(1 + lenOctets(contentLen) + contentLen);
    *at++ = tag;
    return putLen(at, contentLen);
}

void OutStream::startSeq(uint8_t tag) {
    startValue(0, tag);
    seqStarts_.push_back(size_);
}

void OutStream::endSeq() {
    if (seqStarts_.empty()) {
        logRefusal("no sequence");
        return;
    }
    const size_t start = seqStarts_.back();
    seqStarts_.pop_back();
    const size_t length = size_ - start;
    if (length >= 0x10000) {
        logRefusal("sequence too long");
        return;
    }
    insert(start, lenOctets(length) - 1);
    putLen(data_.data() + start - 1, length);
}

// Inserts n zeros before the octet `at` and adjusts the positions of everything from there on.
void OutStream::insert(size_t at, size_t n) {
    if (n == 0) return;
    grow(n);
    std::copy_backward(data_.data() + at, data_.data() + size_ - n, data_.data() + size_);
    std::fill_n(data_.data() + at, n, 0);
    for (size_t& start : seqStarts_) start += start >= at ? n : 0;
    errorStatusPos_ += errorStatusPos_ >= at ? n : 0;
    errorIndexPos_ += errorIndexPos_ >= at ? n : 0;
    digestPos_ += digestPos_ >= at ? n : 0;
}

void OutStream::addLen(unsigned int n) { putLen(grow(lenOctets(n)), n); }

void OutStream::addUnsigned(uint64_t value, uint8_t tag) {
    const size_t octets = numberOctets(value);
    putNumber(startValue(octets, tag), octets, value);
}

void OutStream::add(unsigned int value, uint8_t tag) {
    if (tag != tag::Integer || value < 0x80000000) return addUnsigned(value, tag);
    // compat: 43. A negative number is one octet 0xFF, then the octets after its leading 0xFF octets: often one more
    // than the shortest form has (X.690, 8.3.2). Managers of this agent have always received it so.
    const size_t octets = static_cast<size_t>(std::bit_width(~value) + 7) / 8 + 1;
    putNumber(startValue(octets, tag), octets, uint64_t{value} | 0xFFFFFFFF00000000);
}

void OutStream::add(unsigned long value, uint8_t tag) { addUnsigned(value, tag); }

void OutStream::add(std::string_view text, uint8_t tag) {
    std::copy(text.begin(), text.end(), startValue(text.size(), tag));
}

void OutStream::add(const unsigned char* octets, unsigned int n, uint8_t tag) {
    std::copy_n(octets, n, startValue(n, tag));
}

void OutStream::addOID(std::span<const unsigned int> oid, uint8_t tag) {
    if (oid.size() < 2) return logRefusal("cannot encode OID shorter that 2");  // compat: 95
    // compat: 37. The second arc is limited to 39 under a first arc of 2 as well, because the reader divides by 40.
    if (oid[0] > kGreatestFirstArc || oid[1] > 39) return logRefusal("encoding invalid OID");  // compat: 45
    // Reserve room for the longest form. Nearly every name has one length octet; the content moves if it has more.
    const size_t start = size_;
    uint8_t* const content = grow(kMaxHeader + 5 * oid.size()) + 2;
    uint8_t* at = content;
    *at++ = static_cast<uint8_t>(40 * oid[0] + oid[1]);
    for (const unsigned int id : oid.subspan(2)) at = putSubId(at, id);
    const auto length = static_cast<size_t>(at - content);
    const size_t header = 1 + lenOctets(length);
    if (header > 2) std::copy_backward(content, at, at + header - 2);
    data_[start] = tag;
    putLen(data_.data() + start + 1, length);
    size_ = start + header + length;
}

void OutStream::addNull(uint8_t tag) { startValue(0, tag); }

void OutStream::addBits(const unsigned char* octets, unsigned int n, uint8_t tag) {
    if (n == 0 || octets[0] > 7) return logRefusal("building invalid bitstring");
    add(octets, n, tag);
}

void OutStream::addErrorStatus(uint8_t status) {
    if (errorStatusPos_ == 0) {
        add(0U, tag::Integer);
        errorStatusPos_ = size_ - 1;
    }
    data_[errorStatusPos_] = status;
}

void OutStream::addErrorIndex(unsigned int index) {
    if (errorIndexPos_ == 0) {
        add(0U, tag::Integer);
        errorIndexPos_ = size_ - 1;
    }
    // A widened field stays wide: a smaller index gets leading zeros, which every reader accepts.
    const size_t width = data_[errorIndexPos_ - 1];
    const size_t octets = std::max(width, numberOctets(index));
    insert(errorIndexPos_ + 1, octets - width);
    data_[errorIndexPos_ - 1] = static_cast<uint8_t>(octets);
    putNumber(data_.data() + errorIndexPos_, octets, index);
}

void OutStream::addByType(const std::string& text, uint8_t tag) {
    switch (tag) {
        case tag::ObjectIdentifier:
            return addOID(OID(text), tag);
        case tag::OctetString:
            return add(text, tag);
        case tag::Null:
            return addNull(tag);
        case tag::IpAddress: {
            const auto octets = std::bit_cast<std::array<unsigned char, 4>>(inet_addr(text.c_str()));
            return add(octets.data(), octets.size(), tag);
        }
        case tag::Integer:
        case tag::Counter32:
        case tag::TimeTicks:
        case tag::UInteger32:
            return add(static_cast<unsigned int>(std::strtol(text.c_str(), nullptr, 10)), tag);
        default:  // compat: 46, no other type has a text form
            return;
    }
}

void OutStream::addVarBind(const VariableBinding& binding) {
    startSeq(tag::Sequence);
    addOID(binding.name, tag::ObjectIdentifier);
    addByType(binding.value, static_cast<uint8_t>(binding.type));
    endSeq();
}

void OutStream::append(std::span<const uint8_t> values) { std::ranges::copy(values, grow(values.size())); }

// Closing an open value adds two length octets, at most.
size_t OutStream::closedSize() const { return size_ + 2 * seqStarts_.size() + reserved_; }

void OutStream::truncate(size_t position) {
    position = std::max(position, seqStarts_.empty() ? 0 : seqStarts_.back());
    if (position >= size_) return;
    if (errorStatusPos_ >= position) errorStatusPos_ = 0;
    if (errorIndexPos_ > 0 && errorIndexPos_ + data_[errorIndexPos_ - 1] > position) errorIndexPos_ = 0;
    size_ = position;
}

}  // namespace snmp
