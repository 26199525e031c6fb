#pragma once

#include <chrono>
#include <concepts>
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
#include "hostd/source/reading_state.h"
#include "hostd/source/timer.h"
#include "tn/looper.h"

namespace hostd {

/// Reads a source that can block (a disk, a driver, a library) on a helper thread, and retains its last reading. All
/// operations are for the loop's thread.
///
/// If the last reading is older than `maxAge`, a request starts a new one and waits for it, kMaxWait at most. If that
/// isn't enough, the request gets the last one, or nothing if that is older than kMaxReadingAge. Only one request waits
/// for each reading, so a source that hangs delays one request. A source whose last reading took longer than kMaxWait,
/// or whose present one already has, isn't waited for. A reading that fails leaves the last one in place.
///
/// The source is also read ahead, so that requests rarely wait and slow sources have values to serve. Until
/// `gracePeriod` after the last request, a reading starts when three quarters of `maxAge` have passed since the
/// previous one. After that, one starts every `idleInterval`. Reading ahead needs the process's loop; without a loop,
/// the source is read on request only.
///
/// Each reading runs on a new thread, which ends with it. A permanent thread would cost its stack while idle, and
/// couldn't be replaced while it is stuck in the kernel.
///
/// @tparam T  the result of one reading
template <class T>
class Watch : public ReportedSource {
  public:
    using Duration = std::chrono::milliseconds;
    static constexpr Duration kGracePeriod{120'000};  ///< default: longer than the interval of one-minute pollers
    static constexpr Duration kIdleInterval{30'000};  ///< default: well below kMaxReadingAge
    static constexpr Duration kMaxWait{200};          ///< maximum delay of a request

    /// Starts nothing: the first reading is started by keepReading() or latest().
    /// @param what  what is read, for the log: "disks"
    /// @param read  runs on the helper thread, one call at a time; returns nothing when it fails. It must own all it
    ///              uses, since a reading that never ends outlives this object.
    /// @param waitAge  requests wait only if the last reading is older than this; by default `maxAge`
    Watch(std::string what, std::function<std::optional<T>()> read, Duration maxAge,
          Duration idleInterval = kIdleInterval, Duration gracePeriod = kGracePeriod,
          std::optional<Duration> waitAge = {})
        : what_(std::move(what)),
          read_(std::move(read)),
          maxAge_(maxAge),
          waitAge_(waitAge.value_or(maxAge)),
          idleInterval_(idleInterval),
          gracePeriod_(gracePeriod) {}

    /// Starts a reading if one is due, returns at once, and reads ahead from now on if the process has a loop. Call it
    /// at startup if the first request is to find a reading.
    void keepReading() {
        const Duration now = tn::sinceBoot();
        startIfDue(now);
        isEager_ = requested_ && now - *requested_ < gracePeriod_;
        const Duration period = isEager_ ? renewalAge() : idleInterval_;
        const Duration age = now - started_.value_or(now);
        timer_.start(age < period ? period - age : period, [this] { keepReading(); });
    }

    /// The last successful reading, renewed if it was older than `maxAge`. Waits for kMaxWait at most. nullptr if there
    /// is none yet, or the last one began more than kMaxReadingAge ago. If that is because readings fail, a line is
    /// logged, once. The reading is shared and doesn't change: later readings are separate objects.
    [[nodiscard]] std::shared_ptr<const T> latest() {
        const Duration now = tn::sinceBoot();
        requested_ = now;
        startIfDue(now);
        if (!isEager_) keepReading();  // at shorter intervals from now on
        const auto deadline = std::chrono::steady_clock::now() + kMaxWait;
        std::shared_ptr<const Finished> last = finished();
        // The reading that has just ended may have started long ago. If so, another one is due.
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

    [[nodiscard]] ReadingState readingState(Duration now) const override {
        const std::lock_guard lock(state_->mutex);
        ReadingState state{.name = what_, .age = {}, .problem = {}};
        if (const Finished* last = state_->finished.get(); last != nullptr) {
            state.age = now - last->started;
            if constexpr (requires {
                              { last->value.problem } -> std::convertible_to<std::string>;
                          })
                state.problem = last->value.problem;
        }
        if (state_->hasFailed) state.problem = "no data";
        if (state_->isBusy && now - *started_ >= kMaxReadingAge) state.problem = "no answer";
        return state;
    }

  private:
    /// A successful reading.
    struct Finished {
        Duration started;  ///< as of tn::sinceBoot
        bool isSlow;       ///< took longer than kMaxWait
        T value;
    };
    /// Shared with the helper thread, which may outlive this. The mutex guards all of it.
    struct State {
        std::mutex mutex;
        std::condition_variable ended;             ///< notified when isBusy becomes false
        bool isBusy = false;                       ///< a reading is in progress
        bool hasFailed = false;                    ///< the last reading failed
        std::shared_ptr<const Finished> finished;  ///< the last one that succeeded; nullptr before that
    };

    /// Age of a reading at which the next one is started. The next one then usually ends before the age is maxAge.
    [[nodiscard]] Duration renewalAge() const { return maxAge_ * 3 / 4; }

    /// Starts a reading unless one is in progress or the last one began recently. Logs a reading that hangs.
    void startIfDue(Duration now) {
        const std::lock_guard lock(state_->mutex);
        if (state_->isBusy)
            reportHang(now);
        else if (!started_ || now - *started_ >= renewalAge())
            start(now);
    }

    /// Starts a reading on a new thread; logs a line if there is no thread. Called with the lock held.
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

    /// Reads, then publishes the result and wakes waiting callers. Runs on the helper thread.
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

    /// The last reading that succeeded; nullptr before that.
    [[nodiscard]] std::shared_ptr<const Finished> finished() const {
        const std::lock_guard lock(state_->mutex);
        return state_->finished;
    }

    /// True if there is no reading yet, or the last one is too old and the source isn't slow: it would probably exceed
    /// kMaxWait again.
    [[nodiscard]] bool isWorthWaiting(const std::shared_ptr<const Finished>& last, Duration now) const {
        return !last || (last->started + waitAge_ <= now && !last->isSlow && now - *started_ < kMaxWait);
    }

    /// Waits for the reading in progress. True if it has ended, with or without success, by the deadline. Returns false
    /// at once if a request has already waited for this reading, so that a source that hangs delays only one.
    bool hasEndedBy(std::chrono::steady_clock::time_point deadline) {
        if (std::exchange(isWaitedFor_, true)) return false;
        if (tn::Looper* looper = tn::getLooper()) looper->beforeWait();
        std::unique_lock lock(state_->mutex);
        return state_->ended.wait_until(lock, deadline, [this] { return !state_->isBusy; });
    }

    /// Logs a reading that has been in progress for kMaxReadingAge, once for each reading.
    void reportHang(Duration now) {
        if (now - *started_ < kMaxReadingAge || std::exchange(isHangLogged_, true)) return;
        hostLog << what_ << ": no answer for " << kMaxReadingAge.count() << " s";
    }

    /// Logs that there is no data because readings fail: once, until latest() has data again.
    void reportFailure() {
        const std::lock_guard lock(state_->mutex);
        if (state_->hasFailed && !std::exchange(isFailureLogged_, true)) hostLog << what_ << ": no data";
    }

    std::string what_;
    std::function<std::optional<T>()> read_;
    Duration maxAge_;
    Duration waitAge_;
    Duration idleInterval_;
    Duration gracePeriod_;
    std::optional<Duration> started_;    ///< when the last reading began, as of tn::sinceBoot
    std::optional<Duration> requested_;  ///< when latest() was last called
    bool isEager_ = false;               ///< reads ahead at the short interval: requested within the grace period
    bool isWaitedFor_ = true;            ///< a request has waited for the reading in progress
    bool isHangLogged_ = false;
    bool isFailureLogged_ = false;
    Timer timer_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace hostd
