#include "tn/burst.h"

#include <algorithm>
#include <utility>

#include "tn/fields.h"

namespace tn {

Burst::Burst(uint32_t number, std::vector<message> requests, Time deadline) : number_(number), deadline_(deadline) {
    calls_.reserve(requests.size());
    for (message& request : requests) calls_.push_back({.request = std::move(request), .reply = {}});
}

Burst::Call* Burst::nextToSend() {
    const auto next = std::ranges::find_if(calls_, [](const Call& call) { return !call.isSent && !call.reply; });
    return next == calls_.end() ? nullptr : &*next;
}

Burst::Call* Burst::answeredBy(const message& packet) {
    const uint32_t id = packet.get_u32(field::ReplyTo);
    if (id == 0) return nullptr;
    const auto call = std::ranges::find_if(calls_, [id](const Call& one) {
        return one.isSent && !one.reply && one.request.get_u32(field::RequestId) == id;
    });
    return call == calls_.end() ? nullptr : &*call;
}

const Burst::Call& Burst::lastOutstanding() const {
    return *std::ranges::find_if(calls_.rbegin(), calls_.rend(),
                                 [](const Call& call) { return call.isSent && !call.reply; });
}

void Burst::markSent(Call& call) {
    call.isSent = true;
    ++outstanding_;
}

void Burst::answer(Call& call, message reply) {
    reply.remove(field::ReplyTo);
    call.reply = std::move(reply);
    if (std::exchange(call.isSent, true)) --outstanding_;
}

void Burst::takeBackSent() {
    for (Call& call : calls_) call.isSent = call.reply.has_value();
    outstanding_ = 0;
}

void Burst::failAll(const message& error) {
    for (Call& call : calls_)
        if (!call.reply) answer(call, error);
}

void Burst::failSent(const message& error) {
    for (Call& call : calls_)
        if (call.isSent && !call.reply) answer(call, error);
}

std::vector<message> Burst::replies() {
    std::vector<message> all;
    all.reserve(calls_.size());
    for (Call& call : calls_) all.push_back(std::move(*call.reply));
    return all;
}

}  // namespace tn
