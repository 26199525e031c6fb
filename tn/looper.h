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

/// A process on the bus: its loop, its handlers and its connections to other processes. A message to a handler of the
/// same process is a function call; a message to another process is a packet.
///
/// A process has one looper (getLooper). The looper is the handler of its first number.
class Looper : public Handler, public ThinRunner {
  public:
    /// @param numbers  first elements of the paths that the process serves; empty for a client (tnctl)
    explicit Looper(std::vector<uint32_t> numbers);
    ~Looper() override;

    /// Registers a handler under {first number, id}; see below.
    void addHandler(uint32_t id, Handler* handler);
    /// Registers a handler under a path, in place of the one that has this path, and calls its loadPermData. The path's
    /// first element becomes one of the process's numbers. The caller owns the handler, which must outlive the looper
    /// or be destroyed outside its callbacks. Does nothing for an empty path or nullptr.
    void addHandler(std::span<const uint32_t> path, Handler* handler);
    /// The handler in this process with exactly this path, or nullptr.
    [[nodiscard]] Handler* findHandler(std::span<const uint32_t> path) const;

    /// Opens the listening socket of each number under busFolder(), or takes it over from a service manager or spawner
    /// (sd_listen_fds). False, with one line on standard error, if another live process serves a number or the folder
    /// can't be created. run() calls it unless the process listens already.
    bool listen();

    /// Listens, calls loadPermData and onInit, reports READY to the service manager and runs the loop until shutdown().
    /// Then answers the requests that have arrived, calls every handler's savePermData and closes the bus.
    /// @return exit status: 0; 1 if listen() failed
    int run() override;
    void shutdown() override;

    /// Sends to the path in field::Destination and doesn't wait for a reply.
    /// @return empty if the message was sent, queued or, in this process, dispatched to a handler; else an error
    virtual message sendMessage(message m);
    /// Sends to the path in field::Destination and waits for the reply. A handler of this process is called directly,
    /// without the timeout. @return the reply, or an error as Handler::exchangeCmd
    virtual message exchangeMessage(const message& m, std::chrono::milliseconds timeout = kExchangeTimeout);
    /// Sends several requests to one path before it waits for the replies: one round trip instead of one each.
    /// @param timeout  for all of them together
    /// @return for each request its reply, or an error
    std::vector<message> exchangeMessages(std::vector<message> requests,
                                          std::chrono::milliseconds timeout = kExchangeTimeout);

    /// Sends requests to other processes before their exchanges begin: exchangeMessage of an equal request then returns
    /// the reply to this one, until dropAhead(). Only for requests that change nothing.
    void sendAhead(std::vector<message> requests);
    void dropAhead();

    /// Called by run() after the process listens and loadPermData() has run.
    virtual void onInit() {}
    /// Called with each reply that an exchange returns. @param path  destination of the request, not empty
    virtual void exchanged(const std::vector<uint32_t>& /*path*/, const message& /*reply*/) {}
    /// Called before the process waits: for another process, for a reading, or for the disk. Sends the replies that are
    /// ready, so that they aren't delayed by the wait.
    virtual void beforeWait();
    /// Whether a message may be dispatched. Otherwise its reply is error::NotPermitted.
    virtual bool filterMessage(const message& m);
    /// Dispatches a message to the handler of its destination, or to handleBrkpath of the nearest handler above that
    /// path. Without either the reply is error::NoSuchHandler.
    /// @param rights  of the caller, bits of right::*
    /// @return the reply
    virtual message dispatchMessage(const message& m, uint32_t rights = right::All);
    /// Whether an idle process may exit: there is no exchange under way, no undelivered packet, no subscriber and no
    /// subscription.
    virtual bool canLeave() const;

    /// Leaves the loop when nothing has happened on the bus for `idleTime` and canLeave() is true; 0 cancels. A process
    /// that opened a bus socket itself stays, since no client could make it start again.
    void setupLeave(std::chrono::milliseconds idleTime);

    // For the other parts of this library.
    [[nodiscard]] Bus& bus() const { return *bus_; }
    [[nodiscard]] bool isServedHere(uint32_t number) const;  ///< whether it is one of this process's numbers
    void forget(Handler& handler);                           ///< called when the handler is destroyed

  private:
    void addNumber(uint32_t number);

    std::map<std::vector<uint32_t>, Handler*> handlers_;
    std::vector<uint32_t> numbers_;
    std::unique_ptr<Bus> bus_;
};

/// One timeout for everything that is fetched to answer one request. While the object exists, the looper's exchanges
/// with other processes share `timeout`, counted from the start of the first. After that they fail at once with
/// error::TimedOut. Handlers of the same process aren't affected. At most one object exists at a time.
class ExchangeBudget {
  public:
    explicit ExchangeBudget(const Looper& looper, std::chrono::milliseconds timeout = kExchangeTimeout);
    ~ExchangeBudget();
    ExchangeBudget(const ExchangeBudget&) = delete;
    ExchangeBudget& operator=(const ExchangeBudget&) = delete;

  private:
    const Looper& looper_;
};

/// The process's looper; nullptr while there is none.
[[nodiscard]] Looper* getLooper();

}  // namespace tn
