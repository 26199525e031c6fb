#pragma once

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "hostd/background.h"
#include "tn/looper.h"
#include "tn/sources.h"

namespace hostd {

/// A source that can block, read on a helper thread and kept fresh from the first question on: every `maxAge` as long
/// as somebody asks and for `linger` after that, then every `pause` for good, so that a poller that comes once an hour
/// gets what is true and not what was at its last visit. Needs the process's loop for that; without one it is read when
/// somebody asks.
template <class T>
class Watch {
  public:
    static constexpr uint64_t kLinger = 120'000;  ///< ms
    static constexpr uint64_t kPause = 30'000;    ///< ms
    static constexpr uint64_t kOldest = 90'000;   ///< ms since its begin; an older reading isn't shown
    static constexpr std::chrono::milliseconds kFirstWait{200};

    /// As Background's, and `pause` and `linger` in milliseconds.
    Watch(std::string what, std::function<T()> read, uint64_t maxAge, uint64_t patience, uint64_t pause = kPause,
          uint64_t linger = kLinger)
        : background_(
              std::move(what),
              [now = now_, read = std::move(read)] {
                  return Dated{*now, read()};
              },
              maxAge, patience),
          maxAge_(maxAge),
          pause_(pause),
          linger_(linger) {}
    ~Watch() {
        if (tn::Looper* looper = tn::getLooper()) looper->removeTimer(timer_);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Starts the first reading and waits for it, at most that long.
    void readFirst(std::chrono::milliseconds atMost) {
        *now_ = tn::getMilliseconds();
        background_.readFirst(*now_, atMost);
    }

    /// Reads, and keeps reading: for sources that are to be fresh before somebody asks.
    void keepReading() {
        const uint64_t now = *now_ = tn::getMilliseconds();
        static_cast<void>(background_.latest(now));
        tn::Looper* looper = tn::getLooper();
        if (looper == nullptr) return;
        isEager_ = asked_ != 0 && now - asked_ < linger_;
        looper->removeTimer(timer_);
        timer_ = looper->addTimer([this] { keepReading(); }, isEager_ ? maxAge_ : pause_);
    }

    /// The last finished reading; nullptr before there is one, while a reading is stuck, and when it is too old. When
    /// the first question finds nothing but what was read at the start, long ago, it waits at most kFirstWait.
    [[nodiscard]] std::shared_ptr<const T> ask() {
        const bool isFirst = asked_ == 0;
        asked_ = *now_ = tn::getMilliseconds();
        auto dated = background_.latest(asked_);
        if (!isEager_) keepReading();  // faster from now on
        if (isFirst && isOld(dated)) {
            background_.readFirst(asked_, kFirstWait);
            dated = background_.latest(asked_);
        }
        if (!dated || isOld(dated)) return nullptr;
        return {dated, &dated->value};
    }

  private:
    struct Dated {
        uint64_t begun;
        T value;
    };

    bool isOld(const std::shared_ptr<const Dated>& dated) const { return dated && asked_ - dated->begun > kOldest; }

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
