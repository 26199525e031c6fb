#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace hostd {

/// The maximum age of a reading that is still served. It holds for every source that can block. Older values count as
/// absent, since managers couldn't distinguish them from current ones.
constexpr std::chrono::seconds kMaxReadingAge{90};

/// When the first reading of a source starts.
enum class FirstReading {
    AtStart,    ///< when the owner is added to a looper, so that the first request finds it
    OnRequest,  ///< by the first request, which waits for it: for data that may never be requested
};

/// One reading of a source that reports entries. A problem and rows may both be present: the source then reported only
/// a part of its entries.
template <class Entry>
struct Reading {
    std::string problem;      ///< why entries are missing, for ProblemLog; empty when none are
    std::vector<Entry> rows;  ///< in the order in which the source reported them
};

}  // namespace hostd
