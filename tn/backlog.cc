#include "tn/backlog.h"

#include "tn/fields.h"

namespace tn {

namespace {

constexpr size_t kMaxPackets = 16'384;
constexpr size_t kMaxOctets = 64 * kMaxPacket;

/// Equal for the same notification about the same object, if sender and receiver are the same handlers.
NoteKey keyOf(const message& notification) {
    NoteKey key{.owner = nullptr,
                .command = notification.get_u32(field::Command),
                .object = std::nullopt,
                .subscriber = notification.get_u32_array(field::Destination)};
    if (notification.has(field::ObjectId)) key.object = notification.get_u32(field::ObjectId);
    key.subscriber.push_back(kNoId);
    const std::vector<uint32_t>& source = notification.get_u32_array(field::Source);
    key.subscriber.insert(key.subscriber.end(), source.begin(), source.end());
    return key;
}

bool isNotification(const message& packet) { return !packet.has(field::ReplyTo) && !packet.has(field::RequestId); }

}  // namespace

bool Backlog::add(const ConnectionPtr& from, message content, size_t octets) {
    if (packets_.size() >= kMaxPackets || octets_ + octets > kMaxOctets) return false;
    if (packets_.empty()) deliverSoon();
    octets_ += octets;
    Packet packet{.from = from, .content = std::move(content), .octets = octets};
    if (!isNotification(packet.content)) {
        packets_.push(std::move(packet));
    } else if (NoteKey key = keyOf(packet.content); !packets_.push(std::move(key), packet)) {
        octets_ -= packet.octets;  // those of the older one, which is now here
    }
    return true;
}

void Backlog::deliver() {
    for (size_t count = packets_.size(); count > 0 && !packets_.empty(); --count) {
        Packet packet = std::move(packets_.front());
        packets_.pop();
        octets_ -= packet.octets;
        deliver_(packet.from, packet.content);
    }
    if (!packets_.empty()) deliverSoon();
}

void Backlog::deliverSoon() {
    runner_.defer([this] { deliver(); });
}

void Backlog::clear() {
    while (!packets_.empty()) packets_.pop();
    octets_ = 0;
}

}  // namespace tn
