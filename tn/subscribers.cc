#include "tn/subscribers.h"

#include <algorithm>
#include <span>

#include "tn/bus.h"
#include "tn/looper.h"

namespace tn {

namespace {

constexpr size_t kMaxSubscribers = 4096;  // of one handler

// Of one connection without full rights, over all handlers.
constexpr size_t kMaxShare = 32;
constexpr size_t kMaxShareOctets = 16 * 1024;

}  // namespace

message Subscribers::add(Handler& owner, const message& request, ConnectionPtr from) {
    Subscriber subscriber{.command = request.get_u32(field::NotifyCommand),
                          .path = request.get_u32_array(field::Source),
                          .filter = request.get_message(field::NotifyFilter),
                          .connection = std::move(from),
                          .octets = request.flatSize()};
    const auto found = byOwner_.find(&owner);
    const std::span<const Subscriber> others = found == byOwner_.end() ? std::span<const Subscriber>() : found->second;
    const bool known = std::ranges::any_of(others, [&](const Subscriber& s) {
        return s.connection == subscriber.connection && s.command == subscriber.command && s.path == subscriber.path &&
               s.filter == subscriber.filter;
    });
    if (known) return {};
    if (others.size() >= kMaxSubscribers || isBeyondShare(subscriber))
        return errorMsg(error::Refused, "too many subscriptions");
    byOwner_[&owner].push_back(std::move(subscriber));
    owner.subscribed(request.get_u32(field::NotifyCommand), request.get_message(field::NotifyFilter));
    return {};
}

bool Subscribers::isBeyondShare(const Subscriber& added) const {
    if (!added.connection || added.connection->peer().rights == right::All) return false;
    size_t count = 1;
    size_t octets = added.octets;
    for (const auto& [owner, list] : byOwner_) {
        for (const Subscriber& s : list) {
            if (s.connection != added.connection) continue;
            ++count;
            octets += s.octets;
        }
    }
    return count > kMaxShare || octets > kMaxShareOctets;
}

message Subscribers::remove(Handler& owner, const message& request, const ConnectionPtr& from) {
    const uint32_t command = request.get_u32(field::NotifyCommand);
    const message& filter = request.get_message(field::NotifyFilter);
    const auto found = byOwner_.find(&owner);
    if (found == byOwner_.end()) return {};
    const size_t removed = std::erase_if(found->second, [&](const Subscriber& s) {
        return s.connection == from && s.command == command && s.path == request.get_u32_array(field::Source) &&
               s.filter == filter;
    });
    if (found->second.empty()) byOwner_.erase(found);
    if (removed != 0) owner.unsubscribed(command, filter);
    return {};
}

void Subscribers::notify(Handler& owner, uint32_t command, const message& notification) {
    const auto found = byOwner_.find(&owner);
    if (found == byOwner_.end()) return;

    // One receiver with several filters gets one copy.
    std::vector<const Subscriber*> receivers;
    for (const Subscriber& s : found->second) {
        if (s.command != command || !owner.shouldNotify(s.filter, notification)) continue;
        const bool twice = std::ranges::any_of(receivers, [&](const Subscriber* other) {
            return other->connection == s.connection && other->path == s.path;
        });
        if (!twice) receivers.push_back(&s);
    }
    if (receivers.empty()) return;

    message copy = notification;
    copy.remove(field::RequestId);
    copy.remove(field::ReplyTo);
    copy.remove(field::CallerPid);
    copy.insert_u32(field::Command, command);
    copy.insert_u32_array(field::Source, owner.path());
    for (const Subscriber* s : receivers) deliver(owner, *s, copy);
    reportSoon(owner);
}

void Subscribers::deliver(Handler& owner, const Subscriber& to, message notification) {
    notification.insert_u32_array(field::Destination, to.path);
    NoteKey key{.owner = &owner, .command = to.command, .object = std::nullopt, .subscriber = to.path};
    if (notification.has(field::ObjectId)) key.object = notification.get_u32(field::ObjectId);

    if (to.connection) {
        bus_.sendReplies();  // those before it
        if (bus_.connections().sendNotification(to.connection, std::move(key), notification)) ++waiting_[&owner];
        return;
    }
    // A handler of this process gets it from the loop: a notification never runs inside the notifier's stack.
    if (local_.empty()) bus_.looper().defer([this] { runLocal(); });
    LocalNote note{.path = to.path, .notification = std::move(notification)};
    if (local_.push(std::move(key), note)) ++waiting_[&owner];
}

void Subscribers::runLocal() {
    // What these notifications set off waits for the next round, so that two handlers that answer each other's
    // notifications can't keep the loop from its sockets.
    for (size_t left = local_.size(); left > 0; --left) {
        const LocalNote note = std::move(local_.front());
        Handler* owner = local_.pop();
        if (owner != nullptr) passedOn({owner});
        bus_.dispatchLocal(note.notification);
    }
    if (!local_.empty()) bus_.looper().defer([this] { runLocal(); });
}

void Subscribers::passedOn(const std::vector<Handler*>& owners) {
    for (Handler* owner : owners) {
        const auto found = waiting_.find(owner);
        if (found == waiting_.end() || --found->second > 0) continue;
        waiting_.erase(found);
        reportSoon(*owner);
    }
}

void Subscribers::reportSoon(Handler& owner) {
    if (waiting_.contains(&owner) || std::ranges::find(reporting_, &owner) != reporting_.end()) return;
    if (reporting_.empty()) {
        bus_.looper().defer([this] {
            const std::vector<Handler*> owners = std::move(reporting_);
            reporting_.clear();
            for (Handler* sent : owners) {
                if (!waiting_.contains(sent)) sent->notifiesSent();
            }
        });
    }
    reporting_.push_back(&owner);
}

void Subscribers::connectionLost(const ConnectionPtr& connection) {
    struct Loss {
        Handler* owner;
        Subscriber subscriber;
    };
    std::vector<Loss> lost;
    for (auto& [owner, list] : byOwner_) {
        const auto gone =
            std::stable_partition(list.begin(), list.end(), [&](const auto& s) { return s.connection != connection; });
        for (auto s = gone; s != list.end(); ++s) lost.push_back({owner, std::move(*s)});
        list.erase(gone, list.end());
    }
    std::erase_if(byOwner_, [](const auto& entry) { return entry.second.empty(); });

    // The hooks come last: they may subscribe, notify or end other connections.
    for (const auto& [owner, subscriber] : lost) {
        owner->unsubscribed(subscriber.command, subscriber.filter);
        message gone = request(owner->path(), cmd::Disconnected);
        gone.insert_u32_array(field::Source, subscriber.path);
        owner->cmdDisconnected(gone);
    }
}

void Subscribers::forget(Handler& handler) {
    byOwner_.erase(&handler);
    waiting_.erase(&handler);
    std::erase(reporting_, &handler);
    for (auto& [owner, list] : byOwner_) {
        std::erase_if(list, [&](const Subscriber& s) { return !s.connection && s.path == handler.path(); });
    }
    std::erase_if(byOwner_, [](const auto& entry) { return entry.second.empty(); });
}

}  // namespace tn
