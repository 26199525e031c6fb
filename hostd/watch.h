#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "hostd/background.h"
#include "tn/looper.h"
#include "tn/sources.h"

namespace hostd {

/// A source that can block, read on a helper thread and kept fresh: every `maxAge` as long as somebody asks, and for
/// kLinger after that, so that a poller that comes every few minutes doesn't get what was true at its last visit. Needs
/// the process's loop for that; without one it is read when somebody asks.
template <class T>
class Watch {
  public:
    static constexpr uint64_t kLinger = 600'000;  ///< ms

    /// As Background's.
    Watch(std::string what, std::function<T()> read, uint64_t maxAge, uint64_t patience)
        : background_(std::move(what), std::move(read), maxAge, patience), maxAge_(maxAge) {}
    ~Watch() {
        if (tn::Looper* looper = tn::getLooper(); looper != nullptr && timer_ != 0) looper->removeTimer(timer_);
    }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// Starts the first reading and waits for it, at most that long.
    void readFirst(std::chrono::milliseconds atMost) { background_.readFirst(tn::getMilliseconds(), atMost); }

    /// The last finished reading; nullptr before there is one and while a reading is stuck.
    [[nodiscard]] std::shared_ptr<const T> ask() {
        asked_ = tn::getMilliseconds();
        if (timer_ == 0) keepReading();
        return background_.latest(asked_);
    }

  private:
    void keepReading() {
        tn::Looper* looper = tn::getLooper();
        if (looper == nullptr) return;
        const auto due = [this] {
            timer_ = 0;
            const uint64_t now = tn::getMilliseconds();
            if (now - asked_ >= kLinger) return;
            static_cast<void>(background_.latest(now));
            keepReading();
        };
        timer_ = looper->addTimer(due, maxAge_);
    }

    Background<T> background_;
    uint64_t maxAge_;
    uint64_t asked_ = 0;
    tn::ThinRunner::TimerId timer_ = 0;
};

}  // namespace hostd
