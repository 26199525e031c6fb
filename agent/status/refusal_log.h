#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "agent/status/counters.h"
#include "tn/address.h"

namespace snmp {

/// Logs why requests are refused, at most one line a minute for each cause, source and user. The first refusal is
/// logged at once; those that follow within a minute are counted, and logged as one line when the minute is over.
///
/// At most 32 of them are told apart at a time, so at most 65 lines a minute are written, whatever strangers send.
class RefusalLog {
  public:
    static constexpr size_t kMax = 32;
    static constexpr std::chrono::minutes kInterval{1};

    /// @param user  name of the SNMPv3 user, or empty. Never a community: it is a secret
    void add(const tn::IPAddr6& source, Counter cause, std::string_view user, std::chrono::milliseconds now);
    /// Logs what was counted in the minutes that are over. To be called once a minute while isPending().
    void flush(std::chrono::milliseconds now);
    /// Whether there are refusals whose minute isn't over.
    [[nodiscard]] bool isPending() const { return used_ > 0 || others_ > 0; }

  private:
    struct Entry {
        tn::IPAddr6 source;
        Counter cause = Counter::None;
        std::string user;
        uint64_t unreported = 0;  ///< refusals without a line
        bool isLogged = false;    ///< a line was written in this minute
        std::chrono::milliseconds since{};
    };
    static void log(Entry& entry);

    std::array<Entry, kMax> entries_;
    size_t used_ = 0;
    uint64_t others_ = 0;  ///< refusals without an entry
    std::chrono::milliseconds othersSince_{};
};

}  // namespace snmp
