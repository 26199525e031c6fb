#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace hostd {

/// How old the data is that a source holds.
struct ReadingState {
    std::string name;  ///< the source, as in the log: "disks"
    /// Since the last successful reading began; nothing before that.
    std::optional<std::chrono::milliseconds> age;
    std::string problem;  ///< why readings fail or lack entries; empty when they don't
};

/// A source that reports its ReadingState. The process has a list of all that exist. For the loop's thread only.
class ReportedSource {
  public:
    ReportedSource() { list().push_back(this); }
    virtual ~ReportedSource() { std::erase(list(), this); }
    ReportedSource(const ReportedSource&) = delete;
    ReportedSource& operator=(const ReportedSource&) = delete;

    /// @param now  as of tn::sinceBoot
    [[nodiscard]] virtual ReadingState readingState(std::chrono::milliseconds now) const = 0;
    /// In the order of their construction.
    [[nodiscard]] static const std::vector<const ReportedSource*>& all() { return list(); }

  private:
    static std::vector<const ReportedSource*>& list() {
        static std::vector<const ReportedSource*> sources;
        return sources;
    }
};

}  // namespace hostd
