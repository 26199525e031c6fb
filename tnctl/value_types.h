#pragma once

#include "tnctl/words.h"

/// The types of the values of words: which text they accept, which field it becomes, and how they are shown.
namespace tnctl {

/// The filter of link traps for these ids (contracts::snmp::setting::Interfaces).
[[nodiscard]] std::vector<tn::message> interfaceFilter(const std::vector<uint32_t>& ids);

extern const ValueType kYesNo;
extern const ValueType kText;      ///< at most 255 octets, as a DisplayString (RFC 2579)
extern const ValueType kName;      ///< 1 to 255 octets
extern const ValueType kEngineId;  ///< at most 27 octets: with a prefix of 5 they make an SnmpEngineID (RFC 3411)
extern const ValueType kPassword;  ///< at most 1024 octets; checkPasswords checks the minimum
extern const ValueType kNumber;    ///< any number of 32 bits
extern const ValueType kSecurity;
extern const ValueType kAuthenticationProtocol;
extern const ValueType kEncryptionProtocol;
extern const ValueType kTrapVersion;
extern const ValueType kTrapKind;
extern const ValueType kPrefixes;   ///< a message array of addresses with masks
extern const ValueType kViews;      ///< a message array of subtrees
extern const ValueType kTargets;    ///< a message array of addresses
extern const ValueType kPlugins;    ///< a string array of names of plug-ins
extern const ValueType kOid;        ///< an OID as dotted text
extern const ValueType kTrapType;   ///< the BER tag of a trap's value
extern const ValueType kValueText;  ///< a trap's value as text; sendTrap checks it against the type

// References to objects that have a name and an id. A list of ids becomes the field of the request. A list with names
// becomes a string array (for kCommunity a string) with the same number, as typed: resolving a name needs a query to
// its owner, which is sent only after all words have been parsed. References are shown as ids.

extern const ValueType kGenerators;  ///< a u32 array of trap generators
extern const ValueType kInterfaces;  ///< a message array of interface ids; 0 means all
extern const ValueType kCommunity;   ///< a u32; a number also becomes a string, since it may be a community's name

}  // namespace tnctl
