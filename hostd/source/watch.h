#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "hostd/source/background.h"
#include "tn/looper.h"
#include "tn/sources.h"

namespace hostd {

/// A source that can block, read on a helper thread. A reading older than `maxAge` is renewed before it is shown: the
/// caller waits for the new one, kWait at most, then gets the last one unless it is older than kOldest. A reading that
/// hangs is waited for once, and a source whose last reading took longer than kWait isn't waited for.
///
/// So that callers rarely wait, and slow sources have values to show, it is also read ahead: shortly before `maxAge`
/// has passed until `linger` after the last request, then every `pause` for good. That needs the process's loop;
/// without one it is read on request only.
template <class T>
class Watch {
  public:
    static constexpr uint64_t kLinger = 120'000;  ///< ms
    static constexpr uint64_t kPause = 30'000;    ///< ms
    static constexpr uint64_t kOldest = 90'000;   ///< ms since the start of the reading
    static constexpr std::chrono::milliseconds kWait{200};

    /// @param what    what is read, for the log ("disks")
    /// @param read    runs on the helper thread, as Background's
    /// @param maxAge  milliseconds; so are `pause` and `linger`
    Watch(std::string what, std::function<T()> read, uint64_t maxAge, uint64_t pause = kPause,
          uint64_t linger = kLinger)
        : background_(
              std::move(what),
              [now = now_, read = std::move(read)] {
                  const uint64_t begun = *now;
                  const auto start = std::chrono::steady_clock::now();
                  T value = read();
                  const bool isSlow = std::chrono::steady_clock::now() - start > kWait;
                  return Dated{begun, isSlow, std::move(value)};
              },
              renewalAge(maxAge), kOldest),
          maxAge_(maxAge),
          pause_(pause),
          linger_(linger) {}
    ~Watch() {
        if (tn::Looper* looper = tn::getLooper()) looper->removeTimer(timer_);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Starts a reading if one is due, and keeps reading ahead: for sources needed before the first request.
    void keepReading() {
        const uint64_t now = *now_ = tn::getMilliseconds();
        static_cast<void>(background_.latest(now));
        tn::Looper* looper = tn::getLooper();
        if (looper == nullptr) return;
        isEager_ = asked_ != 0 && now - asked_ < linger_;
        const uint64_t period = isEager_ ? renewalAge(maxAge_) : pause_;
        const uint64_t age = now - background_.started();
        looper->removeTimer(timer_);
        const std::chrono::milliseconds delay(age < period ? period - age : period);
        timer_ = looper->addTimer([this] { keepReading(); }, delay);
    }

    /// The last finished reading; nullptr before there is one and when it is too old.
    [[nodiscard]] std::shared_ptr<const T> ask() {
        asked_ = *now_ = tn::getMilliseconds();
        auto dated = background_.latest(asked_);
        if (!isEager_) keepReading();  // faster from now on
        const auto until = std::chrono::steady_clock::now() + kWait;
        // The first reading to end may have started long ago.
        while ((!dated || (dated->begun + maxAge_ <= asked_ && !dated->isSlow)) && background_.wait(until))
            dated = background_.latest(asked_);
        if (!dated || dated->begun + kOldest < asked_) return nullptr;
        return {dated, &dated->value};
    }

  private:
    struct Dated {
        uint64_t begun;
        bool isSlow;  ///< took longer than kWait
        T value;
    };

    /// Early enough that a reading is done before the last one is too old.
    static constexpr uint64_t renewalAge(uint64_t maxAge) { return maxAge * 3 / 4; }

    /// The loop's time, for the helper thread: a reading has the date of its begin.
    std::shared_ptr<std::atomic<uint64_t>> now_ = std::make_shared<std::atomic<uint64_t>>(0);
    Background<Dated> background_;
    uint64_t maxAge_;
    uint64_t pause_;
    uint64_t linger_;
    uint64_t asked_ = 0;
    bool isEager_ = false;
    tn::ThinRunner::TimerId timer_ = 0;
};

}  // namespace hostd
