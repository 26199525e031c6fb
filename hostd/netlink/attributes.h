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

/// Calls `call` with each message (const nlmsghdr&) of a packet. A message that would extend past the packet ends the
/// iteration, without an error. Lengths are checked here, because libmnl's check mistakes one of 2^31 or more for a
/// small one.
/// @param packet  octets as received, aligned to four
template <class Call>
void forEachMessage(std::span<const uint8_t> packet, const Call& call) {
    while (packet.size() >= sizeof(nlmsghdr)) {
        const auto& message = *reinterpret_cast<const nlmsghdr*>(packet.data());
        if (message.nlmsg_len < sizeof(nlmsghdr) || message.nlmsg_len > packet.size()) return;
        call(message);
        packet = packet.subspan(std::min<size_t>(MNL_ALIGN(message.nlmsg_len), packet.size()));
    }
}

/// The fixed header at the start of a message's payload, such as ifinfomsg; nullptr when the message is too short. It
/// refers to the message.
template <class Header>
const Header* payload(const nlmsghdr& message) {
    if (mnl_nlmsg_get_payload_len(&message) < sizeof(Header)) return nullptr;
    return static_cast<const Header*>(mnl_nlmsg_get_payload(&message));
}

/// Calls `call` with each attribute (const nlattr&) in these octets. An attribute that would extend past them ends the
/// iteration, without an error.
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

/// The octets of an attribute's value; empty for nullptr. They refer to the message.
inline std::span<const uint8_t> octetsOf(const nlattr* attribute) {
    if (attribute == nullptr) return {};
    return {static_cast<const uint8_t*>(mnl_attr_get_payload(attribute)), mnl_attr_get_payload_len(attribute)};
}

/// The octets that follow a message's fixed header, its attributes. Empty when the message is too short.
/// @param headerSize  octets of the fixed header, without padding
inline std::span<const uint8_t> attributesOf(const nlmsghdr& message, size_t headerSize) {
    const std::span all(static_cast<const uint8_t*>(mnl_nlmsg_get_payload(&message)),
                        mnl_nlmsg_get_payload_len(&message));
    return all.subspan(std::min<size_t>(MNL_ALIGN(headerSize), all.size()));
}

/// The attributes of a message or of a nested attribute, by type. Types above MaxType are ignored. If a type occurs
/// more than once, the last attribute counts. An attribute that would extend past the message or nest ends the list.
/// This object refers to the message and copies nothing, so the message must outlive it.
/// @tparam MaxType  the highest type of interest, such as IFLA_MAX
template <size_t MaxType>
class Attributes {
  public:
    /// @param headerSize  octets of the message's fixed header
    Attributes(const nlmsghdr& message, size_t headerSize) { read(attributesOf(message, headerSize)); }
    explicit Attributes(std::span<const uint8_t> octets) { read(octets); }
    /// @param nest  nullptr: there are no attributes
    explicit Attributes(const nlattr* nest) { read(octetsOf(nest)); }

    /// The attribute of this type, at most MaxType; nullptr when it is absent.
    [[nodiscard]] const nlattr* operator[](size_t type) const { return all_[type]; }
    /// The value's octets; empty when the attribute is absent.
    [[nodiscard]] std::span<const uint8_t> octets(size_t type) const { return octetsOf(all_[type]); }
    /// The value as a number, in the byte order of the message. Nothing when the attribute is absent or has another
    /// size than Number.
    template <class Number>
    [[nodiscard]] std::optional<Number> number(size_t type) const {
        const auto value = octets(type);
        if (value.size() != sizeof(Number)) return {};
        Number number{};
        std::memcpy(&number, value.data(), sizeof number);
        return number;
    }
    /// The value as text, up to its first zero octet. Empty when the attribute is absent.
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
