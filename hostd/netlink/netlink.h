#pragma once

#include <libmnl/libmnl.h>
#include <linux/netlink.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace hostd {

/// Calls for each message (const nlmsghdr&) of a packet, which must lie at a multiple of four; one that runs past it
/// ends it. The library's own check takes a length past 2^31 for a small one.
template <class Call>
void forEachMessage(std::span<const uint8_t> packet, const Call& call) {
    while (packet.size() >= sizeof(nlmsghdr)) {
        const auto& message = *reinterpret_cast<const nlmsghdr*>(packet.data());
        if (message.nlmsg_len < sizeof(nlmsghdr) || message.nlmsg_len > packet.size()) return;
        call(message);
        packet = packet.subspan(std::min<size_t>(MNL_ALIGN(message.nlmsg_len), packet.size()));
    }
}

/// The fixed header of a netlink message's payload; nullptr when the message is too short for it.
template <class Header>
const Header* payload(const nlmsghdr& message) {
    if (mnl_nlmsg_get_payload_len(&message) < sizeof(Header)) return nullptr;
    return static_cast<const Header*>(mnl_nlmsg_get_payload(&message));
}

/// Calls for each attribute (const nlattr&) of these octets; one that runs past them ends the list.
template <class Call>
void forEachAttribute(std::span<const uint8_t> octets, const Call& call) {
    const auto* attribute = reinterpret_cast<const nlattr*>(octets.data());
    auto left = static_cast<int>(octets.size());
    while (mnl_attr_ok(attribute, left)) {
        call(*attribute);
        const auto step = static_cast<int>(MNL_ALIGN(attribute->nla_len));
        left = left > step ? left - step : 0;  // the last one may lack its padding
        if (left > 0) attribute = mnl_attr_next(attribute);
    }
}

/// The octets of an attribute's value; none for nullptr.
inline std::span<const uint8_t> octetsOf(const nlattr* attribute) {
    if (attribute == nullptr) return {};
    return {static_cast<const uint8_t*>(mnl_attr_get_payload(attribute)), mnl_attr_get_payload_len(attribute)};
}

/// The attributes behind a message's fixed header.
inline std::span<const uint8_t> attributesOf(const nlmsghdr& message, size_t headerSize) {
    const std::span all(static_cast<const uint8_t*>(mnl_nlmsg_get_payload(&message)),
                        mnl_nlmsg_get_payload_len(&message));
    return all.subspan(std::min<size_t>(MNL_ALIGN(headerSize), all.size()));
}

/// The attributes of a message or of a nest, by type up to Most; the last one of a type counts. An attribute that runs
/// past its surroundings ends the list. Values of a wrong size count as absent.
template <size_t Most>
class Attributes {
  public:
    Attributes(const nlmsghdr& message, size_t headerSize) { take(attributesOf(message, headerSize)); }
    explicit Attributes(std::span<const uint8_t> octets) { take(octets); }
    /// @param nest  may be nullptr
    explicit Attributes(const nlattr* nest) { take(octetsOf(nest)); }

    [[nodiscard]] const nlattr* operator[](size_t type) const { return all_[type]; }
    [[nodiscard]] std::span<const uint8_t> octets(size_t type) const { return octetsOf(all_[type]); }
    template <class Number>
    [[nodiscard]] std::optional<Number> number(size_t type) const {
        const auto value = octets(type);
        if (value.size() != sizeof(Number)) return {};
        Number number{};
        std::memcpy(&number, value.data(), sizeof number);
        return number;
    }
    /// Up to the first zero octet.
    [[nodiscard]] std::string_view text(size_t type) const {
        const auto value = octets(type);
        if (value.empty()) return {};
        const auto* first = reinterpret_cast<const char*>(value.data());
        return {first, ::strnlen(first, value.size())};
    }

  private:
    void take(std::span<const uint8_t> octets) {
        forEachAttribute(octets, [this](const nlattr& attribute) {
            const uint16_t type = mnl_attr_get_type(&attribute);
            if (type <= Most) all_[type] = &attribute;
        });
    }
    std::array<const nlattr*, Most + 1> all_{};
};

/// One or more netlink requests in one buffer.
class NetlinkRequests {
  public:
    /// Begins a request and makes room for its fixed header, zeroed. Valid until the next one is begun.
    template <class Header>
    Header& add(uint16_t type, uint16_t flags) {
        begin(type, flags);
        return *static_cast<Header*>(mnl_nlmsg_put_extra_header(current(), sizeof(Header)));
    }
    /// The request begun last, to put attributes into. Ended by finish().
    [[nodiscard]] nlmsghdr* current() { return reinterpret_cast<nlmsghdr*>(buffer_.data() + begun_); }
    void finish() { buffer_.resize(begun_ + current()->nlmsg_len); }
    /// Numbers the requests consecutively. @return how many there are
    uint32_t number(uint32_t first);
    [[nodiscard]] std::span<const uint8_t> bytes() const { return buffer_; }

  private:
    static constexpr size_t kMostRequest = 512;  // octets
    void begin(uint16_t type, uint16_t flags);

    std::vector<uint8_t> buffer_;
    size_t begun_ = 0;
};

/// A netlink socket. Not copied; closed with the object.
///
/// Processes with CAP_NET_ADMIN can write to it, so only the kernel's messages are accepted. Once requests were sent,
/// only replies to the last ones are accepted, since an abandoned request may still be answered.
class NetlinkSocket {
  public:
    enum class Outcome { Empty, Full, Overrun, Failed };
    using Taker = std::function<void(const nlmsghdr&)>;

    /// @param sender  port id whose messages are accepted: the kernel's, 0, except in tests
    explicit NetlinkSocket(uint32_t sender = 0) : sender_(sender) {}
    ~NetlinkSocket() { close(); }
    NetlinkSocket(const NetlinkSocket&) = delete;
    NetlinkSocket& operator=(const NetlinkSocket&) = delete;

    /// @param bus     NETLINK_ROUTE, NETLINK_GENERIC
    /// @param groups  bit mask of the first 32 multicast groups to be told of
    /// @param room    octets of messages that may wait here; the kernel may give less
    /// @return false, errno set, when the kernel refuses
    [[nodiscard]] bool open(int bus, unsigned groups, int room = 0);
    void close();
    [[nodiscard]] bool isOpen() const { return socket_ != nullptr; }
    [[nodiscard]] int fd() const { return mnl_socket_get_fd(socket_); }

    /// Gives the requests new sequence numbers, which their replies repeat.
    bool send(NetlinkRequests& requests);
    /// Takes what waits, without waiting for more, at most `packets` of them, those of other senders included.
    /// @return Empty: nothing waits any more; Full: so many packets were taken; Overrun: messages were lost,
    /// since they came too fast (ENOBUFS), or one was longer than 128 KiB (EMSGSIZE)
    Outcome take(size_t packets, const Taker& taker) const;
    /// Waits for the messages of a dump, or of one request with NLM_F_ACK. False when it failed, was interrupted by a
    /// change (NLM_F_DUMP_INTR), or nothing came for a second; errno is then the kernel's reason, EINTR or ETIMEDOUT.
    bool takeAnswer(const Taker& taker) const;

  private:
    [[nodiscard]] bool isWanted(const nlmsghdr& message) const;

    mnl_socket* socket_ = nullptr;
    uint32_t sender_;
    uint32_t firstAsked_ = 0;  ///< sequence number of the first request of the last send
    uint32_t asked_ = 0;       ///< number of requests in it
};

}  // namespace hostd
