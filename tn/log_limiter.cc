#include "tn/log_limiter.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <map>
#include <mutex>
#include <utility>

#include "tn/log.h"
#include "tn/sources.h"

namespace tn {

namespace {

constexpr int kBurst = 256;                         // lines of one cause at once
constexpr std::chrono::milliseconds kRefill{1000};  // until a cause may write one line more
constexpr size_t kStrangersLines = 10;              // in any kStrangersTime
constexpr std::chrono::milliseconds kStrangersTime{2000};
constexpr size_t kMaxCauses = 256;  // with separate buckets; any others share one for each stream
constexpr std::string_view kOtherCauses;

/// The limit of one cause: a bucket of kBurst tokens, to which one is added every kRefill.
struct Bucket {
    lstream origin;                  // a copy: the stream may be gone when its last lines are accounted for
    std::chrono::milliseconds full;  // when the bucket is full again, as sinceBoot
    uint64_t leftOut = 0;

    bool take(std::chrono::milliseconds now) {
        full = std::max(full, now);
        if (full - now > (kBurst - 1) * kRefill) return false;
        full += kRefill;
        return true;
    }
};

/// The limit of lines about strangers: kStrangersLines within any kStrangersTime.
struct Window {
    std::array<std::chrono::milliseconds, kStrangersLines> written{};
    size_t oldest = 0;
    uint64_t leftOut = 0;
    /// When `leftOut` was last reported. At most once in kStrangersTime, since the report itself counts as a line.
    std::chrono::milliseconds reported{};

    bool take(std::chrono::milliseconds now) {
        if (now - written[oldest] < kStrangersTime) return false;
        written[oldest] = now;
        oldest = (oldest + 1) % written.size();
        return true;
    }
};

/// The limits of all causes in the process. Helper threads log too, so one lock protects everything.
class Limiter {
  public:
    bool admit(const lstream& stream, std::string_view cause, const LogSummary& summary) {
        const std::lock_guard lock(mutex_);
        const std::chrono::milliseconds now = sinceBoot();
        for (auto& [key, bucket] : buckets_) {
            if (bucket.leftOut == 0 || !bucket.take(now)) continue;
            summary(bucket.origin, "that begin with: " + key.second, std::exchange(bucket.leftOut, 0));
        }
        if (strangers_.leftOut > 0 && now - strangers_.reported >= kStrangersTime && strangers_.take(now)) {
            strangers_.reported = now;
            summary(serr, "about received datagrams", std::exchange(strangers_.leftOut, 0));
        }
        if (stream.isAboutStrangers()) return strangers_.take(now) || (++strangers_.leftOut, false);
        Bucket& bucket = bucketOf(stream, cause, now);
        return bucket.take(now) || (++bucket.leftOut, false);
    }

    void forget() {
        const std::lock_guard lock(mutex_);
        buckets_.clear();
        strangers_ = {};
    }

  private:
    using Key = std::pair<const lstream*, std::string>;

    Bucket& bucketOf(const lstream& stream, std::string_view cause, std::chrono::milliseconds now) {
        Key key(&stream, cause);
        if (const auto known = buckets_.find(key); known != buckets_.end()) return known->second;
        if (buckets_.size() >= kMaxCauses) {
            std::erase_if(buckets_,
                          [=](const auto& each) { return each.second.full <= now && each.second.leftOut == 0; });
        }
        if (buckets_.size() >= kMaxCauses) key.second = kOtherCauses;
        return buckets_.try_emplace(std::move(key), Bucket{stream, now}).first->second;
    }

    std::mutex mutex_;
    std::map<Key, Bucket> buckets_;
    Window strangers_;
};

Limiter& limiter() {
    static Limiter& only = *new Limiter;  // never destroyed: objects that log in their destructors may outlive it
    return only;
}

}  // namespace

bool admitLine(const lstream& stream, std::string_view cause, const LogSummary& summary) {
    return limiter().admit(stream, cause, summary);
}

void forgetLines() { limiter().forget(); }

}  // namespace tn
