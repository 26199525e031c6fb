#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "wire/codec.h"

namespace bench {

/// Tags of PDUs (RFC 3416, 3).
constexpr uint8_t kGet = 0xa0, kGetNext = 0xa1, kResponse = 0xa2, kGetBulk = 0xa5, kReport = 0xa8;

/// A request of the load generators.
struct Request {
    std::string community = "common";
    uint8_t pdu = kGet;  ///< kGet, kGetNext or kGetBulk
    std::vector<wire::Oid> oids;
    unsigned maxRepetitions = 10;  ///< kGetBulk only
};

/// A v2c request datagram (RFC 3416). It is encoded once; afterwards only the four octets of its request id change.
class Datagram {
  public:
    /// Throws std::invalid_argument with an error message if the request is too long.
    explicit Datagram(const Request& request);
    /// The datagram with this request id, valid until the next call. The id must be 0x01000000 to 0x7fffffff, so that
    /// its minimal encoding has four octets.
    [[nodiscard]] std::span<const uint8_t> withId(uint32_t id);

  private:
    wire::Bytes octets_;
    size_t idAt_ = 0;
};

/// The PDU of a v1 or v2c message, including its tag and length; empty if the message is malformed.
[[nodiscard]] std::span<const uint8_t> pduOf(std::span<const uint8_t> message);

enum class AnswerKind { Response, Echo };

/// Checks a reply.
/// @param kind  Response: from an agent. Echo: from udp-echo, so the PDU's tag isn't checked
/// @return  the request id; 0 if the reply is malformed, has an error-status or no binding, or has an exception
///          (RFC 3416: noSuchObject, noSuchInstance, endOfMibView) instead of a value
[[nodiscard]] uint32_t checkAnswer(std::span<const uint8_t> answer, AnswerKind kind);

struct Binding {
    wire::Oid name;
    bool hasValue = false;  ///< false: an exception instead of a value
};

struct Response {
    uint32_t id = 0;
    std::vector<Binding> bindings;
};

/// Decodes a Response and the names of its bindings; nullopt if it is malformed or has an error-status.
[[nodiscard]] std::optional<Response> readResponse(std::span<const uint8_t> answer);

}  // namespace bench
