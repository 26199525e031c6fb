#include "agent/ber/oid.h"

#include <cstring>

#include <ostream>

namespace snmp {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

}  // namespace

OID::OID(const std::string& text) {
    for (size_t pos = 0; pos < text.size(); ++pos) {  // ++pos skips the character that ended the digits
        if (text[pos] == '.') ++pos;
        unsigned int id = 0;
        for (; pos < text.size() && isDigit(text[pos]); ++pos)
            id = id * 10 + static_cast<unsigned int>(text[pos] - '0');
        push_back(id);
    }
}

OID OID::operator+(unsigned int id) const {
    OID sum;
    sum.reserve(size() + 1);
    sum += *this;
    return sum += id;
}

OID OID::operator+(const OID& tail) const {
    OID sum;
    sum.reserve(size() + tail.size());
    sum += *this;
    return sum += tail;
}

OID& OID::operator+=(unsigned int id) {
    push_back(id);
    return *this;
}

OID& OID::operator+=(const OID& tail) {
    const size_t old = size();
    const size_t added = tail.size();  // tail may be this
    resize(old + added);
    std::copy_n(tail.begin(), added, begin() + static_cast<difference_type>(old));
    return *this;
}

int OID::compare(const unsigned int* first1, const unsigned int* last1, const unsigned int* first2,
                 const unsigned int* last2) {
    // Names of one tree have long common prefixes: skip those two sub-identifiers at a time.
    const auto sameTwo = [&] { return std::memcmp(first1, first2, 2 * sizeof *first1) == 0; };
    while (last1 - first1 >= 2 && last2 - first2 >= 2 && sameTwo()) first1 += 2, first2 += 2;
    for (; first1 != last1 && first2 != last2; ++first1, ++first2) {
        if (*first1 != *first2) return *first1 < *first2 ? -1 : 1;
    }
    if (first1 != last1) return 1;
    return first2 != last2 ? -1 : 0;
}

int OID::compare(size_t pos, size_t n, const OID& other) const {
    pos = std::min(pos, size());
    n = std::min(n, size() - pos);
    return compare(data() + pos, data() + pos + n, other.data(), other.data() + other.size());
}

std::string OID::str() const {
    std::string text;
    for (const unsigned int id : *this) text.append(1, '.').append(std::to_string(id));
    return text;
}

std::ostream& operator<<(std::ostream& stream, const OID& oid) {
    const std::string text = oid.str();
    return stream << (text.empty() ? std::string_view() : std::string_view(text).substr(1));
}

// Whether the sub-identifiers from `first` on, at most n, fit into octets.
bool OID::areOctets(size_t first, size_t n) const {
    first = std::min(first, size());
    const auto from = begin() + static_cast<difference_type>(first);
    const auto to = from + static_cast<difference_type>(std::min(n, size() - first));
    return std::all_of(from, to, [](unsigned int id) { return id < 256; });
}

// Whether the first sub-identifier is a length and at least as many sub-identifiers follow.
bool OID::hasCounted() const { return !empty() && front() < size(); }

bool OID::pop(size_t n, OID* out) {
    const auto end = begin() + static_cast<difference_type>(std::min(n, size()));
    out->assign(begin(), end);
    erase(begin(), end);
    return true;
}

bool OID::popOID(unsigned int n, OID* out) { return n <= size() && pop(n, out); }

bool OID::popOID(OID* out) { return hasCounted() && pop(size_t{front()} + 1, out); }

bool OID::popString(OID* out) { return hasCounted() && areOctets(1, front()) && popOID(out); }

bool OID::popString(unsigned int n, OID* out) { return areOctets(0, n) && pop(n, out); }

bool OID::popIP(OID* out) { return pop(4, out); }

bool OID::popIP6(OID* out) { return pop(16, out); }

bool OID::popUnsigned(OID* out) { return !empty() && pop(1, out); }

bool OID::asUnsigned(unsigned int* value) const {
    if (size() != 1) return false;
    *value = front();
    return true;
}

bool OID::asIP(unsigned int* address) const {
    *address = 0;
    for (unsigned int i = 0; i < 4; ++i) {
        if (i >= size() || (*this)[i] > 255) return false;
        *address |= (*this)[i] << (24 - 8 * i);
    }
    return true;
}

bool OID::asIP6(tn::IPAddr6* address) const {
    *address = tn::IPAddr6();
    for (size_t i = 0; i < address->octets().size(); ++i) {
        if (i >= size() || (*this)[i] > 255) return false;
        address->octets()[i] = static_cast<uint8_t>((*this)[i]);
    }
    return true;
}

bool OID::asString(std::string* text) const {
    if (!hasCounted() || !areOctets(1, front())) return false;
    text->assign(begin() + 1, begin() + 1 + front());
    return true;
}

bool OID::asString(unsigned int n, std::string* text) const {
    if (!areOctets(0, n)) return false;
    // compat: 42. Set before the length is checked: the caller pads the value of an index that is too short.
    text->assign(begin(), begin() + static_cast<difference_type>(std::min<size_t>(n, size())));
    return size() == n;
}

bool OID::asOID(unsigned int n, OID* oid) const {
    if (size() != n) return false;
    *oid = *this;
    return true;
}

bool OID::asOID(OID* oid) const {
    if (hasCounted()) oid->assign(begin() + 1, end());
    return true;
}

}  // namespace snmp
