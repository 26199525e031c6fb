#pragma once

#include "agent/mib/context.h"

namespace snmp {

// GetNext and GetBulk as RFC 3416 has them: each function answers all names of the request. A name without a successor
// gets endOfMibView, under the name asked for or, in the repetitions of a GetBulk, under the last name. In v1 it fails
// with noSuchName, and objects of type Counter64 are left out. What is outside the sender's view is left out, too: a
// walk that comes to it continues after it. A request that still searches the next visible object after half a second
// fails with GenErr.

/// A reply that doesn't fit fails with TooBig.
ErrorStatus answerNext(Context& c);
/// Answers repetition by repetition, c.nonRepeaters names once and then the others c.maxRepetitions times. The reply
/// ends after the last varbind that fits into the message, at 2,000 varbinds, or when half a second is over. It fails
/// with TooBig if not even the first varbind fits.
ErrorStatus answerBulk(Context& c);
/// GetNext and GetBulk of a sender with a view, without Rules::isListAnsweredAtOnce: answers name after name, a GetBulk
/// with all repetitions of each. Otherwise as answerNext.
ErrorStatus answerInView(Context& c);

}  // namespace snmp
