#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace hostd {

/// The maximum age of a reading that is still shown, for every source that can block.
constexpr std::chrono::seconds kMaxReadingAge{90};

/// The entries that a source reported.
template <class Entry>
struct Reading {
    std::string problem;  ///< why entries are missing; empty when none are
    std::vector<Entry> rows;
};

}  // namespace hostd
