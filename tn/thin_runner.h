#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace tn {

/// A loop with sockets and timers, over sd-event. Callbacks run one at a time on the thread that calls run(); all
/// operations but post() are for that thread. run() sends watchdog notifications to the service manager
/// (sd_event_set_watchdog), and ends on SIGTERM and SIGINT.
class ThinRunner {
  public:
    using SocketCallback = std::function<void(int fd, unsigned events)>;
    using TimerCallback = std::function<void()>;
    using TimerId = uint64_t;

    ThinRunner();
    virtual ~ThinRunner();
    ThinRunner(const ThinRunner&) = delete;
    ThinRunner& operator=(const ThinRunner&) = delete;

    /// Calls back whenever `fd` has one of the epoll `events`. Adding a descriptor again replaces callback and events.
    /// The caller owns the descriptor. A callback may remove any socket, including the one it is for. False, with a
    /// line on standard error, if the kernel refuses, as for a descriptor that can't be polled; the descriptor isn't
    /// watched then.
    bool addSocket(int fd, SocketCallback callback, unsigned events);
    /// Stops watching a descriptor: its callback isn't called any more, not even for an event that has already
    /// occurred. Does nothing for a descriptor that isn't watched.
    void removeSocket(int fd);

    /// Calls back once, `delay` from now. If the kernel refuses, that is logged and the timer never fires.
    /// @return id for removeTimer, never 0
    TimerId addTimer(TimerCallback callback, std::chrono::milliseconds delay);
    /// Cancels a timer. Does nothing if it has fired or is unknown.
    void removeTimer(TimerId id);

    /// Calls back once from the loop, before it waits again. A callback deferred by a deferred one waits for the next
    /// round.
    void defer(TimerCallback callback);

    /// Calls back once on the loop's thread. May be called by any thread while this object exists. Only helper threads
    /// of plug-ins use it. Those of hostd don't, since one that hangs may outlive this object.
    void post(TimerCallback callback);

    /// Time until the next timer fires; milliseconds::max() if there is none.
    [[nodiscard]] std::chrono::milliseconds sleepTime() const;

    /// Makes run() return once the callbacks that are due in this round have returned; before run(), at once.
    virtual void shutdown();
    /// Runs callbacks until shutdown(), or until the loop fails, with a line on standard error.
    /// @return exit status for the process: 0
    virtual int run();
    /// Runs one round of callbacks, and waits for it at most `timeout`. False if no callback ran.
    bool runOnce(std::chrono::milliseconds timeout);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tn
