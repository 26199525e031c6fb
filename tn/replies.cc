#include "tn/replies.h"

#include <utility>

#include "tn/sources.h"

namespace tn {

namespace {

constexpr size_t kMaxOctets = 16'384;  // of several replies together: the system call costs little beside larger ones

message answerTo(uint32_t requestId, message reply) {
    reply.insert_u32(field::ReplyTo, requestId);
    return reply;
}

}  // namespace

void Replies::add(const ConnectionPtr& to, uint32_t requestId, message reply) {
    flat_message flat = answerTo(requestId, std::move(reply)).flatten();
    const bool isTooDeep = flat.empty();
    if (isTooDeep || to != to_ || packet_.size() + flat.size() > kMaxOctets) send();
    const std::chrono::milliseconds now = sinceBoot();
    to_ = to;
    lastRequest_ = requestId;
    if (packet_.empty()) {
        begun_ = now;
        packet_ = std::move(flat);
    } else {
        packet_.insert(packet_.end(), flat.begin(), flat.end());
    }
    if (isTooDeep || now != begun_) send();
}

void Replies::send() {
    const ConnectionPtr to = std::exchange(to_, nullptr);
    flat_message packet = std::exchange(packet_, {});
    if (!to || to->isClosed() || to->doomed) return;
    if (connections_.sendReplies(to, std::move(packet)) != Sent::TooLarge) return;
    // It is the only one of its packet.
    const message error = errorMsg(error::TooLarge, "the reply doesn't fit into a packet");
    (void)connections_.sendReplies(to, answerTo(lastRequest_, error).flatten());
}

}  // namespace tn
