#include "tn/looper.h"

#include <systemd/sd-daemon.h>

#include <algorithm>

#include "tn/bus.h"

namespace tn {

namespace {

Looper* theLooper = nullptr;

}  // namespace

Looper* getLooper() { return theLooper; }

Looper::Looper(std::vector<uint32_t> numbers) : numbers_(std::move(numbers)), bus_(std::make_unique<Bus>(*this)) {
    theLooper = this;
    if (numbers_.empty()) return;
    setPath(std::span(numbers_).first(1));
    handlers_.emplace(path(), this);
}

Looper::~Looper() {
    bus_.reset();
    if (theLooper == this) theLooper = nullptr;
}

void Looper::addHandler(uint32_t id, Handler* handler) {
    const uint32_t path[] = {numbers_.empty() ? 0 : numbers_.front(), id};
    addHandler(path, handler);
}

void Looper::addHandler(std::span<const uint32_t> path, Handler* handler) {
    if (path.empty() || handler == nullptr) return;
    handler->setPath(path);
    handlers_.insert_or_assign(handler->path(), handler);
    handler->loadPermData();
    addNumber(path.front());
    bus_->handlerAdded();
}

void Looper::addNumber(uint32_t number) {
    if (isServedHere(number)) return;
    numbers_.push_back(number);
    bus_->numberAdded(number);
}

bool Looper::isServedHere(uint32_t number) const { return std::ranges::find(numbers_, number) != numbers_.end(); }

Handler* Looper::findHandler(std::span<const uint32_t> path) const {
    const auto found = handlers_.find(std::vector<uint32_t>(path.begin(), path.end()));
    return found == handlers_.end() ? nullptr : found->second;
}

void Looper::forget(Handler& handler) {
    std::erase_if(handlers_, [&](const auto& entry) { return entry.second == &handler; });
    if (bus_) bus_->forget(handler);
}

bool Looper::listen() { return bus_->listen(numbers_); }

int Looper::run() {
    if (!bus_->isListening() && !listen()) return 1;
    loadPermData();
    onInit();
    sd_notify(0, "READY=1");
    const int result = ThinRunner::run();
    sd_notify(0, "STOPPING=1");
    bus_->drain();
    for (const auto& [path, handler] : handlers_) handler->savePermData();
    bus_->close();
    return result;
}

void Looper::shutdown() { ThinRunner::shutdown(); }

message Looper::sendMessage(message m) {
    const std::vector<uint32_t>& path = m.get_u32_array(field::Destination);
    if (path.empty()) return errorMsg(error::NoSuchHandler, "no destination");
    if (!isServedHere(path.front())) return bus_->send(std::move(m));
    message reply = bus_->dispatchLocal(m);
    uint32_t code = 0;
    return isError(reply, &code) && code == error::NoSuchHandler ? reply : message();
}

message Looper::exchangeMessage(const message& m, std::chrono::milliseconds timeout) {
    const std::vector<uint32_t>& path = m.get_u32_array(field::Destination);
    if (path.empty()) return errorMsg(error::NoSuchHandler, "no destination");
    message reply =
        isServedHere(path.front()) ? bus_->dispatchLocal(m) : std::move(bus_->exchange({m}, timeout).front());
    exchanged(path, reply);
    return reply;
}

std::vector<message> Looper::exchangeMessages(std::vector<message> requests, std::chrono::milliseconds timeout) {
    if (requests.empty()) return requests;
    const std::vector<uint32_t> path = requests.front().get_u32_array(field::Destination);
    if (!path.empty() && !isServedHere(path.front())) {
        std::vector<message> replies = bus_->exchange(std::move(requests), timeout);
        for (const message& reply : replies) exchanged(path, reply);
        return replies;
    }
    for (message& m : requests) m = exchangeMessage(m, timeout);
    return requests;
}

void Looper::sendAhead(std::vector<message> requests) { bus_->sendAhead(std::move(requests)); }

void Looper::dropAhead() { bus_->dropAhead(); }

void Looper::beforeWait() { bus_->sendReplies(); }

bool Looper::filterMessage(const message&) { return true; }

message Looper::dispatchMessage(const message& m, uint32_t rights) {
    if (!filterMessage(m)) return errorMsg(error::NotPermitted, "not permitted");
    const std::vector<uint32_t>& path = m.get_u32_array(field::Destination);
    const auto found = handlers_.find(path);
    if (found != handlers_.end()) return found->second->handle(m, rights);

    for (std::vector<uint32_t> above = path; !above.empty(); above.pop_back()) {
        const auto parent = handlers_.find(above);
        if (parent == handlers_.end()) continue;
        if (!parent->second->checkPolicy(m.get_u32(field::Command), rights)) {
            return errorMsg(error::NotPermitted, "not permitted");
        }
        return parent->second->handleBrkpath(m);
    }
    return errorMsg(error::NoSuchHandler, "no such handler");
}

bool Looper::canLeave() const { return bus_->isIdle(); }

void Looper::setupLeave(std::chrono::milliseconds idleTime) { bus_->setupLeave(idleTime); }

ExchangeBudget::ExchangeBudget(const Looper& looper, std::chrono::milliseconds timeout) : looper_(looper) {
    looper_.bus().setBudget(timeout);
}

ExchangeBudget::~ExchangeBudget() { looper_.bus().setBudget({}); }

}  // namespace tn
