#pragma once

#include "tnctl/words.h"

/// The types of the words' values: what is accepted, which field it becomes, how it is shown.
namespace tnctl {

/// The filter of link traps for these ids (contracts::snmp::setting::Interfaces).
[[nodiscard]] std::vector<tn::message> interfaceFilter(const std::vector<uint32_t>& ids);

extern const ValueType kYesNo;
extern const ValueType kText;      ///< at most 255 octets, as a DisplayString (RFC 2579)
extern const ValueType kName;      ///< 1 to 255 octets
extern const ValueType kEngineId;  ///< at most 27 octets: five more make the 32 of an SnmpEngineID (RFC 3411)
extern const ValueType kPassword;  ///< at most 1024 octets; the minimum is checkPasswords' business
extern const ValueType kNumber;    ///< any number of 32 bits
extern const ValueType kSecurity;
extern const ValueType kAuthenticationProtocol;
extern const ValueType kEncryptionProtocol;
extern const ValueType kTrapVersion;
extern const ValueType kPrefixes;   ///< a message array of addresses with masks
extern const ValueType kTargets;    ///< a message array of addresses
extern const ValueType kOid;        ///< an object's name, dotted
extern const ValueType kTrapType;   ///< the BER tag of a trap's value
extern const ValueType kValueText;  ///< a trap's value as text; checked against the trap's type where it is sent

// References to objects that have a name and an id. A list of ids is parsed into the field of the request. A list with
// a name in it becomes a string array (a string, for kCommunity) of the same number, as typed: it takes the owner's
// list to resolve names, and no owner is queried before every word has been read. References are shown as ids.

extern const ValueType kGenerators;  ///< a u32 array of trap generators
extern const ValueType kInterfaces;  ///< a message array of interface ids, 0 standing for all
extern const ValueType kCommunity;   ///< a u32; a number, too, stays as typed: it may be a community's name

}  // namespace tnctl
