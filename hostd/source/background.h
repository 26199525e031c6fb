#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

#include "hostd/log.h"

namespace hostd {

/// A source that can block (a disk, a driver, a library), read on a thread of its own; what is asked for is the last
/// finished reading, at once. A reading starts when somebody asks and the last one is older than `maxAge`, so a process
/// that nobody asks does nothing. Each reading has a thread of its own that ends with it: a thread kept waiting would
/// cost its stack for ever, and one that is stuck in the kernel can be left behind.
///
/// All operations are for the loop's thread; times are milliseconds of tn::getMilliseconds.
template <class T>
class Background {
  public:
    /// @param what     what is read, for the log ("disks")
    /// @param read     runs on the helper thread. It must hold by value all it uses, since a reading that never ends
    ///                 outlives this object.
    /// @param maxAge   milliseconds after which a reading is too old
    /// @param patience milliseconds after which a reading counts as stuck, and there is no value until it ends
    Background(std::string what, std::function<T()> read, uint64_t maxAge, uint64_t patience)
        : what_(std::move(what)), read_(std::move(read)), maxAge_(maxAge), patience_(patience) {}

    /// The last finished reading; nullptr before there is one and while a reading is stuck.
    [[nodiscard]] std::shared_ptr<const T> latest(uint64_t now) {
        const std::lock_guard lock(state_->mutex);
        if (state_->busy) return isStuck(now) ? nullptr : state_->finished;
        isStuck_ = false;
        if (!state_->finished || now - started_ >= maxAge_) start(now);
        return state_->finished;
    }

    /// Waits for the reading under way, but only once per reading, so that a source that hangs delays one caller.
    /// @return whether the reading has ended
    bool wait(std::chrono::steady_clock::time_point until) {
        if (std::exchange(isWaitedFor_, true)) return false;
        std::unique_lock lock(state_->mutex);
        return state_->ended.wait_until(lock, until, [this] { return !state_->busy; });
    }

    /// Start of the last reading.
    [[nodiscard]] uint64_t started() const { return started_; }

  private:
    struct State {
        std::mutex mutex;
        std::condition_variable ended;
        bool busy = false;
        std::shared_ptr<const T> finished;
    };

    void start(uint64_t now) {
        started_ = now;
        try {
            std::thread([state = state_, read = read_] {
                auto finished = std::make_shared<const T>(read());
                const std::lock_guard lock(state->mutex);
                state->finished = std::move(finished);
                state->busy = false;
                state->ended.notify_all();
            }).detach();
            state_->busy = true;
            isWaitedFor_ = false;
        } catch (const std::system_error& failure) {  // no thread to be had: the last reading stays, tried again later
            hostLog << what_ << ": not read: " << failure.what();
        }
    }

    bool isStuck(uint64_t now) {
        if (now - started_ < patience_) return false;
        if (!std::exchange(isStuck_, true)) hostLog << what_ << ": no answer for " << patience_ / 1000 << " s";
        return true;
    }

    std::string what_;
    std::function<T()> read_;
    uint64_t maxAge_;
    uint64_t patience_;
    uint64_t started_ = 0;
    bool isStuck_ = false;
    bool isWaitedFor_ = true;
    std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace hostd
