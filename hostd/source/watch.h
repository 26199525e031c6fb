#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "hostd/log.h"
#include "hostd/source/reading.h"
#include "hostd/source/timer.h"

namespace hostd {

/// A source that can block (a disk, a driver, a library), read on a helper thread. All operations are for the loop's
/// thread.
///
/// A reading older than `maxAge` is renewed before it is shown: the caller waits for the new one, kMaxWait at most,
/// then gets the last one unless that is older than kMaxReadingAge. A reading that hangs is waited for once, and a
/// source whose last reading took longer than kMaxWait isn't waited for. A reading that fails leaves the last one.
///
/// So that callers rarely wait, and slow sources have values to show, it is also read ahead: shortly before `maxAge`
/// has passed until `gracePeriod` after the last request, then every `idleInterval` for good. That needs the process's
/// loop; without one it is read on request only.
///
/// Each reading has a thread that ends with it: an idle thread would cost its stack permanently, and one that is stuck
/// in the kernel can be abandoned.
///
/// @tparam T  what one reading returns
template <class T>
class Watch {
  public:
    using Duration = std::chrono::milliseconds;
    static constexpr Duration kGracePeriod{120'000};
    static constexpr Duration kIdleInterval{30'000};
    static constexpr Duration kMaxWait{200};

    /// @param what  what is read, for the log: "disks"
    /// @param read  runs on the helper thread; returns nothing when it fails. It must hold by value all it uses, since
    ///              a reading that never ends outlives this object.
    Watch(std::string what, std::function<std::optional<T>()> read, Duration maxAge,
          Duration idleInterval = kIdleInterval, Duration gracePeriod = kGracePeriod)
        : what_(std::move(what)),
          read_(std::move(read)),
          maxAge_(maxAge),
          idleInterval_(idleInterval),
          gracePeriod_(gracePeriod) {}

    /// Starts a reading if one is due, and continues to read ahead. For sources needed before the first request.
    void keepReading() {
        const Duration now = tn::sinceBoot();
        startIfDue(now);
        isEager_ = requested_ && now - *requested_ < gracePeriod_;
        const Duration period = isEager_ ? renewalAge() : idleInterval_;
        const Duration age = now - started_.value_or(now);
        timer_.start(age < period ? period - age : period, [this] { keepReading(); });
    }

    /// Requests the last finished reading, renewed if it was too old. nullptr before there is one, and when none was
    /// finished for kMaxReadingAge.
    [[nodiscard]] std::shared_ptr<const T> latest() {
        const Duration now = tn::sinceBoot();
        requested_ = now;
        startIfDue(now);
        if (!isEager_) keepReading();  // at shorter intervals from now on
        const auto deadline = std::chrono::steady_clock::now() + kMaxWait;
        std::shared_ptr<const Finished> last = finished();
        // A reading that ends here may have started long ago: then another one is due.
        while (isWorthWaiting(last, now) && hasEndedBy(deadline)) {
            startIfDue(now);
            last = finished();
        }
        if (!last || last->started + kMaxReadingAge < now) {
            reportFailure();
            return nullptr;
        }
        isFailureLogged_ = false;
        return {last, &last->value};
    }

  private:
    struct Finished {
        Duration started;
        bool isSlow;  ///< took longer than kMaxWait
        T value;
    };
    /// Shared with the helper thread, which may outlive this.
    struct State {
        std::mutex mutex;
        std::condition_variable ended;
        bool isBusy = false;
        bool hasFailed = false;  ///< the last reading
        std::shared_ptr<const Finished> finished;
    };

    /// Age at which a reading is started ahead: early enough that it is done before the last one is too old.
    [[nodiscard]] Duration renewalAge() const { return maxAge_ * 3 / 4; }

    /// Starts a reading unless one is in progress or the last one is recent.
    void startIfDue(Duration now) {
        const std::lock_guard lock(state_->mutex);
        if (state_->isBusy)
            reportHang(now);
        else if (!started_ || now - *started_ >= renewalAge())
            start(now);
    }

    /// Called with the lock held.
    void start(Duration now) {
        started_ = now;
        isHangLogged_ = false;
        try {
            std::thread([state = state_, read = read_, now] { readInto(*state, read, now); }).detach();
            state_->isBusy = true;
            isWaitedFor_ = false;
        } catch (const std::system_error& failure) {  // no thread available: retried when the next reading is due
            hostLog << what_ << ": not read: " << failure.what();
        }
    }

    /// Runs on the helper thread.
    static void readInto(State& state, const std::function<std::optional<T>()>& read, Duration started) {
        const auto begun = std::chrono::steady_clock::now();
        std::optional<T> value = read();
        const bool isSlow = std::chrono::steady_clock::now() - begun > kMaxWait;
        const std::lock_guard lock(state.mutex);
        state.hasFailed = !value;
        if (value) state.finished = std::make_shared<const Finished>(Finished{started, isSlow, std::move(*value)});
        state.isBusy = false;
        state.ended.notify_all();
    }

    /// The last reading that succeeded.
    [[nodiscard]] std::shared_ptr<const Finished> finished() const {
        const std::lock_guard lock(state_->mutex);
        return state_->finished;
    }

    /// A source that was slow last time is likely to exceed kMaxWait again.
    [[nodiscard]] bool isWorthWaiting(const std::shared_ptr<const Finished>& last, Duration now) const {
        return !last || (last->started + maxAge_ <= now && !last->isSlow);
    }

    /// Waits for the reading in progress, but only once per reading, so that a source that hangs delays one caller.
    bool hasEndedBy(std::chrono::steady_clock::time_point deadline) {
        if (std::exchange(isWaitedFor_, true)) return false;
        std::unique_lock lock(state_->mutex);
        return state_->ended.wait_until(lock, deadline, [this] { return !state_->isBusy; });
    }

    /// Logs a reading that hangs, once per reading.
    void reportHang(Duration now) {
        if (now - *started_ < kMaxReadingAge || std::exchange(isHangLogged_, true)) return;
        hostLog << what_ << ": no answer for " << kMaxReadingAge.count() << " s";
    }

    /// Logs that there is nothing to show because readings fail, once until there is something again.
    void reportFailure() {
        const std::lock_guard lock(state_->mutex);
        if (state_->hasFailed && !std::exchange(isFailureLogged_, true)) hostLog << what_ << ": no data";
    }

    std::string what_;
    std::function<std::optional<T>()> read_;
    Duration maxAge_;
    Duration idleInterval_;
    Duration gracePeriod_;
    std::optional<Duration> started_;    ///< the last reading
    std::optional<Duration> requested_;  ///< last
    bool isEager_ = false;               ///< requested within the grace period
    bool isWaitedFor_ = true;            ///< a caller has waited for the reading in progress
    bool isHangLogged_ = false;
    bool isFailureLogged_ = false;
    Timer timer_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace hostd
