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

/// A process on the bus: the loop, the handlers that live in it, and the way to the others. A message to a
/// handler of the same process is a function call; to another process it is a packet.
///
/// There is one looper in a process (getLooper). It is itself the handler of its first number.
class Looper : public Handler, public ThinRunner {
  public:
    /// @param numbers  the process's own numbers, first elements of the paths that it serves; empty for a client
    /// (tnctl)
    explicit Looper(std::vector<uint32_t> numbers);
    ~Looper() override;

    /// Registers a handler under {first own number, id}.
    void addHandler(uint32_t id, Handler* handler);
    /// Registers a handler under a path; a first element not served yet becomes one of the process's numbers. The
    /// handler stays the caller's; it must outlive the looper, or be destroyed outside its own callbacks. Calls its
    /// loadPermData. A handler that has the path already is replaced.
    void addHandler(std::span<const uint32_t> path, Handler* handler);
    /// The handler of exactly this path in this process, or nullptr.
    [[nodiscard]] Handler* findHandler(std::span<const uint32_t> path) const;

    /// Opens the listening socket of each number under busFolder(), or takes it over from a service manager or spawner
    /// (sd_listen_fds). False, with one line on standard error, when another live process serves a number or the folder
    /// can't be made. Called by run() unless it has been called before.
    bool listen();

    /// Listens, loads its own data, calls onInit, reports READY to the service manager and loops; at the end answers
    /// what has been received and calls every handler's savePermData. @return 0; 1 when listen() failed
    int run() override;
    void shutdown() override;

    /// Sends one way to the path in field::Destination. @return an error when it couldn't be handed over; else empty
    virtual message sendMessage(message m);
    /// Sends to the path in field::Destination and waits for the reply. A handler of this process is called directly,
    /// and isn't subject to the timeout. @return the reply, or an error as Handler::exchangeCmd
    virtual message exchangeMessage(const message& m, std::chrono::milliseconds timeout = kExchangeTimeout);

    /// Called by run() when the process listens and its data is loaded.
    virtual void onInit() {}
    /// False keeps a message from its handler; it is then answered with error::NotPermitted.
    virtual bool filterMessage(const message& m);
    /// Gives a message to the handler of its destination, or to the nearest one above it (handleBrkpath), and returns
    /// the reply. @param rights  of the caller, bits of right::*
    virtual message dispatchMessage(const message& m, uint32_t rights = right::All);
    /// Whether an idle process may leave: no exchange is under way, no packet waits, no subscriber and no subscription
    /// exists.
    virtual bool canLeave() const;

    /// Leaves the loop when nothing has happened on the bus for `idleTime` and canLeave() holds; 0 cancels. A process
    /// that opened a bus socket itself stays: it wouldn't be started again.
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
