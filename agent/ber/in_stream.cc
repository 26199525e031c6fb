#include "agent/ber/in_stream.h"

#include <algorithm>

#include "agent/ber/tags.h"
#include "tn/log.h"

namespace snmp {

namespace {

constexpr size_t kMaxNamePasses = 3;  // over the names of one message

// Prefix and text are one string: repeated lines are counted by their first piece, so a flood of one fault doesn't
// suppress the lines of others.
tn::lstream::Line logFault(std::string_view text) {
    // compat: 115
    return tn::strangersOut << std::string("SNMP InStream: ").append(text);
}

}  // namespace

// True if `wanted` octets remain. This is the only check against the end of the data: every read goes through it.
bool InStream::has(int wanted) const { return wanted >= 0 && static_cast<size_t>(wanted) <= size_ - pos_; }

void InStream::read(std::span<const uint8_t> message) {
    data_.assign(message.begin(), message.end());
    size_ = message.size();
    reset();
    isVersionRead_ = false;
    nameOctets_ = 0;
}

uint8_t InStream::getType() const { return has(1) ? data_[pos_] : kNoTag; }

int InStream::getLen() {
    if (!has(1)) return -1;
    const uint8_t first = data_[pos_];
    if (first == 0x80) {
        logFault("we don't support indefinite lengths");
        return -1;
    }
    if (first > 0x84) {
        logFault("we can't support data lengths that long");
        return -1;
    }
    ++pos_;
    if (first < 0x80) return first;

    const int count = first & 0x7F;
    if (!has(count)) {
        logFault("malformed in getLen");
        return -1;
    }
    unsigned int length = 0;
    for (int i = 0; i < count; ++i) length = length << 8 | data_[pos_++];
    return static_cast<int>(length);
}

int InStream::tagAndLen() {
    if (!has(1)) return -1;
    ++pos_;
    return getLen();
}

int InStream::contentLen(std::string_view overflow) {
    const int length = tagAndLen();
    if (length < 0) return -1;
    if (has(length)) return length;
    logFault(overflow);
    return -1;
}

bool InStream::getInt(unsigned int* value) {
    int length = contentLen("get int overflow of message");
    if (length < 0) return false;
    if (length > 5) {
        logFault("I don't support such large integers");
        return false;
    }
    if (length == 5 && data_[pos_] != 0) {
        logFault("I don't support such large integers 2");  // compat: 97
        return false;
    }
    const bool negative = length > 0 && data_[pos_] >= 0x80;  // compat: 38
    unsigned int bits = negative ? ~0U : 0U;
    for (; length > 0; --length) bits = bits << 8 | data_[pos_++];
    *value = bits;
    return true;
}

bool InStream::get64(unsigned long long* value) {
    int length = contentLen("get 64 overflow of message");
    if (length < 0) return false;
    if (length > 8) {
        // compat: 39. Nine octets with a leading zero are refused as well: the agent has no writable Counter64.
        logFault("invalig counter64 size");  // compat: 94
        return false;
    }
    unsigned long long bits = 0;
    for (; length > 0; --length) bits = bits << 8 | data_[pos_++];
    *value = bits;
    return true;
}

bool InStream::getNull() {
    const int length = tagAndLen();
    if (length > 0) logFault("malformed null");
    return length == 0;
}

bool InStream::getString(std::string* text) {
    const int length = contentLen("get string overflow of message");
    if (length < 0) return false;
    const auto content = std::span(data_).subspan(pos_, static_cast<size_t>(length));
    text->assign(content.begin(), content.end());
    pos_ += content.size();
    return true;
}

bool InStream::getBits(std::vector<unsigned char>* bits) {
    const int length = contentLen("get bits overflow of message");
    if (length < 0) return false;
    if (length == 0 || data_[pos_] > 7) {
        logFault("Invalid bitstring");
        return false;
    }
    const auto content = std::span(data_).subspan(pos_, static_cast<size_t>(length));
    bits->assign(content.begin(), content.end());
    pos_ += content.size();
    return true;
}

// Where a name ends whose content ends at `contentEnd`: there, unless the content's last octet says that more follow.
// Then the last sub-identifier continues after the content (compat: 35). If the data ends first, the result is past the
// end of the data.
size_t InStream::oidEnd(size_t contentEnd) const {
    if (data_[contentEnd - 1] < 0x80 || contentEnd == pos_ + 1) return contentEnd;
    while (contentEnd < size_ && data_[contentEnd] >= 0x80) ++contentEnd;
    return contentEnd + 1;
}

bool InStream::getOID(OID* oid) {
    const int length = tagAndLen();
    if (length < 0) return false;
    if (!has(length)) {
        logFault("get oid overflow of message") << pos_ << " " << length << " " << size_;  // compat: 98
        return false;
    }
    if (length == 0) {
        *oid = {0, 0};  // compat: 38
        return true;
    }
    const size_t end = oidEnd(pos_ + static_cast<size_t>(length));
    if (!acceptName(end)) return false;
    readSubIds(end, oid);
    return true;
}

// Counts the octets from the cursor to `end`. False if the name ends past the data or the names exceed their limit.
bool InStream::acceptName(size_t end) {
    if (end > size_) {
        logFault("malformed oid");
        pos_ = size_;
        return false;
    }
    nameOctets_ += end - pos_;
    if (nameOctets_ <= kMaxNamePasses * size_) return true;
    logFault("names overlap");
    return false;
}

// Reads sub-identifiers from the cursor to `end`. The last octet before `end` completes a sub-identifier.
void InStream::readSubIds(size_t end, OID* oid) {
    oid->resize(end - pos_ + 1);  // the maximum: the first octet gives two arcs
    unsigned int* id = oid->data();
    const uint8_t* at = data_.data() + pos_;
    *id++ = *at / 40U;  // compat: 37
    *id++ = *at++ % 40U;
    for (const uint8_t* const last = data_.data() + end; at < last;) {
        unsigned int bits = 0;
        for (; *at >= 0x80; ++at) bits = bits << 7 | (*at & 0x7F);
        *id++ = bits << 7 | *at++;  // compat: 36
    }
    oid->resize(static_cast<size_t>(id - oid->data()));
    pos_ = end;
}

int InStream::enterSeq() {
    const int length = tagAndLen();
    if (!has(length)) return -1;
    seqEnds_.push_back(pos_ + static_cast<size_t>(length));
    return length;
}

void InStream::exitSeq() {
    if (seqEnds_.empty()) {
        logFault("exitSeq when seqEndp is empty!");  // compat: 96
        return;
    }
    pos_ = seqEnds_.back();
    seqEnds_.pop_back();
}

bool InStream::isSeqEnd() const { return pos_ >= (seqEnds_.empty() ? size_ : seqEnds_.back()) || !has(1); }

std::span<const uint8_t> InStream::restOfSeq() const {
    const size_t end = seqEnds_.empty() ? size_ : seqEnds_.back();
    return bytes().subspan(pos_, end - std::min(end, pos_));
}

void InStream::saveSeq(StreamPos& saved) const {
    saved.pos = pos_;
    saved.seqEnds = seqEnds_;
}

void InStream::restoreSeq(const StreamPos& saved) {
    pos_ = saved.pos;
    seqEnds_ = saved.seqEnds;
}

void InStream::reset() {
    seqEnds_.clear();
    pos_ = 0;
}

int InStream::getVersion() {
    if (!isVersionRead_) {
        isVersionRead_ = true;
        unsigned int read = 0;
        version_ = enterSeq() >= 0 && getInt(&read) ? static_cast<int>(read) : -1;
    }
    return version_;
}

}  // namespace snmp
