#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace tn {

/// The socket-and-timer half of a loop, over sd-event. Callbacks run one at a time on the thread that calls run().
/// Also tells a service manager when the process is ready and that it is alive (sd_notify, watchdog), and ends the loop
/// on SIGTERM and SIGINT.
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
    void removeSocket(int fd);

    /// Calls back once, `delay` from now. @return id for removeTimer, never 0
    TimerId addTimer(TimerCallback callback, std::chrono::milliseconds delay);
    void removeTimer(TimerId id);  ///< nothing happens when it has fired or is unknown

    /// Calls back once from the loop, before it waits again.
    void defer(TimerCallback callback);

    /// Runs a callback on the loop's thread; may be called from any thread, for helper threads to hand results over.
    void post(TimerCallback callback);

    /// Time to the next timer; milliseconds::max() without one.
    [[nodiscard]] std::chrono::milliseconds sleepTime() const;

    virtual void shutdown();  ///< leaves run() after the current callback
    virtual int run();        ///< until shutdown(); 0
    /// Waits at most `timeout` for one round of callbacks. False when there was none.
    bool runOnce(std::chrono::milliseconds timeout);

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tn
