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

/// An object identifier: the name of an object, the prefix of a subtree, or the index part of an instance's name.
/// Sub-identifiers are unsigned 32-bit numbers; their count isn't bounded here. Empty stands for no value yet.
///
/// Order is lexicographic with a prefix before what it is a prefix of, which is the order of GetNext: 1.3.6, 1.3.6.0,
/// 1.3.7. Every operation that takes numbers from a table of constants takes a span, so that such tables need no OID.
class OID : public std::vector<unsigned int> {
  public:
    OID() = default;
    OID(std::initializer_list<unsigned int> ids) : vector(ids) {}
    explicit OID(unsigned int id) : vector(1, id) {}
    OID(const unsigned int* first, const unsigned int* last) : vector(first, last) {}
    explicit OID(std::span<const unsigned int> ids) : vector(ids.begin(), ids.end()) {}
    /// Parses dotted text; a leading dot is accepted and nothing is an error (compat: 40): each character that isn't a
    /// digit ends an element, an element without digits is 0, a dot just after an end belongs to it, and numbers wrap
    /// at 32 bits.
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
    /// Compares two ranges: -1, 0 or 1.
    static int compare(const unsigned int* first1, const unsigned int* last1, const unsigned int* first2,
                       const unsigned int* last2);
    /// Compares the piece of at most n sub-identifiers from pos on, cut at the end, with the whole of other: -1, 0, 1.
    [[nodiscard]] int compare(size_t pos, size_t n, const OID& other) const;
    /// Whether this lies under the prefix or is it; everything lies under the empty one.
    [[nodiscard]] bool hasPrefix(const OID& prefix) const {
        return size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), begin());
    }

    /// Decimal numbers with a dot before each, the first included: ".1.3.6"; the stream form has no leading dot
    /// (compat: 112).
    [[nodiscard]] std::string str() const;
    friend std::ostream& operator<<(std::ostream& stream, const OID& oid);

    // Readers of one index element at the front (RFC 2578, 7.7). They move it, still as sub-identifiers, to *out and
    // return true; they return false and change neither OID when no such element is there.

    bool popOID(unsigned int n, OID* out);     ///< the first n; false when fewer are there
    bool popOID(OID* out);                     ///< a length and as many more, the length included in *out
    bool popString(OID* out);                  ///< like popOID(out), false also when a character is 256 or more
    bool popString(unsigned int n, OID* out);  ///< at most n, what is there when fewer; false for one of 256 or more
    bool popIP(OID* out);                      ///< at most 4; never false
    bool popIP6(OID* out);                     ///< at most 16; never false
    bool popUnsigned(OID* out);                ///< one; false when empty

    // Interpreters of a whole piece, normally one just returned by a reader above.

    /// The only sub-identifier; false and *value untouched unless there is exactly one.
    bool asUnsigned(unsigned int* value) const;
    /// An IPv4 address, first octet in the most significant byte, of the first 4. False when fewer are there or one is
    /// 256 or more: then *address holds those before, from the high byte on, and zeros.
    bool asIP(unsigned int* address) const;
    /// An IPv6 address of the first 16; false as for asIP.
    bool asIP6(tn::IPAddr6* address) const;
    /// A length and as many characters, what follows ignored; false and *text untouched when it isn't one.
    bool asString(std::string* text) const;
    /// The first n as characters; false and *text untouched when one is 256 or more, false and *text set to what is
    /// there when the length isn't n.
    bool asString(unsigned int n, std::string* text) const;
    /// A copy; false and *oid untouched unless the length is n.
    bool asOID(unsigned int n, OID* oid) const;
    /// All that follows a leading length. Always true: an empty or malformed piece leaves *oid untouched (compat: 41).
    bool asOID(OID* oid) const;

  private:
    [[nodiscard]] bool areOctets(size_t first, size_t n) const;
    [[nodiscard]] bool hasCounted() const;
    bool pop(size_t n, OID* out);
};

}  // namespace snmp
