#pragma once

#include "tnctl/words.h"

/// The kinds of values that words have.
namespace tnctl {

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
extern const ValueType kPrefixes;    ///< a message array of addresses with masks
extern const ValueType kTargets;     ///< a message array of addresses
extern const ValueType kInterfaces;  ///< a message array of interface ids, 0 standing for all
/// A community. Parsed it is a string field, the reference as typed: only the agent's list tells whether it is a name
/// or an id, and nothing is asked before every word has been read. Shown it is the id of the u32 field of the same
/// number.
extern const ValueType kCommunity;

}  // namespace tnctl
