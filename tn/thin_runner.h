#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace tn {

/// The socket-and-timer half of a loop, over sd-event. Callbacks run one at a time on the thread that calls run(); all
/// operations but post() are for that thread. The loop sends watchdog notifications to the service manager
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

    /// Calls back whenever one of the epoll `events` holds on `fd`; the descriptor stays the caller's. One entry per
    /// descriptor: adding it again replaces callback and events. A callback may remove any socket, its own included.
    /// False, with a line on standard error, when the kernel refuses (EMFILE, a descriptor that can't be polled).
    bool addSocket(int fd, SocketCallback callback, unsigned events);
    /// Its callback isn't called any more, not even for an event that has occurred already. Does nothing for a
    /// descriptor that isn't watched.
    void removeSocket(int fd);

    /// Calls back once, `delay` from now. @return id for removeTimer, never 0
    TimerId addTimer(TimerCallback callback, std::chrono::milliseconds delay);
    /// Does nothing when the timer has fired or is unknown.
    void removeTimer(TimerId id);

    /// Calls back once from the loop, before it waits again. Callbacks deferred meanwhile wait for the next round.
    void defer(TimerCallback callback);

    /// Calls back once on the loop's thread. May be called by any thread while this object exists. For the helper
    /// threads of plug-ins: nothing else uses it, since a reading of hostd that hangs may outlive the loop.
    void post(TimerCallback callback);

    /// Time to the next timer; milliseconds::max() without one.
    [[nodiscard]] std::chrono::milliseconds sleepTime() const;

    /// Makes run() return after the current callback; before run(), makes it return at once.
    virtual void shutdown();
    /// Runs until shutdown(). @return exit status for the process: 0
    virtual int run();
    /// Waits at most `timeout` for one round of callbacks. False when there was none.
    bool runOnce(std::chrono::milliseconds timeout);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tn
