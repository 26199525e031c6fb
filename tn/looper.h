#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "tn/handler.h"
#include "tn/thin_runner.h"

namespace tn {

class Bus;

/// A process on the bus: the loop, the handlers that live in it, and the way to everybody else's. A message to a
/// handler of the same process is a function call; to another process it is a packet.
///
/// There is one looper in a process (getLooper). It is itself the handler of its first number.
class Looper : public Handler, public ThinRunner {
  public:
    /// @param numbers  the process's own numbers, first elements of the paths it serves. Empty for a client (tnctl).
    explicit Looper(std::vector<uint32_t> numbers);
    ~Looper() override;

    /// Registers a handler under {first own number, id}.
    void addHandler(uint32_t id, Handler* handler);
    /// Registers a handler under a path; a first element not served yet becomes one of the process's numbers. The
    /// handler must outlive the looper, or be destroyed outside its own callbacks. Calls its loadPermData.
    void addHandler(std::span<const uint32_t> path, Handler* handler);
    /// The handler of exactly this path in this process, or nullptr.
    [[nodiscard]] Handler* findHandler(std::span<const uint32_t> path) const;

    /// Opens the listening socket of each number under busFolder(), or takes it over from a service manager or spawner
    /// (sd_listen_fds). False, with one line on standard error, when another live process serves a number or the folder
    /// can't be made. Called by run() when nobody has called it before.
    bool listen();

    int run() override;  ///< listen, onInit, tell the service manager READY, loop; 0, or 1 when listen failed
    void shutdown() override;

    /// Sends one way: nothing comes back but an error reply when the message couldn't be handed over.
    virtual message sendMessage(message m);
    /// Sends and waits. The destination path is in the message.
    virtual message exchangeMessage(const message& m, std::chrono::milliseconds timeout = kExchangeTimeout);

    virtual void onInit() {}
    /// False keeps a message from its handler; it is then answered with error::NotPermitted.
    virtual bool filterMessage(const message& m);
    /// Gives a message to the handler of its destination and returns the reply.
    virtual message dispatchMessage(const message& m, uint32_t rights = right::All);
    /// Whether an idle process may leave: no exchange is under way, no subscriber and no subscription exists.
    virtual bool canLeave() const;

    /// Leaves the loop when nothing has happened on the bus for that long and canLeave() holds; 0 cancels. A process
    /// with a bus socket of its own making stays: nobody would start it again.
    void setupLeave(std::chrono::milliseconds idleTime);

    // For the other parts of this library.
    [[nodiscard]] Bus& bus() const { return *bus_; }
    [[nodiscard]] bool isServedHere(uint32_t number) const;  ///< it is one of the process's own numbers
    void forget(Handler& handler);                           ///< the handler is being destroyed

  private:
    void addNumber(uint32_t number);

    std::map<std::vector<uint32_t>, Handler*> handlers_;
    std::vector<uint32_t> numbers_;
    std::unique_ptr<Bus> bus_;
};

/// One timeout for everything fetched to answer one request. While it exists, the looper's exchanges with other
/// processes share `timeout`, counted from the start of the first; after that they fail at once with
/// error::TimedOut. Handlers of the same process aren't affected. At most one exists at a time.
class ExchangeBudget {
  public:
    explicit ExchangeBudget(const Looper& looper, std::chrono::milliseconds timeout = kExchangeTimeout);
    ~ExchangeBudget();
    ExchangeBudget(const ExchangeBudget&) = delete;
    ExchangeBudget& operator=(const ExchangeBudget&) = delete;

  private:
    const Looper& looper_;
};

/// The process's looper; nullptr before it is made.
[[nodiscard]] Looper* getLooper();

}  // namespace tn
