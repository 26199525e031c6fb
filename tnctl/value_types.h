#pragma once

#include "tnctl/words.h"

/// The kinds of values that words have.
namespace tnctl {

/// The interface filter of these ids, as the settings hold it.
[[nodiscard]] std::vector<tn::message> interfaceFilter(const std::vector<uint32_t>& ids);

extern const ValueType kYesNo;
extern const ValueType kText;      ///< at most 255 octets, as a DisplayString (RFC 2579)
extern const ValueType kName;      ///< 1 to 255 octets
extern const ValueType kEngineId;  ///< at most 27 octets: five more make the 32 of an SnmpEngineID (RFC 3411)
extern const ValueType kPassword;  ///< any text; its length is judged where it is used
extern const ValueType kCounter;   ///< a number that is only shown
extern const ValueType kSecurity;
extern const ValueType kAuthenticationProtocol;
extern const ValueType kEncryptionProtocol;
extern const ValueType kTrapVersion;
extern const ValueType kPrefixes;   ///< a message array of addresses with masks
extern const ValueType kTargets;    ///< a message array of addresses
extern const ValueType kOid;        ///< an object's name, dotted
extern const ValueType kTrapType;   ///< the BER tag of a trap's value
extern const ValueType kValueText;  ///< a trap's value as text; whether it is one depends on the type

// References to what has a name and an id. Parsed, ids are what they will be in the request. Where a name stands among
// them, all stand as typed in a string array (a string, for kCommunity) of the same number: only the owner's list tells
// what they mean, and nothing is asked before every word has been read. Shown, they are ids.

extern const ValueType kGenerators;  ///< a u32 array of trap generators
extern const ValueType kInterfaces;  ///< a message array of interface ids, 0 standing for all
extern const ValueType kCommunity;   ///< a u32; as typed also when it is a number: a community may be called so

}  // namespace tnctl
