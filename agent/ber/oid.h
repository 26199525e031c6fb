#pragma once

#include <algorithm>
#include <compare>
#include <initializer_list>
#include <iosfwd>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tn/address.h"

namespace snmp {

/// An object identifier: the name of an object, the prefix of a subtree, or the index part of an instance's name. It
/// has any number of sub-identifiers, unsigned numbers of 32 bits. An empty OID means that there is no value.
///
/// The order is that of GetNext: lexicographic, and a prefix comes before the names it begins: 1.3.6, 1.3.6.0, 1.3.7.
class OID : public std::vector<unsigned int> {
  public:
    OID() = default;
    OID(std::initializer_list<unsigned int> ids) : vector(ids) {}
    explicit OID(unsigned int id) : vector(1, id) {}
    OID(const unsigned int* first, const unsigned int* last) : vector(first, last) {}
    explicit OID(std::span<const unsigned int> ids) : vector(ids.begin(), ids.end()) {}
    /// Parses dotted text, with or without a leading dot. Any text is accepted (compat: 40): each character that isn't
    /// a digit ends an element, a dot directly after such a character is skipped, an element without digits is 0, and
    /// numbers wrap at 32 bits.
    explicit OID(const std::string& text);

    OID operator+(unsigned int id) const;
    OID operator+(const OID& tail) const;
    OID& operator+=(unsigned int id);
    OID& operator+=(const OID& tail);

    friend bool operator==(const OID& a, const OID& b) {
        return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
    }
    friend std::strong_ordering operator<=>(const OID& a, const OID& b) {
        return compare(a.data(), a.data() + a.size(), b.data(), b.data() + b.size()) <=> 0;
    }
    /// Compares two ranges. @return -1, 0 or 1
    static int compare(const unsigned int* first1, const unsigned int* last1, const unsigned int* first2,
                       const unsigned int* last2);
    /// Compares the n sub-identifiers from `pos` on, or fewer if the OID ends first, with all of `other`.
    /// @return -1, 0 or 1
    [[nodiscard]] int compare(size_t pos, size_t n, const OID& other) const;
    /// Whether this is `prefix` or begins with it. Every OID begins with the empty one.
    [[nodiscard]] bool hasPrefix(const OID& prefix) const {
        return size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), begin());
    }

    /// Decimal numbers with a dot before each: ".1.3.6". The stream form has no leading dot (compat: 112).
    [[nodiscard]] std::string str() const;
    friend std::ostream& operator<<(std::ostream& stream, const OID& oid);

    // The pop functions move one index element (RFC 2578, 7.7) from the front of this OID to *out, undecoded, and
    // return true. If the element isn't there, they return false and change neither OID.

    bool popOID(unsigned int n, OID* out);     ///< n sub-identifiers; false if there are fewer
    bool popOID(OID* out);                     ///< a length and as many more; *out includes the length
    bool popString(OID* out);                  ///< like popOID(out); false also if a character is above 255
    bool popString(unsigned int n, OID* out);  ///< n or, at the end, fewer characters; false if one is above 255
    bool popIP(OID* out);                      ///< 4 sub-identifiers or, at the end, fewer; never false
    bool popIP6(OID* out);                     ///< 16 sub-identifiers or, at the end, fewer; never false
    bool popUnsigned(OID* out);                ///< one sub-identifier; false if this OID is empty

    // The as functions decode a whole index element, normally one that a pop function returned.

    /// The only sub-identifier. False, *value untouched, unless there is exactly one.
    bool asUnsigned(unsigned int* value) const;
    /// The first 4 as an IPv4 address, first octet in the most significant byte. False if there are fewer or one is
    /// above 255. Then *address has the octets before the fault, followed by zeros.
    bool asIP(unsigned int* address) const;
    /// The first 16 as an IPv6 address; on failure as asIP.
    bool asIP6(tn::IPAddr6* address) const;
    /// A length and as many characters; the rest is ignored. False, *text untouched, if characters are missing or above
    /// 255.
    bool asString(std::string* text) const;
    /// Exactly n characters. False, *text untouched, if one of the first n is above 255. If there are more or fewer,
    /// false as well, but *text has the first n or all of them.
    bool asString(unsigned int n, std::string* text) const;
    /// A copy. False, *oid untouched, unless there are exactly n sub-identifiers.
    bool asOID(unsigned int n, OID* oid) const;
    /// All that follows a leading length. Always true: without a valid length *oid is untouched (compat: 41).
    bool asOID(OID* oid) const;

  private:
    [[nodiscard]] bool areOctets(size_t first, size_t n) const;
    [[nodiscard]] bool hasCounted() const;
    bool pop(size_t n, OID* out);
};

}  // namespace snmp
