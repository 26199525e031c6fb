#include "tn/subscriptions.h"

#include <algorithm>
#include <utility>

#include "tn/bus.h"
#include "tn/log.h"
#include "tn/looper.h"

namespace tn {

namespace {

constexpr std::chrono::milliseconds kMinDelay{100};
constexpr std::chrono::milliseconds kMaxDelay{5000};

}  // namespace

message Subscriptions::requestOf(const Subscription& subscription, uint32_t command) {
    message m = tn::request(subscription.path, command);
    if (!subscription.subscriber->path().empty()) m.insert_u32_array(field::Source, subscription.subscriber->path());
    m.insert_u32(field::NotifyCommand, subscription.command);
    m.insert_message(field::NotifyFilter, subscription.filter);
    return m;
}

void Subscriptions::add(Handler& subscriber, std::span<const uint32_t> path, uint32_t command, const message& filter) {
    if (path.empty()) return;
    const bool known = std::ranges::any_of(list_, [&](const Subscription& s) {
        return s.subscriber == &subscriber && std::ranges::equal(s.path, path) && s.command == command &&
               s.filter == filter;
    });
    if (known) return;
    list_.push_back({.subscriber = &subscriber,
                     .path = {path.begin(), path.end()},
                     .command = command,
                     .filter = filter,
                     .state = State::Missing,
                     .request = 0,
                     .wasMissed = false});
    establish(path.front());
}

void Subscriptions::remove(Handler& subscriber, std::span<const uint32_t> path, uint32_t command,
                           const message& filter) {
    const auto found = std::ranges::find_if(list_, [&](const Subscription& s) {
        return s.subscriber == &subscriber && std::ranges::equal(s.path, path) && s.command == command &&
               s.filter == filter;
    });
    if (found == list_.end()) return;
    const message cancel = requestOf(*found, cmd::Unsubscribe);
    const bool isReported = found->state == State::Requested || found->state == State::InForce;
    list_.erase(found);
    stopUnneeded();
    if (isReported) bus_.looper().sendMessage(cancel);
}

void Subscriptions::establish(uint32_t number) {
    if (bus_.looper().isServedHere(number)) {
        for (Subscription& s : list_) {
            if (s.path.front() == number && s.state == State::Missing) requestHere(s);
        }
    } else if (const ConnectionPtr connection = bus_.connections().dial(number, {})) {
        connected(number, connection);
    }
    if (isMissing(number)) lookLater(number);
}

void Subscriptions::requestHere(Subscription& subscription) {
    if (bus_.looper().findHandler(subscription.path) == nullptr) return;
    if (isError(bus_.dispatchLocal(requestOf(subscription, cmd::Subscribe)))) {
        subscription.state = State::Refused;
    } else {
        accepted(subscription);
    }
}

void Subscriptions::accepted(Subscription& subscription) {
    subscription.state = State::InForce;
    if (!std::exchange(subscription.wasMissed, false)) return;
    // From the loop: what the subscriber does then may change the list, and other subscribers.
    bus_.looper().defer([this, who = subscription.subscriber, path = subscription.path, what = subscription.command] {
        const auto isTheOne = [&](const Subscription& s) {
            return s.subscriber == who && s.path == path && s.command == what && s.state == State::InForce;
        };
        if (std::ranges::any_of(list_, isTheOne)) who->resubscribed(path, what);
    });
}

void Subscriptions::connected(uint32_t number, const ConnectionPtr& connection) {
    for (Subscription& s : list_) {
        if (s.path.front() == number && s.state == State::Missing) request(s, connection);
    }
}

void Subscriptions::request(Subscription& subscription, const ConnectionPtr& connection) {
    message m = requestOf(subscription, cmd::Subscribe);
    subscription.request = bus_.newRequestId();
    m.insert_u32(field::RequestId, subscription.request);
    if (bus_.connections().send(connection, m.flatten()) == Sent::Yes) subscription.state = State::Requested;
}

bool Subscriptions::applyReply(uint32_t requestId, const message& reply) {
    const auto found = std::ranges::find_if(
        list_, [&](const Subscription& s) { return s.state == State::Requested && s.request == requestId; });
    if (found == list_.end()) return false;
    const uint32_t number = found->path.front();
    uint32_t code = 0;
    if (!isError(reply, &code)) {
        accepted(*found);
        stopUnneeded();
    } else if (code == error::NoSuchHandler) {
        found->state = State::Missing;  // the owner is still starting
        lookLater(number);
    } else {
        found->state = State::Refused;  // until the owner is started again
        swarn << "bus: " << number << ": subscription refused: " << getError(reply);
    }
    return true;
}

bool Subscriptions::isWanted(const message& notification) const {
    const std::vector<uint32_t>& source = notification.get_u32_array(field::Source);
    const std::vector<uint32_t>& destination = notification.get_u32_array(field::Destination);
    const uint32_t command = notification.get_u32(field::Command);
    return std::ranges::any_of(list_, [&](const Subscription& s) {
        return s.command == command && s.path == source && s.subscriber->path() == destination;
    });
}

void Subscriptions::connectionLost(uint32_t number) {
    bool any = false;
    for (Subscription& s : list_) {
        if (s.path.front() != number) continue;
        s.state = State::Missing;
        any = true;
    }
    if (any) lookLater(number);
}

void Subscriptions::handlerAdded() {
    for (Subscription& s : list_) {
        if (s.state == State::Missing && bus_.looper().isServedHere(s.path.front())) requestHere(s);
    }
    stopUnneeded();
}

void Subscriptions::lookLater(uint32_t number) {
    for (Subscription& s : list_)
        if (s.path.front() == number && s.state == State::Missing) s.wasMissed = true;
    Search& search = searches_[number];
    if (search.timer != 0) return;
    search.delay = std::clamp(search.delay * 2, kMinDelay, kMaxDelay);
    search.timer = bus_.looper().addTimer(
        [this, number] {
            searches_[number].timer = 0;
            establish(number);
        },
        search.delay);
}

bool Subscriptions::isMissing(uint32_t number) const {
    return std::ranges::any_of(
        list_, [&](const Subscription& s) { return s.path.front() == number && s.state == State::Missing; });
}

void Subscriptions::stopUnneeded() {
    std::erase_if(searches_, [&](const auto& entry) {
        if (isMissing(entry.first)) return false;
        bus_.looper().removeTimer(entry.second.timer);
        return true;
    });
}

void Subscriptions::forget(const Handler& handler) {
    std::erase_if(list_, [&](const Subscription& s) { return s.subscriber == &handler; });
    stopUnneeded();
}

}  // namespace tn
