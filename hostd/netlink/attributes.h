#pragma once

#include <libmnl/libmnl.h>
#include <linux/netlink.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>

namespace hostd {

/// Calls for each message (const nlmsghdr&) of a packet, which must be aligned to four octets. A message that runs past
/// the packet ends it. libmnl's own check mistakes a length past 2^31 for a small one.
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

/// Calls for each attribute (const nlattr&) of these octets. An attribute that runs past them ends the list.
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

/// The attributes after a message's fixed header; none when the message is too short.
/// @param headerSize  octets
inline std::span<const uint8_t> attributesOf(const nlmsghdr& message, size_t headerSize) {
    const std::span all(static_cast<const uint8_t*>(mnl_nlmsg_get_payload(&message)),
                        mnl_nlmsg_get_payload_len(&message));
    return all.subspan(std::min<size_t>(MNL_ALIGN(headerSize), all.size()));
}

/// The attributes of a message or of a nest, by type up to MaxType; of several of one type the last counts. An
/// attribute that runs past its surroundings ends the list. Values of a wrong size count as absent. Looks at the
/// message, which must outlive this.
template <size_t MaxType>
class Attributes {
  public:
    Attributes(const nlmsghdr& message, size_t headerSize) { read(attributesOf(message, headerSize)); }
    explicit Attributes(std::span<const uint8_t> octets) { read(octets); }
    /// @param nest  may be nullptr
    explicit Attributes(const nlattr* nest) { read(octetsOf(nest)); }

    /// nullptr when there is none.
    [[nodiscard]] const nlattr* operator[](size_t type) const { return all_[type]; }
    /// Empty when there is none.
    [[nodiscard]] std::span<const uint8_t> octets(size_t type) const { return octetsOf(all_[type]); }
    /// A number in the machine's byte order; nothing when the value has another size than Number.
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
    void read(std::span<const uint8_t> octets) {
        forEachAttribute(octets, [this](const nlattr& attribute) {
            const uint16_t type = mnl_attr_get_type(&attribute);
            if (type <= MaxType) all_[type] = &attribute;
        });
    }
    std::array<const nlattr*, MaxType + 1> all_{};
};

}  // namespace hostd
